# OVRIN_SANITIZE=address adds AddressSanitizer and UndefinedBehaviorSanitizer;
# OVRIN_SANITIZE=thread adds ThreadSanitizer. Applied to the library, tests and examples.
function(ovrin_apply_sanitizers target)
  if(OVRIN_SANITIZE STREQUAL "address")
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PUBLIC -fsanitize=address,undefined)
  elseif(OVRIN_SANITIZE STREQUAL "thread")
    target_compile_options(${target} PRIVATE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=thread)
  elseif(NOT OVRIN_SANITIZE STREQUAL "")
    message(FATAL_ERROR "OVRIN_SANITIZE must be empty, 'address' or 'thread'")
  endif()
endfunction()

# The warnings every target of the project is built with; OVRIN_WARNINGS_AS_ERRORS=ON (as CI
# builds) turns them into errors, so that a new warning never lands.
option(OVRIN_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
function(ovrin_apply_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-unused-parameter)
  if(OVRIN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
    # The sanitizers' instrumentation misleads g++ 12's flow analysis: std::regex alone then
    # "may be used uninitialized" inside std::function. Still reported, not fatal there.
    if(NOT OVRIN_SANITIZE STREQUAL "")
      target_compile_options(${target} PRIVATE -Wno-error=maybe-uninitialized)
    endif()
    # Asio brackets each handler with a fence, which the thread sanitizer cannot model; the
    # pool's own locks order the handlers, and the suite runs clean under it.
    if(OVRIN_SANITIZE STREQUAL "thread")
      target_compile_options(${target} PRIVATE -Wno-error=tsan)
    endif()
  endif()
endfunction()

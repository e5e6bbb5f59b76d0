# The warnings every target of the project is built with; OVRIN_WARNINGS_AS_ERRORS=ON (as CI
# builds) turns them into errors, so that a new warning never lands.
option(OVRIN_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
function(ovrin_apply_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-unused-parameter)
  if(OVRIN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

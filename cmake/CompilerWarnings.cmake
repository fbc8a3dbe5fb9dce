# One place for warnings and sanitizer flags, applied to every engine target.
function(engine_set_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(ENGINE_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # The vptr check reads vtables that Boost.Python's uninstrumented code has already
  # seen torn down; it reports false positives there, so it stays off.
  if(ENGINE_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize=vptr)
  endif()
endfunction()

# One place for warnings and sanitizer flags, applied to every engine target.
#
# ENGINE_SANITIZE (ASan + UBSan), ENGINE_TSAN (ThreadSanitizer) and ENGINE_FUZZ (clang's
# libFuzzer with ASan + UBSan) each need runtimes that cannot share one process, so at
# most one of them may be on.
set(_engine_sanitizers 0)
foreach(_option ENGINE_SANITIZE ENGINE_TSAN ENGINE_FUZZ)
  if(${_option})
    math(EXPR _engine_sanitizers "${_engine_sanitizers} + 1")
  endif()
endforeach()
if(_engine_sanitizers GREATER 1)
  message(FATAL_ERROR "ENGINE_SANITIZE, ENGINE_TSAN and ENGINE_FUZZ are mutually exclusive: turn on one of them")
endif()
if(ENGINE_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(FATAL_ERROR "ENGINE_FUZZ needs clang (libFuzzer): configure with -DCMAKE_CXX_COMPILER=clang++")
endif()

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
  if(ENGINE_TSAN)
    target_compile_options(${target} PRIVATE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=thread)
  endif()
  # The libraries get the fuzzer's coverage hooks without its main(); the fuzz targets
  # themselves link libFuzzer (engine_fuzz_target in tests/fuzz).
  if(ENGINE_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize=vptr)
  endif()
endfunction()

# Clang as a second compiler for the MinGW target. Used for its warnings and for clang-tidy; the programs that
# run are GCC's, so nothing is linked with it.
include("${CMAKE_CURRENT_LIST_DIR}/mingw-toolchain.cmake")

execute_process(COMMAND x86_64-w64-mingw32-g++-posix -print-file-name=include/c++
                OUTPUT_VARIABLE gcc_cxx_include OUTPUT_STRIP_TRAILING_WHITESPACE)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_FLAGS_INIT
    "-isystem ${gcc_cxx_include} -isystem ${gcc_cxx_include}/x86_64-w64-mingw32 -isystem /usr/x86_64-w64-mingw32/include")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

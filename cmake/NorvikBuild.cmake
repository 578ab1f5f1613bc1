# Compiler options of every target, where programs go, and the function that registers tests.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)

# Programs and DLLs lie together, as they do when installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

add_library(norvik_options INTERFACE)
target_include_directories(norvik_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(norvik_options INTERFACE WINVER=0x0A00 _WIN32_WINNT=0x0A00)

if(MSVC)
    # Exported classes have members of the standard library: all parts share one run-time.
    target_compile_options(norvik_options INTERFACE /W4 /WX /wd4251 /wd4275 /utf-8 /permissive- /Zc:__cplusplus)
    target_compile_definitions(norvik_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
    # __FILE__ and the paths in the debug information are those in the project, so that a build is the same wherever the
    # tree lies. DWARF 4 is the newest that the stack walk under Wine reads.
    target_compile_options(norvik_options INTERFACE
        -Wall -Wextra -Werror -Wshadow -Wnon-virtual-dtor
        "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" -gdwarf-4)
    # Undefined behaviour and a container used out of range stop a debug program at the instruction.
    # There is no sanitizer run-time for this target, so the checks trap.
    target_compile_definitions(norvik_options INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        target_compile_options(norvik_options INTERFACE
            $<$<CONFIG:Debug>:-O1 -fsanitize=undefined -fsanitize-undefined-trap-on-error>
            $<$<CONFIG:Release>:-O2>)
        # Sections lie in the file as they do in memory, so that Wine maps them. Otherwise it reads the whole file,
        # debug information and all, at every start: three times what an empty program takes.
        target_link_options(norvik_options INTERFACE -Wl,--file-alignment=0x1000)
        # Counts of the lines that run, for `./dev coverage`; threads share them.
        if(NORVIK_COVERAGE)
            target_compile_options(norvik_options INTERFACE --coverage -O0 -fprofile-update=atomic)
            target_link_options(norvik_options INTERFACE --coverage)
            set(CMAKE_CROSSCOMPILING_EMULATOR "${PROJECT_SOURCE_DIR}/cmake/coverage-wine.sh" "${CMAKE_BINARY_DIR}/data")
        endif()
    endif()
endif()

# The compiler's run-time DLLs lie beside the programs: exceptions cross the library's border, so program and
# library must share one run-time. Without their debug information, and aligned like the programs. A new file each time:
# a program that runs has the old one mapped.
if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    file(MAKE_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    foreach(runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${runtime}"
                        OUTPUT_VARIABLE runtime_path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT EXISTS "${runtime_path}")
            set(runtime_path "/usr/x86_64-w64-mingw32/lib/${runtime}")
        endif()
        set(beside "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${runtime}")
        execute_process(COMMAND "${CMAKE_OBJCOPY}" --strip-debug --file-alignment 0x1000
                                "${runtime_path}" "${beside}.new" COMMAND_ERROR_IS_FATAL ANY)
        file(RENAME "${beside}.new" "${beside}")
        list(APPEND NORVIK_RUNTIME_DLLS "${beside}")
    endforeach()
endif()

# The version resource of a program or of the library, with the project's version.
function(norvik_version_resource target extension description)
    set(VERSION_DESCRIPTION "${description}")
    set(VERSION_FILE "${target}.${extension}")
    set(VERSION_TYPE VFT_APP)
    if(extension STREQUAL dll)
        set(VERSION_TYPE VFT_DLL)
    endif()
    string(REPLACE . , VERSION_NUMBERS "${PROJECT_VERSION}.0")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/Version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc" @ONLY)
    target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
endfunction()

# Installs the library as a CMake package (NorvikLib::NorvikLib), the tool, the run-time DLLs, and the documents.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/NorvikLib")

install(TARGETS NorvikLib EXPORT NorvikLibTargets FILE_SET HEADERS)
install(TARGETS norvik)
install(EXPORT NorvikLibTargets NAMESPACE NorvikLib:: DESTINATION "${package_folder}")
install(FILES ${NORVIK_RUNTIME_DLLS} TYPE BIN)

# Objects of Boost.Asio cross the library's border, so that who uses it must compile against the same version of Boost.
file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/NorvikLibConfig.cmake" @ONLY CONTENT [[
include(CMakeFindDependencyMacro)
find_dependency(Boost @Boost_VERSION_STRING@ EXACT)
include("${CMAKE_CURRENT_LIST_DIR}/NorvikLibTargets.cmake")
]])
# Before 1.0.0 a new minor version may change anything.
write_basic_package_version_file("${CMAKE_BINARY_DIR}/NorvikLibConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_BINARY_DIR}/NorvikLibConfig.cmake" "${CMAKE_BINARY_DIR}/NorvikLibConfigVersion.cmake"
        DESTINATION "${package_folder}")

# using.md is where a reader of the installed tree begins.
install(DIRECTORY docs/ TYPE DOC FILES_MATCHING PATTERN "*.md" PATTERN reference EXCLUDE)
install(DIRECTORY examples TYPE DOC FILES_MATCHING PATTERN "*.cpp")
if(MINGW)
    # Terms of the run-time DLLs, as Debian has them.
    foreach(package gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev)
        install(FILES "/usr/share/doc/${package}/copyright" DESTINATION "${CMAKE_INSTALL_DOCDIR}/licences"
                RENAME "${package}.txt" OPTIONAL)
    endforeach()
endif()

# Installs the library as a CMake package (NorvikLib::NorvikLib), the tool, and the compiler's run-time DLLs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS NorvikLib EXPORT NorvikLibTargets FILE_SET HEADERS)
install(TARGETS norvik)
install(EXPORT NorvikLibTargets NAMESPACE NorvikLib:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/NorvikLib")

file(WRITE "${CMAKE_BINARY_DIR}/NorvikLibConfig.cmake"
     "include(CMakeFindDependencyMacro)\n"
     "find_dependency(Boost 1.81)\n"
     "include(\"\${CMAKE_CURRENT_LIST_DIR}/NorvikLibTargets.cmake\")\n"
     "target_link_libraries(NorvikLib::NorvikLib INTERFACE Boost::headers)\n")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/NorvikLibConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/NorvikLibConfig.cmake" "${CMAKE_BINARY_DIR}/NorvikLibConfigVersion.cmake"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/NorvikLib")
if(NORVIK_RUNTIME_DLLS)
    install(FILES ${NORVIK_RUNTIME_DLLS} DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

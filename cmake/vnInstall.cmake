# SPDX-License-Identifier: MIT
# Installs the headers, the library, a CMake package and a pkg-config file. All of them find each other by
# relative paths, so that the installed folder can be moved.
include(CMakePackageConfigHelpers)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/vnBase)
set(pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY include/vnBase DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS vnBase EXPORT vnBaseTargets INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET vnBase_whole)
    install(TARGETS vnBase_whole EXPORT vnBaseTargets)
endif()
install(EXPORT vnBaseTargets NAMESPACE vnBase:: DESTINATION ${package})

configure_package_config_file(cmake/vnBaseConfig.cmake.in vnBaseConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(vnBaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vnBaseConfig.cmake ${PROJECT_BINARY_DIR}/vnBaseConfigVersion.cmake
        cmake/FindMiniZip.cmake
    DESTINATION ${package})

file(RELATIVE_PATH VN_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
if(BUILD_SHARED_LIBS)
    set(VN_PC_CFLAGS "")
    set(VN_PC_LIBS "-lvnBase")
else()
    set(VN_PC_CFLAGS "-DVN_BASE_STATIC")
    set(VN_PC_LIBS "-Wl,--whole-archive,-lvnBase,--no-whole-archive -pthread -lminizip -lz")
endif()
configure_file(cmake/vnBase.pc.in vnBase.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vnBase.pc DESTINATION ${pkgconfig})

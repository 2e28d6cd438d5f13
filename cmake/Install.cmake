# What is installed of the library, and how other projects find it. The components are those that
# cmake/Packages.cmake makes packages of.
install(TARGETS posteffect EXPORT posteffect
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
        NAMELINK_COMPONENT development)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/posteffect
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
# What the public header needs of the platform's.
install(FILES ${CMAKE_SOURCE_DIR}/platform/linux/include/utils/String8.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/posteffect/platform/utils COMPONENT development)

# find_package(posteffect): the target posteffect::posteffect.
include(CMakePackageConfigHelpers)
add_library(posteffect::posteffect ALIAS posteffect)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/posteffect)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/posteffectConfig.cmake.in
    ${CMAKE_BINARY_DIR}/posteffectConfig.cmake INSTALL_DESTINATION ${package_folder})
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/posteffectConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/posteffectConfig.cmake
        ${CMAKE_BINARY_DIR}/posteffectConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT development)
install(EXPORT posteffect NAMESPACE posteffect:: FILE posteffectTargets.cmake
    DESTINATION ${package_folder} COMPONENT development)

# pkg-config posteffect: the prefix is where the file itself lies.
set(posteffect_pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH posteffect_prefix_from_pkgconfig
    /prefix/${posteffect_pkgconfig_folder} /prefix)
string(REGEX REPLACE "/$" "" posteffect_prefix_from_pkgconfig "${posteffect_prefix_from_pkgconfig}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/posteffect.pc.in ${CMAKE_BINARY_DIR}/posteffect.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/posteffect.pc
    DESTINATION ${posteffect_pkgconfig_folder} COMPONENT development)

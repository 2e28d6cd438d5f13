# libposteffect.so itself: the core and the seam in one shared object, with an explicit export list.
add_library(posteffect SHARED)
target_sources(posteffect PRIVATE
    $<TARGET_OBJECTS:posteffect_core> $<TARGET_OBJECTS:posteffect_platform>)
target_include_directories(posteffect INTERFACE
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/platform/linux/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/posteffect/platform>)
target_link_libraries(posteffect
    PRIVATE posteffect_flags PkgConfig::EGL PkgConfig::GLESV2 PkgConfig::HWY Threads::Threads)
target_link_options(posteffect PRIVATE
    LINKER:--version-script=${CMAKE_SOURCE_DIR}/cmake/posteffect.map)
if(NOT POSTEFFECT_SANITIZE)
  # Sanitizer runtimes are resolved by the executable.
  target_link_options(posteffect PRIVATE LINKER:--no-undefined)
endif()
set_target_properties(posteffect PROPERTIES
    LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/posteffect.map)

install(TARGETS posteffect LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/posteffect
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
# What the public header needs of the platform's.
install(FILES ${CMAKE_SOURCE_DIR}/platform/linux/include/utils/String8.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/posteffect/platform/utils)
configure_file(${CMAKE_SOURCE_DIR}/cmake/posteffect.pc.in ${CMAKE_BINARY_DIR}/posteffect.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/posteffect.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

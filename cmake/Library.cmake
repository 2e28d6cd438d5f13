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
target_compile_features(posteffect INTERFACE cxx_std_17)
set_target_properties(posteffect PROPERTIES
    LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/posteffect.map)


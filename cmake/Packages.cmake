# The Debian packages (scripts/packages.sh): one for each component that is installed, so the
# element's package exists only where the element is built.
option(POSTEFFECT_DEBIAN_PACKAGES "Prepare Debian packages" OFF)
if(NOT POSTEFFECT_DEBIAN_PACKAGES)
  return()
endif()

get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR posteffect)
set(CPACK_PACKAGE_CONTACT "posteffect <posteffect@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(library_package libposteffect${PROJECT_VERSION_MAJOR})
set(same_library "${library_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# posteffect_package(COMPONENT NAME SECTION TEXT): the variables CPack asks for. The first line of
# every description is the project's.
macro(posteffect_package component name section text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${text}")
  if(NOT ${component} STREQUAL library)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${same_library}")
  endif()
  install(FILES ${CMAKE_SOURCE_DIR}/LICENSE
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright COMPONENT ${component})
endmacro()

posteffect_package(library ${library_package} libs
    "A shared library that filters camera frames in place and full-resolution
stills in blocks with OpenGL ES; with the look-up files that its effects read.")
# The software renderer, for machines without another driver.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libegl-mesa0, libgl1-mesa-dri")
posteffect_package(development libposteffect-dev libdevel
    "The headers of libposteffect, its pkg-config file and its CMake package.")
posteffect_package(command posteffect graphics
    "The command posteffect applies the effects of libposteffect to pictures; with
its manual and its completion for bash.")
if("gstreamer" IN_LIST CPACK_COMPONENTS_ALL)
  # What the command's films and cameras go through.
  string(JOIN ", " CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS
      gstreamer1.0-posteffect gstreamer1.0-plugins-base gstreamer1.0-plugins-good
      gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly gstreamer1.0-libav gstreamer1.0-x)
  posteffect_package(gstreamer gstreamer1.0-posteffect libs
      "A GStreamer element that applies the effects of libposteffect to raw video.")
endif()

include(CPack)

# libkorva, shared and static, with what other programs need to find it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(rooms platform audio streaming qvkit frame chorus reverb delay pitchtime live api)
set(objects "")
foreach(room IN LISTS rooms)
  get_target_property(kind korva_${room} TYPE)
  if(kind STREQUAL "STATIC_LIBRARY")
    list(APPEND objects $<TARGET_OBJECTS:korva_${room}>)
  endif()
endforeach()
target_compile_definitions(korva_api PRIVATE KORVA_VERSION="${PROJECT_VERSION}")
# The types of the interface, for the comparison of binaries. They name the folder of the build, so packages, which are
# built without tests, have none.
if(KORVA_TESTS)
  target_compile_options(korva_api PRIVATE -g)
endif()

set(map ${CMAKE_SOURCE_DIR}/src/api/korva.map)
add_library(libkorva SHARED ${objects})
set_target_properties(libkorva PROPERTIES OUTPUT_NAME korva VERSION ${PROJECT_VERSION} SOVERSION 0 LINKER_LANGUAGE CXX
                                          EXPORT_NAME korva LINK_DEPENDS ${map})
target_link_libraries(libkorva PRIVATE $<BUILD_INTERFACE:korva_api>)
target_link_options(libkorva PRIVATE -Wl,--version-script=${map})
if(NOT KORVA_SANITIZE)
  # The sanitizers' own names come with the program.
  target_link_options(libkorva PRIVATE -Wl,--no-undefined)
endif()
target_include_directories(libkorva INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

add_library(libkorva_static STATIC ${objects})
set_target_properties(libkorva_static PROPERTIES OUTPUT_NAME korva LINKER_LANGUAGE CXX)

# What a program that links the archive needs beside it.
set(KORVA_PRIVATE_LIBS "-lstdc++ -lm -pthread")

# From where the file lies, so that the tree may be installed anywhere.
file(RELATIVE_PATH KORVA_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_SOURCE_DIR}/cmake/korva.pc.in ${CMAKE_BINARY_DIR}/korva.pc @ONLY)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/korva)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/korva-config.cmake.in ${CMAKE_BINARY_DIR}/korva-config.cmake
                              INSTALL_DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/korva-config-version.cmake COMPATIBILITY SameMinorVersion)

install(TARGETS libkorva EXPORT korva-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS libkorva_static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES ${CMAKE_SOURCE_DIR}/src/api/korva.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES ${CMAKE_BINARY_DIR}/korva.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(EXPORT korva-targets NAMESPACE korva:: DESTINATION ${package} COMPONENT development)
install(FILES ${CMAKE_BINARY_DIR}/korva-config.cmake ${CMAKE_BINARY_DIR}/korva-config-version.cmake
        DESTINATION ${package} COMPONENT development)

# The Debian packages: what is installed, by component. scripts/package builds them in a tree of its own whose prefix is
# the system's. Everything in them carries the time of the sources, so that two builds are the same bytes.
if(NOT TARGET libkorva)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korva)
set(CPACK_PACKAGE_VENDOR "The KORVA developers")
set(CPACK_PACKAGE_CONTACT "The KORVA developers <developers@korva.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "six streaming audio effects")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL command library development)
if(KORVA_LV2)
  list(APPEND CPACK_COMPONENTS_ALL plugins)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/package_times.cmake)

set(effects "Six effects for sound: Chorus, Reverb, Simple Delay, Multi-Tap Delay,
Pitch Shift and Time Stretch, with presets, automation and tempo.")

# One package of a component: its name, its section, and what it is.
macro(korva_package component name section)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${effects}\n.\nThis package holds ${ARGN}.")
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/debian/copyright ${CMAKE_BINARY_DIR}/debian/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endmacro()
korva_package(command korva sound "the command for sound files")
korva_package(library libkorva0 libs "the library for other programs")
korva_package(development libkorva-dev libdevel "what programs need to be built with the library")
korva_package(plugins korva-lv2 sound "the effects as LV2 plug-ins")
file(WRITE ${CMAKE_BINARY_DIR}/debian/shlibs "libkorva 0 libkorva0 (>= ${PROJECT_VERSION})\n")
file(CHMOD ${CMAKE_BINARY_DIR}/debian/shlibs PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/triggers
                                               ${CMAKE_BINARY_DIR}/debian/shlibs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkorva0 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

# Debian's own change log says only where the real one is; its date is that of the sources.
execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/source-date OUTPUT_VARIABLE seconds OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND date -u -R -d @${seconds} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
configure_file(${CMAKE_SOURCE_DIR}/packaging/debian/changelog.in ${CMAKE_BINARY_DIR}/debian/changelog @ONLY)
execute_process(COMMAND gzip -9nf debian/changelog WORKING_DIRECTORY ${CMAKE_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)
include(CPack)

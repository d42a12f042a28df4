# The LV2 bundle: one binary, and data files that a program of the project writes from the rows.
pkg_check_modules(LV2 IMPORTED_TARGET lv2)
option(KORVA_LV2 "Build the LV2 bundle" ${LV2_FOUND})
if(NOT KORVA_LV2)
  return()
endif()

set(bundle ${CMAKE_BINARY_DIR}/korva.lv2)
add_library(korva_bundle MODULE ${CMAKE_SOURCE_DIR}/src/lv2/lv2_plugin_main.cpp)
set_target_properties(korva_bundle PROPERTIES PREFIX "" OUTPUT_NAME korva LIBRARY_OUTPUT_DIRECTORY ${bundle}
                                              LINK_DEPENDS ${CMAKE_SOURCE_DIR}/src/lv2/lv2_plugin.map)
target_compile_options(korva_bundle PRIVATE -fvisibility=hidden)
target_link_options(korva_bundle PRIVATE -Wl,--version-script=${CMAKE_SOURCE_DIR}/src/lv2/lv2_plugin.map
                                         -Wl,--gc-sections)
target_link_libraries(korva_bundle PRIVATE korva_lv2 PkgConfig::LV2)

add_executable(lv2_bundle ${CMAKE_SOURCE_DIR}/tools/lv2_bundle_main.cpp)
target_link_libraries(lv2_bundle PRIVATE korva_lv2)
set(ttl ${bundle}/manifest.ttl)
foreach(effect chorus reverb simple-delay multi-tap-delay pitch-shift)
  list(APPEND ttl ${bundle}/${effect}.ttl)
endforeach()
add_custom_command(
  OUTPUT ${ttl}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${bundle}
  COMMAND lv2_bundle ${bundle} ${PROJECT_VERSION}
  DEPENDS lv2_bundle)
add_custom_target(korva_bundle_data ALL DEPENDS ${ttl})

# Where hosts look, whatever the folder of libraries is called.
install(TARGETS korva_bundle LIBRARY DESTINATION lib/lv2/korva.lv2 COMPONENT plugins)
install(FILES ${ttl} DESTINATION lib/lv2/korva.lv2 COMPONENT plugins)

# The property pages: their frame, their dialogs in every language, and their help beside the module.
include(cmake/dialogs.cmake)

target_link_libraries(korva_qvkit PUBLIC comctl32 gdi32 shell32 user32)
korva_room(pages frame qvkit)
foreach(room chorus reverb delay pitchtime)
  target_link_libraries(korva_${room} PUBLIC korva_pages)
endforeach()

set(dialogs ${CMAKE_BINARY_DIR}/resources/dialogs.rc)
korva_dialogs(${CMAKE_SOURCE_DIR}/src/resources/dialogs ${CMAKE_SOURCE_DIR}/src/resources/strings ${dialogs})
set_source_files_properties(${dialogs} PROPERTIES OBJECT_DEPENDS
                                                  ${CMAKE_SOURCE_DIR}/src/resources/dialogs/page_styles.h
                                                  COMPILE_OPTIONS "--codepage=65001")
target_sources(korva_resources PRIVATE ${dialogs})

file(GLOB help_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/resources/help/*)
file(GLOB_RECURSE help_images CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/images/*.png)
set(help_folder ${CMAKE_BINARY_DIR}/help)
add_custom_command(
  OUTPUT ${help_folder}/index.html
  COMMAND ${CMAKE_COMMAND} -D FOLDER=${help_folder} -P ${CMAKE_SOURCE_DIR}/cmake/help_folder.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${help_folder}/index.html
  DEPENDS ${help_pages} ${help_images} ${CMAKE_SOURCE_DIR}/cmake/help_folder.cmake)
add_custom_target(korva_help ALL DEPENDS ${help_folder}/index.html)

# The component module: korvafx.dll, with everything but the system's own libraries inside.
enable_language(RC)

# The resource compiler takes none of the C++ options, so its files are a target apart.
file(GLOB resources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/resources/*.rc)
file(GLOB_RECURSE resource_parts CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/resources/*)
list(REMOVE_ITEM resource_parts ${resources})
set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS "${resource_parts}" COMPILE_OPTIONS
                                                                                       "--codepage=65001")
add_library(korva_resources OBJECT ${resources} ${KORVA_STRINGS_RC})
target_include_directories(korva_resources PRIVATE ${CMAKE_SOURCE_DIR}/src/resources)
target_compile_definitions(korva_resources PRIVATE KORVA_MAJOR=${PROJECT_VERSION_MAJOR}
                                                   KORVA_MINOR=${PROJECT_VERSION_MINOR}
                                                   KORVA_PATCH=${PROJECT_VERSION_PATCH})

korva_room(module chorus reverb delay pitchtime)

add_library(korvafx SHARED ${CMAKE_SOURCE_DIR}/src/module/korvafx.def $<TARGET_OBJECTS:korva_resources>)
set_target_properties(korvafx PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
target_link_libraries(korvafx PRIVATE korva_module advapi32 user32)
target_link_options(korvafx PRIVATE -s -Wl,--no-insert-timestamp -Wl,--gc-sections -Wl,--wrap=__imp_TlsAlloc)

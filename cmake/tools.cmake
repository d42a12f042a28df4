# Windows programs that make pictures and renders, with the hosts that they and the tests run effects in.

# A program that shows or tries property pages, with the classes linked in.
function(korva_page_program name)
  add_executable(${name} ${ARGN} ${CMAKE_SOURCE_DIR}/tools/page_host.cpp $<TARGET_OBJECTS:korva_resources>)
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tools)
  target_link_libraries(${name} PRIVATE korva_module comctl32 oleaut32 gdi32)
endfunction()

# Opens one property page in the system's frame, for pictures.
korva_page_program(page_show ${CMAKE_SOURCE_DIR}/tools/page_show_main.cpp)

# The system's filter graph with a source and a sink, and the files that go through it.
add_library(korva_graph_kit STATIC ${CMAKE_SOURCE_DIR}/tools/graph_kit.cpp ${CMAKE_SOURCE_DIR}/tools/wav_file.cpp)
target_include_directories(korva_graph_kit PUBLIC ${CMAKE_SOURCE_DIR}/tools)
target_link_libraries(korva_graph_kit PUBLIC korva_streaming)

# Renders files through the registered module in a graph, for the comparison with the native command.
add_executable(graph_render ${CMAKE_SOURCE_DIR}/tools/graph_render_main.cpp)
target_link_libraries(graph_render PRIVATE korva_graph_kit)
add_dependencies(graph_render korvafx)

# A host's visit to an installed module.
add_executable(module_tour ${CMAKE_SOURCE_DIR}/tools/module_tour_main.cpp)
target_link_libraries(module_tour PRIVATE korva_streaming korva_qvkit)
target_link_options(module_tour PRIVATE -municode)
add_dependencies(module_tour korvafx)

# Windows programs that make pictures and renders; no tests. They use the hosts that tests are written against.

# A program that shows or tries property pages, with the classes linked in.
function(korva_page_program name)
  add_executable(${name} ${ARGN} ${CMAKE_SOURCE_DIR}/tests/pages/page_list.cpp $<TARGET_OBJECTS:korva_resources>)
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE korva_module comctl32 oleaut32 gdi32)
endfunction()

# Opens one property page in the system's frame, for pictures.
korva_page_program(page_show ${CMAKE_SOURCE_DIR}/tools/page_show_main.cpp)

# Renders files through the registered module in a graph, for the comparison with the native command.
add_executable(graph_render ${CMAKE_SOURCE_DIR}/tools/graph_render_main.cpp
                            ${CMAKE_SOURCE_DIR}/tools/wav_file.cpp
                            ${CMAKE_SOURCE_DIR}/tests/windows/graph_kit.cpp)
target_include_directories(graph_render PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(graph_render PRIVATE korva_streaming)
add_dependencies(graph_render korvafx)

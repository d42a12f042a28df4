# The module's tests in the system's own filter graph, under Wine when they are run on another system.
korva_sources(sources ${CMAKE_SOURCE_DIR}/tests/windows/*.cpp)
list(FILTER sources EXCLUDE REGEX "/unload_test\\.cpp$")

add_executable(graph_test ${sources})
target_include_directories(graph_test PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(graph_test PRIVATE ${KORVA_GTEST} korva_graph_kit korva_module)
add_dependencies(graph_test korvafx korva_help)
add_test(NAME graph COMMAND graph_test --gtest_brief=1)
set_tests_properties(graph PROPERTIES TIMEOUT 900 RESOURCE_LOCK registry)

add_executable(unload_test ${CMAKE_SOURCE_DIR}/tests/windows/unload_test.cpp)
target_include_directories(unload_test PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(unload_test PRIVATE ${KORVA_GTEST} korva_module)
add_dependencies(unload_test korvafx)
add_test(NAME unload COMMAND unload_test --gtest_brief=1)
set_tests_properties(unload PROPERTIES TIMEOUT 600)

# Module and native command give the same samples.
add_test(NAME compare_renders
         COMMAND ${CMAKE_SOURCE_DIR}/scripts/compare-renders ${CMAKE_SOURCE_DIR}/build/native/korva ${CMAKE_BINARY_DIR})
set_tests_properties(compare_renders PROPERTIES TIMEOUT 900 RESOURCE_LOCK registry)

# What hosts see of the module's file.
add_test(NAME module_file COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-module $<TARGET_FILE:korvafx>
                                  $<TARGET_LINKER_FILE:korvafx>)

# The installer and the zip, checked as a user meets them. The tour is a host that finds the module in the registry.
add_executable(module_tour ${CMAKE_SOURCE_DIR}/tools/module_tour_main.cpp)
target_link_libraries(module_tour PRIVATE korva_streaming)
target_link_options(module_tour PRIVATE -municode)
add_dependencies(module_tour korvafx)
if(KORVA_TESTS AND NOT CMAKE_HOST_WIN32)
  add_test(NAME installer COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-installer ${CMAKE_BINARY_DIR})
  set_tests_properties(installer PROPERTIES TIMEOUT 600)
endif()

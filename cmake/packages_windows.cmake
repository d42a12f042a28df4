# The installer and the zip, checked as a user meets them. The tour is a host that finds the module in the registry.
if(NOT CMAKE_HOST_WIN32)
  add_test(NAME installer COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-installer ${CMAKE_BINARY_DIR})
  set_tests_properties(installer PROPERTIES TIMEOUT 1500)
endif()

# The property pages under Wine, with the classes linked in.
korva_page_program(page_test ${CMAKE_SOURCE_DIR}/tests/pages/page_test.cpp
                   ${CMAKE_SOURCE_DIR}/tests/pages/pitchtime_page_test.cpp
                   ${CMAKE_SOURCE_DIR}/tests/pages/tap_page_test.cpp
                   ${CMAKE_SOURCE_DIR}/tests/pages/page_exchange_test.cpp
                   ${CMAKE_SOURCE_DIR}/tests/pages/page_rules_test.cpp
                   ${CMAKE_SOURCE_DIR}/tests/pages/page_layout_test.cpp)
target_include_directories(page_test PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(page_test PRIVATE ${KORVA_GTEST})
if(CMAKE_HOST_WIN32)
  add_test(NAME pages COMMAND page_test --gtest_brief=1)
else()
  set(run ${CMAKE_SOURCE_DIR}/scripts/run-in-window $<TARGET_FILE:page_test> --gtest_brief=1)
  add_test(NAME pages COMMAND ${run})
  add_test(NAME pages_150 COMMAND ${run} --gtest_filter=*/PageLayout.*:-*ManyOpenings*)
  set_tests_properties(pages_150 PROPERTIES ENVIRONMENT KORVA_DPI=144 TIMEOUT 300)
endif()
set_tests_properties(pages PROPERTIES TIMEOUT 900)

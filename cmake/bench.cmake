# One benchmark program over every effect: ns per frame, by format and channel count.
find_package(benchmark REQUIRED)
korva_sources(sources ${CMAKE_SOURCE_DIR}/bench/*.cpp)
if(NOT sources)
  return()
endif()
add_executable(korva_bench ${sources})
target_include_directories(korva_bench PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(korva_bench PRIVATE korva_chorus korva_reverb korva_delay korva_pitchtime benchmark::benchmark
                                          benchmark::benchmark_main)

# What holds for every target: the language, the warnings, and arithmetic that is the same on every processor.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(KORVA_CCACHE ccache)
if(KORVA_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KORVA_CCACHE})
endif()

add_library(korva_options INTERFACE)
target_include_directories(korva_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(korva_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
                                               -ffp-contract=off -fno-math-errno)
if(KORVA_SANITIZE)
  # A failed allocation must come back as a null pointer under the sanitizers too.
  add_compile_options(-fsanitize=${KORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${KORVA_SANITIZE})
endif()
if(WIN32)
  enable_language(RC)
  set(CMAKE_RC_FLAGS "${CMAKE_RC_FLAGS} --codepage=65001 -I${CMAKE_SOURCE_DIR}/src")
  target_compile_definitions(korva_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                                                     WINVER=0x0601 _WIN32_WINNT=0x0601)
  add_link_options(-static)
  target_link_libraries(korva_options INTERFACE strmiids uuid ole32 oleaut32 winmm)
endif()

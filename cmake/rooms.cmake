# A room is a folder of src/ that becomes one static library, korva_NAME. Files that exist for one system alone carry
# it in their name: *_windows.cpp, *_native.cpp.
if(WIN32)
  set(KORVA_OTHER_SYSTEM "_native\\.cpp$")
else()
  set(KORVA_OTHER_SYSTEM "_windows\\.cpp$")
endif()

function(korva_sources out)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${ARGN})
  list(FILTER found EXCLUDE REGEX ${KORVA_OTHER_SYSTEM})
  list(FILTER found EXCLUDE REGEX "_main\\.cpp$")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

function(korva_room name)
  korva_sources(sources ${CMAKE_SOURCE_DIR}/src/${name}/*.cpp)
  add_library(korva_${name} STATIC ${sources})
  target_link_libraries(korva_${name} PUBLIC korva_options)
  foreach(below IN LISTS ARGN)
    target_link_libraries(korva_${name} PUBLIC korva_${below})
  endforeach()
endfunction()

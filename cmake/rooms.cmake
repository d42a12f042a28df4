# A room is a folder of src/ that becomes one static library, korva_NAME. Files that exist for one system alone carry
# it in their name: *_windows.cpp, *_native.cpp. Those named *_wide.cpp are compiled for AVX2, and run only where
# HasWideUnits says so. All code in them has internal linkage, so that the linker takes none of it for other files.
if(WIN32)
  set(KORVA_OTHER_SYSTEM "_native\\.cpp$")
else()
  set(KORVA_OTHER_SYSTEM "_windows\\.cpp$")
endif()

set(KORVA_WIDE_OPTIONS -mavx2 -mno-fma)
if(WIN32)
  # The stack of 64-bit Windows is aligned for 16 bytes, which this compiler forgets (GCC bug 54412).
  list(APPEND KORVA_WIDE_OPTIONS -Wa,-muse-unaligned-vector-move)
endif()

function(korva_sources out)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${ARGN})
  list(FILTER found EXCLUDE REGEX ${KORVA_OTHER_SYSTEM})
  list(FILTER found EXCLUDE REGEX "_main\\.cpp$")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

function(korva_room name)
  korva_sources(sources ${CMAKE_SOURCE_DIR}/src/${name}/*.cpp)
  if(NOT KORVA_PLOT)
    korva_sources(pictures ${CMAKE_SOURCE_DIR}/src/${name}/plot/*.cpp)
    list(REMOVE_ITEM sources "" ${pictures})
  endif()
  add_library(korva_${name} STATIC ${sources})
  list(FILTER sources INCLUDE REGEX "_wide\\.cpp$")
  set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS "${KORVA_WIDE_OPTIONS}")
  target_link_libraries(korva_${name} PUBLIC korva_options)
  foreach(below IN LISTS ARGN)
    target_link_libraries(korva_${name} PUBLIC korva_${below})
  endforeach()
endfunction()

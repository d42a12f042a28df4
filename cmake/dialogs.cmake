# Dialogs in every language from one layout each: in a layout, @ID@ stands for the text of that string id.
set(KORVA_LANGUAGES
    "en|LANG_ENGLISH, SUBLANG_ENGLISH_US" "de|LANG_GERMAN, SUBLANG_GERMAN" "fr|LANG_FRENCH, SUBLANG_FRENCH"
    "ja|LANG_JAPANESE, SUBLANG_DEFAULT" "ko|LANG_KOREAN, SUBLANG_KOREAN" "pl|LANG_POLISH, SUBLANG_DEFAULT"
    "pt_br|LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN" "ru|LANG_RUSSIAN, SUBLANG_DEFAULT"
    "zh_cn|LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED" "es|LANG_SPANISH, SUBLANG_SPANISH_MODERN")

# Writes the layouts of a folder, filled with the texts of another, into one resource source.
function(korva_dialogs layouts strings out)
  file(GLOB layout_files CONFIGURE_DEPENDS ${layouts}/*.rc.in)
  set(rc "#include \"dialogs/page_styles.h\"\n#pragma code_page(65001)\n")
  foreach(language IN LISTS KORVA_LANGUAGES)
    string(REPLACE "|" ";" language "${language}")
    list(GET language 0 file)
    list(GET language 1 name)
    file(READ ${strings}/${file}.inc texts)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${strings}/${file}.inc ${layout_files})
    string(APPEND rc "\nLANGUAGE ${name}\n")
    foreach(layout IN LISTS layout_files)
      file(READ ${layout} dialog)
      string(REGEX MATCHALL "@[0-9]+@" marks "${dialog}")
      foreach(mark IN LISTS marks)
        string(REPLACE "@" "" id ${mark})
        if(NOT texts MATCHES "KORVA_STRING\\(${id}, (\"[^\n]*\")\\)\n")
          message(FATAL_ERROR "${layout}: no text ${id} in ${file}")
        endif()
        string(REPLACE "${mark}" "${CMAKE_MATCH_1}" dialog "${dialog}")
      endforeach()
      string(APPEND rc "${dialog}")
    endforeach()
  endforeach()
  file(CONFIGURE OUTPUT ${out} CONTENT "${rc}" @ONLY)
endfunction()

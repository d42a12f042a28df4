# The korva command.
find_package(PkgConfig REQUIRED)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(SMF REQUIRED IMPORTED_TARGET smf)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
target_link_libraries(korva_host PUBLIC PkgConfig::SNDFILE PkgConfig::SMF PkgConfig::SOXR CLI11::CLI11
                                        nlohmann_json::nlohmann_json)
target_compile_definitions(korva_host PRIVATE KORVA_VERSION="${PROJECT_VERSION}")
if(KORVA_PLOT)
  target_link_libraries(korva_host PUBLIC korva_plot)
  target_compile_definitions(korva_host PUBLIC KORVA_PLOT)
endif()
add_executable(korva ${CMAKE_SOURCE_DIR}/src/host/korva_main.cpp)
target_link_libraries(korva PRIVATE korva_host)
# What a system shows of it, written by itself.
add_custom_command(
  OUTPUT ${CMAKE_BINARY_DIR}/korva.1 ${CMAKE_BINARY_DIR}/korva.bash
  COMMAND korva docs --man > ${CMAKE_BINARY_DIR}/korva.1
  COMMAND korva docs --bash > ${CMAKE_BINARY_DIR}/korva.bash
  DEPENDS korva)
add_custom_target(korva_manual ALL DEPENDS ${CMAKE_BINARY_DIR}/korva.1)
include(GNUInstallDirs)
install(TARGETS korva RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
install(FILES ${CMAKE_BINARY_DIR}/korva.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
install(FILES ${CMAKE_BINARY_DIR}/korva.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME korva COMPONENT command)

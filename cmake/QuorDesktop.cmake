# What desktops need of the viewer: menu entry, icon, MIME types of scans, and man pages.
set(desktop packaging/desktop)
install(FILES ${desktop}/quor_viewer.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT viewer)
install(FILES ${desktop}/quor_viewer.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT viewer)
install(FILES ${desktop}/quor_viewer.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT viewer)

# The man pages are generated from --help, so they always list the same options. help2man runs a script of the program's name,
# which marks the line with the usage and separates the examples.
find_program(QUOR_HELP2MAN help2man)
if(NOT QUOR_HELP2MAN)
  message(STATUS "help2man not found: no man pages")
  return()
endif()
set(man_pages)
set(script_template [[
#!/bin/sh
"$<TARGET_FILE:@program@>" "$@" | sed -e '1s/^/Usage: /' -e 's/-h,--help/-h, --help/' -e '/^Examples:/,$s/^  /\n&/'
]])
foreach(program quor_viewer quor_index quor_make_scan)
  set(folder ${PROJECT_BINARY_DIR}/man)
  set(page ${folder}/${program}.1)
  set(sections ${PROJECT_SOURCE_DIR}/packaging/man/${program}.h2m)
  string(CONFIGURE "${script_template}" script @ONLY)
  file(GENERATE OUTPUT ${folder}/${program}
    CONTENT "${script}"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 ${QUOR_HELP2MAN} --no-info --version-string=${PROJECT_VERSION}
      --include=${sections} --output=${page} ${folder}/${program}
    DEPENDS ${program} ${sections}
    COMMENT "Generating the man page of ${program}"
    VERBATIM)
  list(APPEND man_pages ${page})
endforeach()
add_custom_target(quor_man_pages ALL DEPENDS ${man_pages})
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT viewer)

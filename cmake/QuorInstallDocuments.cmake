# Installs the documents. With QUOR_DOCUMENTATION the guides are HTML pages, otherwise their sources. Pictures are installed once.
set(QUOR_DOCUMENTATION "" CACHE PATH "Folder of HTML pages to install, which scripts/docs.sh has built")
set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/quor_osg_utils)

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)
file(READ README.md readme)
set(not_installed)
if(QUOR_DOCUMENTATION)
  install(DIRECTORY ${QUOR_DOCUMENTATION}/ DESTINATION ${documents}/html COMPONENT development)
  file(GLOB pictures RELATIVE ${QUOR_DOCUMENTATION} ${QUOR_DOCUMENTATION}/*.png)
  foreach(picture IN LISTS pictures)
    string(REPLACE "](docs/pictures/${picture})" "](html/${picture})" readme "${readme}")
    list(APPEND not_installed PATTERN pictures/${picture} EXCLUDE)
  endforeach()
  list(APPEND not_installed PATTERN guides EXCLUDE PATTERN Doxyfile EXCLUDE)

  # A page has the name in the heading of its source.
  file(GLOB guides RELATIVE ${PROJECT_SOURCE_DIR} docs/guides/*.md)
  foreach(guide IN LISTS guides)
    file(STRINGS ${guide} heading LIMIT_COUNT 1)
    if(heading MATCHES "{#([a-z_]+)}")
      string(REPLACE "](${guide})" "](html/${CMAKE_MATCH_1}.html)" readme "${readme}")
    endif()
  endforeach()
endif()

# Examples and data are installed elsewhere.
string(REGEX REPLACE "\\]\\((examples/|data/)" "](../../quor_osg_utils/\\1" readme "${readme}")
string(REPLACE "quor_osg_utils/data/" "quor_osg_utils/" readme "${readme}")
file(CONFIGURE OUTPUT documents/README.md CONTENT "${readme}" @ONLY)

install(FILES ${PROJECT_BINARY_DIR}/documents/README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${documents} COMPONENT development)
install(DIRECTORY docs DESTINATION ${documents} COMPONENT development ${not_installed})

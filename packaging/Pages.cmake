# Installs the pages for users beside the examples. There, a link to the schema or
# to the golden messages leads to the folder where an install has these, and a
# link to what it does not have becomes plain words.
set(pages
    README.md
    docs/agreement.md
    docs/compatibility.md
    docs/conform.md
    docs/explorer.md
    docs/firmware.md
    docs/fleet.md
    docs/guide.md
    docs/interoperability.md
    docs/languages.md
    docs/performance.md
    docs/security.md
    docs/wireshark.md)
set(not_installed
    "(CHANGELOG|CONTRIBUTING|docs/architecture|docs/releasing|fuzz|languages|tools)")
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/tarn)

foreach(page IN LISTS pages)
  cmake_path(GET page PARENT_PATH folder)
  set(top "")
  if(folder)
    set(top "../")
  endif()
  set(data "](${top}../../tarn/")
  file(READ ${PROJECT_SOURCE_DIR}/${page} text)
  string(REPLACE "](${top}proto/" "${data}" text "${text}")
  string(REPLACE "](${top}corpus/" "${data}corpus/" text "${text}")
  string(REGEX REPLACE "!\\[[^]]*\\]\\(${top}${not_installed}[^)]*\\)\n\n" "" text "${text}")
  string(REGEX REPLACE "\\[([^]]*)\\]\\(${top}${not_installed}[^)]*\\)" "\\1" text "${text}")
  set(made ${CMAKE_CURRENT_BINARY_DIR}/pages/${page})
  file(WRITE ${made} "${text}")
  install(FILES ${made} DESTINATION ${doc_dir}/${folder})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${page})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/performance DESTINATION ${doc_dir}/docs)

# What the Windows package has beside the library, the headers and the tool: a page to begin with, the documents, the
# examples and the list of exports.
math(EXPR bits "${CMAKE_SIZEOF_VOID_P} * 8")
configure_file("${PROJECT_SOURCE_DIR}/packaging/windows/README.md.in" "${PROJECT_BINARY_DIR}/README.md" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/README.md" CHANGELOG.md DESTINATION . COMPONENT development)
install(FILES docs/windows.md docs/administrators.md docs/tutorial.md docs/format.md docs/architecture.md docs/safety.md
  DESTINATION doc COMPONENT development)
install(FILES examples/hello.c examples/hello.cpp examples/hello.py examples/windows_load.c examples/wrapper.cpp
  examples/wrapper.py DESTINATION examples COMPONENT development)
install(FILES "${PROJECT_BINARY_DIR}/pmstore.def" DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)

# The Debian packages, by component: what each is called, needs and says about itself.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}")
list(APPEND CPACK_COMPONENTS_ALL documentation)

# pmstore_package(component NAME section): with the papers that every Debian package has.
macro(pmstore_package component name section)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  install(FILES debian/copyright DESTINATION "share/doc/${name}" COMPONENT ${component})
  install_compressed(packaging/debian/changelog "share/doc/${name}/changelog.gz" ${component})
endmacro()

# What other packages that link the library depend on, and that the loader is to be told of it.
pmstore_package(library libpmstore1 libs)
set(control "${CMAKE_CURRENT_BINARY_DIR}/debian")
file(WRITE "${control}/shlibs" "libpmstore ${PROJECT_VERSION_MAJOR} libpmstore1 (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
file(WRITE "${control}/triggers" "activate-noawait ldconfig\n")
configure_file(debian/libpmstore1.symbols "${control}/symbols" COPYONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${control}/shlibs" "${control}/triggers" "${control}/symbols")

pmstore_package(development libpmstore-dev libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libpmstore1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libpmstore-doc")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

pmstore_package(documentation libpmstore-doc doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
install(DIRECTORY "${PROJECT_BINARY_DIR}/reference/html" DESTINATION share/doc/libpmstore-doc COMPONENT documentation)
install(FILES debian/libpmstore-doc.doc-base DESTINATION share/doc-base RENAME libpmstore-doc COMPONENT documentation)

pmstore_package(python python3-pmstore python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any, libpmstore1 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst" "${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm")
configure_file(debian/METADATA.in "${control}/METADATA" @ONLY)
install(FILES "${control}/METADATA" DESTINATION "lib/python3/dist-packages/pmstore-${PROJECT_VERSION}.dist-info" COMPONENT python)

if(PMSTORE_TOOL)
  pmstore_package(tool pmstore utils)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libpmstore1 (= ${PROJECT_VERSION})")
endif()

# What `cmake --install` puts where. The public headers stand flat in one folder and include each other by bare name.
if(PMSTORE_DEBIAN)
  set(CMAKE_INSTALL_DOCDIR share/doc/libpmstore-dev)
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(PMSTORE_PUBLIC_HEADERS
  pmstore.h include/pmerror.hpp include/pmsharing.hpp include/pmstore.hpp include/pmtext.hpp platform/pmtypes.h
  commonbase/src/nodepool.h commonbase/src/slist.h commonbase/src/avltree.h commonbase/src/dlist.h commonbase/src/file.h)
set(headers_folder "${CMAKE_INSTALL_INCLUDEDIR}/pmstore")
set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/pmstore")

install(TARGETS pmstore EXPORT pmstore
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
set_target_properties(pmstore_headers PROPERTIES EXPORT_NAME headers)
install(TARGETS pmstore_headers EXPORT pmstore)
install(FILES ${PMSTORE_PUBLIC_HEADERS} DESTINATION "${headers_folder}" COMPONENT development)

# Installs a file as the system's own manual pages stand there: compressed, without a time in it.
function(install_compressed file target component)
  find_program(GZIP gzip REQUIRED)
  install(CODE "
    set(path \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${target}\")
    cmake_path(GET path PARENT_PATH folder)
    file(MAKE_DIRECTORY \"\${folder}\")
    execute_process(COMMAND \"${GZIP}\" -9nc \"${PROJECT_SOURCE_DIR}/${file}\" OUTPUT_FILE \"\${path}\" COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${target}\")
    message(STATUS \"Installing: \${path}\")" COMPONENT ${component})
endfunction()

# Installs a page of section 3, and a link to it under the name of each function that it describes.
function(install_manual_page page)
  install_compressed(docs/man/${page}.3 "${CMAKE_INSTALL_MANDIR}/man3/${page}.3.gz" development)
  file(STRINGS "docs/man/${page}.3" names REGEX "^\\.Nm [A-Za-z]+")
  list(TRANSFORM names REPLACE "^\\.Nm ([A-Za-z]+).*" "\\1")
  list(REMOVE_ITEM names ${page})
  install(CODE "
    foreach(name ${names})
      set(link \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man3/\${name}.3.gz\")
      file(CREATE_LINK ${page}.3.gz \"\$ENV{DESTDIR}\${link}\" SYMBOLIC)
      list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${link}\")
    endforeach()" COMPONENT development)
endfunction()

# find_package(pmstore) gives the target pmstore::pmstore.
install(EXPORT pmstore NAMESPACE pmstore:: FILE pmstoreConfig.cmake DESTINATION "${package_folder}" COMPONENT development)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/pmstoreConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/pmstoreConfigVersion.cmake" DESTINATION "${package_folder}" COMPONENT development)

# pkg-config finds its folders from where the file itself stands, so that an installed tree may be moved.
file(RELATIVE_PATH to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${PROJECT_SOURCE_DIR}/packaging/pmstore.pc.in" "${PROJECT_BINARY_DIR}/pmstore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/pmstore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

if(WIN32)
  include(windows-install)
else()
  foreach(page pmstore pmstore-avltree pmstore-dlist pmstore-file pmstore-nodepool pmstore-slist)
    install_manual_page(${page})
  endforeach()
  install(FILES README.md CHANGELOG.md docs/tutorial.md docs/administrators.md docs/format.md docs/architecture.md docs/safety.md
    DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT development)
  install(FILES examples/hello.c examples/hello.cpp examples/hello.py examples/wrapper.cpp examples/wrapper.py
    DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development)
endif()

if(WIN32)
  set(python_folder python)
else()
  set(python_folder lib/python3/dist-packages)
endif()
install(FILES python/pmstore/__init__.py python/pmstore/_errors.py python/pmstore/_library.py
  python/pmstore/_sharing.py python/pmstore/_vault.py python/pmstore/py.typed DESTINATION "${python_folder}/pmstore" COMPONENT python)
file(STRINGS python/pmstore/__init__.py python_version REGEX "^__version__ = \"${PROJECT_VERSION}\"$")
if(NOT python_version)
  message(FATAL_ERROR "python/pmstore/__init__.py has another version than ${PROJECT_VERSION}.")
endif()

if(PMSTORE_TOOL)
  install(TARGETS pmstore_tool RUNTIME COMPONENT tool)
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set_target_properties(pmstore_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  endif()
  if(NOT WIN32)
    install_compressed(docs/man/pmstore.1 "${CMAKE_INSTALL_MANDIR}/man1/pmstore.1.gz" tool)
    # The tool writes its own completion scripts.
    install(CODE "
      function(pmstore_completion shell file)
        set(path \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/\${file}\")
        execute_process(COMMAND \"$<TARGET_FILE:pmstore_tool>\" completion \${shell}
          OUTPUT_VARIABLE script COMMAND_ERROR_IS_FATAL ANY)
        file(WRITE \"\${path}\" \"\${script}\")
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/\${file}\")
        set(CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_MANIFEST_FILES}\" PARENT_SCOPE)
        message(STATUS \"Installing: \${path}\")
      endfunction()
      pmstore_completion(bash bash-completion/completions/pmstore)
      pmstore_completion(zsh zsh/vendor-completions/_pmstore)
      pmstore_completion(fish fish/vendor_completions.d/pmstore.fish)" COMPONENT tool)
  endif()
endif()

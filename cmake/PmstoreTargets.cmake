# How the layers and the library are put together.

if(WIN32)
  include(windows-library)
endif()

add_library(pmstore_warnings INTERFACE)
target_compile_options(pmstore_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${PMSTORE_WERROR}>:-Werror>)

# What a user of the public headers needs.
add_library(pmstore_headers INTERFACE)
target_include_directories(pmstore_headers INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR};${PROJECT_SOURCE_DIR}/include;${PROJECT_SOURCE_DIR}/platform;${PROJECT_SOURCE_DIR}/commonbase/src>"
  "$<INSTALL_INTERFACE:include/pmstore>")

# A layer of the library: no exceptions and no run-time type information, so that nothing can be thrown
# through an export and an allocation failure is always a result; nothing visible but the exports.
function(pmstore_library_layer name)
  target_link_libraries(${name} PUBLIC pmstore_headers PRIVATE pmstore_warnings)
  target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
  set_target_properties(${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  if(WIN32)
    pmstore_windows_layer(${name})
  endif()
endfunction()

# All of the library's objects as one static library, for tests that reach inside and for tools that embed it.
add_library(pmstore_static STATIC)
target_link_libraries(pmstore_static PUBLIC pmstore_headers)
set_target_properties(pmstore_static PROPERTIES OUTPUT_NAME pmstore_inside)

# The shared library, exporting exactly the names of exports.txt, which has each with its number in the DLL.
function(pmstore_shared_library name)
  set(list "${PROJECT_SOURCE_DIR}/exports.txt")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list}")
  file(STRINGS "${list}" exports)

  add_library(${name} SHARED library.cpp)
  pmstore_library_layer(${name})
  target_link_libraries(${name} PRIVATE platform commonbase storage catalogue)
  target_link_libraries(pmstore_static PRIVATE platform commonbase storage catalogue)
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR} RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}
    ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

  if(WIN32)
    pmstore_windows_library(${name} "${exports}")
  else()
    list(TRANSFORM exports REPLACE " .*" "")
    list(JOIN exports ";\n" names)
    set(map "${PROJECT_BINARY_DIR}/${name}.map")
    file(CONFIGURE OUTPUT "${map}" CONTENT "{\nglobal:\n${names};\nlocal: *;\n};\n" @ONLY)
    # The library calls its own functions, also in a program that has others of those names (a Malloc, say).
    target_link_options(${name} PRIVATE "-Wl,--version-script=${map}" -Wl,-Bsymbolic-functions -Wl,-z,defs
      -Wl,-z,relro -Wl,-z,now)
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
endfunction()

# Read by cpack before it makes packages: it would make them without their dependencies, or with files where no Debian
# system looks for them, and report success.
if(CPACK_GENERATOR STREQUAL "DEB")
  execute_process(COMMAND dpkg-shlibdeps --version OUTPUT_QUIET ERROR_QUIET RESULT_VARIABLE missing)
  if(NOT missing EQUAL 0)
    message(FATAL_ERROR "Debian packages need dpkg-shlibdeps for their dependencies: apt install dpkg-dev")
  endif()
  if(NOT CPACK_PMSTORE_DEBIAN)
    message(FATAL_ERROR "This build is not laid out for Debian packages: cmake --preset debian makes one that is.")
  endif()
endif()

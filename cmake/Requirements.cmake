# Says in a sentence what an option wants that this machine lacks.
if(CMAKE_CROSSCOMPILING)
  return()
endif()

# pmstore_requires(OPTION "Debian packages" PACKAGE...): what find_package has to find where the option is on.
function(pmstore_requires option debian)
  if(NOT ${option})
    return()
  endif()
  foreach(package ${ARGN})
    find_package(${package} QUIET)
    if(NOT ${package}_FOUND)
      message(FATAL_ERROR "${option} needs ${package}. On Debian: apt install ${debian}. "
        "Without it: -D${option}=OFF; the library itself needs only a compiler.")
    endif()
  endforeach()
endfunction()

pmstore_requires(PMSTORE_TOOL "libcli11-dev libfmt-dev nlohmann-json3-dev" CLI11 fmt nlohmann_json)
pmstore_requires(PMSTORE_DEBIAN "doxygen" Doxygen)
pmstore_requires(PMSTORE_TESTS "libgtest-dev" GTest)
if(NOT PMSTORE_TOOL)
  message(STATUS "The library alone; -DPMSTORE_TOOL=ON builds the pmstore tool too.")
endif()

# Builds for 64-bit Windows with MinGW-w64 and runs the programs it makes under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include("${CMAKE_CURRENT_LIST_DIR}/windows-mingw.cmake")

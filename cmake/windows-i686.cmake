# Builds for 32-bit Windows with MinGW-w64 and runs the programs it makes under Wine.
set(CMAKE_SYSTEM_PROCESSOR i686)
include("${CMAKE_CURRENT_LIST_DIR}/windows-mingw.cmake")

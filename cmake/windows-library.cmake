# What a library and a program are on Windows beside their code: resources, the list of exports, the import library.
enable_language(RC)
find_program(LLVM_DLLTOOL llvm-dlltool REQUIRED)

# A buffer that is overrun ends the process. The link takes the guard of the programs from the compiler's run-time.
add_compile_options(-fstack-protector-strong)
add_link_options(-fstack-protector-strong -Wl,--no-insert-timestamp)

# Gives a target its version resource, and what else is to stand in it.
function(pmstore_windows_resource target type description other)
  set(name "$<TARGET_FILE_NAME:${target}>")
  set(resource "${PROJECT_BINARY_DIR}/${target}")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/windows/version.rc.in" "${resource}.rc.in" @ONLY)
  file(GENERATE OUTPUT "${resource}.rc" INPUT "${resource}.rc.in")
  target_sources(${target} PRIVATE "${resource}.rc")
endfunction()

# A program for people: it says that it is of today, and takes all the memory that a 32-bit program can have.
function(pmstore_windows_program name description)
  set(manifest "${PROJECT_SOURCE_DIR}/packaging/windows/${PROJECT_NAME}.manifest")
  pmstore_windows_resource(${name} VFT_APP "${description}" "1 RT_MANIFEST \"${manifest}\"")
  target_link_options(${name} PRIVATE -municode -static)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_options(${name} PRIVATE -Wl,--large-address-aware)
  endif()
endfunction()

# A layer of the library prints with the system's run-time: the compiler's own printf would need start-up code.
function(pmstore_windows_layer name)
  target_compile_options(${name} PRIVATE -D__USE_MINGW_ANSI_STDIO=0 -include stdio.h)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Callers built by other compilers keep the stack aligned to 4 bytes only.
    target_compile_options(${name} PRIVATE -mstackrealign)
  endif()
endfunction()

# Makes a shared library export exactly the lines of a list of exports, each under its own number, so that none gets
# another when one is added. Its entry point is its own DllMain, without the start-up code of the compiler, which would
# give it thread-local storage, and the system would call it for each thread.
function(pmstore_windows_library name exports)
  list(JOIN exports "\n" lines)
  set(def "${PROJECT_BINARY_DIR}/${name}.def")
  file(CONFIGURE OUTPUT "${def}" CONTENT "LIBRARY ${name}.dll\nEXPORTS\n${lines}\n" @ONLY)
  target_sources(${name} PRIVATE "${def}")
  pmstore_windows_resource(${name} VFT_DLL "${PROJECT_DESCRIPTION}" "")
  target_link_options(${name} PRIVATE -static -nostartfiles -Wl,--disable-auto-import)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(machine i386)
    target_link_options(${name} PRIVATE -Wl,--entry=_DllMain@12 -Wl,--no-seh)
  else()
    set(machine i386:x86-64)
    target_link_options(${name} PRIVATE -Wl,--entry=DllMain)
  endif()

  # One import library for the linkers of all compilers; the one that this linker makes has members that others refuse.
  set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX "" IMPORT_SUFFIX .lib)
  add_custom_command(TARGET ${name} POST_BUILD VERBATIM
    COMMAND "${LLVM_DLLTOOL}" -m ${machine} -d "${def}" -l "$<TARGET_LINKER_FILE:${name}>")
endfunction()

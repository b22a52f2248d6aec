# Cross-compiles for x86_64 Windows with MinGW-w64 (posix threads). The libraries are those of scripts/windows-deps, and
# programs of the build run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# No DLL beside ours but the system's: libgcc, libstdc++, winpthread and the libraries below are linked in; with the latter,
# what their checked stack frames call.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -fstack-protector-strong")
endforeach()

if(NOT QOLIVE_WINDOWS_LIBRARIES)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/windows-deps --prefix
                  OUTPUT_VARIABLE QOLIVE_WINDOWS_LIBRARIES OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QOLIVE_WINDOWS_LIBRARIES)
set(OPENSSL_USE_STATIC_LIBS ON)

set(CMAKE_FIND_ROOT_PATH ${QOLIVE_WINDOWS_LIBRARIES} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run ABSOLUTE)

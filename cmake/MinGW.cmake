# Shared part of the mingw-w64 toolchain files. VANTIREL_MINGW_ARCH is
# x86_64 or i686; the -posix compilers give std::thread and friends.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${VANTIREL_MINGW_ARCH})
set(triple ${VANTIREL_MINGW_ARCH}-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Link everything statically: the programs need no DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
# Windows test programs run under Wine (64-bit Wine runs the x86_64 build).
find_program(VANTIREL_WINE NAMES wine64 wine)
if(VANTIREL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VANTIREL_WINE})
endif()

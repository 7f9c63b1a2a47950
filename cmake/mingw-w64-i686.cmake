set(VANTIREL_MINGW_ARCH i686)
include(${CMAKE_CURRENT_LIST_DIR}/MinGW.cmake)
# The JPEG decoder's vector-lane helpers are inline functions of one source
# file; without SSE enabled (plain i686) GCC warns that returning such a
# vector would change the calling convention, which never matters for calls
# that stay inside the file.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

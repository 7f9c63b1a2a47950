# Run-time libraries the portable library links. Readers that need one add
# it here.
if(WIN32)
  # Statically linked so the programs need no DLLs beside them.
  target_link_options(vantirel INTERFACE -static -static-libgcc -static-libstdc++)
endif()

# zlib inflates PNG image data (inflateInit, inflate, inflateEnd only). The
# Windows builds take the mingw-w64 static library from the cross
# toolchain's root so the programs stay free of DLLs; native builds use the
# system zlib.
if(WIN32)
  find_library(VANTIREL_ZLIB_LIBRARY NAMES libz.a z REQUIRED)
  find_path(VANTIREL_ZLIB_INCLUDE_DIR zlib.h REQUIRED)
  target_include_directories(vantirel_formats PRIVATE ${VANTIREL_ZLIB_INCLUDE_DIR})
  target_link_libraries(vantirel PUBLIC ${VANTIREL_ZLIB_LIBRARY})
else()
  find_package(ZLIB REQUIRED)
  target_link_libraries(vantirel_formats PRIVATE ZLIB::ZLIB)
  target_link_libraries(vantirel PUBLIC ZLIB::ZLIB)
endif()

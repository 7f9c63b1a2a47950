# The TIFF reader beside libtiff.
find_library(TIFF_LIBRARY NAMES tiff)
find_path(TIFF_INCLUDE_DIR NAMES tiffio.h PATH_SUFFIXES x86_64-linux-gnu)
if(TIFF_LIBRARY AND TIFF_INCLUDE_DIR)
  vantirel_benchmark(bench_tiff bench_tiff.cpp ${TIFF_LIBRARY})
  target_include_directories(bench_tiff PRIVATE ${TIFF_INCLUDE_DIR})
else()
  message(STATUS "libtiff not found: bench_tiff is not built")
endif()

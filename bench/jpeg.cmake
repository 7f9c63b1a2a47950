# The JPEG decoder beside libjpeg-turbo's TurboJPEG API (full and 1/8
# scaled decodes). bench/make_jpeg_files.sh makes the 12-megapixel files.
find_library(TURBOJPEG_LIBRARY NAMES turbojpeg)
find_path(TURBOJPEG_INCLUDE_DIR NAMES turbojpeg.h)
if(TURBOJPEG_LIBRARY AND TURBOJPEG_INCLUDE_DIR)
  vantirel_benchmark(bench_jpeg bench_jpeg.cpp ${TURBOJPEG_LIBRARY})
  target_include_directories(bench_jpeg PRIVATE ${TURBOJPEG_INCLUDE_DIR})
endif()

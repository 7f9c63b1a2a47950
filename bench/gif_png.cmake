# GIF and PNG readers against giflib, libpng and libspng. Built only when all
# three peers are installed. Files: bench/make_gif_png_files.sh DIR.
find_library(VANTIREL_BENCH_GIFLIB gif)
find_library(VANTIREL_BENCH_LIBPNG NAMES png16 png)
find_library(VANTIREL_BENCH_LIBSPNG spng)
find_path(VANTIREL_BENCH_GIF_INCLUDE gif_lib.h)
find_path(VANTIREL_BENCH_PNG_INCLUDE png.h)
find_path(VANTIREL_BENCH_SPNG_INCLUDE spng.h)
if(VANTIREL_BENCH_GIFLIB AND VANTIREL_BENCH_LIBPNG AND VANTIREL_BENCH_LIBSPNG AND
   VANTIREL_BENCH_GIF_INCLUDE AND VANTIREL_BENCH_PNG_INCLUDE AND VANTIREL_BENCH_SPNG_INCLUDE)
  vantirel_benchmark(bench_gif_png bench_gif_png.cpp
    ${VANTIREL_BENCH_GIFLIB} ${VANTIREL_BENCH_LIBPNG} ${VANTIREL_BENCH_LIBSPNG})
  target_include_directories(bench_gif_png PRIVATE ${VANTIREL_BENCH_GIF_INCLUDE}
    ${VANTIREL_BENCH_PNG_INCLUDE} ${VANTIREL_BENCH_SPNG_INCLUDE})
else()
  message(STATUS "bench_gif_png not built: giflib, libpng or libspng missing")
endif()

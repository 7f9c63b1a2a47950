# Building the index window's thumbnails (open, fit into 88 x 66, load with
# the new-image flag: the reduced JPEG decode, then bicubic resampling)
# beside djpeg -scale 1/8 on the same files, which is run at run time.
# bench/make_thumbnail_files.sh makes the 100 files.
find_program(VANTIREL_DJPEG djpeg)
if(VANTIREL_DJPEG)
  vantirel_benchmark(bench_thumbnails bench_thumbnails.cpp vantirel_shell)
  target_compile_definitions(bench_thumbnails PRIVATE VANTIREL_DJPEG="${VANTIREL_DJPEG}")
endif()

# The colour routines beside ImageMagick, whose command-line tool is run (and
# looked up again) at run time; ImageMagick's development files are not needed.
find_program(VANTIREL_MAGICK_CONVERT convert)
if(VANTIREL_MAGICK_CONVERT)
  vantirel_benchmark(bench_color bench_color.cpp)
  target_compile_definitions(bench_color PRIVATE VANTIREL_CORPUS_DIR="${VANTIREL_CORPUS_DIR}")
endif()

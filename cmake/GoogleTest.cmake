# GoogleTest: the system package natively; built from Debian's sources for
# the Windows builds, which run under Wine through the cross-compiling
# emulator.
include(GoogleTest)
if(CMAKE_CROSSCOMPILING)
  set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  if(NOT TARGET GTest::gtest_main)
    add_library(GTest::gtest_main ALIAS gtest_main)
    add_library(GTest::gtest ALIAS gtest)
  endif()
else()
  find_package(GTest REQUIRED)
endif()

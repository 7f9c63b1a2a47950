#include <gtest/gtest.h>
#include "core/Image.h"
TEST(Smoke, Builds) { Image i(2, 2, 6, 2, nullptr, 0); EXPECT_EQ(i.depth, 24); }

#include "formats/Predictor.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
TEST(HorizontalPredictor, OneSampleRowBecomesRunningSums) {
    std::vector<uint8_t> row{10, 1, 1, 1};
    UndoHorizontalPredictor(row.data(), 4, 1, 4, 1);
    EXPECT_EQ(row, (std::vector<uint8_t>{10, 11, 12, 13}));
}

TEST(HorizontalPredictor, SumsWrapModulo256AndRestartOnEveryRow) {
    // Two rows of 3 pixels, stride 5 (two padding bytes stay as they are).
    std::vector<uint8_t> rows{250, 10, 1, 77, 77,  //
                              5, 255, 2, 88, 88};
    UndoHorizontalPredictor(rows.data(), 3, 2, 5, 1);
    EXPECT_EQ(rows, (std::vector<uint8_t>{250, 4, 5, 77, 77,  //
                                          5, 4, 6, 88, 88}));
}

TEST(HorizontalPredictor, ThreeSamplesKeepThreeRunningSums) {
    std::vector<uint8_t> row{1, 2, 3, 10, 20, 30, 255, 1, 0};
    UndoHorizontalPredictor(row.data(), 3, 1, 9, 3);
    EXPECT_EQ(row, (std::vector<uint8_t>{1, 2, 3, 11, 22, 33, 10, 23, 33}));
}

TEST(HorizontalPredictor, OtherSampleCountsAreLeftAlone) {
    std::vector<uint8_t> row{1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<uint8_t> before = row;
    UndoHorizontalPredictor(row.data(), 2, 1, 8, 4);
    UndoHorizontalPredictor(row.data(), 4, 1, 8, 2);
    EXPECT_EQ(row, before);
}
}  // namespace

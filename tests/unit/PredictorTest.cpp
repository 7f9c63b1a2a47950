#include "formats/Predictor.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "core/RowUtils.h"
#include "tests/support/TiffEncoders.h"

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
TEST(HorizontalPredictor, RandomRowsComeOutAsBefore) {
    // Random rows of every shape, padding and sample count, pinned by one
    // checksum over the whole blocks.
    test::Random random(2718);
    test::Fnv64 hash;
    for (int i = 0; i < 300; ++i) {
        const int samples = static_cast<int>(random.Below(5));
        const int width = static_cast<int>(random.Below(300));
        const int height = static_cast<int>(random.Below(6));
        const int stride = width * (samples ? samples : 1) + static_cast<int>(random.Below(5));
        std::vector<uint8_t> rows(static_cast<size_t>(stride) * (height + 1));
        for (uint8_t& byte : rows) byte = random.Byte();
        std::vector<uint8_t> expected = rows;
        if (samples == 1 || samples == 3)
            for (int y = 0; y < height; ++y)
                for (int x = samples; x < width * samples; ++x) {
                    uint8_t* row = expected.data() + y * stride;
                    row[x] = static_cast<uint8_t>(row[x] + row[x - samples]);
                }
        UndoHorizontalPredictor(rows.data(), width, height, stride, samples);
        ASSERT_EQ(rows, expected) << i;
        hash.Add(rows);
    }
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, hash.Value());
    EXPECT_EQ(std::string(text), "0x773468F6E678086E");
}
TEST(HorizontalPredictor, UndoingWithTheRedBlueSwapEqualsUndoingThenSwapping) {
    test::Random random(1414);
    for (int i = 0; i < 100; ++i) {
        const int width = static_cast<int>(random.Below(70));
        const int height = static_cast<int>(random.Below(4));
        const int stride = 3 * width + static_cast<int>(random.Below(4));
        std::vector<uint8_t> rows(static_cast<size_t>(stride) * (height + 1));
        for (uint8_t& byte : rows) byte = random.Byte();
        std::vector<uint8_t> expected = rows;
        UndoHorizontalPredictor(expected.data(), width, height, stride, 3);
        SwapRedBlue(expected.data(), width, stride, height);
        UndoHorizontalPredictorSwappingRedBlue(rows.data(), width, height, stride);
        ASSERT_EQ(rows, expected) << i;
    }
    // 10, 20, 30 then differences of 1, 2, 3: sums swapped to 30, 20, 10
    // and 33, 22, 11.
    std::vector<uint8_t> row{10, 20, 30, 1, 2, 3};
    UndoHorizontalPredictorSwappingRedBlue(row.data(), 2, 1, 6);
    EXPECT_EQ(row, (std::vector<uint8_t>{30, 20, 10, 33, 22, 11}));
}
}  // namespace

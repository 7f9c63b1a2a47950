#include "formats/PackBits.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/TiffEncoders.h"

namespace {
struct Result {
    std::vector<uint8_t> output;  // up to the last byte written
    size_t consumed;
};

Result Decode(const std::vector<uint8_t>& source, size_t byteCount, size_t room = 512) {
    std::vector<uint8_t> destination(room, 0xEE);
    const uint8_t* end = PackBitsDecode(destination.data(), destination.data() + room, source.data(),
                                        source.data() + source.size(), byteCount);
    size_t written = room;
    while (written > 0 && destination[written - 1] == 0xEE) --written;
    destination.resize(written);
    return {destination, static_cast<size_t>(end - source.data())};
}

TEST(PackBits, LiteralAndRepeatRuns) {
    // 2: three literal bytes; 0xFE (-2): three copies of 9.
    const Result r = Decode({2, 1, 2, 3, 0xFE, 9}, 6);
    EXPECT_EQ(r.output, (std::vector<uint8_t>{1, 2, 3, 9, 9, 9}));
    EXPECT_EQ(r.consumed, 6u);
}

TEST(PackBits, ControlByte255GivesTwoCopiesAnd129Gives128) {
    EXPECT_EQ(Decode({255, 4}, 2).output, (std::vector<uint8_t>(2, 4)));
    EXPECT_EQ(Decode({129, 4}, 128).output, (std::vector<uint8_t>(128, 4)));
}

TEST(PackBits, ControlByte128Writes129CopiesOfTheNextByte) {
    const Result r = Decode({128, 0x42, 0, 0x17}, 130);
    std::vector<uint8_t> expected(129, 0x42);
    expected.push_back(0x17);
    EXPECT_EQ(r.output, expected);
    EXPECT_EQ(r.consumed, 4u);
}

TEST(PackBits, StopsAfterTheRunThatCrossesTheCountAndReturnsTheAddressBehindIt) {
    // Count 4: the first run gives 3, the second 5 (crossing 4) and is
    // written whole; the third run is not decoded.
    const std::vector<uint8_t> source{0xFE, 1, 0xFC, 2, 0, 3};
    const Result r = Decode(source, 4);
    EXPECT_EQ(r.output, (std::vector<uint8_t>{1, 1, 1, 2, 2, 2, 2, 2}));
    EXPECT_EQ(r.consumed, 4u);
}

TEST(PackBits, StopsExactlyAtTheCountWhenARunEndsThere) {
    const Result r = Decode({1, 5, 6, 1, 7, 8, 0, 9}, 4);
    EXPECT_EQ(r.output, (std::vector<uint8_t>{5, 6, 7, 8}));
    EXPECT_EQ(r.consumed, 6u);
}

TEST(PackBits, NeverWritesPastTheDestinationNorReadsPastTheSource) {
    const Result r = Decode({128, 3}, 200, 50);
    EXPECT_EQ(r.output, (std::vector<uint8_t>(50, 3)));
    // A literal run cut short by the end of the source.
    const Result cut = Decode({5, 1, 2}, 6);
    EXPECT_EQ(cut.output, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(cut.consumed, 3u);
}
TEST(PackBits, RandomStreamsDecodeAsBefore) {
    // Random control bytes and counts into rooms large and small, pinned by
    // one checksum over each whole destination (a guard zone behind it
    // included) and each returned position.
    test::Random random(1966);
    test::Fnv64 hash;
    for (int i = 0; i < 1500; ++i) {
        const size_t size = random.Below(i < 500 ? 40 : 3000);
        const std::unique_ptr<uint8_t[]> source(new uint8_t[size + 1]);
        for (size_t j = 0; j < size; ++j) source[j] = random.Byte();
        const size_t byteCount = random.Below(4) == 0 ? random.Below(8) : random.Below(5000);
        const size_t room = random.Below(3) == 0 ? random.Below(300) : byteCount + 128;
        std::vector<uint8_t> destination(room + 32, 0xEE);
        const uint8_t* end = PackBitsDecode(destination.data(), destination.data() + room,
                                            source.get(), source.get() + size, byteCount);
        ASSERT_LE(end, source.get() + size);
        for (size_t j = room; j < room + 32; ++j) ASSERT_EQ(destination[j], 0xEE) << j;
        hash.Add(room).Add(byteCount).Add(static_cast<uint64_t>(end - source.get()));
        hash.Add(destination);
    }
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, hash.Value());
    EXPECT_EQ(std::string(text), "0xEDFB51516C2FB308");
}
}  // namespace

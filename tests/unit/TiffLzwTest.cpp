// The TIFF LZW decoder: hand-made code streams for the edge cases, and
// round trips through a small encoder written here for long streams.
#include "formats/TiffLzw.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/TiffEncoders.h"

namespace {
constexpr unsigned kClear = 256;
constexpr unsigned kEnd = 257;

// Packs codes most significant bit first, at the width the decoder will be
// reading at: 9 bits after a clear, one more as soon as its next free code
// reaches 511, 1023 and 2047 (the decoder adds no entry for the first code
// after a clear, and grows the width one code early).
std::vector<uint8_t> PackCodes(const std::vector<unsigned>& codes) {
    std::vector<uint8_t> bytes;
    uint32_t buffer = 0;
    int count = 0;
    unsigned width = 9, next = 258;
    bool firstAfterClear = false;
    for (unsigned code : codes) {
        buffer = (buffer << width) | code;
        count += static_cast<int>(width);
        while (count >= 8) {
            bytes.push_back(static_cast<uint8_t>(buffer >> (count - 8)));
            count -= 8;
        }
        if (code == kClear) {
            width = 9;
            next = 258;
            firstAfterClear = true;
            continue;
        }
        if (code == kEnd) break;
        if (firstAfterClear) {
            firstAfterClear = false;
            continue;
        }
        if (next < 4096) ++next;
        if (next >= (1u << width) - 1 && width < 12) ++width;
    }
    if (count > 0) bytes.push_back(static_cast<uint8_t>(buffer << (8 - count)));
    return bytes;
}

// A plain LZW encoder of the TIFF kind: a clear code first, a new clear
// before the table would pass 4093 entries, the end code last.
std::vector<unsigned> Encode(const std::vector<uint8_t>& data) {
    std::vector<unsigned> codes{kClear};
    std::map<std::string, unsigned> table;
    auto reset = [&] {
        table.clear();
        for (unsigned i = 0; i < 256; ++i) table[std::string(1, static_cast<char>(i))] = i;
    };
    reset();
    unsigned next = 258;
    std::string current;
    for (uint8_t byte : data) {
        const std::string longer = current + static_cast<char>(byte);
        if (table.count(longer)) {
            current = longer;
            continue;
        }
        codes.push_back(table[current]);
        table[longer] = next++;
        current = std::string(1, static_cast<char>(byte));
        if (next == 4093) {
            codes.push_back(table[current]);
            codes.push_back(kClear);
            reset();
            next = 258;
            current.clear();
        }
    }
    if (!current.empty()) codes.push_back(table[current]);
    codes.push_back(kEnd);
    return codes;
}

struct Result {
    std::vector<uint8_t> output;
    size_t consumed;  // source bytes up to the returned position
};

Result Decode(const std::vector<uint8_t>& stream, size_t room = 4096) {
    std::vector<uint8_t> destination(room, 0xEE);
    const uint8_t* end =
        TiffLzwDecode(destination.data(), destination.data() + room, stream.data(), stream.data() + stream.size());
    size_t written = room;
    while (written > 0 && destination[written - 1] == 0xEE) --written;
    destination.resize(written);
    return {destination, static_cast<size_t>(end - stream.data())};
}

TEST(TiffLzw, DecodesLiteralsAndTableEntries) {
    // A B then 258 = "AB", 259 = "BA".
    const Result r = Decode(PackCodes({kClear, 'A', 'B', 258, 259, kEnd}));
    EXPECT_EQ(std::string(r.output.begin(), r.output.end()), "ABABBA");
}

TEST(TiffLzw, SeveralClearCodesInARowDecodeLikeOne) {
    const std::vector<uint8_t> one = Decode(PackCodes({kClear, 'x', 'y', 258, kEnd})).output;
    const std::vector<uint8_t> three = Decode(PackCodes({kClear, kClear, kClear, 'x', 'y', 258, kEnd})).output;
    EXPECT_EQ(std::string(one.begin(), one.end()), "xyxy");
    EXPECT_EQ(three, one);
}

TEST(TiffLzw, StreamStartingWithClearDecodesLikeOneWithAClearInTheMiddle) {
    // After a clear in the middle the table starts again from 258.
    const Result r = Decode(PackCodes({kClear, 'a', 'b', 258, kClear, 'c', 'd', 258, kEnd}));
    EXPECT_EQ(std::string(r.output.begin(), r.output.end()), "ababcdcd");
}

TEST(TiffLzw, CodeEqualToTheNextFreeCodeIsThePreviousStringAndItsFirstByte) {
    // 258 is not in the table when it arrives: "ab" + "a".
    const Result r = Decode(PackCodes({kClear, 'a', 'b', 259, kEnd}));
    // 258 = "ab" is added when 'b' arrives; 259 = "b" + "b".
    EXPECT_EQ(std::string(r.output.begin(), r.output.end()), "abbb");
    const Result s = Decode(PackCodes({kClear, 'a', 258, 258, kEnd}));
    // 258 arrives before it exists: "a" + "a"; then 259 = "aa"+"a"... 258 again is "aa".
    EXPECT_EQ(std::string(s.output.begin(), s.output.end()), "aaaaa");
}

TEST(TiffLzw, SwitchesToTenBitCodesOnceTheTableReaches511Entries) {
    // 253 literals after the first add entries 258..510; the next free code
    // is then 511 and the very next code is read with 10 bits.
    std::vector<unsigned> codes{kClear};
    for (unsigned i = 0; i < 254; ++i) codes.push_back(i);
    codes.push_back(300);  // 10 bits: entry 300 = bytes 42, 43
    codes.push_back(kEnd);  // 10 bits as well
    const std::vector<uint8_t> stream = PackCodes(codes);
    // 9 * 255 + 10 * 2 bits.
    EXPECT_EQ(stream.size(), (9u * 255 + 20 + 7) / 8);
    const Result r = Decode(stream);
    ASSERT_EQ(r.output.size(), 256u);
    for (unsigned i = 0; i < 254; ++i) EXPECT_EQ(r.output[i], i);
    EXPECT_EQ(r.output[254], 42);
    EXPECT_EQ(r.output[255], 43);

    // Read at 9 bits instead, the same codes would not decode like this.
    std::vector<uint8_t> nineBit;
    uint32_t buffer = 0;
    int count = 0;
    for (unsigned code : codes) {
        buffer = (buffer << 9) | code;
        count += 9;
        while (count >= 8) nineBit.push_back(static_cast<uint8_t>(buffer >> ((count -= 8)))), (void)0;
    }
    if (count) nineBit.push_back(static_cast<uint8_t>(buffer << (8 - count)));
    EXPECT_NE(Decode(nineBit).output, r.output);
}

TEST(TiffLzw, ReturnsThePositionBehindTheEndCodeRoundedUpToAByte) {
    // clear, 'A', end: 27 bits, so 4 bytes; a fifth byte follows.
    std::vector<uint8_t> stream = PackCodes({kClear, 'A', kEnd});
    ASSERT_EQ(stream.size(), 4u);
    stream.push_back(0x55);
    EXPECT_EQ(Decode(stream).consumed, 4u);
}

TEST(TiffLzw, StreamWithoutAClearStartsFromPreviousCodeZero) {
    // Without a clear the first new entry is a zero byte followed by the
    // first byte of the first string: 258 = "\0A".
    const Result r = Decode(PackCodes({'A', 'B', 258, kEnd}));
    EXPECT_EQ(r.output, (std::vector<uint8_t>{'A', 'B', 0, 'A'}));
}

TEST(TiffLzw, FirstCodeAfterAClearIsWrittenAsOneByte) {
    const Result r = Decode(PackCodes({kClear, 'Q', kEnd}));
    EXPECT_EQ(r.output, (std::vector<uint8_t>{'Q'}));
}

TEST(TiffLzw, NeverWritesPastTheDestination) {
    const std::vector<uint8_t> data(1000, 7);
    const std::vector<uint8_t> stream = PackCodes(Encode(data));
    std::vector<uint8_t> destination(300, 0xEE);
    TiffLzwDecode(destination.data(), destination.data() + 200, stream.data(), stream.data() + stream.size());
    for (size_t i = 0; i < 200; ++i) ASSERT_EQ(destination[i], 7) << i;
    for (size_t i = 200; i < 300; ++i) ASSERT_EQ(destination[i], 0xEE) << i;
}

TEST(TiffLzw, StopsReadingAfterTwiceItsRoomInCodesPlus64) {
    // Room for 4 bytes: at most 2 * 4 + 64 = 72 codes are read. A run of
    // 100 clear codes ends there, 72 * 9 = 648 bits = 81 bytes in, with
    // nothing written; the literal behind the run is never reached.
    std::vector<unsigned> codes(100, kClear);
    codes.push_back('z');
    codes.push_back(kEnd);
    const std::vector<uint8_t> stream = PackCodes(codes);
    std::vector<uint8_t> destination(8, 0xEE);
    const uint8_t* end = TiffLzwDecode(destination.data(), destination.data() + 4, stream.data(),
                                       stream.data() + stream.size());
    EXPECT_EQ(end - stream.data(), 81);
    EXPECT_EQ(destination, std::vector<uint8_t>(8, 0xEE));

    // With room for 20 bytes the budget is 104 codes: the same stream
    // decodes to its literal and ends at its end code.
    const Result r = Decode(stream, 20);
    EXPECT_EQ(r.output, (std::vector<uint8_t>{'z'}));
    EXPECT_EQ(r.consumed, stream.size());
}

TEST(TiffLzw, StopsWhereTheInputEndsWithoutAnEndCode) {
    std::vector<uint8_t> stream = PackCodes({kClear, 'a', 'b', 'c', kEnd});
    stream.resize(4);  // clear, 'a', 'b' and 5 bits of 'c'
    const Result r = Decode(stream);
    EXPECT_EQ(std::string(r.output.begin(), r.output.end()), "ab");
    EXPECT_EQ(r.consumed, 4u);
}

TEST(TiffLzw, TableStopsGrowingAt4096EntriesWithoutAClear) {
    // 4000 literal codes and no clear: the table fills; decoding goes on.
    std::vector<unsigned> codes{kClear};
    for (unsigned i = 0; i < 4000; ++i) codes.push_back(i % 256);
    codes.push_back(4095);  // the last entry there is: 4094 + 1 literals in
    codes.push_back(kEnd);
    const Result r = Decode(PackCodes(codes), 8192);
    ASSERT_EQ(r.output.size(), 4002u);
    for (unsigned i = 0; i < 4000; ++i) ASSERT_EQ(r.output[i], i % 256);
    // Entry 4095 was made from literals 3837 and 3838.
    EXPECT_EQ(r.output[4000], 3837 % 256);
    EXPECT_EQ(r.output[4001], 3838 % 256);
}

TEST(TiffLzw, RoundTripsLongStreamsThroughEveryCodeWidth) {
    std::mt19937 random(1234);
    for (int round = 0; round < 4; ++round) {
        // Few distinct bytes make long strings and many table entries.
        std::vector<uint8_t> data(60000 + round * 7001);
        std::uniform_int_distribution<int> symbol(0, round == 3 ? 255 : 3 + round * 4);
        for (uint8_t& b : data) b = static_cast<uint8_t>(symbol(random));
        if (round == 2) std::fill(data.begin() + 1000, data.begin() + 30000, 9);
        const std::vector<uint8_t> stream = PackCodes(Encode(data));
        const Result r = Decode(stream, data.size() + 100);
        ASSERT_EQ(r.output.size(), data.size()) << round;
        EXPECT_EQ(r.output, data) << round;
        EXPECT_EQ(r.consumed, stream.size()) << round;
    }
}
// ---------------------------------------------------------------------------
// Many streams from a fixed seed, pinned by one checksum over what each
// writes (the whole destination, a guard zone behind it included) and the
// position each returns.

std::string Hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, value);
    return text;
}

// Room for the output: none, a few bytes, a strip's worth, plenty.
size_t ChooseRoom(test::Random& random) {
    static const size_t kRooms[] = {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 64, 255, 1000, 4097, 20000};
    return kRooms[random.Below(sizeof kRooms / sizeof kRooms[0])];
}

// Decodes `stream` (held in a block of exactly its size) into `room` bytes
// with a guard zone of 0xEE behind; adds everything to `hash` and checks
// that the guard zone and the source stayed as they were.
void DecodeInto(test::Fnv64& hash, const std::vector<uint8_t>& stream, size_t room) {
    constexpr size_t kGuard = 32;
    std::vector<uint8_t> destination(room + kGuard, 0xEE);
    const std::unique_ptr<uint8_t[]> source(new uint8_t[stream.size() + 1]);
    std::copy(stream.begin(), stream.end(), source.get());
    const uint8_t* end = TiffLzwDecode(destination.data(), destination.data() + room, source.get(),
                                       source.get() + stream.size());
    ASSERT_GE(end, source.get());
    ASSERT_LE(end, source.get() + stream.size());
    for (size_t i = room; i < room + kGuard; ++i) ASSERT_EQ(destination[i], 0xEE) << i;
    hash.Add(room).Add(static_cast<uint64_t>(end - source.get())).Add(destination);

    // Into a clear destination, told so or not, the same bytes and the same
    // position.
    std::vector<uint8_t> told(room + kGuard, 0), notTold(room + kGuard, 0);
    const uint8_t* toldEnd = TiffLzwDecode(told.data(), told.data() + room, source.get(),
                                           source.get() + stream.size(), true);
    const uint8_t* notToldEnd = TiffLzwDecode(notTold.data(), notTold.data() + room, source.get(),
                                              source.get() + stream.size(), false);
    ASSERT_EQ(toldEnd, notToldEnd);
    ASSERT_EQ(told, notTold);
}

TEST(TiffLzw, RandomBytesDecodeAsBefore) {
    // Garbage: codes of every kind in any order, the table filling without
    // clears, output running out.
    test::Random random(4711);
    test::Fnv64 hash;
    for (int i = 0; i < 600; ++i) {
        std::vector<uint8_t> stream(random.Below(i < 300 ? 64 : 6000));
        for (uint8_t& byte : stream) byte = random.Byte();
        DecodeInto(hash, stream, ChooseRoom(random));
    }
    EXPECT_EQ(Hex(hash.Value()), "0xB80BA4A299BBC525");
}

// A code sequence a decoder follows through its table: literals, codes
// already in the table, the next free code (the string-plus-first-byte
// case), codes beyond it, clears (or none at all), sometimes an early end
// code or none.
std::vector<unsigned> RandomCodes(test::Random& random) {
    std::vector<unsigned> codes;
    const bool clears = random.Below(3) != 0;
    bool firstAfterClear = false;
    if (random.Below(5) != 0) {
        codes.push_back(kClear);
        firstAfterClear = true;
    }
    unsigned next = 258;
    const unsigned count = random.Below(7000);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned kind = random.Below(1000);
        unsigned code;
        if (kind < 4 && clears) {
            codes.push_back(kClear);
            firstAfterClear = true;
            next = 258;
            continue;
        } else if (kind < 6) {
            code = kEnd;  // decoding stops here; the rest is never read
        } else if (kind < 350 || next == 258) {
            code = random.Below(256);
        } else if (kind < 420) {
            code = next;
        } else if (kind < 440) {
            code = next + 1 + random.Below(40);
        } else {
            code = 258 + random.Below(next - 258);
        }
        codes.push_back(code);
        if (code == kEnd) continue;
        if (firstAfterClear)
            firstAfterClear = false;
        else if (next < 4096)
            ++next;
    }
    if (random.Below(4) != 0) codes.push_back(kEnd);
    return codes;
}

TEST(TiffLzw, RandomCodeSequencesDecodeAsBefore) {
    test::Random random(90210);
    test::Fnv64 hash;
    for (int i = 0; i < 400; ++i) {
        std::vector<uint8_t> stream = test::PackLzwCodes(RandomCodes(random));
        // Sometimes cut short.
        if (random.Below(4) == 0)
            stream.resize(random.Below(static_cast<uint32_t>(stream.size()) + 1));
        DecodeInto(hash, stream, ChooseRoom(random));
        // And once more with room for everything.
        DecodeInto(hash, stream, 60000);
    }
    EXPECT_EQ(Hex(hash.Value()), "0x78FC637196D30CDA");
}

TEST(TiffLzw, EncodedPicturesDecodeToTheirBytesAsBefore) {
    // Encoder output of noise and of smooth data, into exactly its room,
    // into less, and into more.
    test::Random random(31337);
    test::Fnv64 hash;
    for (int i = 0; i < 40; ++i) {
        std::vector<uint8_t> data(1 + random.Below(50000));
        const bool smooth = i % 2 == 1;
        for (size_t j = 0; j < data.size(); ++j)
            data[j] = smooth ? static_cast<uint8_t>(j / 97 + (j % 3) * 40 + (random.Below(8) == 0))
                             : random.Byte();
        const std::vector<uint8_t> stream = test::TiffLzwEncode(data.data(), data.size());
        const Result whole = Decode(stream, data.size());
        ASSERT_EQ(whole.output, data) << i;
        EXPECT_EQ(whole.consumed, stream.size()) << i;
        DecodeInto(hash, stream, data.size());
        DecodeInto(hash, stream, data.size() - random.Below(static_cast<uint32_t>(data.size())));
        DecodeInto(hash, stream, data.size() + 1 + random.Below(100));
    }
    EXPECT_EQ(Hex(hash.Value()), "0x062168CF96B615B0");
}
}  // namespace

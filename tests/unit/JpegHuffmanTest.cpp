// The Huffman decoder against a bit-at-a-time reference that follows the
// canonical-code procedure literally (one bit, compare with the largest code
// of that length, repeat), on real and on random, corrupt tables and data;
// and restart handling on whole pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "jpeg/Huffman.h"
#include "jpeg/ZigZag.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

// The reference decoder: a cursor on the byte being consumed and the count
// of its unread low bits; a byte after 0xFF is skipped; zeros past the end.
struct SerialReader {
    const uint8_t* data;
    size_t size;
    size_t cursor;
    int bitsLeft = 8;

    uint32_t ByteAt(size_t at) const { return at < size ? data[at] : 0; }
    void NextByte() {
        cursor += ByteAt(cursor) == 0xFF ? 2 : 1;
        bitsLeft = 8;
    }
    int Bit() {
        --bitsLeft;
        const int bit = static_cast<int>((ByteAt(cursor) >> bitsLeft) & 1);
        if (bitsLeft == 0) NextByte();
        return bit;
    }
    uint32_t Receive(int s) {
        uint32_t acc = ByteAt(cursor);
        while (s > bitsLeft) {
            cursor += ByteAt(cursor) == 0xFF ? 2 : 1;
            acc = (acc << 8) | ByteAt(cursor);
            bitsLeft += 8;
        }
        bitsLeft -= s;
        const uint32_t value = (acc >> bitsLeft) & ((1u << s) - 1);
        if (bitsLeft == 0) NextByte();
        return value;
    }
};

struct SerialTable {
    int32_t smallest[18], largest[18];
    int first[18];
    uint8_t symbols[256];
    explicit SerialTable(const HuffTable& t) {
        std::memcpy(symbols, t.symbols, 256);
        // The list of code lengths, terminated by 0, then canonical codes.
        std::vector<int> lengths;
        for (int l = 1; l <= 16; ++l)
            for (int i = 0; i < t.counts[l]; ++i) lengths.push_back(l);
        lengths.push_back(0);
        std::vector<int32_t> codes(lengths.size());
        int32_t code = 0;
        int current = lengths[0];
        size_t p = 0;
        while (lengths[p]) {
            while (lengths[p] == current) codes[p++] = code++;
            code *= 2;
            ++current;
        }
        p = 0;
        for (int l = 1; l <= 16; ++l) {
            if (t.counts[l]) {
                first[l] = static_cast<int>(p);
                smallest[l] = codes[p];
                p += t.counts[l];
                largest[l] = codes[p - 1];
            } else {
                largest[l] = -1;
                first[l] = 0;
                smallest[l] = 0;
            }
        }
        largest[17] = 0xFFFFF;
        first[17] = 0;
        smallest[17] = 0;
    }
    int Decode(SerialReader* r) const {
        int32_t code = 0;
        int l = 0;
        do {
            code = code * 2 + r->Bit();
            ++l;
        } while (code > largest[l]);
        return symbols[(first[l] + code - smallest[l]) & 255];
    }
};

int32_t Extend(uint32_t v, int s) {
    return v < (1u << (s - 1)) ? static_cast<int32_t>(v) - ((1 << s) - 1) : static_cast<int32_t>(v);
}

void SerialBlock(SerialReader* r, const SerialTable& dc, const SerialTable& ac, int32_t* predictor,
                 int32_t* block) {
    const int s = dc.Decode(r);
    if (s) {
        int32_t difference;
        if (s <= 16) {
            difference = Extend(r->Receive(s), s);
        } else {
            // Categories above 16 exist only in corrupt tables: all their
            // bits are consumed, the last 16 are the value.
            uint32_t value = 0;
            for (int left = s; left > 0;) {
                const int take = left < 16 ? left : 16;
                value = (value << take) | r->Receive(take);
                left -= take;
            }
            difference = Extend(value & 0xFFFF, 16);
        }
        *predictor = static_cast<int32_t>(static_cast<uint32_t>(*predictor) +
                                          static_cast<uint32_t>(difference));
    }
    block[0] = *predictor;
    for (int k = 1; k < 64; ++k) {
        const int rs = ac.Decode(r);
        const int run = rs >> 4, size = rs & 15;
        if (size == 0) {
            if (run != 15) break;
            k += 15;
        } else {
            k += run;
            block[jpeg::kZigZagToNatural[k]] = Extend(r->Receive(size), size);
        }
    }
}

HuffTable TableFrom(const HuffDefinition& definition) {
    HuffTable t;
    std::memset(&t, 0, sizeof t);
    std::memcpy(t.counts, definition.counts, 17);
    std::memcpy(t.symbols, definition.symbols.data(), definition.symbols.size());
    jpeg::DeriveTable(&t);
    return t;
}

// Decodes `blocks` blocks with both decoders and compares coefficients,
// predictors and where each stopped in the bytes. With storeAc false only
// the DC term is compared, and nothing else may have been written.
void CompareWithReference(const std::vector<uint8_t>& data, const HuffTable& dc,
                          const HuffTable& ac, int blocks, bool storeAc = true) {
    BitReader fast;
    jpeg::StartBits(&fast, data.data(), data.size(), 0);
    SerialReader serial{data.data(), data.size(), 0};
    const SerialTable serialDc(dc), serialAc(ac);
    int32_t fastPredictor = 0, serialPredictor = 0;
    for (int b = 0; b < blocks; ++b) {
        int32_t fastBlock[64] = {0}, serialBlock[64] = {0};
        const int last = jpeg::DecodeBlock(&fast, &dc, &ac, &fastPredictor, fastBlock, storeAc);
        SerialBlock(&serial, serialDc, serialAc, &serialPredictor, serialBlock);
        if (storeAc) {
            ASSERT_EQ(0, std::memcmp(fastBlock, serialBlock, sizeof fastBlock)) << "block " << b;
        } else {
            ASSERT_EQ(fastBlock[0], serialBlock[0]) << "block " << b;
            ASSERT_EQ(last, 0) << "block " << b;
            for (int k = 1; k < 64; ++k) ASSERT_EQ(fastBlock[k], 0) << "block " << b;
        }
        ASSERT_EQ(fastPredictor, serialPredictor);
        bool partlyUsed;
        const size_t cursor = jpeg::BitCursor(&fast, &partlyUsed);
        ASSERT_EQ(cursor, serial.cursor) << "block " << b;
        ASSERT_EQ(partlyUsed, serial.bitsLeft < 8) << "block " << b;
    }
}

}  // namespace

TEST(JpegHuffman, StandardTablesMatchTheBitSerialDecoderOnRandomData) {
    const HuffTable dc = TableFrom(StandardDc()), ac = TableFrom(StandardAc());
    std::mt19937 random(5);
    for (int round = 0; round < 400; ++round) {
        // Some rounds mostly 0xFF: long runs of them, and one at the end.
        const unsigned ffOneIn = round % 4 == 3 ? 2 : 7;
        std::vector<uint8_t> data(1 + random() % 127);
        for (uint8_t& byte : data)
            byte = static_cast<uint8_t>(random() % ffOneIn == 0 ? 0xFF : random());
        CompareWithReference(data, dc, ac, 40);
        CompareWithReference(data, dc, ac, 40, false);
    }
}

TEST(JpegHuffman, CorruptTablesMatchTheBitSerialDecoder) {
    std::mt19937 random(11);
    for (int round = 0; round < 300; ++round) {
        HuffDefinition dcDefinition, acDefinition;
        for (HuffDefinition* definition : {&dcDefinition, &acDefinition}) {
            int total = 0;
            for (int l = 1; l <= 16; ++l) {
                // Over-full, sparse and empty lengths alike.
                const int count = random() % 4 == 0 ? static_cast<int>(random() % 40)
                                                    : static_cast<int>(random() % 3);
                if (total + count > 256) break;
                definition->counts[l] = static_cast<uint8_t>(count);
                total += count;
            }
            for (int i = 0; i < total; ++i) definition->symbols.push_back(static_cast<uint8_t>(random()));
        }
        const HuffTable dc = TableFrom(dcDefinition), ac = TableFrom(acDefinition);
        std::vector<uint8_t> data(32 + random() % 200);
        for (uint8_t& byte : data) byte = static_cast<uint8_t>(random() % 5 == 0 ? 0xFF : random());
        CompareWithReference(data, dc, ac, 12);
        CompareWithReference(data, dc, ac, 12, false);
    }
}

TEST(JpegHuffman, EncodedBlocksMatchTheBitSerialDecoderKeepingAllTermsOrTheDcAlone) {
    // Blocks as an encoder makes them: short codes in runs, zero-run codes,
    // terms up to the last position with and without end of block.
    const Codes dcCodes(StandardDc()), acCodes(StandardAc());
    const HuffTable dc = TableFrom(StandardDc()), ac = TableFrom(StandardAc());
    std::mt19937 random(17);
    for (int round = 0; round < 100; ++round) {
        BitWriter w;
        for (int b = 0; b < 30; ++b) {
            std::vector<std::pair<int, int>> terms;
            const int count = static_cast<int>(random() % 40);
            int k = 0;
            for (int t = 0; t < count && k < 63; ++t) {
                k += random() % 9 == 0 ? 16 + static_cast<int>(random() % 30)
                                       : 1 + static_cast<int>(random() % 3);
                if (k > 63) k = 63;
                const int size = random() % 5 == 0 ? 1 + static_cast<int>(random() % 10) : 1;
                int value = (1 << (size - 1)) + static_cast<int>(random() % (1u << (size - 1)));
                if (random() % 2) value = -value;
                terms.push_back({k, value});
            }
            if (random() % 4 == 0 && k < 63) terms.push_back({63, 1});
            EncodeBlock(&w, dcCodes, acCodes, static_cast<int>(random() % 2001) - 1000, terms);
        }
        w.Flush();
        CompareWithReference(w.bytes(), dc, ac, 30);
        CompareWithReference(w.bytes(), dc, ac, 30, false);
    }
}

TEST(JpegHuffman, ACodeLongerThanSixteenBitsStopsAtSeventeen) {
    // No codes at all: every symbol takes 17 bits and indexes the symbols by
    // its low byte.
    HuffDefinition empty;
    empty.symbols.assign(0, 0);
    const HuffTable table = TableFrom(empty);
    const std::vector<uint8_t> zeros(16, 0);
    BitReader reader;
    jpeg::StartBits(&reader, zeros.data(), zeros.size(), 0);
    int32_t predictor = 7, block[64] = {0};
    EXPECT_EQ(jpeg::DecodeBlock(&reader, &table, &table, &predictor, block, true), 0);
    EXPECT_EQ(predictor, 7);
    EXPECT_EQ(block[0], 7);
    bool partlyUsed;
    // Two symbols of 17 bits: byte 4, two bits used.
    EXPECT_EQ(jpeg::BitCursor(&reader, &partlyUsed), 4u);
    EXPECT_TRUE(partlyUsed);
    CompareWithReference(zeros, table, table, 3);
}

TEST(JpegHuffman, ARunPastTheLastCoefficientLandsOnPosition63) {
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter w;
    EncodeBlock(&w, dc, ac, 0, {{62, 5}}, false);
    // At k = 63 a run of 15 pushes the index to 78.
    w.Put(ac.code[0xF1], ac.length[0xF1]);
    PutValue(&w, -1, 1);
    w.Flush();
    const HuffTable dcTable = TableFrom(StandardDc()), acTable = TableFrom(StandardAc());
    BitReader reader;
    jpeg::StartBits(&reader, w.bytes().data(), w.bytes().size(), 0);
    int32_t predictor = 0, block[64] = {0};
    EXPECT_EQ(jpeg::DecodeBlock(&reader, &dcTable, &acTable, &predictor, block, true), 63);
    EXPECT_EQ(block[jpeg::kZigZagToNatural[62]], 5);
    EXPECT_EQ(block[63], -1);
    int nonZero = 0;
    for (int32_t c : block) nonZero += c != 0;
    EXPECT_EQ(nonZero, 2);
}

TEST(JpegHuffman, DerivedTablesHoldCanonicalCodeBounds) {
    const HuffTable t = TableFrom(StandardDc());
    EXPECT_EQ(t.largest[1], -1);
    EXPECT_EQ(t.smallest[2], 0);
    EXPECT_EQ(t.largest[2], 0);
    EXPECT_EQ(t.smallest[3], 2);
    EXPECT_EQ(t.largest[3], 6);
    EXPECT_EQ(t.firstSymbol[3], 1);
    EXPECT_EQ(t.smallest[9], 510);
    EXPECT_EQ(t.largest[9], 510);
    EXPECT_EQ(t.largest[10], -1);
    EXPECT_EQ(t.largest[17], 0xFFFFF);
}

namespace {
const std::vector<FrameComponent> kGrey = {{1, 1, 1, 0}};

// A row of greyscale blocks with the given DC values (quantiser 1); with a
// restart interval of 1 an RSTn follows every block but the last.
Bytes GreyRow(const std::vector<int>& dcValues, int restartInterval) {
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter scan;
    int predictor = 0;
    for (size_t i = 0; i < dcValues.size(); ++i) {
        EncodeBlock(&scan, dc, ac, dcValues[i] - predictor);
        predictor = dcValues[i];
        if (restartInterval && i + 1 < dcValues.size()) {
            scan.Flush();
            scan.Raw({0xFF, static_cast<uint8_t>(0xD0 + (i & 7))});
            predictor = 0;
        }
    }
    scan.Flush();
    const Bytes extra = restartInterval ? Dri(restartInterval) : Bytes{};
    return Picture(Header(8 * static_cast<int>(dcValues.size()), 8, kGrey, 1, extra), scan);
}

// How many bytes the entropy-coded part of GreyRow(values, 0) has.
size_t GreyRowScanBytes(const std::vector<int>& dcValues) {
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter scan;
    int predictor = 0;
    for (int value : dcValues) {
        EncodeBlock(&scan, dc, ac, value - predictor);
        predictor = value;
    }
    scan.Flush();
    return scan.bytes().size();
}

// The flat value of a DC-only block with quantiser 1 (accurate transform).
int Flat(int dc) { return std::min(255, std::max(0, 128 + ((dc * 4 + 16) >> 5))); }

class JpegRestarts : public JpegSettings {};
}  // namespace

TEST_F(JpegRestarts, RestartSevenIsFollowedByRestartZero) {
    std::vector<int> values;
    for (int i = 0; i < 11; ++i) values.push_back(40 * i - 200);
    const Decoded d = DecodeBytes(GreyRow(values, 1), "rst-wrap.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    for (int i = 0; i < 11; ++i) EXPECT_EQ(d.image->Row(3)[8 * i + 4], Flat(values[i])) << i;
}

TEST_F(JpegRestarts, WithoutARestartIntervalRestartMarkersAreData) {
    // A DC difference of 2047 puts 0xFF in the data; a decoder that did not
    // skip the byte after it would lose the following block.
    const Bytes normal = GreyRow({2047, 10}, 0);
    Bytes marked = normal;
    size_t at = 0;
    for (size_t i = 0; i + 1 < marked.size(); ++i)
        if (marked[i] == 0xFF && marked[i + 1] == 0x00) at = i + 1;
    ASSERT_NE(at, 0u);
    marked[at] = 0xD0;  // FF D0 instead of the stuffed FF 00
    const Decoded a = DecodeBytes(normal, "ff00.jpg");
    const Decoded b = DecodeBytes(marked, "ffd0.jpg");
    ASSERT_TRUE(a.loaded && b.loaded);
    EXPECT_EQ(a.image->Row(0)[0], 255);
    EXPECT_EQ(a.image->Row(0)[8], Flat(10));
    EXPECT_EQ(b.image->Row(0)[8], Flat(10));
}

TEST_F(JpegRestarts, AByteStuffedAfterFFIsSkippedAndTheFFIsData) {
    // DC 511: category 9, code 1111110, then nine 1 bits: the scan begins
    // FD FF, and the encoder put 0x00 after the 0xFF.
    const Bytes bytes = GreyRow({511, -300}, 0);
    const Bytes expectedScan = {0xFD, 0xFF, 0x00};
    const size_t scanStart = bytes.size() - 2 - GreyRowScanBytes({511, -300});
    ASSERT_TRUE(std::equal(expectedScan.begin(), expectedScan.end(), bytes.begin() + scanStart));
    const Decoded d = DecodeBytes(bytes, "stuffed.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    EXPECT_EQ(d.image->Row(0)[0], 192);  // 128 + 511 / 8 rounded
    EXPECT_EQ(d.image->Row(7)[15], 91);  // 128 - 300 / 8 rounded up
}

TEST_F(JpegRestarts, TruncatedEntropyDataDecodesFromZeroBits) {
    Bytes bytes = GreyRow({80, -80, 160}, 0);
    const Decoded whole = DecodeBytes(bytes, "whole.jpg");
    ASSERT_TRUE(whole.loaded);
    // Cut inside the last block: the first two blocks stand.
    bytes.resize(bytes.size() - 3);
    const Decoded cut = DecodeBytes(bytes, "cut.jpg");
    ASSERT_TRUE(cut.loaded) << cut.text;
    EXPECT_EQ(cut.image->Row(0)[0], Flat(80));
    EXPECT_EQ(cut.image->Row(7)[15], Flat(-80));
}

TEST_F(JpegRestarts, ATruncatedFileWithRestartsDecodesWhatItHas) {
    // The bytes end before the second restart marker: running out of data
    // is not a wrong marker, the remaining MCUs decode from zero bits.
    Bytes bytes = GreyRow({40, 80, 120, 160}, 1);
    size_t second = 0;
    for (size_t i = 0; i + 1 < bytes.size(); ++i)
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xD1) second = i;
    ASSERT_NE(second, 0u);
    bytes.resize(second);
    const Decoded d = DecodeBytes(bytes, "rst-cut.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    EXPECT_EQ(d.image->Row(4)[4], Flat(40));
    EXPECT_EQ(d.image->Row(4)[12], Flat(80));
}

#if GTEST_HAS_DEATH_TEST && !defined(_WIN32)
TEST_F(JpegRestarts, AnOutOfOrderRestartMarkerEndsTheProgram) {
    Bytes bytes = GreyRow({10, 20, 30}, 1);
    for (size_t i = 0; i + 1 < bytes.size(); ++i)
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xD1) bytes[i + 1] = 0xD2;
    EXPECT_EXIT(DecodeBytes(bytes, "rst-order.jpg"), ::testing::ExitedWithCode(1),
                "QUIT!: EXIT: Incorrect RST marker");
}

TEST_F(JpegRestarts, AMissingRestartMarkerEndsTheProgram) {
    Bytes bytes = GreyRow({10, 20, 30}, 1);
    for (size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xD0) {
            bytes.erase(bytes.begin() + static_cast<ptrdiff_t>(i),
                        bytes.begin() + static_cast<ptrdiff_t>(i) + 2);
            break;
        }
    }
    EXPECT_EXIT(DecodeBytes(bytes, "rst-missing.jpg"), ::testing::ExitedWithCode(1),
                "QUIT!: EXIT: Incorrect RST marker");
}
#endif

namespace {
// A whole scan with restarts, decoded by the stage routines and by the
// bit-at-a-time reference: three components at 4:2:0 with tables of their
// own, random (or corrupt) tables, random entropy bytes with stuffed 0xFF
// pairs, and after every restart interval an RSTn in sequence, sometimes
// after fill bytes. Each segment holds more bytes than its MCUs can use, so
// both decoders must find each marker by the scan of the remaining bytes,
// starting after a partly used byte (a 0xFF among them too).
struct SerialScan {
    SerialReader reader;
    int interval;
    int mcusToRestart;
    int32_t predictors[3] = {0, 0, 0};
    int nextRestart = 0;

    // Restart step: past a partly used byte, then the marker scan.
    bool Restart() {
        if (reader.bitsLeft < 8) ++reader.cursor;
        reader.bitsLeft = 8;
        size_t at = reader.cursor;
        for (;;) {
            while (at < reader.size && reader.data[at] != 0xFF) ++at;
            while (at < reader.size && reader.data[at] == 0xFF) ++at;
            if (at >= reader.size) return false;
            if (reader.data[at++] != 0x00) break;
        }
        if (reader.data[at - 1] != 0xD0 + nextRestart) return false;
        reader.cursor = at;
        for (int32_t& p : predictors) p = 0;
        mcusToRestart = interval;
        nextRestart = (nextRestart + 1) & 7;
        return true;
    }
};

HuffDefinition RandomSpec(std::mt19937* random) {
    HuffDefinition definition;
    int total = 0;
    for (int l = 1; l <= 16; ++l) {
        const int count = (*random)() % 4 == 0 ? static_cast<int>((*random)() % 30)
                                               : static_cast<int>((*random)() % 3);
        if (total + count > 256) break;
        definition.counts[l] = static_cast<uint8_t>(count);
        total += count;
    }
    for (int i = 0; i < total; ++i) definition.symbols.push_back(static_cast<uint8_t>((*random)()));
    return definition;
}
}  // namespace

TEST(JpegHuffman, AScanWithRestartsMatchesTheBitSerialDecoderMcuByMcu) {
    std::mt19937 random(23);
    for (int round = 0; round < 60; ++round) {
        const bool corrupt = round % 2 == 1;
        // The one-eighth decode keeps the DC terms only.
        const bool dcOnly = round / 2 % 2 == 1;
        std::unique_ptr<JpegState> state(new JpegState());
        state->dcOnly = dcOnly ? 1 : 0;
        HuffDefinition specs[4];
        for (int t = 0; t < 2; ++t) {
            specs[2 * t] = corrupt ? RandomSpec(&random) : StandardDc();
            specs[2 * t + 1] = corrupt ? RandomSpec(&random) : StandardAc();
            state->dcTables[t] = TableFrom(specs[2 * t]);
            state->acTables[t] = TableFrom(specs[2 * t + 1]);
        }
        JpegComponent components[3] = {};
        for (int c = 0; c < 3; ++c) {
            components[c].index = c;
            components[c].h = c == 0 ? 2 : 1;
            components[c].v = c == 0 ? 2 : 1;
            components[c].dcTable = c == 0 ? 0 : 1;
            components[c].acTable = c == 0 ? 0 : 1;
            state->components[c] = &components[c];
            state->scanComponents[c] = &components[c];
        }
        state->componentCount = 3;
        state->scanCount = 3;
        state->blocksPerMcu = 6;
        const int membership[6] = {0, 0, 0, 0, 1, 2};
        std::memcpy(state->mcuMembership, membership, sizeof membership);
        const int interval = 1 + static_cast<int>(random() % 3);
        state->restartInterval = interval;

        // A block takes at most 17 + 255 bits for its DC term and 63 times
        // 17 + 15 for the rest, under 290 bytes; six of them per MCU.
        const int restarts = 10;
        const int segmentBytes = interval * 6 * 290;
        std::vector<uint8_t> data;
        for (int segment = 0; segment <= restarts; ++segment) {
            for (int i = 0; i < segmentBytes; ++i) {
                const uint8_t byte = static_cast<uint8_t>(random());
                data.push_back(byte);
                if (byte == 0xFF) data.push_back(0x00);
            }
            if (segment == restarts) break;
            data.push_back(0xFF);
            for (int fill = static_cast<int>(random() % 3); fill > 0; --fill) data.push_back(0xFF);
            data.push_back(static_cast<uint8_t>(0xD0 + (segment & 7)));
        }
        state->data = data.data();
        state->size = data.size();
        state->cursor = 0;
        ASSERT_TRUE(jpeg::HuffStartOfScan(state.get()));

        SerialScan serial{SerialReader{data.data(), data.size(), 0}, interval, interval};
        const SerialTable serialDc[2] = {SerialTable(state->dcTables[0]),
                                         SerialTable(state->dcTables[1])};
        const SerialTable serialAc[2] = {SerialTable(state->acTables[0]),
                                         SerialTable(state->acTables[1])};
        const int mcus = interval * (restarts + 1);
        for (int m = 0; m < mcus; ++m) {
            int32_t fast[6 * 64] = {0}, reference[6 * 64] = {0};
            jpeg::HuffDecodeMcu(state.get(), fast);
            if (serial.mcusToRestart == 0) {
                ASSERT_TRUE(serial.Restart()) << "MCU " << m;
            }
            --serial.mcusToRestart;
            for (int b = 0; b < 6; ++b) {
                const int c = membership[b];
                const int t = c == 0 ? 0 : 1;
                SerialBlock(&serial.reader, serialDc[t], serialAc[t], &serial.predictors[c],
                            reference + 64 * b);
            }
            if (dcOnly) {
                for (int k = 0; k < 6 * 64; ++k)
                    ASSERT_EQ(fast[k], k % 64 == 0 ? reference[k] : 0)
                        << "round " << round << " MCU " << m << " coefficient " << k;
            } else {
                ASSERT_EQ(0, std::memcmp(fast, reference, sizeof fast))
                    << "round " << round << " MCU " << m;
            }
            bool partlyUsed;
            ASSERT_EQ(jpeg::BitCursor(&state->reader, &partlyUsed), serial.reader.cursor)
                << "round " << round << " MCU " << m;
            ASSERT_EQ(partlyUsed, serial.reader.bitsLeft < 8);
        }
        // End of scan: past the partly used byte.
        ASSERT_TRUE(jpeg::HuffEndOfScan(state.get()));
        EXPECT_EQ(state->cursor, serial.reader.cursor + (serial.reader.bitsLeft < 8 ? 1u : 0u));
        EXPECT_EQ(state->nextRestart, restarts % 8);
    }
}

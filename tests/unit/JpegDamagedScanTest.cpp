// Every byte of the pixel block after the one-eighth decode and after the
// full decode (the row loader alone, YCbCr as decoded) of pictures whose
// entropy-coded data is damaged: cut short, bits flipped, bytes dropped, a
// marker code where a stuffed zero was, scans of random bytes under random
// (over-full, sparse, empty) Huffman tables. A decoder must turn such data
// into the same pixels on every run and every build, so each result is
// pinned by its FNV-1a sum.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

class JpegDamagedScan : public JpegSettings {};

class Random {
public:
    explicit Random(uint32_t seed) : state_(seed) {}
    int Below(int n) {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<int>((state_ >> 8) % static_cast<uint32_t>(n));
    }
    int Between(int low, int high) { return low + Below(high - low + 1); }

private:
    uint32_t state_;
};

enum Damage { kIntact, kCut, kFlippedBits, kDroppedBytes, kMarkerForStuffing, kRandomBytes };

struct DamagedCase {
    const char* name;
    int width, height;
    std::vector<FrameComponent> components;
    int restartInterval;
    bool randomTables;  // random tables for both classes; the scan is then random bytes
    Damage damage;
    uint8_t quantiser;
};

const std::vector<FrameComponent> k420 = {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}};
const std::vector<FrameComponent> k444 = {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}};
const std::vector<FrameComponent> k422 = {{1, 2, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}};
const std::vector<FrameComponent> k411 = {{1, 4, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}};
const std::vector<FrameComponent> kGrey = {{1, 1, 1, 0}};

const DamagedCase kCases[] = {
    {"420-intact-long-blocks", 77, 53, k420, 0, false, kIntact, 3},
    {"420-cut", 77, 53, k420, 0, false, kCut, 3},
    {"420-flipped", 93, 61, k420, 0, false, kFlippedBits, 5},
    {"420-dropped", 65, 40, k420, 0, false, kDroppedBytes, 3},
    {"420-marker-in-data", 70, 70, k420, 0, false, kMarkerForStuffing, 1},
    {"420-restarts-flipped", 61, 45, k420, 2, false, kFlippedBits, 3},
    {"420-restarts-cut", 61, 45, k420, 1, false, kCut, 3},
    {"444-flipped", 41, 35, k444, 0, false, kFlippedBits, 7},
    {"444-restarts-dropped", 41, 35, k444, 3, false, kDroppedBytes, 3},
    {"422-cut", 50, 22, k422, 0, false, kCut, 3},
    {"411-flipped", 67, 19, k411, 0, false, kFlippedBits, 2},
    {"grey-flipped", 123, 37, kGrey, 0, false, kFlippedBits, 3},
    {"grey-restarts-flipped", 99, 17, kGrey, 5, false, kFlippedBits, 3},
    {"grey-cut", 50, 50, kGrey, 0, false, kCut, 9},
    {"420-random-tables", 48, 40, k420, 0, true, kRandomBytes, 3},
    {"420-random-tables-restarts", 40, 33, k420, 1, true, kRandomBytes, 2},
    {"444-random-tables", 30, 30, k444, 0, true, kRandomBytes, 200},
    {"grey-random-tables", 71, 9, kGrey, 0, true, kRandomBytes, 1},
    {"grey-random-tables-restarts", 64, 16, kGrey, 2, true, kRandomBytes, 255},
};

HuffDefinition RandomTable(Random* random) {
    HuffDefinition definition;
    int total = 0;
    for (int l = 1; l <= 16; ++l) {
        const int count = random->Below(4) == 0 ? random->Below(30) : random->Below(3);
        if (total + count > 256) break;
        definition.counts[l] = static_cast<uint8_t>(count);
        total += count;
    }
    for (int i = 0; i < total; ++i)
        definition.symbols.push_back(static_cast<uint8_t>(random->Below(256)));
    return definition;
}

// Random entropy-coded bytes with a stuffed zero after each 0xFF.
void RandomScanBytes(Random* random, int count, Bytes* out) {
    for (int i = 0; i < count; ++i) {
        const uint8_t byte = static_cast<uint8_t>(random->Below(256));
        out->push_back(byte);
        if (byte == 0xFF) out->push_back(0x00);
    }
}

// A generous upper bound of the bytes one block can take: a 16-bit DC code
// with its 16 value bits, and 63 terms of a 16-bit code and 15 value bits.
constexpr int kBlockBound = (32 + 63 * 31) / 8 + 1;

struct Built {
    Bytes header;  // up to and including the scan header
    Bytes scan;
};

// The picture: chroma with tables of its own, the scan either encoded from
// pseudo-random blocks (DC past both clamps, runs, zero-run codes, terms up
// to the last zig-zag position with and without end of block) or random
// bytes. With restarts each interval is followed by filler bytes, so a
// decoder knocked off course by damage still finds its markers in order.
Built Build(const DamagedCase& c, uint32_t seed) {
    Random random(seed);
    HuffDefinition tables[4] = {StandardDc(), StandardAc(), StandardDc(), StandardAc()};
    if (c.randomTables)
        for (HuffDefinition& table : tables) table = RandomTable(&random);
    Built built;
    Bytes& out = built.header;
    out = Soi();
    Append(&out, Dqt(0, c.quantiser));
    Append(&out, Sof(0xC0, c.width, c.height, c.components));
    for (int t = 0; t < 2; ++t) {
        Append(&out, Dht(0, t, tables[2 * t]));
        Append(&out, Dht(1, t, tables[2 * t + 1]));
    }
    if (c.restartInterval) Append(&out, Dri(c.restartInterval));
    Bytes sos = {static_cast<uint8_t>(c.components.size())};
    for (size_t i = 0; i < c.components.size(); ++i) {
        sos.push_back(c.components[i].id);
        sos.push_back(i == 0 ? 0x00 : 0x11);
    }
    Append(&sos, {0, 63, 0});
    Append(&out, Segment(0xDA, sos));

    int hMax = 1, vMax = 1, blocksPerMcu = 0;
    for (const FrameComponent& f : c.components) {
        hMax = std::max(hMax, f.h);
        vMax = std::max(vMax, f.v);
        blocksPerMcu += f.h * f.v;
    }
    if (c.components.size() == 1) hMax = vMax = blocksPerMcu = 1;
    const int mcus =
        ((c.width + 8 * hMax - 1) / (8 * hMax)) * ((c.height + 8 * vMax - 1) / (8 * vMax));
    const Codes codes[4] = {Codes(tables[0]), Codes(tables[1]), Codes(tables[2]), Codes(tables[3])};
    BitWriter scan;
    std::vector<int> predictor(c.components.size(), 0);
    for (int m = 0; m < mcus; ++m) {
        if (c.restartInterval && m > 0 && m % c.restartInterval == 0) {
            scan.Flush();
            Bytes filler;
            RandomScanBytes(&random, c.restartInterval * blocksPerMcu * kBlockBound, &filler);
            scan.Raw(filler);
            scan.Raw({0xFF, static_cast<uint8_t>(0xD0 + ((m / c.restartInterval - 1) & 7))});
            for (int& p : predictor) p = 0;
        }
        if (c.randomTables) {
            Bytes bytes;
            RandomScanBytes(&random, blocksPerMcu * random.Between(2, 40), &bytes);
            scan.Raw(bytes);
            continue;
        }
        for (size_t s = 0; s < c.components.size(); ++s) {
            const int blocks = c.components.size() == 1 ? 1 : c.components[s].h * c.components[s].v;
            const Codes& dc = codes[s == 0 ? 0 : 2];
            const Codes& ac = codes[s == 0 ? 1 : 3];
            for (int b = 0; b < blocks; ++b) {
                const int dcValue =
                    std::max(-2047, std::min(2047, predictor[s] + random.Between(-700, 700)));
                std::vector<std::pair<int, int>> terms;
                const int kind = random.Below(5);
                int k = 0;
                const int count = kind == 0   ? 0
                                  : kind == 1 ? random.Between(1, 3)
                                              : random.Between(4, 30);
                for (int t = 0; t < count && k < 63; ++t) {
                    // Now and then a run of more than 16 (zero-run codes).
                    k += random.Below(8) == 0 ? random.Between(17, 40) : random.Between(1, 3);
                    if (k > 63) k = 63;
                    int value = random.Between(1, random.Below(6) == 0 ? 1023 : 40);
                    if (random.Below(2)) value = -value;
                    terms.push_back({k, value});
                }
                if (kind == 4 && k < 63) terms.push_back({63, random.Between(1, 3)});
                EncodeBlock(&scan, dc, ac, dcValue - predictor[s], terms);
                predictor[s] = dcValue;
            }
        }
    }
    scan.Flush();
    built.scan = scan.bytes();
    return built;
}

// Damage that leaves every 0xFF and the byte after it alone, so that the
// markers of a scan with restarts stay where they are.
bool Untouchable(const Bytes& scan, size_t at) {
    return scan[at] == 0xFF || (at > 0 && scan[at - 1] == 0xFF);
}

Bytes Damaged(const DamagedCase& c, uint32_t seed) {
    Built built = Build(c, seed);
    Random random(seed * 7 + 1);
    Bytes& scan = built.scan;
    switch (c.damage) {
        case kCut:
            scan.resize(scan.size() * 3 / 5);
            break;
        case kFlippedBits:
            for (int i = 0; i < 12; ++i) {
                const size_t at = static_cast<size_t>(random.Below(static_cast<int>(scan.size())));
                const uint8_t flipped = static_cast<uint8_t>(scan[at] ^ (1 << random.Below(8)));
                if (!Untouchable(scan, at) && flipped != 0xFF) scan[at] = flipped;
            }
            break;
        case kDroppedBytes:
            for (int i = 0; i < 5; ++i) {
                const size_t at = static_cast<size_t>(random.Below(static_cast<int>(scan.size())));
                if (!Untouchable(scan, at) && (at + 1 >= scan.size() || scan[at + 1] != 0xFF))
                    scan.erase(scan.begin() + static_cast<ptrdiff_t>(at));
            }
            break;
        case kMarkerForStuffing:
            for (size_t i = 0; i + 1 < scan.size(); ++i)
                if (scan[i] == 0xFF && scan[i + 1] == 0x00 && random.Below(2)) scan[i + 1] = 0xD3;
            break;
        default:
            break;
    }
    Bytes out = built.header;
    Append(&out, scan);
    if (c.damage != kCut) Append(&out, Eoi());
    return out;
}

uint32_t BlockChecksum(const Image& image) {
    uint32_t hash = 2166136261u;
    for (size_t i = 0; i < image.PixelBytes(); ++i) hash = (hash ^ image.pixels[i]) * 16777619u;
    return hash;
}

struct Pinned {
    const char* name;
    uint32_t eighth, full, eighthFast;
};

// The one-eighth decode and the full decode with the accurate transform and
// smooth upsampling, and the one-eighth decode with the fast options (its
// upsampling replicates).
const Pinned kPinned[] = {
    {"420-intact-long-blocks", 1643986982u, 1906213178u, 1535254088u},
    {"420-cut", 768422405u, 440091949u, 662871519u},
    {"420-flipped", 381987122u, 23150790u, 4185351348u},
    {"420-dropped", 3704631206u, 2525517253u, 1062714970u},
    {"420-marker-in-data", 2791972064u, 3241009524u, 1997937064u},
    {"420-restarts-flipped", 754545428u, 1384810612u, 348071952u},
    {"420-restarts-cut", 2231432750u, 999486624u, 511150424u},
    {"444-flipped", 1381520407u, 1866731674u, 1381520407u},
    {"444-restarts-dropped", 1737278233u, 1648637190u, 1737278233u},
    {"422-cut", 584027335u, 2403457943u, 4086550875u},
    {"411-flipped", 666429065u, 3762477029u, 666429065u},
    {"grey-flipped", 1781349177u, 1958653494u, 1781349177u},
    {"grey-restarts-flipped", 668799015u, 2328721177u, 668799015u},
    {"grey-cut", 2002225481u, 4067175729u, 2002225481u},
    {"420-random-tables", 3135233600u, 2520184113u, 328040214u},
    {"420-random-tables-restarts", 2964745468u, 1481495946u, 2067349586u},
    {"444-random-tables", 3146364750u, 400238562u, 3146364750u},
    {"grey-random-tables", 2342373890u, 52443204u, 2342373890u},
    {"grey-random-tables-restarts", 2149697187u, 265551704u, 2149697187u},
};

}  // namespace

TEST_F(JpegDamagedScan, DamagedScansKeepEveryByteOfBothDecodes) {
    std::string actual;
    bool allMatch = true;
    EXPECT_EQ(std::size(kPinned), std::size(kCases));
    const Pinned none = {"", 0, 0, 0};
    for (size_t i = 0; i < std::size(kCases); ++i) {
        const DamagedCase& c = kCases[i];
        const Bytes bytes = Damaged(c, 500u + static_cast<uint32_t>(i));
        uint32_t sums[3];
        for (int road = 0; road < 3; ++road) {
            g_settings->jpeg.bFastDCT = road == 2;
            g_settings->jpeg.bFastUnsubsample = road == 2;
            g_settings->idx.iIconX = 1;
            g_settings->idx.iIconY = 1;
            const Decoded d = DecodeBytes(bytes, "damaged.jpg", nullptr, road != 1, false);
            EXPECT_TRUE(d.loaded) << c.name << " road " << road << ": " << d.place << ": "
                                  << d.text;
            sums[road] = d.image ? BlockChecksum(*d.image) : 0;
        }
        char line[160];
        std::snprintf(line, sizeof line, "    {\"%s\", %uu, %uu, %uu},\n", c.name, sums[0], sums[1],
                      sums[2]);
        actual += line;
        const Pinned& pinned = i < std::size(kPinned) ? kPinned[i] : none;
        EXPECT_STREQ(pinned.name, c.name);
        if (sums[0] != pinned.eighth || sums[1] != pinned.full || sums[2] != pinned.eighthFast) {
            allMatch = false;
            ADD_FAILURE() << c.name << ": " << sums[0] << ", " << sums[1] << ", " << sums[2];
        }
    }
    if (!allMatch) std::printf("Sums as decoded now:\n%s", actual.c_str());
}

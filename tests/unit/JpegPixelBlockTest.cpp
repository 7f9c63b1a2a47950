// Every byte of the destination's pixel block after a decode, padding
// columns and rows included, for each sampling layout the pipeline knows,
// each option set and each road a picture takes: the full decode through
// Load (converted to blue, green, red in the visible part only), the row
// loader alone (YCbCr as decoded), the thumbnail road through an
// intermediate picture (decoded, resampled, then converted) and the
// one-eighth decode. The pictures are built from pseudo-random blocks so
// that the transforms, the clamps and both upsamplers see every kind of
// value; each result is pinned by its FNV-1a sum.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "jpeg/YCbCr.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

class JpegPixelBlock : public JpegSettings {};

struct Layout {
    const char* name;
    int width, height;
    std::vector<FrameComponent> components;
    std::vector<uint8_t> scanOrder;  // component identifiers as the scan names them
    int restartInterval;
};

// A small linear congruential generator: the same pictures on every
// platform.
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

// The file: quantisation table 0 of 3s (so DC values reach past both ends of
// the sample range), the standard Huffman tables, the scan in the layout's
// order and, every restartInterval MCUs, a restart marker.
Bytes BuildPicture(const Layout& layout, uint32_t seed) {
    Bytes out = Soi();
    Append(&out, Dqt(0, 3));
    Append(&out, Sof(0xC0, layout.width, layout.height, layout.components));
    Append(&out, Dht(0, 0, StandardDc()));
    Append(&out, Dht(1, 0, StandardAc()));
    if (layout.restartInterval) Append(&out, Dri(layout.restartInterval));
    Append(&out, Sos(layout.scanOrder));

    int hMax = 1, vMax = 1;
    for (const FrameComponent& c : layout.components) {
        hMax = std::max(hMax, c.h);
        vMax = std::max(vMax, c.v);
    }
    const bool interleaved = layout.scanOrder.size() > 1;
    const int mcuWidth = interleaved ? 8 * hMax : 8, mcuHeight = interleaved ? 8 * vMax : 8;
    const int mcus =
        ((layout.width + mcuWidth - 1) / mcuWidth) * ((layout.height + mcuHeight - 1) / mcuHeight);
    const Codes dc(StandardDc()), ac(StandardAc());
    Random random(seed);
    BitWriter scan;
    std::vector<int> predictor(layout.scanOrder.size(), 0);
    for (int m = 0; m < mcus; ++m) {
        if (layout.restartInterval && m > 0 && m % layout.restartInterval == 0) {
            scan.Flush();
            const int n = (m / layout.restartInterval - 1) & 7;
            scan.Raw({0xFF, static_cast<uint8_t>(0xD0 + n)});
            for (int& p : predictor) p = 0;
        }
        for (size_t s = 0; s < layout.scanOrder.size(); ++s) {
            int blocks = 1;
            for (const FrameComponent& c : layout.components)
                if (c.id == layout.scanOrder[s] && interleaved) blocks = c.h * c.v;
            for (int b = 0; b < blocks; ++b) {
                // DC walks towards a random level well past both clamps;
                // about a third of the blocks are flat, some carry terms up
                // to the last zig-zag position.
                const int target = random.Between(-420, 420);
                const int dcValue = predictor[s] + (target - predictor[s]) / 2;
                std::vector<std::pair<int, int>> terms;
                const int kind = random.Below(3);
                if (kind > 0) {
                    const int count = kind == 1 ? random.Between(1, 4) : random.Between(5, 14);
                    int k = 0;
                    for (int t = 0; t < count && k < 63; ++t) {
                        k += random.Between(1, kind == 1 ? 4 : 9);
                        if (k > 63) k = 63;
                        int value = random.Between(1, k < 10 ? 90 : 25);
                        if (random.Below(2)) value = -value;
                        terms.push_back({k, value});
                    }
                }
                EncodeBlock(&scan, dc, ac, dcValue - predictor[s], terms);
                predictor[s] = dcValue;
            }
        }
    }
    scan.Flush();
    return Picture(out, scan);
}

const Layout kLayouts[] = {
    {"420", 61, 45, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"420-restarts-cr-first", 64, 32, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {3, 1, 2}, 3},
    {"420-one-row", 203, 7, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"420-one-pixel", 1, 1, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"422", 37, 19, {{1, 2, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"440", 23, 41, {{1, 1, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"444-restarts", 29, 13, {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 2},
    {"grey", 27, 11, {{1, 1, 1, 0}}, {1}, 0},
    {"luma-subsampled", 19, 21, {{1, 1, 1, 0}, {2, 2, 2, 0}, {3, 2, 2, 0}}, {1, 2, 3}, 0},
    {"chroma-differ", 33, 17, {{1, 2, 2, 0}, {2, 1, 2, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"cb-full-cr-420", 25, 25, {{1, 2, 2, 0}, {2, 2, 2, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"chroma-vertical-only", 35, 30, {{1, 2, 2, 0}, {2, 2, 1, 0}, {3, 2, 1, 0}}, {1, 2, 3}, 1},
    {"411", 35, 9, {{1, 4, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"three-by-one", 50, 9, {{1, 3, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"one-by-four", 17, 40, {{1, 1, 4, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"420-many-bands", 150, 130, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 5},
    {"420-odd", 17, 17, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {2, 3, 1}, 0},
    {"luma-1x4-chroma-1x2", 20, 70, {{1, 1, 4, 0}, {2, 1, 2, 0}, {3, 1, 2, 0}}, {1, 2, 3}, 0},
    {"luma-4x1-chroma-2x1", 70, 20, {{1, 4, 1, 0}, {2, 2, 1, 0}, {3, 2, 1, 0}}, {1, 2, 3}, 0},
    {"444-scan-y-cr-cb", 40, 24, {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 3, 2}, 0},
    {"444-wide", 333, 9, {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"422-tall-restarts", 45, 100, {{1, 2, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 7},
    {"440-wide", 150, 33, {{1, 1, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 3}, 0},
    {"420-cb-named-twice", 24, 24, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}, {1, 2, 2}, 0},
    {"grey-wide", 301, 19, {{1, 1, 1, 0}}, {1}, 3},
};

enum Road { kLoad, kRowLoader, kThumbnail, kOneEighth, kRoads };

// FNV-1a over the whole pixel block.
uint32_t BlockChecksum(const Image& image) {
    uint32_t hash = 2166136261u;
    for (size_t i = 0; i < image.PixelBytes(); ++i) hash = (hash ^ image.pixels[i]) * 16777619u;
    return hash;
}

// One road with the current settings; 0 when the road is not offered.
uint32_t Decode(const Bytes& bytes, Road road, std::string* failure) {
    const std::string path = test::WriteTempFile("block.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    if (!imp.ready) {
        *failure = std::string("not identified: ") + g_errorText;
        return 0;
    }
    std::unique_ptr<Image> image;
    bool ok = false;
    switch (road) {
        case kLoad:
            image.reset(
                new Image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth));
            ok = Load(&imp, image.get(), nullptr, false);
            break;
        case kRowLoader:
            image.reset(
                new Image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth));
            ok = imp.rowLoader(&imp, image.get(), nullptr);
            break;
        case kThumbnail:
            // 13 x 11 pixels of 24 bits, with a row of slack after each.
            image.reset(new Image(13, 11, 13 * 3 + 5, 11, nullptr, 24));
            ok = Load(&imp, image.get(), nullptr, true);
            break;
        case kOneEighth:
            if (imp.rowLoader2 == imp.rowLoader) return 0;
            image.reset(
                new Image(imp.width2, imp.height2, imp.stride2, imp.rows2, imp.palette, imp.depth));
            ok = imp.rowLoader2(&imp, image.get(), nullptr);
            break;
        default:
            break;
    }
    if (!ok) *failure = std::string(g_errorPlace) + ": " + g_errorText;
    return BlockChecksum(*image);
}

// Per layout: for each option set (accurate+smooth, accurate+fast
// upsampling, fast DCT+smooth, fast DCT+fast upsampling) the sums of the
// four roads.
struct Pinned {
    const char* layout;
    uint32_t sums[4][kRoads];
};

const Pinned kPinned[] = {
#include "tests/unit/JpegPixelBlockSums.inc"
};

}  // namespace

TEST_F(JpegPixelBlock, EveryByteOfEveryLayoutIsPinnedPerRoadAndOptionSet) {
    ASSERT_EQ(std::size(kPinned), std::size(kLayouts));
    std::string actual;
    bool allMatch = true;
    for (size_t l = 0; l < std::size(kLayouts); ++l) {
        const Layout& layout = kLayouts[l];
        const Bytes bytes = BuildPicture(layout, 1000u + static_cast<uint32_t>(l));
        char line[256];
        std::snprintf(line, sizeof line, "{\"%s\",\n {", layout.name);
        actual += line;
        for (int option = 0; option < 4; ++option) {
            g_settings->jpeg.bFastDCT = (option >> 1) & 1;
            g_settings->jpeg.bFastUnsubsample = option & 1;
            actual += option ? ",\n  {" : "{";
            for (int road = 0; road < kRoads; ++road) {
                // The thumbnail road decodes the full picture into the
                // intermediate one; the one-eighth road is offered for
                // every picture.
                g_settings->idx.iIconX = road == kOneEighth ? 1 : 10000;
                g_settings->idx.iIconY = road == kOneEighth ? 1 : 10000;
                std::string failure;
                const uint32_t sum = Decode(bytes, static_cast<Road>(road), &failure);
                EXPECT_EQ(failure, "") << layout.name << " option " << option << " road " << road;
                std::snprintf(line, sizeof line, "%s%uu", road ? ", " : "", sum);
                actual += line;
                if (l < std::size(kPinned) && sum != kPinned[l].sums[option][road]) {
                    allMatch = false;
                    ADD_FAILURE() << layout.name << " option " << option << " road " << road << ": "
                                  << sum << ", pinned " << kPinned[l].sums[option][road];
                }
                EXPECT_STREQ(kPinned[l].layout, layout.name);
            }
            actual += "}";
        }
        actual += "}},\n";
    }
    if (!allMatch) std::printf("Sums as decoded now:\n%s", actual.c_str());
}

namespace {
// Real files through Load, whole pixel block, per option set.
struct PinnedFile {
    const char* file;
    uint32_t sums[4];
};

const PinnedFile kPinnedFiles[] = {
#include "tests/unit/JpegPixelBlockFileSums.inc"
};
}  // namespace

TEST_F(JpegPixelBlock, RealFilesKeepEveryByteOfTheirPixelBlock) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    g_settings->idx.iIconX = 10000;
    g_settings->idx.iIconY = 10000;
    std::string actual;
    bool allMatch = true;
    for (const PinnedFile& pinned : kPinnedFiles) {
        const Bytes bytes = test::ReadFile(test::CorpusPath(std::string("jpeg/") + pinned.file));
        ASSERT_FALSE(bytes.empty()) << pinned.file;
        actual += std::string("{\"") + pinned.file + "\", {";
        for (int option = 0; option < 4; ++option) {
            g_settings->jpeg.bFastDCT = (option >> 1) & 1;
            g_settings->jpeg.bFastUnsubsample = option & 1;
            std::string failure;
            const uint32_t sum = Decode(bytes, kLoad, &failure);
            EXPECT_EQ(failure, "") << pinned.file << " option " << option;
            actual += (option ? ", " : "") + std::to_string(sum) + "u";
            if (sum != pinned.sums[option]) {
                allMatch = false;
                ADD_FAILURE() << pinned.file << " option " << option << ": " << sum << ", pinned "
                              << pinned.sums[option];
            }
        }
        actual += "}},\n";
    }
    if (!allMatch) std::printf("Sums as decoded now:\n%s", actual.c_str());
}

namespace {
// A 4:4:4 file whose probe and loader see different frames: a DHT segment
// (for a table the scan does not use) declares a length that ends where its
// symbols begin, and the symbols spell a 24x16 frame header. The probe,
// which steps over segments by their lengths, finds that one and announces
// 24x16; the loader reads the DHT's symbols as symbols and decodes the 8x8
// frame that follows.
Bytes TwoFramesFile() {
    Bytes out = Soi();
    Append(&out, Dqt(0, 2));
    const Bytes hiddenFrame = {0xFF, 0xC0, 0x00, 0x11, 0x08, 0x00, 0x10, 0x00, 0x18, 0x03,
                               0x01, 0x11, 0x00, 0x02, 0x11, 0x00, 0x03, 0x11, 0x00};
    Bytes dht = {0xFF, 0xC4, 0x00, 2 + 1 + 16, 0x01};  // DC table 1
    for (int l = 1; l <= 16; ++l)
        dht.push_back(l == 8 ? static_cast<uint8_t>(hiddenFrame.size()) : 0);
    Append(&dht, hiddenFrame);
    Append(&out, dht);
    Append(&out, Sof(0xC0, 8, 8, {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}));
    Append(&out, Dht(0, 0, StandardDc()));
    Append(&out, Dht(1, 0, StandardAc()));
    Append(&out, Sos({1, 2, 3}));
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter scan;
    EncodeBlock(&scan, dc, ac, 40, {{1, 30}, {8, -20}});  // Y
    EncodeBlock(&scan, dc, ac, -64, {{2, 12}});           // Cb
    EncodeBlock(&scan, dc, ac, 90);                       // Cr
    scan.Flush();
    return Picture(out, scan);
}
}  // namespace

TEST_F(JpegPixelBlock, PixelsOutsideASmallerDecodedFrameAreConvertedAsLoadConvertsThem) {
    const Bytes bytes = TwoFramesFile();
    const std::string path = test::WriteTempFile("twoframes.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    ASSERT_EQ(imp.width, 24);
    ASSERT_EQ(imp.height, 16);
    Image loaded(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    ASSERT_TRUE(Load(&imp, &loaded, nullptr, false)) << g_errorText;
    // Outside the 8x8 frame the pixels were never written: (0, 0, 0)
    // converts to red 0 (0 - 178), green 135, blue 0 (0 - 225).
    for (const auto& at : {std::pair<int, int>{8, 0}, {23, 15}, {0, 8}, {12, 10}}) {
        const uint8_t* pixel = loaded.Row(at.second) + 3 * at.first;
        EXPECT_EQ(pixel[0], 0) << at.first << "," << at.second;
        EXPECT_EQ(pixel[1], 135) << at.first << "," << at.second;
        EXPECT_EQ(pixel[2], 0) << at.first << "," << at.second;
    }
    // Inside it, the decoded pixels converted: the same as decoding
    // without conversion and converting all 24x16 afterwards.
    Image decoded(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    ASSERT_TRUE(imp.rowLoader(&imp, &decoded, nullptr)) << g_errorText;
    EXPECT_NE(decoded.Row(3)[3 * 5], 0);
    jpegConvertYCbCr(decoded.pixels, decoded.stride, decoded.width, decoded.height);
    ASSERT_EQ(loaded.PixelBytes(), decoded.PixelBytes());
    EXPECT_EQ(0, std::memcmp(loaded.pixels, decoded.pixels, loaded.PixelBytes()));
    EXPECT_EQ(BlockChecksum(loaded), 1101089249u);
}

TEST_F(JpegPixelBlock, AColourDecodeThatFailsStillLeavesTheVisiblePixelsConverted) {
    // Component 3 names quantisation table 4: DCTOpen refuses the decode
    // before any block is written, and Load converts what the destination
    // held, as it always has.
    Bytes bytes = Soi();
    Append(&bytes, Dqt(0, 1));
    Append(&bytes, Sof(0xC0, 13, 9, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 4}}));
    Append(&bytes, Dht(0, 0, StandardDc()));
    Append(&bytes, Dht(1, 0, StandardAc()));
    Append(&bytes, Sos({1, 2, 3}));
    BitWriter scan;
    scan.Flush();
    bytes = Picture(bytes, scan);
    const std::string path = test::WriteTempFile("badtable.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    std::memset(image.pixels, 128, image.PixelBytes());
    EXPECT_FALSE(Load(&imp, &image, nullptr, false));
    EXPECT_STREQ(g_errorPlace, "DCTOpen");
    EXPECT_STREQ(g_errorText, "Invalid quantization table no");
    for (int y = 0; y < image.height + 1; ++y) {
        for (int x = 0; x < image.stride / 3; ++x) {
            const uint8_t* pixel = image.Row(y) + 3 * x;
            const bool visible = x < 13 && y < 9;
            EXPECT_EQ(pixel[0], visible ? 129 : 128) << x << "," << y;
            EXPECT_EQ(pixel[1], visible ? 127 : 128) << x << "," << y;
            EXPECT_EQ(pixel[2], visible ? 129 : 128) << x << "," << y;
        }
    }
}

TEST_F(JpegPixelBlock, ATallColourPictureReportsEveryFourthMcuRowThenTheAssembly) {
    // 4:2:0, 40 x 150: ten MCU rows. Through Load (converted as it decodes)
    // and through the row loader alone, the same reports.
    const Layout layout = {"420-tall", 40, 150, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}},
                           {1, 2, 3},  0};
    const Bytes bytes = BuildPicture(layout, 77);
    const std::string path = test::WriteTempFile("tall.jpg", bytes);
    const std::vector<std::string> expected = {"Opening@0",
                                               "@100",
                                               "Decompressing@0",
                                               "@33",
                                               "@77",
                                               "@100",
                                               "Assembling components@0",
                                               "@33",
                                               "@66",
                                               "@100",
                                               "@100"};
    for (bool load : {true, false}) {
        test::RecordingProgress progress;
        ImageImpFile imp(path.c_str(), &progress, false);
        ASSERT_TRUE(imp.ready) << g_errorText;
        Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
        const bool ok =
            load ? Load(&imp, &image, &progress, false) : imp.rowLoader(&imp, &image, &progress);
        ASSERT_TRUE(ok) << g_errorText;
        std::vector<std::string> wanted = expected;
        if (!load) wanted.pop_back();  // Load's own final report
        EXPECT_EQ(progress.events, wanted) << (load ? "Load" : "row loader");
    }
}

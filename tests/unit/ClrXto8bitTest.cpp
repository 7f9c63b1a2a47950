#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>

#include "color/ColourBox.h"
#include "color/ColourConvert.h"
#include "color/ErrorLimit.h"
#include "core/Error.h"
#include "core/Image.h"
#include "tests/support/TestSupport.h"

namespace {
struct Rgb {
    int red, green, blue;
};

// A 24-bit picture (bytes blue, green, red) from a list of colours, row by row.
std::unique_ptr<Image> Picture(int width, int height, const std::vector<Rgb>& colours) {
    auto image = std::make_unique<Image>(width, height, 3 * width, height, nullptr, 24);
    for (int i = 0; i < width * height; ++i) {
        const Rgb& c = colours[i % colours.size()];
        uint8_t* p = image->Row(i / width) + 3 * (i % width);
        p[0] = static_cast<uint8_t>(c.blue);
        p[1] = static_cast<uint8_t>(c.green);
        p[2] = static_cast<uint8_t>(c.red);
    }
    return image;
}

// An 8-bit destination whose palette is filled with 0xAA so that entries the
// quantiser leaves alone can be seen.
std::unique_ptr<Image> Destination(int width, int height) {
    uint8_t palette[kPaletteBytes];
    std::memset(palette, 0xAA, sizeof palette);
    return std::make_unique<Image>(width, height, width, height, palette, 8);
}

std::vector<int> Entry(const Image& image, int i) {
    return {image.palette[3 * i], image.palette[3 * i + 1], image.palette[3 * i + 2]};
}

const std::vector<Rgb> kVga = {
    {0, 0, 0},     {128, 0, 0},     {0, 128, 0},     {128, 128, 0},   {0, 0, 128}, {128, 0, 128},
    {0, 128, 128}, {192, 192, 192}, {128, 128, 128}, {255, 0, 0},     {0, 255, 0}, {255, 255, 0},
    {0, 0, 255},   {255, 0, 255},   {0, 255, 255},   {255, 255, 255},
};

// A 512 x 512 picture holding every cell of the cube once, at the cell's
// lowest colour: mapping it reveals the whole inverse map.
std::unique_ptr<Image> EveryCell() {
    auto image = std::make_unique<Image>(512, 512, 3 * 512, 512, nullptr, 24);
    for (int k = 0; k < kCubeCells; ++k) {
        uint8_t* p = image->Row(k / 512) + 3 * (k % 512);
        p[2] = static_cast<uint8_t>((k >> 12) * 4);
        p[1] = static_cast<uint8_t>(((k >> 6) & 63) * 4);
        p[0] = static_cast<uint8_t>((k & 63) * 4);
    }
    return image;
}

int ReferenceLimit(int e) {
    const int magnitude = e < 0 ? -e : e;
    int limited = magnitude < 16 ? magnitude : magnitude < 48 ? 16 + (magnitude - 16) / 2 : 32;
    if (e >= 241) return 0;
    return e < 0 ? -limited : limited;
}

// Floyd-Steinberg written out directly on a 2-D array of error sums, given
// the palette and the inverse map. `pixel(x, y, c)` gives the channel values
// in the order the cell index reads them (c = 0 minor .. 2 major).
template <typename Pixel>
std::vector<uint8_t> ReferenceDither(int w, int h, Pixel pixel, const uint8_t* map,
                                     const uint8_t* palette) {
    std::vector<uint8_t> out(w * h);
    std::vector<int> sums(3 * (w + 2) * (h + 1), 0);
    auto sum = [&](int x, int y, int c) -> int& { return sums[3 * ((w + 2) * y + x + 1) + c]; };
    for (int y = 0; y < h; ++y) {
        const int dir = y % 2 == 0 ? 1 : -1;
        for (int k = 0; k < w; ++k) {
            const int x = dir == 1 ? k : w - 1 - k;
            int v[3];
            for (int c = 0; c < 3; ++c) {
                v[c] = pixel(x, y, c) + ReferenceLimit((sum(x, y, c) + 8) >> 4);
                v[c] = v[c] < 0 ? 0 : v[c] > 255 ? 255 : v[c];
            }
            const int index = map[(v[2] >> 2) << 12 | (v[1] >> 2) << 6 | (v[0] >> 2)];
            out[w * y + x] = static_cast<uint8_t>(index);
            for (int c = 0; c < 3; ++c) {
                const int q = v[c] - palette[3 * index + 2 - c];
                if (x + dir >= 0 && x + dir < w) sum(x + dir, y, c) += 7 * q;
                sum(x - dir, y + 1, c) += 3 * q;
                sum(x, y + 1, c) += 5 * q;
                sum(x + dir, y + 1, c) += q;
            }
        }
    }
    return out;
}

// The inverse map of a fixed palette, read back by mapping every cell.
std::vector<uint8_t> FixedMap(int wanted) {
    auto cells = EveryCell();
    auto destination = Destination(512, 512);
    EXPECT_TRUE(clr_Xto8bit(destination.get(), cells.get(), wanted, false, true, nullptr));
    return std::vector<uint8_t>(destination->pixels, destination->pixels + kCubeCells);
}

std::unique_ptr<Image> Photo(int width, int height, unsigned seed) {
    // Smooth gradients with noise: many colours, some of them saturated.
    auto image = std::make_unique<Image>(width, height, 3 * width + 1, height, nullptr, 24);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = image->Row(y) + 3 * x;
            p[0] =
                static_cast<uint8_t>(std::min<unsigned>(255, 255u * x / width + (random() & 15)));
            p[1] = static_cast<uint8_t>(255u * y / height);
            p[2] = static_cast<uint8_t>((x * y / 7 + (random() & 31)) & 255);
        }
    return image;
}
}  // namespace

TEST(ClrXto8bit, WantedColoursOutsideTwoTo256Fail) {
    auto source = Picture(2, 2, {{1, 2, 3}});
    auto destination = Destination(2, 2);
    for (int wanted : {1, 257}) {
        ClearError();
        EXPECT_FALSE(clr_Xto8bit(destination.get(), source.get(), wanted, false, false, nullptr));
        EXPECT_STREQ(g_errorPlace, "clr_Xto8bit");
        EXPECT_STREQ(g_errorText, "iWantColors not in [2..256]");
    }
}

TEST(ClrXto8bit, ChecksColoursThenDestinationDepthThenSize) {
    auto source = Picture(2, 2, {{1, 2, 3}});
    Image colour(3, 3, 9, 3, nullptr, 24);
    EXPECT_FALSE(clr_Xto8bit(&colour, source.get(), 0, false, false, nullptr));
    EXPECT_STREQ(g_errorText, "iWantColors not in [2..256]");
    EXPECT_FALSE(clr_Xto8bit(&colour, source.get(), 16, false, false, nullptr));
    EXPECT_STREQ(g_errorText, "pimDst not 8bit");
    auto wrongSize = Destination(2, 3);
    EXPECT_FALSE(clr_Xto8bit(wrongSize.get(), source.get(), 16, false, false, nullptr));
    EXPECT_STREQ(g_errorPlace, "clr_Xto8bit");
    EXPECT_STREQ(g_errorText, "Src vs Dst image size missmatch");
}

TEST(ClrXto8bit, OneColourMakesOneBoxAndEveryPixelEntryZero) {
    auto source = Picture(7, 5, {{30, 200, 10}});
    auto destination = Destination(7, 5);
    std::memset(destination->pixels, 0x55, 35);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 256, false, false, &progress));
    // Means are 4 x the 6-bit cell: 30 -> 28, 200 -> 200, 10 -> 8.
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{28, 200, 8}));
    EXPECT_EQ(Entry(*destination, 1), (std::vector<int>{0xAA, 0xAA, 0xAA}));
    for (int i = 0; i < 35; ++i) ASSERT_EQ(destination->pixels[i], 0) << i;
    EXPECT_EQ(progress.events,
              (std::vector<std::string>{"Calculating histogram@0", "Optimizing colors@0", "@100"}));
}

TEST(ClrXto8bit, FewerCellsThanWantedGiveOneEntryPerCellAndStopEarly) {
    // Black once, red twice, blue once. Box 0 spans red 0..63 and blue 0..63
    // with means red (2 + 4 x 126) / 4 = 126 and blue (2 + 4 x 63) / 4 = 63:
    // red's rounded mean 32 lies 31 from its edges, blue's 16 only 16, so
    // red is split first (black and blue stay together, mean blue 126);
    // then that box splits on blue. Three boxes, and nothing left to split.
    auto source = Picture(4, 1, {{0, 0, 0}, {255, 0, 0}, {0, 0, 255}, {255, 0, 0}});
    auto destination = Destination(4, 1);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 16, false, false, nullptr));
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(Entry(*destination, 1), (std::vector<int>{252, 0, 0}));
    EXPECT_EQ(Entry(*destination, 2), (std::vector<int>{0, 0, 252}));
    EXPECT_EQ(Entry(*destination, 3), (std::vector<int>{0xAA, 0xAA, 0xAA}));
    const uint8_t expected[4] = {0, 1, 2, 1};
    EXPECT_EQ(std::memcmp(destination->pixels, expected, 4), 0);
}

TEST(ClrXto8bit, PureWhiteMapsToAnEntryOfAtMost252) {
    auto source = Picture(3, 1, {{255, 255, 255}, {0, 0, 0}, {255, 255, 255}});
    auto destination = Destination(3, 1);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 256, false, false, nullptr));
    EXPECT_EQ(Entry(*destination, destination->pixels[0]), (std::vector<int>{252, 252, 252}));
    EXPECT_EQ(Entry(*destination, destination->pixels[1]), (std::vector<int>{0, 0, 0}));
}

TEST(ClrXto8bit, CountersWrapSoACellOf65536PixelsCountsAsEmpty) {
    // 65536 pixels of red and 256 of green: red's counter wraps to 0, the only
    // colour the splitting sees is green, and red maps to green's entry.
    auto source = std::make_unique<Image>(256, 257, 768, 257, nullptr, 24);
    for (int y = 0; y < 257; ++y)
        for (int x = 0; x < 256; ++x) {
            uint8_t* p = source->Row(y) + 3 * x;
            p[0] = 0;
            p[1] = y < 256 ? 0 : 255;
            p[2] = y < 256 ? 255 : 0;
        }
    auto destination = Destination(256, 257);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 256, false, false, nullptr));
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{0, 252, 0}));
    EXPECT_EQ(Entry(*destination, 1), (std::vector<int>{0xAA, 0xAA, 0xAA}));
    for (int i = 0; i < 256 * 257; ++i) ASSERT_EQ(destination->pixels[i], 0);
}

TEST(ClrXto8bit, PaletteSourceTakesBlueAsGreenAndGreenAsBlue) {
    // Palette pictures are counted with red major, then blue, then green: a
    // colour (200, 100, 40) gives a box with green mean 40 and blue mean 100.
    uint8_t palette[kPaletteBytes] = {};
    palette[3 * 9 + 0] = 200, palette[3 * 9 + 1] = 100, palette[3 * 9 + 2] = 40;
    Image source(3, 2, 4, 2, palette, 8);
    std::memset(source.pixels, 9, source.PixelBytes());
    auto destination = Destination(3, 2);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), &source, 256, false, false, nullptr));
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{200, 40, 100}));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(destination->pixels[i], 0);
}

TEST(ClrXto8bit, FixedWithFifteenUsesBlackAndWhiteSplitOnRed) {
    // Black and white make one box with means 126; every axis is 31 from its
    // edges, so red wins the tie and the cube is cut at red cell 32: the map
    // sends red up to 131 to black and from 132 to white, whatever the rest.
    auto source = Picture(4, 1, {{131, 255, 255}, {132, 0, 0}, {50, 50, 50}, {200, 200, 200}});
    auto destination = Destination(4, 1);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 15, false, true, &progress));
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(Entry(*destination, 1), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(Entry(*destination, 2), (std::vector<int>{0xAA, 0xAA, 0xAA}));
    const uint8_t expected[4] = {0, 1, 0, 1};
    EXPECT_EQ(std::memcmp(destination->pixels, expected, 4), 0);
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Creating fixed palette@0", "@100"}));
}

TEST(ClrXto8bit, FixedWith127UsesTheSixteenVgaColours) {
    auto source = Picture(16, 1, kVga);
    auto destination = Destination(16, 1);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 127, false, true, nullptr));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(Entry(*destination, i),
                  (std::vector<int>{kVga[i].red, kVga[i].green, kVga[i].blue}))
            << i;
        EXPECT_EQ(destination->pixels[i], i);
    }
    EXPECT_EQ(Entry(*destination, 16), (std::vector<int>{0xAA, 0xAA, 0xAA}));
}

TEST(ClrXto8bit, FixedWith128UsesAll256EntriesEachInACellOfItsOwn) {
    auto probe = Picture(1, 1, {{0, 0, 0}});
    auto palette = Destination(1, 1);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_Xto8bit(palette.get(), probe.get(), 128, false, true, &progress));
    // Splitting reports when the box count & 63 is 31: 31, 95, 159, 223 of 256.
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Creating fixed palette@0", "@12", "@37",
                                                         "@62", "@87", "@100"}));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(Entry(*palette, i), (std::vector<int>{kVga[i].red, kVga[i].green, kVga[i].blue}));
        EXPECT_EQ(Entry(*palette, 248 + i),
                  (std::vector<int>{kVga[8 + i].red, kVga[8 + i].green, kVga[8 + i].blue}));
    }
    std::set<int> cells;
    std::vector<Rgb> colours;
    for (int i = 0; i < 256; ++i) {
        const std::vector<int> e = Entry(*palette, i);
        cells.insert((e[0] >> 2) << 12 | (e[1] >> 2) << 6 | (e[2] >> 2));
        colours.push_back({e[0], e[1], e[2]});
    }
    EXPECT_EQ(cells.size(), 256u);
    // Every table colour maps to its own entry.
    auto source = Picture(256, 1, colours);
    auto destination = Destination(256, 1);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 256, false, true, nullptr));
    for (int i = 0; i < 256; ++i) ASSERT_EQ(destination->pixels[i], i);
}

TEST(ClrXto8bit, MiddleOfTheFixedPaletteIsSpreadOverTheCube) {
    // Nearest-entry distance from any colour of the cube stays small.
    auto probe = Picture(1, 1, {{0, 0, 0}});
    auto palette = Destination(1, 1);
    ASSERT_TRUE(clr_Xto8bit(palette.get(), probe.get(), 256, false, true, nullptr));
    int worst = 0;
    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 5)
            for (int b = 0; b < 256; b += 5) {
                int best = 1 << 30;
                for (int i = 0; i < 256; ++i) {
                    const int dr = palette->palette[3 * i] - r;
                    const int dg = palette->palette[3 * i + 1] - g;
                    const int db = palette->palette[3 * i + 2] - b;
                    best = std::min(best, dr * dr + dg * dg + db * db);
                }
                worst = std::max(worst, best);
            }
    // Half the cube's step of 51 on each axis: 3 x 26^2 = 2028.
    EXPECT_LE(worst, 2028);
}

TEST(ClrXto8bit, FixedPaletteMapsEveryColourOfItsBoxToTheEntry) {
    // The fixed map does not depend on the source: a source of every cell
    // only ever gets entries of the 16 colours, each cell the entry whose box
    // holds it; the VGA colours' own cells get their entries.
    const std::vector<uint8_t> map = FixedMap(16);
    for (int k = 0; k < kCubeCells; ++k) ASSERT_LT(map[k], 16) << k;
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(map[(kVga[i].red >> 2) << 12 | (kVga[i].green >> 2) << 6 | (kVga[i].blue >> 2)],
                  i);
}

TEST(ClrXto8bit, DitheringMatchesTheDiffusionWrittenOutDirectly) {
    for (int wanted : {2, 16, 256}) {
        const std::vector<uint8_t> map = FixedMap(wanted);
        auto source = Photo(45, 33, 7);
        auto destination = Destination(45, 33);
        ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), wanted, true, true, nullptr));
        auto pixel = [&](int x, int y, int c) { return source->Row(y)[3 * x + c]; };
        const std::vector<uint8_t> expected =
            ReferenceDither(45, 33, pixel, map.data(), destination->palette);
        for (int y = 0; y < 33; ++y)
            for (int x = 0; x < 45; ++x)
                ASSERT_EQ(destination->Row(y)[x], expected[45 * y + x])
                    << "wanted " << wanted << " at " << x << "," << y;
    }
}

TEST(ClrXto8bit, DitheringAPaletteSourceKeepsItsAxisOrder) {
    const std::vector<uint8_t> map = FixedMap(256);
    uint8_t palette[kPaletteBytes];
    std::mt19937 random(21);
    for (uint8_t& byte : palette) byte = static_cast<uint8_t>(random());
    Image source(40, 30, 41, 30, palette, 8);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) source.Row(y)[x] = static_cast<uint8_t>(random());
    auto destination = Destination(40, 30);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), &source, 200, true, true, nullptr));
    // Minor axis from the entry's green, middle from its blue, major from red.
    const int byteOf[3] = {1, 2, 0};
    auto pixel = [&](int x, int y, int c) { return palette[3 * source.Row(y)[x] + byteOf[c]]; };
    const std::vector<uint8_t> expected =
        ReferenceDither(40, 30, pixel, map.data(), destination->palette);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(destination->Row(y)[x], expected[40 * y + x]) << x << "," << y;
}

TEST(ClrXto8bit, DitheringReportsItsPhaseEverySixtyFourRows) {
    auto source = Photo(8, 140, 3);
    auto destination = Destination(8, 140);
    test::RecordingProgress progress;
    ASSERT_TRUE(clr_Xto8bit(destination.get(), source.get(), 2, true, true, &progress));
    // Rows 63 and 127 of 140.
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Creating fixed palette@0", "@100",
                                                         "Dithering@0", "@45", "@90"}));
}

TEST(ClrXto8bit, OptimisedPaletteHasAtMostTheWantedColours) {
    auto source = Photo(120, 90, 1);
    for (int wanted : {2, 3, 17, 100, 238, 256}) {
        auto destination = Destination(120, 90);
        ASSERT_TRUE(
            clr_Xto8bit(destination.get(), source.get(), wanted, wanted % 2 == 0, false, nullptr));
        std::set<int> used;
        for (int y = 0; y < 90; ++y)
            for (int x = 0; x < 120; ++x) used.insert(destination->Row(y)[x]);
        EXPECT_LE(static_cast<int>(used.size()), wanted);
        EXPECT_LT(*used.rbegin(), wanted);
        // Entries of boxes are 4 x a 6-bit mean: never above 252.
        for (int i : used)
            for (int c = 0; c < 3; ++c) EXPECT_LE(destination->palette[3 * i + c], 252);
    }
}

TEST(ClrXto8bit, DestinationIsPreparedAfterThePaletteAndBeforeThePixels) {
    struct Watcher : Image {
        Watcher() : Image(2, 1, 2, 1, std::vector<uint8_t>(kPaletteBytes, 0xAA).data(), 8) {}
        void Prepare() override {
            ++calls;
            entry0 = Entry(*this, 0);
            firstPixel = pixels[0];
        }
        int calls = 0;
        std::vector<int> entry0;
        int firstPixel = -1;
    };
    Watcher destination;
    destination.pixels[0] = 0x77;
    auto source = Picture(2, 1, {{40, 80, 120}});
    ASSERT_TRUE(clr_Xto8bit(&destination, source.get(), 256, false, false, nullptr));
    EXPECT_EQ(destination.calls, 1);
    EXPECT_EQ(destination.entry0, (std::vector<int>{40, 80, 120}));
    EXPECT_EQ(destination.firstPixel, 0x77);
    EXPECT_EQ(destination.pixels[0], 0);
}

TEST(ErrorLimit, PassesSmallErrorsHalvesMiddleOnesAndCapsAtThirtyTwo) {
    const int expected[][2] = {{0, 0},     {15, 15},   {16, 16},   {17, 16},   {18, 17},
                               {47, 31},   {48, 32},   {240, 32},  {-15, -15}, {-17, -16},
                               {-47, -31}, {-48, -32}, {-255, -32}};
    for (const auto& pair : expected) EXPECT_EQ(kErrorLimit[pair[0]], pair[1]) << pair[0];
}

TEST(ErrorLimit, IndicesFrom241To255HoldZero) {
    for (int i = 241; i <= 255; ++i) EXPECT_EQ(kErrorLimit[i], 0) << i;
    for (int i = -255; i <= -241; ++i) EXPECT_EQ(kErrorLimit[i], -32) << i;
}

namespace {
ColourBox Box(int r0, int r1, int g0, int g1, int b0, int b1, int meanR, int meanG, int meanB) {
    ColourBox box{};
    box.redMin = r0, box.redMax = r1, box.greenMin = g0, box.greenMax = g1;
    box.blueMin = b0, box.blueMax = b1;
    box.meanRed = meanR, box.meanGreen = meanG, box.meanBlue = meanB;
    box.redExtent = r1 - r0, box.greenExtent = g1 - g0, box.blueExtent = b1 - b0;
    box.squaredDiagonal = box.redExtent * box.redExtent + box.greenExtent * box.greenExtent +
                          box.blueExtent * box.blueExtent;
    return box;
}
}  // namespace

TEST(ColourBox, AxisIsTheOneWhoseMeanLiesFarthestFromItsEdges) {
    test::MessageRecorder recorder;
    // Means 4 x 10, 4 x 20, 4 x 5 in boxes 0..40: distances 10, 20, 5.
    EXPECT_EQ(ChooseSplitAxis(Box(0, 40, 0, 40, 0, 40, 40, 80, 20)), SplitAxis::Green);
    EXPECT_EQ(ChooseSplitAxis(Box(0, 40, 0, 40, 0, 40, 40, 40, 80)), SplitAxis::Blue);
    // Ties: red before green before blue.
    EXPECT_EQ(ChooseSplitAxis(Box(0, 40, 0, 40, 0, 40, 80, 80, 80)), SplitAxis::Red);
    EXPECT_EQ(ChooseSplitAxis(Box(0, 40, 0, 40, 0, 40, 40, 80, 80)), SplitAxis::Green);
    // Axes of extent 0 are passed over although they tie on distance 0:
    // blue's mean sits on its lower edge, so all three distances are 0.
    EXPECT_EQ(ChooseSplitAxis(Box(5, 5, 9, 9, 10, 20, 20, 36, 40)), SplitAxis::Blue);
    EXPECT_TRUE(recorder.messages.empty());
}

TEST(ColourBox, BoxWithoutAnySplittableAxisShowsUnsplittable) {
    test::MessageRecorder recorder;
    EXPECT_EQ(ChooseSplitAxis(Box(3, 3, 9, 9, 60, 60, 12, 36, 240)), SplitAxis::None);
    ASSERT_EQ(recorder.messages.size(), 1u);
    EXPECT_EQ(recorder.messages[0].first, "Attention!");
    EXPECT_EQ(recorder.messages[0].second, "UNSPLITTABLE");
}

TEST(ColourBox, FirstHalfTakesMostPixelsThenLargestDiagonalLowerNumberOnTies) {
    ColourBox boxes[4];
    boxes[0] = Box(0, 1, 0, 0, 0, 0, 0, 0, 0);  // diagonal 1
    boxes[0].pixelCount = 50;
    boxes[1] = Box(0, 5, 0, 0, 0, 0, 0, 0, 0);  // diagonal 25
    boxes[1].pixelCount = 10;
    boxes[2] = Box(0, 0, 0, 0, 0, 0, 0, 0, 0);  // a single cell: never chosen
    boxes[2].pixelCount = 900;
    boxes[3] = Box(0, 0, 0, 5, 0, 0, 0, 0, 0);  // diagonal 25, ties with box 1
    boxes[3].pixelCount = 50;
    // count 4 < 10 / 2: most pixels, box 0 before box 3 on the tie.
    EXPECT_EQ(SelectColourBox(boxes, 4, 10), 0);
    // count 4 >= 8 / 2: largest diagonal, box 1 before box 3 on the tie.
    EXPECT_EQ(SelectColourBox(boxes, 4, 8), 1);
    // Only single cells: neither rule finds one.
    EXPECT_EQ(SelectColourBox(boxes + 2, 1, 10), -1);
    // Boxes with pixels but no diagonal, and one empty box with a diagonal:
    // the pixel rule finds nothing, the diagonal rule takes it.
    ColourBox others[2] = {boxes[2], Box(0, 3, 0, 0, 0, 0, 0, 0, 0)};
    others[1].pixelCount = 0;
    EXPECT_EQ(SelectColourBox(others, 2, 100), 1);
}

TEST(ColourBox, ShrinkAndCountFollowTheOccupiedCells) {
    std::vector<uint16_t> histogram(kCubeCells, 0);
    histogram[CellIndex(10, 20, 30)] = 3;
    histogram[CellIndex(12, 20, 33)] = 1;
    ColourBox box = Box(0, 63, 0, 63, 0, 63, 0, 0, 0);
    ShrinkColourBox(&box, histogram.data());
    CountColourBox(&box, histogram.data());
    EXPECT_EQ(box.redMin, 10);
    EXPECT_EQ(box.redMax, 12);
    EXPECT_EQ(box.greenMin, 20);
    EXPECT_EQ(box.greenMax, 20);
    EXPECT_EQ(box.blueMin, 30);
    EXPECT_EQ(box.blueMax, 33);
    EXPECT_EQ(box.squaredDiagonal, 4 + 0 + 9);
    EXPECT_EQ(box.pixelCount, 4);
    // (4 / 2 + 4 x (3 x 10 + 12)) / 4 = 170 / 4 = 42; green 80; blue
    // (2 + 4 x (90 + 33)) / 4 = 494 / 4 = 123.
    EXPECT_EQ(box.meanRed, 42);
    EXPECT_EQ(box.meanGreen, 80);
    EXPECT_EQ(box.meanBlue, 123);
}

TEST(ClrXto8bit, EmptyPictureQuantisesWithoutPixelsToCount) {
    // No pixels: the first box has no occupied plane, collapses onto its top
    // cell and gives one entry at 4 x 63 without dividing by a zero count.
    Image source(0, 0, 0, 0, nullptr, 24);
    auto destination = Destination(0, 0);
    ASSERT_TRUE(clr_Xto8bit(destination.get(), &source, 256, true, false, nullptr));
    EXPECT_EQ(Entry(*destination, 0), (std::vector<int>{252, 252, 252}));
    EXPECT_EQ(Entry(*destination, 1), (std::vector<int>{0xAA, 0xAA, 0xAA}));
}

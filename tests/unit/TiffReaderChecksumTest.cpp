// Whole pictures through the TIFF reader, pinned by checksums: RGB and grey
// pictures in every strip layout and compression, compared with their
// source pixels, and damaged LZW and PackBits files whose decoding (what is
// kept, what stays empty, the repair mode, the warnings) must not change.
// Every file is made here from a fixed random seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TiffBuilder.h"
#include "tests/support/TiffEncoders.h"

namespace {

using namespace test::tiff;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kNone = 1, kLzw = 5, kPackBits = 32773;

// A picture as a TIFF file stores it: rows of whole bytes, samples in file
// order (red, green, blue for colour).
struct Picture {
    uint32_t width = 0, height = 0;
    uint32_t samples = 1;  // 1 or 3
    uint32_t bits = 8;     // per sample
    Bytes bytes;
    size_t RowBytes() const { return (static_cast<size_t>(width) * samples * bits + 7) / 8; }
};

// Noise with a little correlation between neighbours, the hardest kind of
// picture for LZW (its strips come out longer than the pixels).
Picture Noise(uint32_t width, uint32_t height, uint32_t samples, uint32_t bits, uint64_t seed) {
    Picture picture{width, height, samples, bits, {}};
    test::Random random(seed);
    picture.bytes.resize(picture.RowBytes() * height);
    uint8_t previous = 0;
    for (uint8_t& byte : picture.bytes) {
        byte = random.Below(4) == 0 ? previous : random.Byte();
        previous = byte;
    }
    return picture;
}

// Smooth gradients with gentle waves and a few flat areas, like a photo.
Picture Smooth(uint32_t width, uint32_t height, uint32_t samples) {
    Picture picture{width, height, samples, 8, {}};
    picture.bytes.reserve(picture.RowBytes() * height);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (uint32_t s = 0; s < samples; ++s) {
                uint32_t value = (x * (3 + s) + y * (5 - s)) / 4 + ((x / 7 + y / 5 + s) % 3);
                if (x > width / 2 && y < height / 3) value = 200 + s;  // a flat sky
                picture.bytes.push_back(static_cast<uint8_t>(value));
            }
    return picture;
}

struct Layout {
    uint32_t compression = kNone;
    bool predictor = false;
    uint32_t rowsPerStrip = 0;  // 0: no RowsPerStrip entry, one strip
    bool bigEndian = false;
    bool planar = false;  // each strip row holds a red, a green and a blue run
};

// The bytes of one strip as its compression stores them.
Bytes EncodeStrip(const Bytes& raw, const Layout& layout, size_t rowBytes, uint32_t samples) {
    Bytes data = layout.predictor ? test::HorizontalDifferences(raw, rowBytes, samples) : raw;
    if (layout.compression == kLzw) return test::TiffLzwEncode(data.data(), data.size());
    if (layout.compression == kPackBits) return test::PackBitsEncode(data.data(), data.size());
    return data;
}

// A built file and where its parts are, for damaging it.
struct Built {
    Bytes file;
    size_t dataBegin = 0, dataEnd = 0;  // the strips' data
    size_t offsetList = 0;              // the LONG strip offsets (several strips only)
    size_t strips = 0;
};

Built BuildWithParts(const Picture& picture, const Layout& layout) {
    const size_t rowBytes = picture.RowBytes();
    const uint32_t rowsPerStrip = layout.rowsPerStrip ? layout.rowsPerStrip : picture.height;
    TiffBuilder tiff(layout.bigEndian);
    const uint32_t bits = picture.samples == 3 ? tiff.Shorts({8, 8, 8}) : 0;
    Built built;
    std::vector<uint32_t> offsets;
    for (uint32_t top = 0; top < picture.height; top += rowsPerStrip) {
        const uint32_t rows = std::min(rowsPerStrip, picture.height - top);
        Bytes raw(picture.bytes.begin() + top * rowBytes,
                  picture.bytes.begin() + (top + rows) * rowBytes);
        if (layout.planar) {
            // Red, green and blue runs of the width, row by row.
            Bytes planes(raw.size());
            for (uint32_t r = 0; r < rows; ++r)
                for (uint32_t x = 0; x < picture.width; ++x)
                    for (uint32_t s = 0; s < 3; ++s)
                        planes[r * rowBytes + s * picture.width + x] =
                            raw[r * rowBytes + 3 * x + s];
            raw = planes;
        }
        const size_t sampleStride = layout.planar ? 1 : picture.samples;
        const Bytes data = EncodeStrip(raw, layout, rowBytes, sampleStride);
        offsets.push_back(tiff.Data(data));
        built.dataEnd = offsets.back() + data.size();
    }
    built.dataBegin = offsets[0];
    built.strips = offsets.size();
    tiff.Entry(kWidth, kLong, 1, picture.width).Entry(kLength, kShort, 1, picture.height);
    if (picture.samples == 3) {
        tiff.OffsetEntry(kBitsPerSample, kShort, 3, bits)
            .Entry(kSamplesPerPixel, kShort, 1, 3)
            .Entry(kPhotometric, kShort, 1, 2);
        if (layout.planar) tiff.Entry(kPlanar, kShort, 1, 2);
    } else {
        tiff.Entry(kBitsPerSample, kShort, 1, picture.bits).Entry(kPhotometric, kShort, 1, 1);
    }
    tiff.Entry(kCompression, kShort, 1, layout.compression);
    if (layout.predictor) tiff.Entry(kPredictor, kShort, 1, 2);
    if (layout.rowsPerStrip) tiff.Entry(kRowsPerStrip, kLong, 1, layout.rowsPerStrip);
    if (offsets.size() == 1) {
        tiff.Entry(kStripOffsets, kLong, 1, offsets[0]);
    } else {
        built.offsetList = tiff.Longs(offsets);
        tiff.Entry(kStripOffsets, kLong, static_cast<uint32_t>(offsets.size()), built.offsetList);
    }
    built.file = tiff.Build();
    return built;
}

Bytes BuildFile(const Picture& picture, const Layout& layout) {
    return BuildWithParts(picture, layout).file;
}

struct Loaded {
    bool ready = false;
    std::string text;
    int stride = 0;
    Bytes pixels;                     // the whole pixel block, spare row included
    std::vector<std::string> events;  // message boxes and progress, in order
    uint64_t checksum = 0;
};

// Opens and loads the bytes as a .tif file into an Image of the announced
// stride, or of the announced stride plus `extraStride`.
Loaded Load(const Bytes& file, int extraStride = 0) {
    Loaded result;
    test::MessageRecorder recorder;
    ClearError();
    const std::string path = test::WriteTempFile("checksum-test.tif", file);
    {
        ImageImpFile imp(path.c_str(), nullptr, false);
        result.ready = imp.ready;
        result.text = g_errorText;
        if (imp.ready) {
            Image image(imp.width, imp.height, imp.stride + extraStride, imp.rows, imp.palette,
                        imp.depth);
            test::RecordingProgress progress;
            EXPECT_TRUE(Load(&imp, &image, &progress, false));
            result.stride = image.stride;
            result.pixels.assign(image.pixels, image.pixels + image.PixelBytes());
            result.events = progress.events;
        }
    }
    for (const auto& message : recorder.messages)
        result.events.push_back(message.first + ": " + message.second);
    test::Fnv64 hash;
    hash.Add(result.ready ? 1 : 0).Add(static_cast<uint64_t>(result.stride)).Add(result.pixels);
    for (const std::string& event : result.events)
        hash.Add(reinterpret_cast<const uint8_t*>(event.data()), event.size() + 1);
    result.checksum = hash.Value();
    return result;
}

// The pixels the reader must show: colour as blue, green, red; grey and
// lower depths one byte per pixel. Rows `stride` bytes apart.
bool ShowsPicture(const Loaded& loaded, const Picture& picture, std::string* where) {
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* row = picture.bytes.data() + y * picture.RowBytes();
        const uint8_t* shown = loaded.pixels.data() + static_cast<size_t>(y) * loaded.stride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            Bytes expected;
            if (picture.samples == 3) {
                expected = {row[3 * x + 2], row[3 * x + 1], row[3 * x]};
            } else {
                const uint32_t bit = x * picture.bits;
                const unsigned value = row[bit / 8] >> (8 - picture.bits - bit % 8);
                expected = {static_cast<uint8_t>(value & ((1u << picture.bits) - 1))};
            }
            for (size_t i = 0; i < expected.size(); ++i)
                if (shown[expected.size() * x + i] != expected[i]) {
                    *where = "pixel " + std::to_string(x) + "," + std::to_string(y);
                    return false;
                }
        }
    }
    return true;
}

std::string Hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIX64, value);
    return text;
}

// ---------------------------------------------------------------------------
// Well-formed pictures.

TEST(TiffReaderChecksums, RgbPicturesInEveryLayoutShowTheirPixels) {
    const Picture pictures[] = {Noise(157, 61, 3, 8, 1), Smooth(157, 61, 3), Smooth(64, 40, 3)};
    const Layout layouts[] = {
        {kNone, false, 0},     {kNone, false, 1},      {kNone, false, 7, true},
        {kLzw, false, 0},      {kLzw, false, 1, true}, {kLzw, false, 7},
        {kLzw, true, 0, true}, {kLzw, true, 1},        {kLzw, true, 7},
        {kPackBits, false, 0}, {kPackBits, false, 1},  {kPackBits, false, 7, true},
    };
    test::Fnv64 all;
    for (const Picture& picture : pictures)
        for (const Layout& layout : layouts) {
            for (int extraStride : {0, 5}) {
                const Loaded l = Load(BuildFile(picture, layout), extraStride);
                const std::string name = std::to_string(picture.width) + " compression " +
                                         std::to_string(layout.compression) + " rows " +
                                         std::to_string(layout.rowsPerStrip) + " stride +" +
                                         std::to_string(extraStride);
                ASSERT_TRUE(l.ready) << name << ": " << l.text;
                std::string where;
                EXPECT_TRUE(ShowsPicture(l, picture, &where)) << name << ": " << where;
                all.Add(l.checksum);
            }
        }
    EXPECT_EQ(Hex(all.Value()), "0xF749AF5FF3DF5BF4");
}

TEST(TiffReaderChecksums, RowsOfTheBenchmarkPicturesShowTheirPixels) {
    // The benchmark's pictures are 4000 pixels wide, one row a strip; here
    // 16 such rows of noise and of a smooth picture in each compression.
    const Picture pictures[] = {Noise(4000, 16, 3, 8, 14), Smooth(4000, 16, 3)};
    const Layout layouts[] = {
        {kNone, false, 1}, {kLzw, false, 1}, {kLzw, true, 1}, {kPackBits, false, 1}};
    test::Fnv64 all;
    for (const Picture& picture : pictures)
        for (const Layout& layout : layouts) {
            const Loaded l = Load(BuildFile(picture, layout));
            ASSERT_TRUE(l.ready) << l.text;
            std::string where;
            EXPECT_TRUE(ShowsPicture(l, picture, &where)) << layout.compression << ": " << where;
            all.Add(l.checksum);
        }
    EXPECT_EQ(Hex(all.Value()), "0xEE981D71A84869E6");
}

TEST(TiffReaderChecksums, PlanarRgbPicturesShowTheirPixels) {
    const Picture pictures[] = {Noise(91, 33, 3, 8, 2), Smooth(91, 33, 3)};
    const Layout layouts[] = {{kNone, false, 0, false, true},
                              {kNone, false, 4, true, true},
                              {kLzw, false, 0, false, true},
                              {kLzw, false, 4, false, true},
                              {kPackBits, false, 4, false, true}};
    test::Fnv64 all;
    for (const Picture& picture : pictures)
        for (const Layout& layout : layouts) {
            const Loaded l = Load(BuildFile(picture, layout));
            ASSERT_TRUE(l.ready) << l.text;
            std::string where;
            EXPECT_TRUE(ShowsPicture(l, picture, &where)) << layout.compression << ": " << where;
            all.Add(l.checksum);
        }
    EXPECT_EQ(Hex(all.Value()), "0x732C82CC01E51951");
}

TEST(TiffReaderChecksums, GreyPicturesOfEveryDepthShowTheirPixels) {
    const Picture pictures[] = {Noise(203, 37, 1, 8, 3), Smooth(203, 37, 1), Noise(61, 23, 1, 4, 4),
                                Noise(61, 23, 1, 2, 5), Noise(61, 23, 1, 1, 6)};
    const Layout layouts[] = {{kNone, false, 0},     {kNone, false, 5},    {kLzw, false, 0, true},
                              {kLzw, false, 1},      {kLzw, false, 5},     {kPackBits, false, 0},
                              {kPackBits, false, 5}, {kLzw, true, 5, true}};
    test::Fnv64 all;
    for (const Picture& picture : pictures)
        for (const Layout& layout : layouts) {
            // The predictor is taken for 8-bit samples only.
            if (layout.predictor && picture.bits != 8) continue;
            for (int extraStride : {0, 3}) {
                const Loaded l = Load(BuildFile(picture, layout), extraStride);
                ASSERT_TRUE(l.ready) << l.text;
                std::string where;
                EXPECT_TRUE(ShowsPicture(l, picture, &where))
                    << picture.bits << " bits, compression " << layout.compression << ": " << where;
                all.Add(l.checksum);
            }
        }
    EXPECT_EQ(Hex(all.Value()), "0x6D60F0C78D20D554");
}

TEST(TiffReaderChecksums, PredictorWithoutLzwLeavesTheDifferences) {
    // Uncompressed and PackBits data saying predictor 2 show the
    // differences themselves.
    const Picture picture = Smooth(40, 9, 3);
    const Bytes differences = test::HorizontalDifferences(picture.bytes, picture.RowBytes(), 3);
    const Picture shown{40, 9, 3, 8, differences};
    test::Fnv64 all;
    for (uint32_t compression : {kNone, kPackBits}) {
        const Loaded l = Load(BuildFile(picture, {compression, true, 4}));
        ASSERT_TRUE(l.ready) << l.text;
        std::string where;
        EXPECT_TRUE(ShowsPicture(l, shown, &where)) << compression << ": " << where;
        all.Add(l.checksum);
    }
    EXPECT_EQ(Hex(all.Value()), "0xBF6C0E31D9AA1F1C");
}

// ---------------------------------------------------------------------------
// Damaged files. Each base file is damaged in many ways, from a fixed seed:
// bytes changed in the strip data, a run of strip data overwritten with
// garbage, a strip offset moved to anywhere in the file (into another
// strip, into the directory, near the end), an offset past the end (repair
// mode), every strip pointing at the same data.

// Offsets are written little-endian here (the damaged files are).
void PutLong(Bytes& file, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) file[at + i] = static_cast<uint8_t>(value >> (8 * i));
}
uint32_t GetLong(const Bytes& file, size_t at) {
    return file[at] | file[at + 1] << 8 | file[at + 2] << 16 |
           static_cast<uint32_t>(file[at + 3]) << 24;
}

Bytes Damage(const Built& base, int variant, test::Random& random) {
    Bytes file = base.file;
    const uint32_t dataBytes = static_cast<uint32_t>(base.dataEnd - base.dataBegin);
    const uint32_t strips = static_cast<uint32_t>(base.strips);
    const auto field = [&](uint32_t strip) { return base.offsetList + 4 * strip; };
    switch (variant % 6) {
        case 0: {  // a few bytes changed
            const uint32_t changes = 1 + random.Below(8);
            for (uint32_t i = 0; i < changes; ++i)
                file[base.dataBegin + random.Below(dataBytes)] ^= 1 + random.Below(255);
            break;
        }
        case 1: {  // a run of garbage
            const size_t length = 16 + random.Below(300);
            const size_t at = base.dataBegin + random.Below(dataBytes);
            for (size_t i = at; i < at + length && i < base.dataEnd; ++i) file[i] = random.Byte();
            break;
        }
        case 2: {  // a run of zeros, as a file cut short and padded
            const size_t at = base.dataBegin + random.Below(dataBytes);
            for (size_t i = at; i < base.dataEnd; ++i) file[i] = 0;
            break;
        }
        case 3: {  // a strip offset moved anywhere in the file
            PutLong(file, field(random.Below(strips)),
                    random.Below(static_cast<uint32_t>(file.size())));
            break;
        }
        case 4: {  // an offset past the end: repair mode, with damage too
            PutLong(file, field(random.Below(strips)),
                    static_cast<uint32_t>(file.size()) + random.Below(1000));
            file[base.dataBegin + random.Below(dataBytes)] ^= 0x5A;
            break;
        }
        default: {  // every strip reads the same data
            const uint32_t first = GetLong(file, field(random.Below(strips)));
            for (uint32_t strip = 0; strip < strips; ++strip) PutLong(file, field(strip), first);
            break;
        }
    }
    return file;
}

// Loads `variants` damaged copies of each base file; returns one checksum
// over all of them.
uint64_t DamagedChecksum(const std::vector<Built>& bases, int variants, uint64_t seed) {
    test::Fnv64 all;
    for (size_t b = 0; b < bases.size(); ++b) {
        // The damage needs a list of strip offsets to change.
        EXPECT_GT(bases[b].strips, 1u) << b;
        test::Random random(seed + b);
        for (int v = 0; v < variants; ++v) {
            const Loaded l = Load(Damage(bases[b], v, random));
            all.Add(l.checksum);
        }
    }
    return all.Value();
}

TEST(TiffReaderChecksums, DamagedLzwFilesDecodeAsBefore) {
    // Several strips of every size, with and without the predictor, colour,
    // grey, planar and 4-bit.
    const std::vector<Built> bases = {
        BuildWithParts(Noise(97, 29, 3, 8, 7), {kLzw, false, 3}),
        BuildWithParts(Smooth(97, 29, 3), {kLzw, true, 4}),
        BuildWithParts(Smooth(120, 40, 1), {kLzw, false, 6}),
        BuildWithParts(Noise(120, 40, 1, 8, 8), {kLzw, true, 1}),
        BuildWithParts(Noise(53, 21, 1, 4, 9), {kLzw, false, 2}),
        BuildWithParts(Smooth(53, 21, 3), {kLzw, false, 5, false, true}),
    };
    EXPECT_EQ(Hex(DamagedChecksum(bases, 60, 100)), "0x5974F1330D7AF1EF");
}

TEST(TiffReaderChecksums, DamagedPackBitsAndUncompressedFilesDecodeAsBefore) {
    const std::vector<Built> bases = {
        BuildWithParts(Noise(97, 29, 3, 8, 10), {kPackBits, false, 3}),
        BuildWithParts(Smooth(97, 29, 3), {kPackBits, false, 4}),
        BuildWithParts(Smooth(120, 40, 1), {kPackBits, false, 6}),
        BuildWithParts(Noise(97, 29, 3, 8, 11), {kNone, false, 3}),
        BuildWithParts(Noise(53, 21, 1, 2, 12), {kNone, false, 2}),
    };
    EXPECT_EQ(Hex(DamagedChecksum(bases, 60, 200)), "0xCBA52F43271C01E9");
}

TEST(TiffReaderChecksums, LzwStripsThatRunPastTheirRowsOrOffTheFileDecodeAsBefore) {
    // Strips whose codes describe more rows than the strip has, strips with
    // no end code, and streams without clear codes that fill the code
    // table; each file also with its last strip moved to run into the
    // directory and off the end of the file.
    const Picture picture = Noise(50, 12, 3, 8, 13);
    const size_t rowBytes = picture.RowBytes();
    test::Fnv64 all;
    for (int variant = 0; variant < 4; ++variant) {
        const bool bigEndian = variant == 3;
        TiffBuilder tiff(bigEndian);
        std::vector<uint32_t> offsets;
        for (uint32_t strip = 0; strip < 4; ++strip) {
            // Three rows a strip; the variant changes how much each says.
            const size_t rows = variant == 0 ? 3 + strip : 3;
            Bytes raw;
            for (size_t i = 0; i < rows * rowBytes; ++i)
                raw.push_back(picture.bytes[(strip * 3 * rowBytes + i) % picture.bytes.size()]);
            std::vector<unsigned> codes = test::TiffLzwCodes(raw.data(), raw.size());
            if (variant == 1) codes.pop_back();  // no end code
            if (variant >= 2) {
                // One clear code, then literals and entries made so far,
                // on past 4096 entries.
                codes.assign(1, 256);
                test::Random random(strip);
                for (unsigned i = 0; i < 5000; ++i) {
                    const unsigned made = i < 2 ? 0 : std::min(i - 1, 4096u - 258);
                    codes.push_back(made > 0 && random.Below(3) == 0 ? 258 + random.Below(made)
                                                                     : random.Below(256));
                }
                codes.push_back(257);
            }
            offsets.push_back(tiff.Data(test::PackLzwCodes(codes)));
        }
        const uint32_t list = tiff.Longs(offsets);
        tiff.Entry(kWidth, kShort, 1, picture.width)
            .Entry(kLength, kShort, 1, 12)
            .OffsetEntry(kBitsPerSample, kShort, 3, tiff.Shorts({8, 8, 8}))
            .Entry(kSamplesPerPixel, kShort, 1, 3)
            .Entry(kPhotometric, kShort, 1, 2)
            .Entry(kCompression, kShort, 1, kLzw)
            .Entry(kRowsPerStrip, kShort, 1, 3)
            .Entry(kStripOffsets, kLong, 4, list);
        const Bytes file = tiff.Build();
        const Loaded l = Load(file);
        ASSERT_TRUE(l.ready) << l.text;
        if (variant == 0) {
            // Each strip keeps to its own three rows.
            std::string where;
            EXPECT_TRUE(ShowsPicture(l, picture, &where)) << where;
        }
        all.Add(l.checksum);
        // The last strip moved to `cut` bytes before the end of the file.
        for (uint32_t cut = 1; cut < 60; cut += 7) {
            Bytes moved = file;
            const uint32_t at = static_cast<uint32_t>(file.size()) - cut;
            for (int i = 0; i < 4; ++i)
                moved[list + 12 + i] = static_cast<uint8_t>(at >> (bigEndian ? 24 - 8 * i : 8 * i));
            all.Add(Load(moved).checksum);
        }
    }
    EXPECT_EQ(Hex(all.Value()), "0x1DDFAC7E0C34F695");
}

}  // namespace

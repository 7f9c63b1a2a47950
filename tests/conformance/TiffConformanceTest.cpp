// The TIFF reader on real files: every TIFF of the sample corpus and files
// written at test time by libtiff's tools, netpbm and ImageMagick, compared
// pixel by pixel with Pillow and libtiff (tests/conformance/tiff_oracle.py).
// Where the reader deliberately reads a file differently (planar strips,
// subsampled YCbCr, tile offsets kept as strip offsets, fill order) the
// oracle builds the expected picture from libtiff's or Pillow's decoding of
// the same data laid out as this reader lays it out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "jpeg/YCbCr.h"
#include "tests/support/TestSupport.h"

#ifndef _WIN32
#include <dirent.h>
#endif

namespace {

struct Decoded {
    bool ready = false;
    std::string place, text;
    int width = 0, height = 0, depth = 0;
    std::vector<uint8_t> rgb;  // red, green, blue per pixel
    std::vector<std::pair<std::string, std::string>> messages;
};

// Opens and loads like the viewer: the destination's rows are padded to a
// multiple of 4 bytes, so pictures whose rows are not get re-spaced.
Decoded ReadWithVantirel(const std::string& path) {
    Decoded result;
    test::MessageRecorder recorder;
    ClearError();
    ImageImpFile imp(path.c_str(), nullptr, false);
    result.ready = imp.ready;
    if (!imp.ready) {
        result.place = g_errorPlace;
        result.text = g_errorText;
        result.messages = recorder.messages;
        return result;
    }
    const int stride = (imp.stride + 3) & ~3;
    Image image(imp.width, imp.height, stride, imp.rows, imp.palette, imp.depth);
    EXPECT_TRUE(Load(&imp, &image, nullptr, false)) << path;
    result.width = image.width;
    result.height = image.height;
    result.depth = image.depth;
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* row = image.Row(y);
        for (int x = 0; x < image.width; ++x) {
            if (image.depth <= 8) {
                const uint8_t* entry = image.palette + 3 * row[x];
                result.rgb.insert(result.rgb.end(), entry, entry + 3);
            } else {
                result.rgb.insert(result.rgb.end(), {row[3 * x + 2], row[3 * x + 1], row[3 * x]});
            }
        }
    }
    result.messages = recorder.messages;
    return result;
}

bool HaveOracleUncached() {
#ifdef _WIN32
    return false;
#else
    int status = 0;
    test::RunCommand("/usr/bin/python3 -c 'import PIL, ctypes; ctypes.CDLL(\"libtiff.so.6\")' 2>/dev/null",
                     &status);
    return status == 0;
#endif
}

bool HaveOracle() {
    static const bool have = HaveOracleUncached();
    return have;
}

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

test::RgbPicture Oracle(const std::string& path, const std::string& mode) {
    test::RgbPicture picture;
    int status = 0;
    const std::string ppm = test::RunCommand(
        "/usr/bin/python3 " + Quoted(std::string(VANTIREL_SOURCE_DIR) + "/tests/conformance/tiff_oracle.py") +
            " " + Quoted(path) + " " + mode + " 2>/dev/null",
        &status);
    EXPECT_EQ(status, 0) << "oracle failed on " << path;
    EXPECT_TRUE(test::ParsePnm(ppm, &picture)) << "oracle output of " << path;
    return picture;
}

// Counts differing bytes and reports the first one.
void ExpectSamePixels(const Decoded& ours, const test::RgbPicture& expected, const std::string& what) {
    ASSERT_EQ(ours.width, expected.width) << what;
    ASSERT_EQ(ours.height, expected.height) << what;
    ASSERT_EQ(ours.rgb.size(), expected.rgb.size()) << what;
    size_t differing = 0, first = 0;
    for (size_t i = 0; i < ours.rgb.size(); ++i)
        if (ours.rgb[i] != expected.rgb[i] && differing++ == 0) first = i;
    EXPECT_EQ(differing, 0u) << what << ": first difference at pixel " << first / 3 << " channel "
                             << first % 3 << ": ours " << int(ours.rgb[first]) << ", expected "
                             << int(expected.rgb[first]);
}

// YCbCr files: the reader swaps the first and third byte of every pixel like
// any three-sample file, and the dispatcher then converts the bytes as
// Y, Cb, Cr. The oracle gives the file's samples in file order.
test::RgbPicture ConvertLikeTheDispatcher(test::RgbPicture samples) {
    std::vector<uint8_t> pixels(samples.rgb.size());
    for (size_t i = 0; i < pixels.size(); i += 3) {
        pixels[i] = samples.rgb[i + 2];
        pixels[i + 1] = samples.rgb[i + 1];
        pixels[i + 2] = samples.rgb[i];
    }
    jpegConvertYCbCr(pixels.data(), 3 * samples.width, samples.width, samples.height);
    for (size_t i = 0; i < pixels.size(); i += 3) {
        samples.rgb[i] = pixels[i + 2];
        samples.rgb[i + 1] = pixels[i + 1];
        samples.rgb[i + 2] = pixels[i];
    }
    return samples;
}

enum class Kind { Pixels, YCbCr, Refused, DiffersFromLibtiff };

struct CorpusCase {
    const char* file;
    Kind kind;
    const char* mode;   // oracle mode for Pixels/YCbCr
    const char* place;  // for Refused
    const char* text;   // for Refused; for others the expected warning, if any
};

constexpr CorpusCase kCorpus[] = {
    {"tiff/imagetiff-minisblack-1c-3b.tiff", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for monoplanar image"},
    {"tiff/imagetiff-seq-1c-2b-58b25f76.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-4b-palette-85108c5a.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-bigendian-20f3db0c.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-deflate-20f3db0c.tiff", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    {"tiff/imagetiff-seq-1c-8b-lzw-20f3db0c.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-lzw-hpredict-20f3db0c.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-multipage-adeefdcc.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-multistrip-20f3db0c.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-packbits-20f3db0c.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-palette-89b39bc3.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-1c-8b-tiled-20f3db0c.tiff", Kind::Refused, "", "vti_TIF", "No image found in this file!"},
    {"tiff/imagetiff-seq-3c-8b-bigendian-8743c999.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-3c-8b-lzw-8743c999.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/imagetiff-seq-3c-8b-multistrip-8743c999.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-logluv-3c-16b.tiff", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    {"tiff/libtiff-lzw-single-strip.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-minisblack-1c-16b.tiff", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for monoplanar image"},
    {"tiff/libtiff-minisblack-1c-8b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-minisblack-2c-8b-alpha.tiff", Kind::Refused, "", "tif_ReadIFD", "Unsupported bits per sample"},
    {"tiff/libtiff-miniswhite-1c-1b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-ojpeg_single_strip_no_rowsperstrip.tiff", Kind::Refused, "", "tif_ReadIFD", "JPEG-IN-A-TIFF not supported"},
    {"tiff/libtiff-palette-1c-1b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-palette-1c-4b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-palette-1c-8b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-rgb-3c-16b.tiff", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for triplanar image"},
    {"tiff/libtiff-rgb-3c-8b.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-test_two_ifds.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiff-testfax4.tiff", Kind::Refused, "", "tif_ReadIFD", "CCITT fax compression(s) not supported"},
    {"tiff/libtiffpic-cramps.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-minisblack-02.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-minisblack-04.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-minisblack-06.tif", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for monoplanar image"},
    {"tiff/libtiffpic-flower-minisblack-08.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-palette-02.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-palette-04.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-palette-08.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-flower-rgb-contig-04.tif", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for triplanar image"},
    {"tiff/libtiffpic-flower-rgb-contig-08.tif", Kind::Pixels, "pil", "", ""},
    // One uncompressed strip per plane: a one-strip picture takes the value
    // field of StripOffsets (here the offset of the three planes' offsets)
    // as its strip's offset.
    {"tiff/libtiffpic-flower-rgb-planar-08.tif", Kind::Pixels, "valuefield", "", ""},
    {"tiff/libtiffpic-flower-separated-contig-08.tif", Kind::Refused, "", "tif_ReadIFD", "Unsupported bits per sample"},
    {"tiff/libtiffpic-g3test.tif", Kind::Refused, "", "tif_ReadIFD", "CCITT fax compression(s) not supported"},
    {"tiff/libtiffpic-jello.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-jim___ah.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-jim___cg.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/libtiffpic-ladoga.tif", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    // Planar LZW, one row per strip: only the red strips are decoded.
    {"tiff/libtiffpic-oxford.tif", Kind::Pixels, "strips", "", ""},
    {"tiff/libtiffpic-quad-jpeg.tif", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    // Old-style (LSB-first) LZW is not recognised: the picture is garbage.
    {"tiff/libtiffpic-quad-lzw.tif", Kind::DiffersFromLibtiff, "pil", "", ""},
    // Tile offsets under StripOffsets: each tile is read as a strip.
    {"tiff/libtiffpic-quad-tile.tif", Kind::Pixels, "strips", "", ""},
    {"tiff/libtiffpic-smallliz.tif", Kind::Refused, "", "tif_ReadIFD", "JPEG-IN-A-TIFF not supported"},
    {"tiff/libtiffpic-strike.tif", Kind::Refused, "", "tif_ReadIFD", "Unsupported bits per sample"},
    {"tiff/libtiffpic-text.tif", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    // Subsampled YCbCr strips read as full-size chunky strips, converted.
    {"tiff/libtiffpic-ycbcr-cat.tif", Kind::YCbCr, "strips", "", ""},
    {"tiff/pillow-12bit.cropped.tif", Kind::Refused, "", "vti_TIF", "Unsupported bitdepth for monoplanar image"},
    {"tiff/pillow-compression.tif", Kind::Refused, "", "tif_ReadIFD", "CCITT fax compression(s) not supported"},
    {"tiff/pillow-copyleft.tiff", Kind::Pixels, "pil", "", ""},
    // CIE L*a*b*: warned about, then shown as the stored samples.
    {"tiff/pillow-hopper.Lab.tif", Kind::Pixels, "strips", "", "Warning! Unknown photometeric interpretation"},
    {"tiff/pillow-hopper.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-hopper2.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-hopper2I.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-hopper2R.tif", Kind::Pixels, "fillorder2", "", ""},
    {"tiff/pillow-hopper_gray_4bpp.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-hopper_lzw.tif", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-multipage.tiff", Kind::Pixels, "pil", "", ""},
    {"tiff/pillow-tiff_strip_planar_lzw.tiff", Kind::Pixels, "strips", "", ""},
    {"tiff/pillow-tiff_wrong_bits_per_sample_2.tiff", Kind::Refused, "", "tif_ReadIFD", "Unsupported bits per sample"},
    {"bad/imagers-clusterfuzz-testcase-minimized-fuzzer_script_tiff-5026894169374720.tif", Kind::Refused, "", "tif_ReadIFD", "Unsupported bits per sample"},
    {"bad/imagetiff-colormap-shl-overflow.tiff", Kind::Refused, "", "tif_ReadIFD", "Bad TIFF Tag"},
    {"bad/imagetiff-sample-get-lzw-stuck.tiff", Kind::Refused, "", "vti_TIF", "No image found in this file!"},
    // The next-directory offset is never followed, so loops do not matter.
    {"bad/libtiff-test_ifd_loop_to_first.tif", Kind::Pixels, "pil", "", ""},
    {"bad/libtiff-test_ifd_loop_to_self.tif", Kind::Pixels, "pil", "", ""},
    {"bad/pillow-libtiff_segfault.tif", Kind::Refused, "", "tif_ReadIFD", "Unknown compression scheme"},
    {"bad/pillow-seek_too_large.tif", Kind::Refused, "", "vti_TIF", "Unknown TIFF version!"},
};

class TiffCorpus : public ::testing::TestWithParam<CorpusCase> {};

TEST_P(TiffCorpus, ReadsOrRefusesAsExpected) {
    const CorpusCase& c = GetParam();
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no sample corpus";
    const Decoded ours = ReadWithVantirel(test::CorpusPath(c.file));
    if (c.kind == Kind::Refused) {
        EXPECT_FALSE(ours.ready);
        EXPECT_EQ(ours.place, c.place);
        EXPECT_EQ(ours.text, c.text);
        return;
    }
    ASSERT_TRUE(ours.ready) << g_errorPlace << ": " << g_errorText;
    if (*c.text) {
        ASSERT_EQ(ours.messages.size(), 1u);
        EXPECT_EQ(ours.messages[0].first, "Attention!");
        EXPECT_EQ(ours.messages[0].second, c.text);
    } else {
        EXPECT_TRUE(ours.messages.empty());
    }
    if (!HaveOracle()) GTEST_SKIP() << "no Pillow/libtiff to compare with";
    const test::RgbPicture expected = Oracle(test::CorpusPath(c.file), c.mode);
    switch (c.kind) {
        case Kind::Pixels: ExpectSamePixels(ours, expected, c.file); break;
        case Kind::YCbCr: ExpectSamePixels(ours, ConvertLikeTheDispatcher(expected), c.file); break;
        case Kind::DiffersFromLibtiff: {
            // The picture is mostly black background; of the pixels that
            // are not, hardly any come out right.
            ASSERT_EQ(ours.rgb.size(), expected.rgb.size());
            size_t coloured = 0, same = 0;
            for (size_t i = 0; i < ours.rgb.size(); i += 3) {
                if (!expected.rgb[i] && !expected.rgb[i + 1] && !expected.rgb[i + 2]) continue;
                ++coloured;
                same += std::equal(&ours.rgb[i], &ours.rgb[i] + 3, &expected.rgb[i]);
            }
            EXPECT_GT(coloured, 10000u);
            EXPECT_LT(same, coloured / 10) << "an old-style LZW file decoded as if recognised";
            break;
        }
        default: break;
    }
}

std::string CaseName(const ::testing::TestParamInfo<CorpusCase>& info) {
    std::string name = info.param.file;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(AllTiffFiles, TiffCorpus, ::testing::ValuesIn(kCorpus), CaseName);

#ifndef _WIN32
// Every TIFF of the corpus has a line in the table above.
TEST(TiffCorpusTable, CoversEveryTiffInTheCorpus) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no sample corpus";
    std::vector<std::string> listed;
    for (const CorpusCase& c : kCorpus) listed.push_back(c.file);
    int found = 0;
    for (const char* folder : {"tiff", "bad"}) {
        DIR* dir = opendir(test::CorpusPath(folder).c_str());
        ASSERT_NE(dir, nullptr);
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            const auto dot = name.rfind('.');
            if (dot == std::string::npos) continue;
            std::string extension = name.substr(dot + 1);
            for (char& ch : extension) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
            if (extension != "tif" && extension != "tiff") continue;
            ++found;
            const std::string file = std::string(folder) + "/" + name;
            EXPECT_NE(std::find(listed.begin(), listed.end(), file), listed.end()) << file;
        }
        closedir(dir);
    }
    EXPECT_EQ(found, static_cast<int>(std::size(kCorpus)));
}
#endif

// ---------------------------------------------------------------------------
// Files written at test time.

struct Generated {
    const char* name;     // file written in the scratch directory
    const char* command;  // shell command; {in:X} is a source file, {out} the result
    const char* mode;     // oracle mode, or "" when refused
    const char* place;    // for refusals
    const char* text;
};

// Sources: the corpus's netpbm pictures (157 x 151, odd widths) and pictures
// derived from them.
constexpr Generated kGenerated[] = {
    // libtiff's tiffcp: compressions, predictor, byte orders, strips, planes.
    {"rgb-none.tif", "tiffcp -c none {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-lzw.tif", "tiffcp -c lzw {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-lzw2.tif", "tiffcp -c lzw:2 {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-packbits.tif", "tiffcp -c packbits {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-lzw2-big.tif", "tiffcp -B -c lzw:2 {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-lzw-little.tif", "tiffcp -L -c lzw {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-r1.tif", "tiffcp -c lzw -r 1 {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-r7-big.tif", "tiffcp -B -c packbits -r 7 {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-r1000.tif", "tiffcp -c none -r 1000 {in:rgb.tif} {out}", "pil", "", ""},
    {"rgb-planar-none.tif", "tiffcp -p separate -c none {in:rgb.tif} {out}", "planestream", "", ""},
    {"rgb-planar-none-r16.tif", "tiffcp -p separate -c none -r 16 {in:rgb.tif} {out}",
     "planestream", "", ""},
    {"rgb-planar-packbits.tif", "tiffcp -p separate -c packbits -r 16 {in:rgb.tif} {out}",
     "planestream", "", ""},
    {"rgb-planar-lzw.tif", "tiffcp -p separate -c lzw -r 16 {in:rgb.tif} {out}", "strips", "", ""},
    {"grey-lzw2.tif", "tiffcp -c lzw:2 -r 9 {in:grey.tif} {out}", "pil", "", ""},
    {"grey-packbits-big.tif", "tiffcp -B -c packbits {in:grey.tif} {out}", "pil", "", ""},
    {"mono-lzw.tif", "tiffcp -c lzw {in:mono.tif} {out}", "pil", "", ""},
    {"mono-packbits.tif", "tiffcp -c packbits -r 5 {in:mono.tif} {out}", "pil", "", ""},
    {"multipage.tif", "tiffcp -c lzw {in:rgb.tif} {in:grey.tif} {out}", "pil", "", ""},
    // netpbm: grey of 1, 2, 4 and 8 bits, both photometric senses, palettes.
    {"mono-miniswhite.tif", "pnmtotiff -miniswhite {in:mono.pbm} > {out}", "pil", "", ""},
    {"mono-minisblack.tif", "pnmtotiff -minisblack {in:mono.pbm} > {out}", "pil", "", ""},
    {"grey2.tif", "pnmdepth 3 {in:grey.pgm} | pnmtotiff > {out}", "pil", "", ""},
    {"grey2-white.tif", "pnmdepth 3 {in:grey.pgm} | pnmtotiff -miniswhite > {out}", "pil", "", ""},
    {"grey4.tif", "pnmdepth 15 {in:grey.pgm} | pnmtotiff -lzw > {out}", "pil", "", ""},
    {"grey4-white.tif", "pnmdepth 15 {in:grey.pgm} | pnmtotiff -miniswhite -packbits > {out}",
     "pil", "", ""},
    {"grey8-white.tif", "pnmtotiff -miniswhite {in:grey.pgm} > {out}", "pil", "", ""},
    {"palette16.tif", "pnmquant 16 {in:rgb.ppm} 2>/dev/null | pnmtotiff > {out}", "pil", "", ""},
    {"palette200-lzw.tif", "pnmquant 200 {in:rgb.ppm} 2>/dev/null | pnmtotiff -lzw > {out}", "pil",
     "", ""},
    // ImageMagick.
    {"im-rgb-lzw.tif", "convert {in:rgb.ppm} -compress LZW {out}", "pil", "", ""},
    {"im-rgb-rle-msb.tif", "convert {in:rgb.ppm} -compress RLE -endian MSB {out}", "pil", "", ""},
    {"im-rgb-strips.tif", "convert {in:rgb.ppm} -define tiff:rows-per-strip=10 {out}", "pil", "",
     ""},
    {"im-grey.tif", "convert {in:grey.pgm} -compress LZW {out}", "pil", "", ""},
    {"im-palette.tif", "convert {in:rgb.ppm} -colors 64 -type Palette {out}", "pil", "", ""},
    {"im-planar.tif", "convert {in:rgb.ppm} -interlace Plane -compress None {out}", "valuefield",
     "", ""},
    // Refusals.
    {"g3.tif", "tiffcp -c g3 {in:mono.tif} {out}", "", "tif_ReadIFD",
     "CCITT fax compression(s) not supported"},
    {"g4.tif", "tiffcp -c g4 {in:mono.tif} {out}", "", "tif_ReadIFD",
     "CCITT fax compression(s) not supported"},
    {"jpeg.tif", "tiffcp -c jpeg -r 16 {in:rgb.tif} {out}", "", "tif_ReadIFD",
     "Unknown compression scheme"},
    {"zip.tif", "tiffcp -c zip {in:rgb.tif} {out}", "", "tif_ReadIFD",
     "Unknown compression scheme"},
    {"tiled.tif", "tiffcp -t -w 16 -l 16 {in:rgb.tif} {out}", "", "vti_TIF",
     "No image found in this file!"},
    {"grey16.tif", "convert {in:grey.pgm} -depth 16 {out}", "", "vti_TIF",
     "Unsupported bitdepth for monoplanar image"},
    {"rgb16.tif", "convert {in:rgb.ppm} -depth 16 {out}", "", "vti_TIF",
     "Unsupported bitdepth for triplanar image"},
    {"cmyk.tif", "convert {in:rgb.ppm} -colorspace CMYK {out}", "", "tif_ReadIFD",
     "Unsupported bits per sample"},
    // Three 8-bit samples said to be separated (CMYK): the reader passes the
    // file on and the dispatcher refuses the colour space.
    {"separated.tif", "cp {in:rgb.tif} {out} && tiffset -s 262 5 {out}", "", "ImageImpFile()",
     "Unsupported colorspace - can't handle it!"},
};

class TiffGenerated : public ::testing::TestWithParam<Generated> {
protected:
    static void SetUpTestSuite() {
#ifndef _WIN32
        if (!test::CorpusAvailable() || !test::HaveTool("tiffcp") || !test::HaveTool("pnmtotiff") ||
            !test::HaveTool("pnmdepth"))
            return;
        const auto run = [](const std::string& command) {
            int status = 0;
            test::RunCommand(command + " 2>/dev/null", &status);
            return status == 0;
        };
        ready_ = run("cp " + Quoted(test::CorpusPath("pnm/libtiff-rgb-3c-8b.ppm")) + " " +
                     Quoted(test::TempPath("rgb.ppm"))) &&
                 run("cp " + Quoted(test::CorpusPath("pnm/libtiff-minisblack-1c-8b.pgm")) + " " +
                     Quoted(test::TempPath("grey.pgm"))) &&
                 run("cp " + Quoted(test::CorpusPath("pnm/libtiff-miniswhite-1c-1b.pbm")) + " " +
                     Quoted(test::TempPath("mono.pbm"))) &&
                 run("pnmtotiff " + Quoted(test::TempPath("rgb.ppm")) + " > " + Quoted(test::TempPath("rgb.tif"))) &&
                 run("pnmtotiff " + Quoted(test::TempPath("grey.pgm")) + " > " + Quoted(test::TempPath("grey.tif"))) &&
                 run("pnmtotiff " + Quoted(test::TempPath("mono.pbm")) + " > " + Quoted(test::TempPath("mono.tif")));
#endif
    }
    static bool ready_;
};
bool TiffGenerated::ready_ = false;

// The ImageMagick on the path must be the real one (a stand-in that only
// converts to PPM may shadow it).
bool HaveImageMagick() {
    int status = 0;
    const std::string version = test::RunCommand("convert -version 2>/dev/null", &status);
    return status == 0 && version.find("ImageMagick") != std::string::npos;
}

TEST_P(TiffGenerated, ReadsOrRefusesAsExpected) {
    const Generated& g = GetParam();
#ifdef _WIN32
    GTEST_SKIP() << "no tools under Windows";
#endif
    if (!ready_) GTEST_SKIP() << "tiffcp, netpbm or the corpus missing";
    std::string command = g.command;
    if (command.rfind("convert", 0) == 0 && !HaveImageMagick()) GTEST_SKIP() << "no ImageMagick";
    if (command.find("pnmquant") != std::string::npos && !test::HaveTool("pnmquant"))
        GTEST_SKIP() << "no pnmquant";
    if (command.find("tiffset") != std::string::npos && !test::HaveTool("tiffset"))
        GTEST_SKIP() << "no tiffset";
    const std::string out = test::TempPath(g.name);
    for (size_t at; (at = command.find("{in:")) != std::string::npos;) {
        const size_t close = command.find('}', at);
        command.replace(at, close + 1 - at, Quoted(test::TempPath(command.substr(at + 4, close - at - 4))));
    }
    for (size_t at; (at = command.find("{out}")) != std::string::npos;) command.replace(at, 5, Quoted(out));
    int status = 0;
    test::RunCommand("rm -f " + Quoted(out) + "; " + command + " 2>/dev/null", &status);
    ASSERT_EQ(status, 0) << command;

    const Decoded ours = ReadWithVantirel(out);
    if (!*g.mode) {
        EXPECT_FALSE(ours.ready);
        EXPECT_EQ(ours.place, g.place);
        EXPECT_EQ(ours.text, g.text);
        return;
    }
    ASSERT_TRUE(ours.ready) << g_errorPlace << ": " << g_errorText;
    EXPECT_TRUE(ours.messages.empty());
    if (!HaveOracle()) GTEST_SKIP() << "no Pillow/libtiff to compare with";
    ExpectSamePixels(ours, Oracle(out, g.mode), command);
}

std::string GeneratedName(const ::testing::TestParamInfo<Generated>& info) {
    std::string name = info.param.name;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Tools, TiffGenerated, ::testing::ValuesIn(kGenerated), GeneratedName);

}  // namespace

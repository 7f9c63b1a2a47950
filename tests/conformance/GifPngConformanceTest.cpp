// GIF and PNG files from the sample corpus and generated here with
// ImageMagick and netpbm, decoded by our readers and by independent decoders
// (giftopnm for GIF, PIL for PNG) and compared pixel by pixel. The PNG
// reference applies the reader's deliberate conversions: alpha dropped,
// 16-bit samples reduced to their high byte, grey levels spread
// i * 255 / (n - 1).
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "formats/Readers.h"
#include "tests/support/TestSupport.h"

namespace {
using Bytes = std::vector<uint8_t>;

struct Decoded {
    bool ready = false;
    bool loaded = false;
    std::string message;  // "place: text" when not loaded
    std::string label;
    int depth = 0;
    test::RgbPicture picture;
};

// Opens and loads with our reader; pixels are turned into red, green, blue
// through the palette or from blue, green, red. When the dispatcher finds no
// reader, the reader is asked directly for its own verdict.
Decoded DecodeWithVantirel(const std::string& path, IdentifyRoutine reader) {
    Decoded d;
    ClearError();
    ImageImpFile imp(path.c_str(), nullptr, false);
    d.ready = imp.ready;
    if (!imp.ready) {
        if (std::string(g_errorText) == "Not a supported image format") reader(&imp);
        d.message = std::string(g_errorPlace) + ": " + g_errorText;
        return d;
    }
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    d.loaded = Load(&imp, &image, nullptr, false);
    if (!d.loaded) {
        d.message = std::string(g_errorPlace) + ": " + g_errorText;
        return d;
    }
    d.label = image.label;
    d.depth = image.depth;
    d.picture.width = image.width;
    d.picture.height = image.height;
    d.picture.rgb.resize(static_cast<size_t>(image.width) * image.height * 3);
    uint8_t* out = d.picture.rgb.data();
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* row = image.Row(y);
        for (int x = 0; x < image.width; ++x, out += 3) {
            if (image.palette) {
                const uint8_t* entry = image.palette + 3 * row[x];
                out[0] = entry[0];
                out[1] = entry[1];
                out[2] = entry[2];
            } else {
                out[0] = row[3 * x + 2];
                out[1] = row[3 * x + 1];
                out[2] = row[3 * x];
            }
        }
    }
    return d;
}

// Binary PNM of any maxval: 255 as it is, 65535 by the high byte, others
// scaled v * 255 / maxval.
bool ParseAnyPnm(const std::string& bytes, test::RgbPicture* picture) {
    if (test::ParsePnm(bytes, picture)) return true;
    std::istringstream in(bytes);
    std::string magic;
    int width = 0, height = 0, maxval = 0;
    in >> magic >> width >> height >> maxval;
    if ((magic != "P5" && magic != "P6") || width <= 0 || height <= 0 || maxval <= 0) return false;
    in.get();
    const int channels = magic == "P6" ? 3 : 1;
    const int sampleBytes = maxval > 255 ? 2 : 1;
    const size_t count = static_cast<size_t>(width) * height * channels;
    std::string raster(count * sampleBytes, '\0');
    if (!in.read(&raster[0], static_cast<std::streamsize>(raster.size()))) return false;
    picture->width = width;
    picture->height = height;
    picture->rgb.assign(static_cast<size_t>(width) * height * 3, 0);
    for (size_t i = 0; i < static_cast<size_t>(width) * height; ++i)
        for (int c = 0; c < 3; ++c) {
            const size_t s = i * channels + (channels == 3 ? c : 0);
            unsigned v = static_cast<uint8_t>(raster[s * sampleBytes]);
            if (sampleBytes == 2)
                v = maxval == 65535
                        ? v
                        : ((v << 8) | static_cast<uint8_t>(raster[s * 2 + 1])) * 255 / maxval;
            else
                v = v * 255 / maxval;
            picture->rgb[3 * i + c] = static_cast<uint8_t>(v);
        }
    return true;
}

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

// GIF reference: giftopnm, which shows the first image at its own size and
// ignores transparency unless asked. It refuses images that stick out of the
// logical screen, which our reader ignores; such files are compared through
// a copy whose screen is made to fit the first image.
bool GifReference(const std::string& path, test::RgbPicture* picture) {
    int status = 0;
    std::string out = test::RunCommand("giftopnm " + Quoted(path) + " 2>/dev/null", &status);
    if (status == 0 && ParseAnyPnm(out, picture)) return true;

    Bytes file = test::ReadFile(path);
    if (file.size() < 13) return false;
    size_t at = 13;
    if (file[10] & 0x80) at += 3u << ((file[10] & 7) + 1);
    while (at + 1 < file.size() && file[at] == 0x21) {
        at += 2;
        while (at < file.size() && file[at] != 0) at += 1 + file[at];
        ++at;
    }
    if (at + 9 >= file.size() || file[at] != ',') return false;
    auto le16 = [&](size_t p) { return file[p] | (file[p + 1] << 8); };
    const unsigned right = le16(at + 1) + le16(at + 5);
    const unsigned bottom = le16(at + 3) + le16(at + 7);
    file[6] = static_cast<uint8_t>(right);
    file[7] = static_cast<uint8_t>(right >> 8);
    file[8] = static_cast<uint8_t>(bottom);
    file[9] = static_cast<uint8_t>(bottom >> 8);
    const std::string patched = test::WriteTempFile("screen-fitted.gif", file);
    out = test::RunCommand("giftopnm " + Quoted(patched) + " 2>/dev/null", &status);
    return status == 0 && ParseAnyPnm(out, picture);
}

std::string PngReferenceScript() {
    return std::string(VANTIREL_SOURCE_DIR) + "/tests/conformance/png_reference.py";
}

bool PngReference(const std::string& path, test::RgbPicture* picture) {
    int status = 0;
    const std::string out = test::RunCommand(
        "/usr/bin/python3 " + Quoted(PngReferenceScript()) + " " + Quoted(path) + " 2>/dev/null",
        &status);
    return status == 0 && ParseAnyPnm(out, picture);
}

// Empty when equal; otherwise where and how they differ.
std::string Compare(const test::RgbPicture& ours, const test::RgbPicture& theirs) {
    std::ostringstream s;
    if (ours.width != theirs.width || ours.height != theirs.height) {
        s << "size " << ours.width << "x" << ours.height << " vs " << theirs.width << "x"
          << theirs.height;
        return s.str();
    }
    size_t differing = 0, first = 0;
    for (size_t i = 0; i < ours.rgb.size(); i += 3)
        if (std::memcmp(&ours.rgb[i], &theirs.rgb[i], 3) != 0 && differing++ == 0) first = i / 3;
    if (differing == 0) return "";
    const size_t w = static_cast<size_t>(ours.width);
    s << differing << " pixels differ, first at (" << first % w << "," << first / w << "): ours "
      << int(ours.rgb[3 * first]) << "," << int(ours.rgb[3 * first + 1]) << ","
      << int(ours.rgb[3 * first + 2]) << " reference " << int(theirs.rgb[3 * first]) << ","
      << int(theirs.rgb[3 * first + 1]) << "," << int(theirs.rgb[3 * first + 2]);
    return s.str();
}

[[maybe_unused]] bool HavePil() {
    static const bool have = [] {
        int status = 0;
        test::RunCommand("/usr/bin/python3 -c 'import PIL' 2>/dev/null", &status);
        return status == 0;
    }();
    return have;
}

#ifdef _WIN32
#define SKIP_WITHOUT_TOOLS(...) GTEST_SKIP() << "no reference decoders under Windows"
#else
#define SKIP_WITHOUT_TOOLS(...)                                                  \
    do {                                                                         \
        for (const char* tool : {__VA_ARGS__})                                   \
            if (std::string(tool) == "PIL" ? !HavePil() : !test::HaveTool(tool)) \
                GTEST_SKIP() << tool << " is not installed";                     \
    } while (0)
#endif

// ---- The corpus ----

struct CorpusFile {
    std::string path;  // relative to the corpus
    bool gif = false;
    std::string expected;  // the message the manifest expects, or empty
};

std::vector<CorpusFile> CorpusGifAndPngFiles() {
    std::vector<CorpusFile> files;
    std::ifstream manifest(test::CorpusPath("MANIFEST.tsv"));
    std::string line;
    const std::regex expected("expected: '([^']*)'");
    while (std::getline(manifest, line)) {
        std::istringstream fields(line);
        std::string path, format;
        std::getline(fields, path, '\t');
        std::getline(fields, format, '\t');
        const bool inScope =
            path.rfind("gif/", 0) == 0 || path.rfind("png/", 0) == 0 || path.rfind("bad/", 0) == 0;
        if (!inScope || (format != "GIF" && format != "PNG")) continue;
        CorpusFile f;
        f.path = path;
        f.gif = format == "GIF";
        std::smatch m;
        if (std::regex_search(line, m, expected)) f.expected = m[1];
        files.push_back(f);
    }
    return files;
}

class GifPngCorpus : public testing::TestWithParam<CorpusFile> {};

TEST_P(GifPngCorpus, DecodesLikeTheIndependentDecoder) {
    const CorpusFile& f = GetParam();
    SKIP_WITHOUT_TOOLS("giftopnm", "PIL");
    const std::string path = test::CorpusPath(f.path);
    const Decoded ours = DecodeWithVantirel(path, f.gif ? vti_GIF : vti_PNG);

    // The manifest only says these have no colour table at all.
    std::string expected = f.expected;
    if (f.path == "bad/imagegif-issue-96-small-codesize.gif" ||
        f.path == "bad/imagegif-issue-96-small-codesize-2.gif")
        expected = "No color table found";
    if (!expected.empty() && expected.find("load normally") == std::string::npos) {
        // Messages the reader or the dispatcher gives on purpose.
        EXPECT_FALSE(ours.loaded);
        const std::string text = ours.message.substr(ours.message.find(": ") + 2);
        EXPECT_EQ(text, expected) << ours.message;
        return;
    }
    ASSERT_TRUE(ours.loaded) << ours.message;

    const std::string name = f.path.substr(f.path.find('/') + 1);
    if (name == "pngsuite-xdtn0g01.png") {
        // No image data at all: nothing is inflated and the picture stays
        // at index 0 (black in the grey ramp).
        for (uint8_t v : ours.picture.rgb) ASSERT_EQ(v, 0);
        return;
    }
    if (name == "imagegif-issue-101-infinite-empty-loop.gif" ||
        name == "imagegif-issue-117-out-of-range.gif") {
        // giftopnm refuses these (truncated, and codes beyond the table);
        // ours keeps what it decodes and stops at the end of the picture.
        test::RgbPicture theirs;
        EXPECT_FALSE(GifReference(path, &theirs));
        return;
    }

    test::RgbPicture theirs;
    ASSERT_TRUE(f.gif ? GifReference(path, &theirs) : PngReference(path, &theirs))
        << "the reference decoder refused " << f.path;
    EXPECT_EQ(Compare(ours.picture, theirs), "");
}

std::string CaseName(const testing::TestParamInfo<CorpusFile>& info) {
    std::string name = info.param.path;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Corpus, GifPngCorpus, testing::ValuesIn(CorpusGifAndPngFiles()), CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(GifPngCorpus);

TEST(GifPngCorpusLabels, FirstCommentBeforeTheImageIsTheLabel) {
    SKIP_WITHOUT_TOOLS("PIL");
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    // PIL reads the comment of the first frame.
    for (const char* name : {"gif/pillow-hopper.gif", "gif/imagers-interlaced.gif",
                             "gif/pillow-multiple_comments.gif", "gif/pillow-chi.gif"}) {
        const std::string path = test::CorpusPath(name);
        const Decoded ours = DecodeWithVantirel(path, vti_GIF);
        ASSERT_TRUE(ours.loaded) << name << ": " << ours.message;
        int status = 0;
        std::string comment = test::RunCommand(
            "/usr/bin/python3 -c \"import sys; from PIL import Image; "
            "sys.stdout.buffer.write(Image.open(sys.argv[1]).info.get('comment', b''))\" " +
                Quoted(path),
            &status);
        ASSERT_EQ(status, 0);
        ASSERT_FALSE(comment.empty()) << name;
        // PIL joins every sub-block of the comment; the label is the first
        // sub-block, at most 80 characters.
        const std::string expected = comment.substr(0, std::min<size_t>(ours.label.size(), 80));
        EXPECT_FALSE(ours.label.empty()) << name;
        EXPECT_EQ(ours.label, expected) << name;
    }
    for (const char* name : {"gif/pillow-comment_after_only_frame.gif",
                             "gif/pillow-second_frame_comment.gif", "gif/imagegif-2x2.gif"}) {
        const Decoded ours = DecodeWithVantirel(test::CorpusPath(name), vti_GIF);
        ASSERT_TRUE(ours.loaded) << name;
        EXPECT_EQ(ours.label, "") << name;
    }
}

// ---- Files generated here ----

struct Generated {
    std::string name;
    std::string command;  // writes OUT
};

// Runs `command` with OUT replaced by a scratch path; returns the path.
std::string Generate(const Generated& g) {
    const std::string out = test::TempPath(g.name);
    std::string command = g.command;
    const size_t at = command.find("OUT");
    command.replace(at, 3, Quoted(out));
    int status = 0;
    test::RunCommand(command + " 2>/dev/null", &status);
    EXPECT_EQ(status, 0) << command;
    return out;
}

TEST(GifGenerated, ImageMagickAndNetpbmFilesDecodeLikeGiftopnm) {
    SKIP_WITHOUT_TOOLS("convert", "giftopnm", "ppmtogif", "pnmquant");
    const std::string plasma = "convert -size 61x37 -seed 7 plasma:fractal";
    const std::vector<Generated> files = {
        {"im-256.gif", plasma + " -colors 256 OUT"},
        {"im-256-interlaced.gif", plasma + " -colors 256 -interlace GIF OUT"},
        {"im-2.gif", plasma + " -colors 2 OUT"},
        {"im-4.gif", plasma + " -colors 4 OUT"},
        {"im-16-interlaced.gif", plasma + " -colors 16 -interlace GIF OUT"},
        {"im-87a.gif", plasma + " -colors 8 GIF87:OUT"},
        {"im-wide.gif", "convert -size 997x3 -seed 2 plasma:fractal -colors 200 OUT"},
        {"im-tall-interlaced.gif",
         "convert -size 3x203 -seed 3 plasma:fractal -colors 32 -interlace GIF OUT"},
        // The second frame gets a local table; only the first is shown.
        {"im-animation.gif",
         "convert -delay 10 -size 40x30 -seed 4 plasma:fractal -colors 64 "
         "-size 40x30 xc:red -colors 2 OUT"},
        {"im-transparent.gif", plasma + " -colors 16 -transparent-color white -fuzz 30% "
                                        "-transparent '#808080' OUT"},
        {"netpbm-64.gif", plasma + " -depth 8 ppm:- | pnmquant 64 | ppmtogif > OUT"},
        {"netpbm-interlaced.gif",
         plasma + " -depth 8 ppm:- | pnmquant 128 | ppmtogif -interlace > OUT"},
        {"netpbm-sort.gif", plasma + " -depth 8 ppm:- | pnmquant 5 | ppmtogif -sort > OUT"},
    };
    for (const Generated& g : files) {
        const std::string path = Generate(g);
        const Decoded ours = DecodeWithVantirel(path, vti_GIF);
        ASSERT_TRUE(ours.loaded) << g.name << ": " << ours.message;
        test::RgbPicture theirs;
        ASSERT_TRUE(GifReference(path, &theirs)) << g.name;
        EXPECT_EQ(Compare(ours.picture, theirs), "") << g.name;
    }
}

TEST(GifGenerated, InterlacedFileMatchesItsPlainTwin) {
    SKIP_WITHOUT_TOOLS("convert");
    const std::string plasma = "convert -size 45x29 -seed 11 plasma:fractal -colors 100";
    const std::string plain = Generate({"twin-plain.gif", plasma + " OUT"});
    const std::string interlaced =
        Generate({"twin-interlaced.gif", plasma + " -interlace GIF OUT"});
    ASSERT_NE(test::ReadFile(plain), test::ReadFile(interlaced));
    const Decoded a = DecodeWithVantirel(plain, vti_GIF);
    const Decoded b = DecodeWithVantirel(interlaced, vti_GIF);
    ASSERT_TRUE(a.loaded && b.loaded);
    EXPECT_EQ(Compare(a.picture, b.picture), "");
}

TEST(GifGenerated, CommentBecomesTheLabel) {
    SKIP_WITHOUT_TOOLS("convert");
    const std::string text =
        "A comment written by ImageMagick that is rather longer than eighty characters, to see it "
        "cut";
    const std::string path = Generate(
        {"comment.gif", "convert -comment '" + text + "' -size 20x10 xc:blue -colors 2 OUT"});
    const Decoded ours = DecodeWithVantirel(path, vti_GIF);
    ASSERT_TRUE(ours.loaded) << ours.message;
    EXPECT_EQ(ours.label, text.substr(0, 80));
}

TEST(GifGenerated, FirstImageWithALocalTableOverAGlobalOne) {
    SKIP_WITHOUT_TOOLS("convert", "giftopnm");
    // ImageMagick writes one global table; move it behind the image
    // descriptor as a local table and put a different global table of the
    // same size in front. Both decoders must then use the local colours.
    const std::string path = Generate(
        {"global.gif", "convert -size 33x21 -seed 9 plasma:fractal -colors 16 -interlace GIF OUT"});
    Bytes file = test::ReadFile(path);
    ASSERT_GT(file.size(), 13u);
    ASSERT_TRUE(file[10] & 0x80);
    const unsigned bits = (file[10] & 7) + 1;
    const size_t tableBytes = 3u << bits;
    const Bytes table(file.begin() + 13, file.begin() + 13 + static_cast<ptrdiff_t>(tableBytes));
    size_t at = 13 + tableBytes;
    while (file[at] == 0x21) {
        at += 2;
        while (file[at] != 0) at += 1 + file[at];
        ++at;
    }
    ASSERT_EQ(file[at], ',');
    ASSERT_FALSE(file[at + 9] & 0x80);
    file[at + 9] = static_cast<uint8_t>(file[at + 9] | 0x80 | (bits - 1));
    file.insert(file.begin() + static_cast<ptrdiff_t>(at + 10), table.begin(), table.end());
    for (size_t i = 0; i < tableBytes; ++i) file[13 + i] = static_cast<uint8_t>(i * 37);
    const std::string local = test::WriteTempFile("local.gif", file);

    const Decoded ours = DecodeWithVantirel(local, vti_GIF);
    ASSERT_TRUE(ours.loaded) << ours.message;
    test::RgbPicture theirs;
    ASSERT_TRUE(GifReference(local, &theirs));
    EXPECT_EQ(Compare(ours.picture, theirs), "");
    const Decoded original = DecodeWithVantirel(path, vti_GIF);
    EXPECT_EQ(Compare(ours.picture, original.picture), "");
}

// ---- Files built with giflib's own tools ----

// A colour map in gifbuild's text form: `colours` entries, each a function
// of its index and `seed`.
std::string GifbuildMap(const std::string& keyword, int colours, int seed) {
    std::ostringstream s;
    s << keyword << "\n";
    for (int i = 0; i < colours; ++i)
        s << "\trgb " << (i * 37 + seed) % 256 << " " << (i * 101 + 2 * seed) % 256 << " "
          << (255 - i * 7 + seed) % 256 << "\n";
    s << "end\n";
    return s.str();
}

// An image block: a hex raster of index (x * 7 + y * 13 + seed) % colours.
std::string GifbuildImage(int width, int height, int colours, int seed, bool interlaced,
                          const std::string& localMap = "") {
    std::ostringstream s;
    s << "image\n";
    if (interlaced) s << "image interlaced\n";
    s << localMap << "image bits " << width << " by " << height << " hex\n";
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            char pair[3];
            std::snprintf(pair, sizeof pair, "%02x", (x * 7 + y * 13 + seed) % colours);
            s << pair;
        }
        s << "\n";
    }
    return s.str();
}

// gifbuild turns the text into OUT; the reference is giflib's gif2rgb,
// which paints the images on the logical screen (the files here have one
// image the size of the screen, or a first image that covers it and is
// compared through giftopnm).
std::string Gifbuild(const std::string& name, const std::string& text) {
    const std::string script = test::WriteTempFile(name + ".txt", Bytes(text.begin(), text.end()));
    return Generate({name, "gifbuild " + Quoted(script) + " > OUT"});
}

bool Gif2rgbReference(const std::string& path, test::RgbPicture* picture) {
    const std::string rgb = test::TempPath("gif2rgb.rgb");
    int status = 0;
    test::RunCommand("rm -f " + Quoted(rgb) + "; gif2rgb -1 -o " + Quoted(rgb) + " " +
                         Quoted(path) + " >/dev/null 2>&1",
                     &status);
    if (status != 0) return false;
    const Bytes file = test::ReadFile(path);
    picture->width = file[6] | (file[7] << 8);
    picture->height = file[8] | (file[9] << 8);
    picture->rgb = test::ReadFile(rgb);
    return picture->rgb.size() == static_cast<size_t>(picture->width) * picture->height * 3;
}

TEST(GifGenerated, GifbuildFilesOfEveryTableSizeDecodeLikeGif2rgb) {
    SKIP_WITHOUT_TOOLS("gifbuild", "gif2rgb");
    for (int depth = 1; depth <= 8; ++depth) {
        const int colours = 1 << depth, width = 7 + 3 * depth, height = 3 + 2 * depth;
        const bool interlaced = depth % 2 == 1;
        const std::string text = "screen width " + std::to_string(width) + "\nscreen height " +
                                 std::to_string(height) + "\n" +
                                 GifbuildMap("screen map", colours, depth) +
                                 GifbuildImage(width, height, colours, depth, interlaced);
        const std::string name = "gifbuild-" + std::to_string(depth) + ".gif";
        const std::string path = Gifbuild(name, text);
        ASSERT_EQ(test::ReadFile(path)[10] & 7, depth - 1) << name;
        const Decoded ours = DecodeWithVantirel(path, vti_GIF);
        ASSERT_TRUE(ours.loaded) << name << ": " << ours.message;
        EXPECT_EQ(ours.depth, depth) << name;
        test::RgbPicture theirs;
        ASSERT_TRUE(Gif2rgbReference(path, &theirs)) << name;
        EXPECT_EQ(Compare(ours.picture, theirs), "") << name;
    }
}

TEST(GifGenerated, GifbuildLocalTablesFramesAndCommentsDecodeLikeGiflib) {
    SKIP_WITHOUT_TOOLS("gifbuild", "gif2rgb", "giftopnm");
    const std::string screen = "screen width 23\nscreen height 11\n";
    {
        // A 16-entry local table over a 256-entry global one, interlaced.
        const std::string path =
            Gifbuild("gifbuild-local.gif",
                     screen + GifbuildMap("screen map", 256, 3) +
                         GifbuildImage(23, 11, 16, 5, true, GifbuildMap("image map", 16, 90)));
        const Decoded ours = DecodeWithVantirel(path, vti_GIF);
        ASSERT_TRUE(ours.loaded) << ours.message;
        EXPECT_EQ(ours.depth, 4);
        test::RgbPicture theirs;
        ASSERT_TRUE(Gif2rgbReference(path, &theirs));
        EXPECT_EQ(Compare(ours.picture, theirs), "");
    }
    {
        // Two frames, the second with a local table and a comment after
        // it: the first frame is shown, without a label.
        const std::string path =
            Gifbuild("gifbuild-frames.gif",
                     screen + GifbuildMap("screen map", 8, 4) + GifbuildImage(23, 11, 8, 1, false) +
                         GifbuildImage(5, 4, 4, 2, false, GifbuildMap("image map", 4, 70)) +
                         "comment\nA comment after the last frame\nend\n");
        const Decoded ours = DecodeWithVantirel(path, vti_GIF);
        ASSERT_TRUE(ours.loaded) << ours.message;
        EXPECT_EQ(ours.label, "");
        test::RgbPicture theirs;
        ASSERT_TRUE(GifReference(path, &theirs));
        EXPECT_EQ(Compare(ours.picture, theirs), "");
    }
}

// Reads bit depth, colour type and interlace method from a PNG header.
std::string PngKind(const std::string& path) {
    const Bytes file = test::ReadFile(path);
    if (file.size() < 29) return "?";
    return std::to_string(file[25]) + "/" + std::to_string(file[24]) + (file[28] ? "i" : "");
}

TEST(PngGenerated, EveryColourTypeAndBitDepthPlainAndInterlaced) {
    SKIP_WITHOUT_TOOLS("convert", "pnmtopng", "PIL");
    struct Kind {
        unsigned colourType, bitDepth;
    };
    const Kind kinds[] = {{0, 1}, {0, 2}, {0, 4}, {0, 8}, {0, 16}, {2, 8}, {2, 16}, {3, 1},
                          {3, 2}, {3, 4}, {3, 8}, {4, 8}, {4, 16}, {6, 8}, {6, 16}};
    for (const Kind& k : kinds) {
        for (bool interlaced : {false, true}) {
            const std::string d = std::to_string(k.bitDepth);
            const std::string size = "-size 37x23 ";
            std::string command;
            switch (k.colourType) {
                case 0:
                    command = "convert " + size + "gradient:black-white";
                    break;
                case 2:
                    command = "convert " + size + "-seed 5 plasma:fractal";
                    break;
                case 3:
                    command = "convert " + size + "-seed 5 plasma:fractal -colors " +
                              std::to_string(k.bitDepth == 8 ? 200 : 1 << k.bitDepth);
                    break;
                case 4:
                    command = "convert " + size +
                              "gradient:black-white -alpha set -channel A -fx j/h +channel";
                    break;
                default:
                    command = "convert " + size +
                              "-seed 5 plasma:fractal -alpha set -channel A -fx i/w +channel";
                    break;
            }
            if (k.colourType == 3 && k.bitDepth < 8) {
                // ImageMagick widens small palettes; pnmtopng keeps them.
                command += " -depth 8 ppm:- | pnmtopng" +
                           std::string(interlaced ? " -interlace" : "") + " > OUT";
            } else {
                command += " -define png:color-type=" + std::to_string(k.colourType) +
                           " -define png:bit-depth=" + d + " -interlace " +
                           (interlaced ? "PNG" : "None") + " OUT";
            }
            const std::string name = "kind-" + std::to_string(k.colourType) + "-" + d +
                                     (interlaced ? "-i" : "") + ".png";
            const std::string path = Generate({name, command});
            ASSERT_EQ(PngKind(path),
                      std::to_string(k.colourType) + "/" + d + (interlaced ? "i" : ""))
                << command;
            const Decoded ours = DecodeWithVantirel(path, vti_PNG);
            ASSERT_TRUE(ours.loaded) << name << ": " << ours.message;
            test::RgbPicture theirs;
            ASSERT_TRUE(PngReference(path, &theirs)) << name;
            EXPECT_EQ(Compare(ours.picture, theirs), "") << name;
        }
    }
}

TEST(PngGenerated, TransparencyIsDropped) {
    SKIP_WITHOUT_TOOLS("convert", "pnmtopng", "PIL");
    // A patch of the transparent colour makes sure the colour is there.
    const std::string plasma = "convert -size 29x31 -seed 13 plasma:fractal";
    const std::string patch = " -fill '#808080' -draw 'rectangle 2,2 9,6' -depth 8";
    for (const Generated& g : std::vector<Generated>{
             {"trns-palette.png",
              plasma + " -colors 12" + patch + " ppm:- | pnmtopng -transparent =#808080 > OUT"},
             {"trns-rgb.png", plasma + patch + " ppm:- | pnmtopng -transparent =#808080 > OUT"},
             {"trns-grey.png", "convert -size 29x31 gradient:black-white" + patch +
                                   " pgm:- | pnmtopng -transparent =#808080 > OUT"}}) {
        const std::string path = Generate(g);
        const Bytes file = test::ReadFile(path);
        ASSERT_NE(std::search(file.begin(), file.end(), std::begin("tRNS"), std::end("tRNS") - 1),
                  file.end())
            << g.name << " has no tRNS chunk";
        const Decoded ours = DecodeWithVantirel(path, vti_PNG);
        ASSERT_TRUE(ours.loaded) << g.name << ": " << ours.message;
        test::RgbPicture theirs;
        ASSERT_TRUE(PngReference(path, &theirs)) << g.name;
        EXPECT_EQ(Compare(ours.picture, theirs), "") << g.name;
    }
}

TEST(PngGenerated, UnknownChunksAreSkippedOrWarnedAbout) {
    SKIP_WITHOUT_TOOLS("convert", "PIL");
    const std::string path = Generate(
        {"chunks.png", "convert -size 23x19 -seed 17 plasma:fractal -define png:color-type=2 OUT"});
    Bytes file = test::ReadFile(path);
    // Insert a private ancillary chunk and an unknown critical one right
    // after the header chunk (8 + 25 bytes); their check values are junk,
    // which is never looked at.
    const Bytes chunks = {0, 0, 0, 3, 'p', 'r', 'V', 't', 1, 2, 3, 9, 9, 9, 9,
                          0, 0, 0, 2, 'C', 'R', 'I', 'T', 4, 5, 9, 9, 9, 9};
    file.insert(file.begin() + 33, chunks.begin(), chunks.end());
    const std::string changed = test::WriteTempFile("chunks-added.png", file);
    test::MessageRecorder recorder;
    const Decoded ours = DecodeWithVantirel(changed, vti_PNG);
    ASSERT_TRUE(ours.loaded) << ours.message;
    ASSERT_EQ(recorder.messages.size(), 1u);
    EXPECT_EQ(recorder.messages[0].second,
              "Warning! Unrecognized critical chunk encountered - Will probably not display image "
              "correctly");
    test::RgbPicture theirs;
    ASSERT_TRUE(PngReference(path, &theirs));
    EXPECT_EQ(Compare(ours.picture, theirs), "");
}

}  // namespace

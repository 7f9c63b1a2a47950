// The TARGA, PCX, IFF, PBMPLUS, Sun raster, MacPaint and Neochrome readers
// against netpbm's decoders: the sample corpus and files written at test
// time by netpbm's encoders. Where this program shows a file differently on
// purpose (16-bit TARGA levels, PCX plane step, Sun raster rows without
// padding, 16-bit PBMPLUS samples, Neochrome levels) the reference is
// transformed by that rule, not skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::Loaded;
using test::OpenAndLoad;

namespace {

#ifdef _WIN32
#define SKIP_WITHOUT_TOOLS(...) GTEST_SKIP() << "no netpbm under Windows"
#else
#define SKIP_WITHOUT_TOOLS(...)                                                    \
    do {                                                                           \
        if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";                 \
        for (const char* tool : {__VA_ARGS__})                                     \
            if (!test::HaveTool(tool)) GTEST_SKIP() << tool << " is not installed"; \
    } while (0)
#endif

// A picture from a reference decoder, read from netpbm's plain formats: the
// samples as they are with their maximum value.
struct Reference {
    int width = 0, height = 0, maxval = 0;
    bool bitmap = false;     // P1: 1 is black
    std::vector<int> rgb;    // three samples per pixel
    int At(int x, int y, int c) const { return rgb[(static_cast<size_t>(y) * width + x) * 3 + c]; }
};

std::string Quote(const std::string& path) { return "'" + path + "'"; }

bool ParsePlain(const std::string& text, Reference* out) {
    std::string cleaned;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '#') {
            while (i < text.size() && text[i] != '\n') ++i;
            continue;
        }
        cleaned += text[i];
    }
    std::istringstream in(cleaned);
    std::string magic;
    in >> magic;
    if (magic != "P1" && magic != "P2" && magic != "P3") return false;
    in >> out->width >> out->height;
    out->bitmap = magic == "P1";
    out->maxval = out->bitmap ? 1 : 0;
    if (!out->bitmap) in >> out->maxval;
    const size_t pixels = static_cast<size_t>(out->width) * out->height;
    out->rgb.assign(pixels * 3, 0);
    for (size_t i = 0; i < pixels; ++i) {
        if (magic == "P3") {
            in >> out->rgb[3 * i] >> out->rgb[3 * i + 1] >> out->rgb[3 * i + 2];
        } else if (out->bitmap) {
            // Plain bitmaps may run digits together.
            char c = 0;
            while (in.get(c) && c != '0' && c != '1') {}
            out->rgb[3 * i] = out->rgb[3 * i + 1] = out->rgb[3 * i + 2] = c - '0';
        } else {
            int v = 0;
            in >> v;
            out->rgb[3 * i] = out->rgb[3 * i + 1] = out->rgb[3 * i + 2] = v;
        }
    }
    return static_cast<bool>(in) || out->bitmap;
}

// Runs a decoder command whose standard output is any netpbm format.
bool RunReference(const std::string& command, Reference* out) {
    int status = 0;
    const std::string text = test::RunCommand(command + " 2>/dev/null | pnmtoplainpnm 2>/dev/null", &status);
    return status == 0 && ParsePlain(text, out);
}

// What this program shows for a reference sample, or -1 when the sample
// says nothing about the pixel.
using Rule = std::function<int(const Reference& ref, int x, int y, int c)>;

int AsIs(const Reference& ref, int x, int y, int c) {
    if (ref.bitmap) return ref.At(x, y, c) ? 0 : 255;
    EXPECT_EQ(ref.maxval, 255);
    return ref.At(x, y, c);
}

// Compares every pixel's red, green, blue with the rule's value and reports
// the first difference.
void ExpectPicture(const Loaded& ours, const Reference& ref, const Rule& rule, const std::string& what) {
    ASSERT_TRUE(ours.loaded) << what << ": " << ours.place << ": " << ours.text;
    ASSERT_EQ(ours.width, ref.width) << what;
    ASSERT_EQ(ours.height, ref.height) << what;
    size_t differences = 0, compared = 0;
    std::string first;
    for (int y = 0; y < ref.height; ++y)
        for (int x = 0; x < ref.width; ++x) {
            const auto mine = ours.Rgb(x, y);
            for (int c = 0; c < 3; ++c) {
                const int expected = rule(ref, x, y, c);
                if (expected < 0) continue;
                ++compared;
                if (mine[c] != expected && differences++ == 0)
                    first = "(" + std::to_string(x) + "," + std::to_string(y) + ") channel " + std::to_string(c) +
                            ": ours " + std::to_string(mine[c]) + ", expected " + std::to_string(expected);
            }
        }
    EXPECT_EQ(differences, 0u) << what << ": first difference at " << first;
    EXPECT_GT(compared, 0u) << what;
}

void ExpectMatchesDecoder(const std::string& path, const std::string& decoder, const Rule& rule = AsIs,
                          bool probe = false) {
    Reference ref;
    ASSERT_TRUE(RunReference(decoder + " " + Quote(path), &ref)) << decoder << " failed on " << path;
    ExpectPicture(OpenAndLoad(path, probe), ref, rule, path);
}

// MANIFEST.tsv: the message a corpus file is expected to end with, if any.
std::map<std::string, std::string> ExpectedMessages() {
    std::map<std::string, std::string> messages;
    std::ifstream manifest(test::CorpusPath("MANIFEST.tsv"));
    std::string line;
    const std::regex expected("expected: '(.*)'\\)");
    while (std::getline(manifest, line)) {
        std::smatch m;
        if (std::regex_search(line, m, expected)) messages[line.substr(0, line.find('\t'))] = m[1];
    }
    return messages;
}

std::vector<std::string> CorpusFiles(const std::string& folder, const std::vector<std::string>& extensions) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(test::CorpusPath(folder))) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (std::find(extensions.begin(), extensions.end(), ext) != extensions.end())
            files.push_back(folder + "/" + entry.path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

Bytes FileBytes(const std::string& path) {
    Bytes b;
    b.data = test::ReadFile(path);
    return b;
}

// A file the dispatcher refuses: either the reader recognised it and gave
// the message, or it did not recognise it (then the dispatcher says so) and
// its own verdict is the message.
void ExpectRefusal(const std::string& relative, IdentifyRoutine identify, const std::string& message,
                   bool probe = false) {
    const std::string path = test::CorpusPath(relative);
    const Loaded r = OpenAndLoad(path, probe, false);
    EXPECT_FALSE(r.ready) << relative;
    if (r.text == "Not a supported image format") {
        const auto v = test::Identify(identify, "refusal" + std::filesystem::path(path).extension().string(),
                                      FileBytes(path));
        EXPECT_FALSE(v.recognised) << relative;
        EXPECT_EQ(v.text, message) << relative;
    } else {
        EXPECT_EQ(r.text, message) << relative;
    }
}

std::string Temp(const std::string& name) { return test::TempPath(name); }

int Shell(const std::string& command) {
    int status = 0;
    test::RunCommand(command + " 2>/dev/null", &status);
    return status;
}

// Two source pictures of odd size: 16 colours in a diagonal pattern, and a
// true-colour one.
const std::string& SixteenColours() {
    static const std::string path = [] {
        static const uint8_t colours[16][3] = {
            {0, 0, 0},     {255, 255, 255}, {255, 0, 0},    {0, 255, 0},  {0, 0, 255},   {255, 255, 0},
            {0, 255, 255}, {255, 0, 255},   {128, 64, 32},  {32, 64, 128}, {200, 100, 50}, {10, 20, 30},
            {90, 180, 45}, {17, 34, 51},    {250, 128, 5},  {60, 60, 60}};
        Bytes b;
        b.text("P6 37 23 255\n");
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x) {
                const auto* c = colours[(x * 3 + y * 5) % 16];
                b.u8(c[0]).u8(c[1]).u8(c[2]);
            }
        return test::WriteTempFile("sixteen.ppm", b.data);
    }();
    return path;
}

const std::string& TrueColour(int width = 37) {
    static std::map<int, std::string> paths;
    auto& path = paths[width];
    if (path.empty()) {
        Bytes b;
        b.text("P6 " + std::to_string(width) + " 23 255\n");
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < width; ++x) b.u8((x * 7) % 256).u8((y * 11) % 256).u8((x * y) % 256);
        path = test::WriteTempFile("truecolour" + std::to_string(width) + ".ppm", b.data);
    }
    return path;
}

// 24-bit PCX planes are taken `width` bytes apart while the file's planes
// are bytes-per-line apart: our pixel x reads line bytes x, width + x and
// 2 width + x of the scan line that the reference decoded with the
// file's own plane step. Pad bytes of the line are unknown (-1).
Rule PcxPlaneStepRule(unsigned bytesPerLine) {
    return [bytesPerLine](const Reference& ref, int x, int y, int c) {
        const unsigned i = static_cast<unsigned>(c * ref.width + x);
        const unsigned plane = i / bytesPerLine, column = i % bytesPerLine;
        if (plane > 2 || column >= static_cast<unsigned>(ref.width)) return -1;
        return ref.At(static_cast<int>(column), y, static_cast<int>(plane));
    };
}

unsigned PcxBytesPerLine(const std::string& path) {
    const auto b = test::ReadFile(path);
    return b.size() > 67 ? b[66] | (b[67] << 8) : 0;
}

// Plain bitmaps as netpbm writes them run their digits together, and a run
// of digits is one number, so one pixel: pixel i is the i-th run of digits
// after the header (wrapped to 32 bits, then to a byte), or 1 once the runs
// are used up. Reading the file by that rule here, independently, gives the
// pixels the reader must produce.
void ExpectRunTogetherBitmap(const std::string& path) {
    const auto bytes = test::ReadFile(path);
    std::vector<uint32_t> runs;
    bool inRun = false;
    for (size_t i = 2; i < bytes.size(); ++i) {
        if (bytes[i] == '#') {
            while (i < bytes.size() && bytes[i] != '\n' && bytes[i] != '\r') ++i;
            inRun = false;
            continue;
        }
        const bool digit = bytes[i] >= '0' && bytes[i] <= '9';
        if (digit && !inRun) runs.push_back(0);
        if (digit) runs.back() = runs.back() * 10 + (bytes[i] - '0');
        inRun = digit;
    }
    ASSERT_GE(runs.size(), 2u);
    const int width = static_cast<int>(runs[0]), height = static_cast<int>(runs[1]);
    const Loaded ours = OpenAndLoad(path);
    ASSERT_TRUE(ours.loaded) << path;
    ASSERT_EQ(ours.width, width);
    ASSERT_EQ(ours.height, height);
    size_t differences = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const size_t i = 2 + static_cast<size_t>(y) * width + x;
            const uint8_t expected = i < runs.size() ? static_cast<uint8_t>(runs[i]) : 1;
            differences += ours.At(x, y) != expected;
        }
    EXPECT_EQ(differences, 0u) << path;
}

}  // namespace

TEST(OtherFormatsConformance, TargaCorpusMatchesTgatoppm) {
    SKIP_WITHOUT_TOOLS("tgatoppm", "pnmtoplainpnm");
    const auto messages = ExpectedMessages();
    for (const auto& file : CorpusFiles("tga", {".tga"})) {
        const std::string path = test::CorpusPath(file);
        if (messages.count(file)) {
            ExpectRefusal(file, vti_TGA, messages.at(file));
            continue;
        }
        const auto header = test::ReadFile(path);
        const bool sixteenBitPixels = header[16] == 16;
        const bool sixteenBitMap = header[1] == 1 && header[7] == 16;
        Rule rule = AsIs;
        // 5-bit levels: pixels become 8 * level + 2, colour-map entries
        // 8 * level.
        if (sixteenBitPixels)
            rule = [](const Reference& ref, int x, int y, int c) { return ref.At(x, y, c) * 8 + 2; };
        if (sixteenBitMap)
            rule = [](const Reference& ref, int x, int y, int c) { return ref.At(x, y, c) * 8; };
        ExpectMatchesDecoder(path, "tgatoppm", rule);
    }
}

TEST(OtherFormatsConformance, PcxCorpusMatchesPcxtoppm) {
    SKIP_WITHOUT_TOOLS("pcxtoppm", "pnmtoplainpnm");
    for (const auto& file : CorpusFiles("pcx", {".pcx"})) {
        const std::string path = test::CorpusPath(file);
        if (file == "pcx/pillow-p_4_planes.pcx") {
            // One pixel wide: xmin is not below xmax.
            ExpectRefusal(file, vti_PCX, "Not a PC-Paintbrush file");
            continue;
        }
        if (file == "pcx/pillow-01r_00.pcx") {
            // 8 bits, 88 pixels wide but 12 bytes per line and no trailing
            // palette (the reference refuses it): the header palette is used
            // and 12 bytes a row are copied.
            const Loaded r = OpenAndLoad(path);
            ASSERT_TRUE(r.loaded);
            const auto bytes = test::ReadFile(path);
            EXPECT_EQ(std::vector<uint8_t>(r.palette.begin(), r.palette.begin() + 48),
                      std::vector<uint8_t>(bytes.begin() + 16, bytes.begin() + 64));
            EXPECT_EQ(r.At(12, 0), 0xEE);
            EXPECT_EQ(r.At(87, 51), 0xEE);
            continue;
        }
        const Loaded r = OpenAndLoad(path);
        const unsigned bytesPerLine = PcxBytesPerLine(path);
        if (r.depth == 24 && bytesPerLine != static_cast<unsigned>(r.width))
            ExpectMatchesDecoder(path, "pcxtoppm", PcxPlaneStepRule(bytesPerLine));
        else
            ExpectMatchesDecoder(path, "pcxtoppm");
    }
}

TEST(OtherFormatsConformance, IffCorpusMatchesIlbmtoppm) {
    SKIP_WITHOUT_TOOLS("ilbmtoppm", "pnmtoplainpnm");
    const auto messages = ExpectedMessages();
    for (const auto& file : CorpusFiles("iff", {".iff", ".lbm", ".ilbm", ".acbm"})) {
        const std::string path = test::CorpusPath(file);
        if (messages.count(file)) {
            ExpectRefusal(file, vti_IFF, messages.at(file), true);
            continue;
        }
        // Display modes (hold-and-modify, extra half-brite, per-line
        // palettes) are not interpreted: the planes are palette indexes, so
        // the reference is told to ignore the chunks that select them. Only
        // pixels whose index the CMAP chunk covers can be compared (the
        // reader takes further entries from the bytes after the chunk).
        const auto bytes = test::ReadFile(path);
        const std::string text(bytes.begin(), bytes.end());
        const size_t cmap = text.find("CMAP");
        const unsigned mapEntries =
            cmap == std::string::npos ? 0
                                      : ((bytes[cmap + 4] << 24) | (bytes[cmap + 5] << 16) | (bytes[cmap + 6] << 8) |
                                         bytes[cmap + 7]) / 3;
        Reference ref;
        const Loaded ours = OpenAndLoad(path, true);
        if (!RunReference("ilbmtoppm -ignore CAMG -ignore SHAM " + Quote(path), &ref)) {
            // Hold-and-modify planes hold indexes beyond the map, which the
            // reference will not show as a palette picture: the planes are
            // still read as indexes below 2 to the planes.
            ASSERT_TRUE(ours.loaded) << file << ": " << ours.text;
            EXPECT_NE(file.find("ham"), std::string::npos) << file;
            EXPECT_EQ(*std::max_element(ours.pixels.begin(), ours.pixels.end()) >> ours.depth, 0) << file;
            continue;
        }
        ExpectPicture(ours, ref,
                      [&](const Reference& r, int x, int y, int c) {
                          return ours.At(x, y) < mapEntries ? AsIs(r, x, y, c) : -1;
                      },
                      file);
    }
}

TEST(OtherFormatsConformance, PnmCorpusMatchesNetpbm) {
    SKIP_WITHOUT_TOOLS("pnmtoplainpnm");
    const auto messages = ExpectedMessages();
    for (const auto& file : CorpusFiles("pnm", {".pbm", ".pgm", ".ppm", ".pnm"})) {
        const std::string path = test::CorpusPath(file);
        const bool probe = file.size() > 4 && file.substr(file.size() - 4) == ".pnm";
        if (file == "pnm/pillow-courB08.pbm") {  // PNG data under a bitmap's name
            const auto v = test::Identify(vti_PxM, "png.pbm", FileBytes(path));
            EXPECT_FALSE(v.recognised);
            EXPECT_EQ(v.text, "Not a PBMPlus file");
            continue;
        }
        const auto bytes = test::ReadFile(path);
        if (bytes[1] == '1') {
            ExpectRunTogetherBitmap(path);
            continue;
        }
        Reference ref;
        ASSERT_TRUE(RunReference("cat " + Quote(path), &ref)) << file;
        const bool binary = bytes[1] >= '4';
        Rule rule = AsIs;
        if (ref.maxval > 255 && binary) {
            // Two bytes a sample, read one byte a pixel: pixel i is byte i
            // of the raster, the high and low bytes of sample i / 2 in turn.
            rule = [](const Reference& r, int x, int y, int) {
                const size_t i = static_cast<size_t>(y) * r.width + x;
                const int sample = r.rgb[3 * (i / 2)];
                return i % 2 == 0 ? sample >> 8 : sample & 255;
            };
        } else if (ref.maxval > 255) {
            rule = [](const Reference& r, int x, int y, int c) { return r.At(x, y, c) & 255; };
        }
        ExpectMatchesDecoder(path, "cat", rule, probe);
    }
    EXPECT_EQ(messages.count("pnm/pillow-hopper.ppm"), 0u);
}

TEST(OtherFormatsConformance, SunRasterCorpusMatchesRasttopnm) {
    SKIP_WITHOUT_TOOLS("rasttopnm", "pnmtoplainpnm");
    const auto messages = ExpectedMessages();
    for (const auto& file : CorpusFiles("ras", {".ras", ".im1"})) {
        if (messages.count(file)) {
            ExpectRefusal(file, vti_RAS, messages.at(file), true);
            continue;
        }
        ExpectMatchesDecoder(test::CorpusPath(file), "rasttopnm");
    }
}

TEST(OtherFormatsConformance, MacPaintCorpusMatchesMacptopbm) {
    SKIP_WITHOUT_TOOLS("macptopbm", "pnmtoplainpnm");
    Reference ref;
    ASSERT_TRUE(RunReference("macptopbm " + Quote(test::CorpusPath("mac/gomacpaint-noheader.mac")), &ref));
    ExpectPicture(OpenAndLoad(test::CorpusPath("mac/gomacpaint-noheader.mac")), ref, AsIs, "without header");
    ExpectPicture(OpenAndLoad(test::CorpusPath("mac/gomacpaint-header.mac")), ref, AsIs, "with MacBinary header");
}

TEST(OtherFormatsConformance, DamagedCorpusFilesEndAsExpected) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    struct Case {
        const char* file;
        IdentifyRoutine identify;
        const char* message;  // null: loads
    };
    const Case cases[] = {
        {"bad/imagers-bad-color-map.tga", vti_TGA, "Can't handle interleaved images"},
        {"bad/imagers-flip-zero-height.tga", vti_TGA, "Not a targa file"},
        {"bad/imagers-flip-zero-height2.tga", vti_TGA, "Not a targa file"},
        {"bad/imagers-orientation-zero-width.tga", vti_TGA, "No image in file"},
        {"bad/imagers-overfull-image.tga", vti_TGA, "Not a targa file"},
        {"bad/imagers-sixteen-bit-gray-colormap.tga", vti_TGA, "Not a targa file"},
        {"bad/imagers-sixteen-bit-gray-colormap2.tga", vti_TGA, "Can't handle interleaved images"},
        {"bad/imagers-slice-copy-length.tga", vti_TGA, "Nonexisting colormap"},
        {"bad/pillow-p_8.tga", vti_TGA, "Unsupported colormap depth"},
        {"bad/pillow-cross_scan_line_truncated.tga", vti_TGA, nullptr},
        {"bad/libilbm-missing-BMHD.ILBM", vti_IFF, "No BMHD found"},
        {"bad/pbmjs-INVALID_CHUNK_ID.LBM", vti_IFF, "Not an IFF style file"},
        {"bad/pbmjs-INVALID_CHUNK_LENGTH.LBM", vti_IFF, nullptr},
        {"bad/pillow-ossfuzz-4836216264589312.pcx", vti_PCX, "Not a PC-Paintbrush file"},
    };
    for (const auto& c : cases) {
        if (c.message) {
            // .ILBM is no extension of the table: only probing finds a reader.
            ExpectRefusal(c.file, c.identify, c.message, std::string(c.file).find(".ILBM") != std::string::npos);
        } else {
            const Loaded r = OpenAndLoad(test::CorpusPath(c.file));
            EXPECT_TRUE(r.loaded) << c.file << ": " << r.text;
        }
    }
    // Garbage sizes are announced as read (the height wraps negative); such
    // a picture can only end in the out-of-memory exit, so it is not loaded.
    const Loaded negative = OpenAndLoad(test::CorpusPath("bad/pillow-negative_size.ppm"), false, false);
    EXPECT_TRUE(negative.ready);
    EXPECT_EQ(negative.width, 32);
    EXPECT_EQ(negative.height, static_cast<int32_t>(358888888632ull & 0xFFFFFFFFu));
}

TEST(OtherFormatsConformance, TargaFilesWrittenByPamtotga) {
    SKIP_WITHOUT_TOOLS("pamtotga", "tgatoppm", "pnmtoplainpnm");
    struct Case {
        const char* options;
        const std::string* source;
    };
    const Case cases[] = {
        {"-rgb", &TrueColour()},  {"-rgb -norle", &TrueColour()}, {"-cmap", &SixteenColours()},
        {"-cmap -norle", &SixteenColours()}, {"-mono", &SixteenColours()}, {"-mono -norle", &SixteenColours()},
        {"", &SixteenColours()},
    };
    for (const auto& c : cases) {
        const std::string out = Temp("written.tga");
        ASSERT_EQ(Shell(std::string("pamtotga ") + c.options + " " + Quote(*c.source) + " > " + Quote(out)), 0)
            << c.options;
        ExpectMatchesDecoder(out, "tgatoppm");
    }
    // -cmap16 writes map entries of 15 bits, which are refused on purpose.
    const std::string map15 = Temp("map15.tga");
    ASSERT_EQ(Shell("pamtotga -cmap16 " + Quote(SixteenColours()) + " > " + Quote(map15)), 0);
    const Loaded r = OpenAndLoad(map15);
    EXPECT_FALSE(r.ready);
    EXPECT_EQ(r.place, "vti_TGA");
    EXPECT_EQ(r.text, "Unsupported colormap depth");
}

TEST(OtherFormatsConformance, PcxFilesWrittenByPpmtopcx) {
    SKIP_WITHOUT_TOOLS("ppmtopcx", "pcxtoppm", "pnmtoplainpnm", "pbmmake", "pnmcat");
    struct Case {
        const char* options;
        const std::string* source;
    };
    const Case cases[] = {
        {"", &SixteenColours()},          {"-8bit", &SixteenColours()},  {"-24bit", &TrueColour()},
        {"-24bit", &TrueColour(38)},      {"-planes 4", &SixteenColours()}, {"-8bit", &TrueColour(38)},
    };
    for (const auto& c : cases) {
        const std::string out = Temp("written.pcx");
        if (Shell(std::string("ppmtopcx ") + c.options + " " + Quote(*c.source) + " > " + Quote(out)) != 0) {
            // ppmtopcx -8bit refuses more than 256 colours.
            EXPECT_STREQ(c.options, "-8bit");
            continue;
        }
        const unsigned bytesPerLine = PcxBytesPerLine(out);
        const Loaded r = OpenAndLoad(out);
        if (r.depth == 24 && bytesPerLine != static_cast<unsigned>(r.width))
            ExpectMatchesDecoder(out, "pcxtoppm", PcxPlaneStepRule(bytesPerLine));
        else
            ExpectMatchesDecoder(out, "pcxtoppm");
    }
    // Two colours, one to three planes of one bit.
    const std::string twoColours = Temp("two.pbm");
    ASSERT_EQ(Shell("pbmmake -gray 37 23 > " + Quote(twoColours)), 0);
    for (const char* options : {"-planes 1", "-planes 2", "-planes 3", "-packed"}) {
        const std::string out = Temp("two.pcx");
        ASSERT_EQ(Shell(std::string("ppmtopcx ") + options + " " + Quote(twoColours) + " > " + Quote(out)), 0);
        ExpectMatchesDecoder(out, "pcxtoppm");
    }
    // Packed 4-bit pixels (one plane of 4 bits) are no mode this reader has.
    const std::string packed = Temp("packed.pcx");
    ASSERT_EQ(Shell("ppmtopcx -packed " + Quote(SixteenColours()) + " > " + Quote(packed)), 0);
    const Loaded r = OpenAndLoad(packed);
    EXPECT_FALSE(r.ready);
    EXPECT_EQ(r.text, "Unsupported planar mode");
}

TEST(OtherFormatsConformance, IlbmFilesWrittenByPpmtoilbm) {
    SKIP_WITHOUT_TOOLS("ppmtoilbm", "ilbmtoppm", "pnmtoplainpnm", "pbmmake");
    const std::string mask = Temp("mask.pbm");
    ASSERT_EQ(Shell("pbmmake -white 37 23 > " + Quote(mask)), 0);
    struct Case {
        std::string options;
        const std::string* source;
    };
    const Case cases[] = {
        {"", &SixteenColours()},           {"-nocompress", &SixteenColours()},
        {"-compress", &SixteenColours()},  {"-fixplanes 5", &SixteenColours()},
        {"-fixplanes 6 -nocompress", &SixteenColours()}, {"-fixplanes 8", &SixteenColours()},
        {"-24force", &TrueColour()},       {"-24force -nocompress", &TrueColour()},
        {"-maskfile " + Quote(mask), &SixteenColours()},
        {"-maskfile " + Quote(mask) + " -nocompress", &SixteenColours()},
    };
    for (const auto& c : cases) {
        const std::string out = Temp("written.iff");
        ASSERT_EQ(Shell("ppmtoilbm " + c.options + " " + Quote(*c.source) + " > " + Quote(out)), 0) << c.options;
        ExpectMatchesDecoder(out, "ilbmtoppm");
    }
}

TEST(OtherFormatsConformance, PbmPlusFilesInAllSixForms) {
    SKIP_WITHOUT_TOOLS("pnmtoplainpnm", "ppmtopgm", "pgmtopbm", "pnmtopnm");
    const std::string grey = Temp("grey.pgm");
    const std::string bits = Temp("bits.pbm");
    ASSERT_EQ(Shell("ppmtopgm " + Quote(TrueColour()) + " > " + Quote(grey)), 0);
    ASSERT_EQ(Shell("pgmtopbm " + Quote(grey) + " > " + Quote(bits)), 0);
    for (const auto& [source, extension] :
         {std::pair{TrueColour(), std::string(".ppm")}, {grey, ".pgm"}, {bits, ".pbm"}}) {
        const std::string raw = Temp("raw" + extension);
        const std::string plain = Temp("plain" + extension);
        ASSERT_EQ(Shell("pnmtopnm " + Quote(source) + " > " + Quote(raw)), 0);
        ASSERT_EQ(Shell("pnmtoplainpnm " + Quote(source) + " > " + Quote(plain)), 0);
        ExpectMatchesDecoder(raw, "cat");
        EXPECT_EQ(OpenAndLoad(plain).compression, "Ascii");
        if (extension != ".pbm") {
            ExpectMatchesDecoder(plain, "cat");
            continue;
        }
        // netpbm runs bitmap digits together; with a blank after every
        // digit each is a pixel and the picture matches.
        ExpectRunTogetherBitmap(plain);
        const std::string spaced = Temp("spaced.pbm");
        ASSERT_EQ(Shell("pnmtoplainpnm " + Quote(source) + " | sed '3,$s/\\([01]\\)/\\1 /g' > " + Quote(spaced)), 0);
        ExpectMatchesDecoder(spaced, "cat");
    }
}

TEST(OtherFormatsConformance, SunRasterFilesWrittenByPnmtorast) {
    SKIP_WITHOUT_TOOLS("pnmtorast", "rasttopnm", "pnmtoplainpnm", "ppmtopgm", "pgmtopbm");
    const std::string grey = Temp("grey38.pgm");
    const std::string bits = Temp("bits.pbm");
    ASSERT_EQ(Shell("ppmtopgm " + Quote(TrueColour(38)) + " > " + Quote(grey)), 0);
    ASSERT_EQ(Shell("ppmtopgm " + Quote(TrueColour()) + " | pgmtopbm > " + Quote(bits)), 0);
    for (const std::string* source : {&TrueColour(38), &grey, &bits, &SixteenColours()}) {
        const std::string out = Temp("written.ras");
        ASSERT_EQ(Shell("pnmtorast -standard " + Quote(*source) + " > " + Quote(out)), 0);
        // 16 colours of odd width 37 make an 8-bit file whose rows shear;
        // the even-width and 1-bit files read straight.
        if (source == &SixteenColours()) {
            const Loaded r = OpenAndLoad(out);
            ASSERT_TRUE(r.loaded);
            const auto file = test::ReadFile(out);
            const size_t mapLength = (file[28] << 24) | (file[29] << 16) | (file[30] << 8) | file[31];
            const size_t pixelsAt = 32 + mapLength;
            // Row 1 starts one byte early: with the pad byte of row 0.
            EXPECT_EQ(r.At(0, 1), file[pixelsAt + 37]);
            EXPECT_EQ(r.At(1, 1), file[pixelsAt + 38]);
            EXPECT_EQ(r.At(36, 22), file[pixelsAt + 22 * 37 + 36]);
            continue;
        }
        ExpectMatchesDecoder(out, "rasttopnm");
    }
    // 24 bits of odd width shear too: every row starts where the previous
    // row's pixels end, without the pad byte.
    const std::string odd = Temp("odd.ras");
    ASSERT_EQ(Shell("pnmtorast -standard " + Quote(TrueColour()) + " > " + Quote(odd)), 0);
    Reference ref;
    ASSERT_TRUE(RunReference("rasttopnm " + Quote(odd), &ref));
    ExpectPicture(OpenAndLoad(odd), ref,
                  [](const Reference& r, int x, int y, int c) {
                      // Byte k of our row y is byte y * 111 + k of the data,
                      // whose rows are 112 bytes (pixels blue, green, red).
                      const int stream = y * 111 + 3 * x + (2 - c);
                      const int row = stream / 112, column = stream % 112;
                      if (column >= 111) return -1;
                      return r.At(column / 3, row, 2 - column % 3);
                  },
                  "odd-width 24-bit raster");

    // pnmtorast compresses only mapped pictures.
    const std::string rle = Temp("rle.ras");
    ASSERT_EQ(Shell("pnmtorast -rle " + Quote(SixteenColours()) + " > " + Quote(rle)), 0);
    const Loaded refused = OpenAndLoad(rle);
    EXPECT_FALSE(refused.ready);
    EXPECT_EQ(refused.place, "vti_RAS");
    EXPECT_EQ(refused.text, "Can't handle non-standard encoding");
}

TEST(OtherFormatsConformance, MacPaintFilesWrittenByPbmtomacp) {
    SKIP_WITHOUT_TOOLS("pbmtomacp", "macptopbm", "pnmtoplainpnm", "ppmtopgm", "pgmtopbm", "pamscale");
    const std::string bits = Temp("paint.pbm");
    ASSERT_EQ(Shell("pamscale -xsize 576 -ysize 720 " + Quote(TrueColour()) + " | ppmtopgm | pgmtopbm > " +
                  Quote(bits)), 0);
    const std::string out = Temp("written.mac");
    ASSERT_EQ(Shell("pbmtomacp " + Quote(bits) + " > " + Quote(out)), 0);

    // pbmtomacp writes version 0; only version 2 is looked for.
    auto file = test::ReadFile(out);
    ASSERT_EQ(file[3], 0);
    const auto v = test::Identify(vti_MAC, "v0.mac", FileBytes(out));
    EXPECT_FALSE(v.recognised);
    EXPECT_EQ(v.text, "Not a Macpaint file");
    EXPECT_EQ(OpenAndLoad(out).text, "Not a supported image format");

    file[3] = 2;
    const std::string patched = test::WriteTempFile("patched.mac", file);
    Bytes wrapped;
    wrapped.u8(0).u8(5).text("paint").pad(65).text("PNTGMPNT").pad(128).bytes(file);
    const std::string withHeader = test::WriteTempFile("wrapped.mac", wrapped.data);
    Reference ref;
    ASSERT_TRUE(RunReference("pnmtoplainpnm " + Quote(bits), &ref));
    ExpectPicture(OpenAndLoad(patched), ref, AsIs, "version 2");
    ExpectPicture(OpenAndLoad(withHeader), ref, AsIs, "version 2 behind a MacBinary header");
    ExpectMatchesDecoder(patched, "macptopbm");
}

TEST(OtherFormatsConformance, NeochromeFilesWrittenByPpmtoneo) {
    SKIP_WITHOUT_TOOLS("ppmtoneo", "neotoppm", "pnmtoplainpnm", "pamscale", "pnmremap");
    const std::string picture = Temp("neo.ppm");
    ASSERT_EQ(Shell("pamscale -xsize 320 -ysize 200 " + Quote(SixteenColours()) + " | pnmremap -mapfile=" +
                  Quote(SixteenColours()) + " > " + Quote(picture)), 0);
    const std::string out = Temp("written.neo");
    ASSERT_EQ(Shell("ppmtoneo " + Quote(picture) + " > " + Quote(out)), 0);

    // ppmtoneo leaves width, height and plane count at zero: the trusted
    // fields give an empty picture.
    const Loaded empty = OpenAndLoad(out);
    EXPECT_FALSE(empty.ready);
    EXPECT_EQ(empty.place, "ImageImpFile()");
    EXPECT_EQ(empty.text, "Image size is zero!");

    auto file = test::ReadFile(out);
    file[53] = 4;                          // planes
    file[58] = 320 >> 8, file[59] = 320 & 255;  // width
    file[61] = 200;                        // height
    const std::string patched = test::WriteTempFile("patched.neo", file);
    // Levels 0..7 with bit 3 clear become 32 * level.
    ExpectMatchesDecoder(patched, "neotoppm", [](const Reference& r, int x, int y, int c) {
        EXPECT_EQ(r.maxval, 7);
        return r.At(x, y, c) * 32;
    });
}

// A second, unrelated decoder for the formats PIL reads. Files where this
// program differs on purpose by a rule that needs the file's raw samples
// (16-bit TARGA levels, PCX plane step, 16-bit and run-together PBMPLUS
// samples) are left to the netpbm tests above.
TEST(OtherFormatsConformance, CorpusMatchesPil) {
    SKIP_WITHOUT_TOOLS("/usr/bin/python3", "pnmtoplainpnm");
    int status = 0;
    test::RunCommand("/usr/bin/python3 -c 'import PIL' 2>/dev/null", &status);
    if (status != 0) GTEST_SKIP() << "PIL is not installed";
    const std::string pil =
        "/usr/bin/python3 -c 'import sys; from PIL import Image; "
        "Image.open(sys.argv[1]).convert(\"RGB\").save(sys.stdout.buffer, \"PPM\")'";
    size_t compared = 0;
    for (const auto& [folder, extensions] :
         std::vector<std::pair<std::string, std::vector<std::string>>>{{"tga", {".tga"}},
                                                                       {"pcx", {".pcx"}},
                                                                       {"pnm", {".pbm", ".pgm", ".ppm"}},
                                                                       {"ras", {".ras"}}}) {
        for (const auto& file : CorpusFiles(folder, extensions)) {
            const std::string path = test::CorpusPath(file);
            const Loaded ours = OpenAndLoad(path);
            if (!ours.loaded) continue;  // refusals are checked above
            const auto bytes = test::ReadFile(path);
            if (folder == "tga" && (bytes[16] == 16 || (bytes[1] == 1 && bytes[7] == 16))) continue;
            if (folder == "pcx" && ((ours.depth == 24 && PcxBytesPerLine(path) != static_cast<unsigned>(ours.width)) ||
                                    file == "pcx/pillow-01r_00.pcx"))
                continue;
            if (folder == "pnm" && (bytes[1] == '1' || file.find("16") != std::string::npos)) continue;
            Reference ref;
            ASSERT_TRUE(RunReference(pil + " " + Quote(path), &ref)) << "PIL failed on " << file;
            ExpectPicture(ours, ref, AsIs, file + " (PIL)");
            ++compared;
        }
    }
    EXPECT_GE(compared, 40u);
}

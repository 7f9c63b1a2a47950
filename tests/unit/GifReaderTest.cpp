// The GIF reader on files built byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "formats/Readers.h"
#include "tests/support/TestSupport.h"

namespace {
using Bytes = std::vector<uint8_t>;

void Le16(Bytes& b, unsigned v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}

// Packs LZW codes least significant bit first, at the width a decoder has
// when it reads each one: the width follows the table the decoder builds
// (an entry after every code except the first after a clear, none once
// 4096 entries exist, one bit more when the next free code passes the
// mask).
class CodeWriter {
public:
    explicit CodeWriter(unsigned minimumCodeSize)
        : minimum_(minimumCodeSize), clear_(1u << minimumCodeSize) {
        Reset();
    }
    unsigned Clear() const { return clear_; }
    unsigned End() const { return clear_ + 1; }

    void Put(unsigned code) {
        bits_ |= static_cast<uint64_t>(code) << count_;
        count_ += width_;
        while (count_ >= 8) {
            bytes.push_back(static_cast<uint8_t>(bits_));
            bits_ >>= 8;
            count_ -= 8;
        }
        if (code == clear_) {
            Reset();
            return;
        }
        if (firstAfterClear_) {
            firstAfterClear_ = false;
            return;
        }
        if (free_ < 4096) {
            ++free_;
            if (free_ > (1u << width_) - 1 && width_ < 12) ++width_;
        }
    }
    // Pads the last byte with `fill` bits.
    void Flush(bool fillWithOnes = false) {
        if (count_ > 0) {
            uint64_t last = bits_;
            if (fillWithOnes) last |= ~uint64_t{0} << count_;
            bytes.push_back(static_cast<uint8_t>(last));
        }
        count_ = 0;
        bits_ = 0;
    }
    unsigned FreeCode() const { return free_; }

    Bytes bytes;

private:
    void Reset() {
        width_ = minimum_ + 1;
        free_ = clear_ + 2;
        firstAfterClear_ = true;
    }
    unsigned minimum_, clear_, width_ = 0, free_ = 0;
    bool firstAfterClear_ = true;
    uint64_t bits_ = 0;
    unsigned count_ = 0;
};

// Every pixel sent as a single-byte code, with a clear code before the table
// fills: always a valid stream.
Bytes LiteralCodes(unsigned minimumCodeSize, const Bytes& pixels, bool endCode = true) {
    CodeWriter w(minimumCodeSize);
    w.Put(w.Clear());
    for (uint8_t p : pixels) {
        if (w.FreeCode() >= 4095) w.Put(w.Clear());
        w.Put(p);
    }
    if (endCode) w.Put(w.End());
    w.Flush();
    return w.bytes;
}

// The image data: minimum code size byte, the code bytes in sub-blocks of at
// most 255, and (unless left out) the zero-length terminator.
Bytes ImageData(unsigned minimumCodeSize, const Bytes& codes, bool terminator = true) {
    Bytes b{static_cast<uint8_t>(minimumCodeSize)};
    for (size_t at = 0; at < codes.size(); at += 255) {
        const size_t n = std::min<size_t>(255, codes.size() - at);
        b.push_back(static_cast<uint8_t>(n));
        b.insert(b.end(), codes.begin() + static_cast<ptrdiff_t>(at),
                 codes.begin() + static_cast<ptrdiff_t>(at + n));
    }
    if (terminator) b.push_back(0);
    return b;
}

// Colour table of 1 << depth entries: entry i = (base + i, 2 * i, 255 - i).
Bytes ColourTable(int depth, uint8_t base) {
    Bytes b;
    for (int i = 0; i < (1 << depth); ++i) {
        b.push_back(static_cast<uint8_t>(base + i));
        b.push_back(static_cast<uint8_t>(2 * i));
        b.push_back(static_cast<uint8_t>(255 - i));
    }
    return b;
}

// Header and logical screen descriptor, with a global table when
// globalDepth > 0.
Bytes Header(unsigned width, unsigned height, int globalDepth, const char* version = "89a") {
    Bytes b{'G',
            'I',
            'F',
            static_cast<uint8_t>(version[0]),
            static_cast<uint8_t>(version[1]),
            static_cast<uint8_t>(version[2])};
    Le16(b, width);
    Le16(b, height);
    b.push_back(static_cast<uint8_t>(globalDepth > 0 ? 0x80 | (globalDepth - 1) : 0));
    b.push_back(0);  // background colour
    b.push_back(0);  // aspect ratio
    if (globalDepth > 0) {
        const Bytes table = ColourTable(globalDepth, 0);
        b.insert(b.end(), table.begin(), table.end());
    }
    return b;
}

// Image descriptor (with a local table when localDepth > 0) and its data.
void AddImage(Bytes& b, unsigned width, unsigned height, const Bytes& pixels, int localDepth = 0,
              bool interlaced = false, unsigned minimumCodeSize = 8, unsigned left = 0,
              unsigned top = 0) {
    b.push_back(',');
    Le16(b, left);
    Le16(b, top);
    Le16(b, width);
    Le16(b, height);
    b.push_back(static_cast<uint8_t>((localDepth > 0 ? 0x80 | (localDepth - 1) : 0) |
                                     (interlaced ? 0x40 : 0)));
    if (localDepth > 0) {
        const Bytes table = ColourTable(localDepth, 100);
        b.insert(b.end(), table.begin(), table.end());
    }
    const Bytes data = ImageData(minimumCodeSize, LiteralCodes(minimumCodeSize, pixels));
    b.insert(b.end(), data.begin(), data.end());
}

void AddComment(Bytes& b, const std::vector<std::string>& subBlocks) {
    b.push_back(0x21);
    b.push_back(0xFE);
    for (const std::string& s : subBlocks) {
        b.push_back(static_cast<uint8_t>(s.size()));
        b.insert(b.end(), s.begin(), s.end());
    }
    b.push_back(0);
}

// Graphic control extension with a transparent colour index.
void AddTransparency(Bytes& b, uint8_t index) {
    const uint8_t block[] = {0x21, 0xF9, 4, 0x01, 0, 0, index, 0};
    b.insert(b.end(), block, block + sizeof block);
}

struct Loaded {
    std::unique_ptr<ImageImpFile> imp;
    std::unique_ptr<Image> image;
    bool loaded = false;
};

// Every file gets a name of its own: under Windows a file cannot be
// rewritten while an earlier record still maps it.
std::unique_ptr<ImageImpFile> Open(const Bytes& file) {
    static int serial = 0;
    const std::string name = "gif-" + std::to_string(++serial) + ".gif";
    ClearError();
    return std::make_unique<ImageImpFile>(test::WriteTempFile(name, file).c_str(), nullptr, false);
}

// Opens and loads into an Image of the announced geometry (or the given
// stride).
Loaded OpenAndLoad(const Bytes& file, Progress* progress = nullptr, int stride = -1) {
    Loaded result;
    result.imp = Open(file);
    if (!result.imp->ready) return result;
    ImageImpFile& imp = *result.imp;
    result.image = std::make_unique<Image>(imp.width, imp.height, stride < 0 ? imp.stride : stride,
                                           imp.rows, imp.palette, imp.depth);
    result.loaded = Load(&imp, result.image.get(), progress, false);
    return result;
}

Bytes RowOf(const Image& image, int row) {
    return Bytes(image.Row(row), image.Row(row) + image.width);
}
}  // namespace

TEST(GifReader, ReadsAPictureWithAGlobalTable) {
    Bytes file = Header(3, 2, 2);
    AddImage(file, 3, 2, {0, 1, 2, 3, 2, 1}, 0, false, 2);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded) << g_errorPlace << ": " << g_errorText;
    EXPECT_EQ(l.imp->width, 3);
    EXPECT_EQ(l.imp->height, 2);
    EXPECT_EQ(l.imp->depth, 2);
    EXPECT_EQ(l.imp->stride, 3);
    EXPECT_STREQ(l.imp->compression, "LZW");
    EXPECT_STREQ(l.imp->description, "Graphics Interchange Format");
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 1, 2}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{3, 2, 1}));
    // Global entry 3 = (3, 6, 252).
    EXPECT_EQ(l.image->palette[9], 3);
    EXPECT_EQ(l.image->palette[10], 6);
    EXPECT_EQ(l.image->palette[11], 252);
    EXPECT_STREQ(l.image->label, "");
}

TEST(GifReader, TransparentColourShowsItsPaletteEntry) {
    Bytes file = Header(2, 1, 1);
    AddTransparency(file, 1);
    AddImage(file, 2, 1, {1, 0}, 0, false, 2);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 0}));
    // Entry 1 = (1, 2, 254), shown as it is.
    EXPECT_EQ(l.image->palette[3], 1);
    EXPECT_EQ(l.image->palette[4], 2);
    EXPECT_EQ(l.image->palette[5], 254);
}

TEST(GifReader, AnimationShowsItsFirstFrameAtTheFrameSize) {
    Bytes file = Header(10, 10, 3);
    AddTransparency(file, 0);
    AddImage(file, 4, 3, {1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4}, 0, false, 3, 2, 5);
    AddTransparency(file, 0);
    AddImage(file, 10, 10, Bytes(100, 7), 0, false, 3);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->width, 4);
    EXPECT_EQ(l.image->height, 3);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{5, 6, 7, 0}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{1, 2, 3, 4}));
}

TEST(GifReader, LocalTableReplacesOnlyTheEntriesItCovers) {
    Bytes file = Header(2, 1, 3);               // global entries i = (i, 2i, 255 - i)
    AddImage(file, 2, 1, {1, 0}, 1, false, 2);  // local entries i = (100 + i, 2i, 255 - i)
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.imp->depth, 1);
    const uint8_t* p = l.image->palette;
    EXPECT_EQ(p[0], 100);  // local 0
    EXPECT_EQ(p[3], 101);  // local 1
    EXPECT_EQ(p[4], 2);
    EXPECT_EQ(p[6], 2);  // global 2 stays
    EXPECT_EQ(p[7], 4);
    EXPECT_EQ(p[8], 253);
    EXPECT_EQ(p[21], 7);  // global 7 stays
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 0}));
}

TEST(GifReader, LocalTableAloneIsEnough) {
    Bytes file = Header(2, 1, 0);
    AddImage(file, 2, 1, {3, 2}, 2, false, 2);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.imp->depth, 2);
    EXPECT_EQ(l.image->palette[9], 103);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{3, 2}));
}

TEST(GifReader, FirstCommentBeforeTheImageBecomesTheLabelCutAt80Characters) {
    const std::string longText(100, 'x');
    std::string expected(80, 'x');
    Bytes file = Header(1, 1, 1);
    AddComment(file, {"A" + longText, "second sub-block"});
    AddComment(file, {"second comment"});
    AddImage(file, 1, 1, {1}, 0, false, 2);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(std::string(l.image->label), "A" + expected.substr(1));
}

TEST(GifReader, ShortCommentIsTakenWhole) {
    Bytes file = Header(1, 1, 1);
    AddComment(file, {"Hello, world", " and more"});
    AddImage(file, 1, 1, {0}, 0, false, 2);
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_STREQ(l.image->label, "Hello, world");
}

TEST(GifReader, CommentAfterTheFirstImageIsNotTheLabel) {
    Bytes file = Header(1, 1, 1);
    AddImage(file, 1, 1, {0}, 0, false, 2);
    AddComment(file, {"too late"});
    file.push_back(';');
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_STREQ(l.image->label, "");
}

TEST(GifReader, Version88aLoadsAfterTheVersionWarning) {
    Bytes file = Header(2, 1, 1, "88a");
    AddImage(file, 2, 1, {1, 1}, 0, false, 2);
    file.push_back(';');
    test::MessageRecorder recorder;
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    ASSERT_EQ(recorder.messages.size(), 1u);
    EXPECT_EQ(recorder.messages[0].first, "Attention!");
    EXPECT_EQ(recorder.messages[0].second, "Warning! unexpected GIF version number");
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 1}));
}

TEST(GifReader, VersionLetterIsNotChecked) {
    Bytes file = Header(1, 1, 1, "87z");
    AddImage(file, 1, 1, {1}, 0, false, 2);
    test::MessageRecorder recorder;
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_TRUE(recorder.messages.empty());
}

TEST(GifReader, InterlacedRowsComeInFourPasses) {
    // One pixel per row; the value is the order in which the row is stored.
    Bytes stored;
    for (int i = 0; i < 11; ++i) stored.push_back(static_cast<uint8_t>(i));
    Bytes file = Header(1, 11, 4);
    AddImage(file, 1, 11, stored, 0, true, 4);
    file.push_back(';');
    test::RecordingProgress progress;
    const Loaded l = OpenAndLoad(file, &progress);
    ASSERT_TRUE(l.loaded);
    // Pass 1: rows 0, 8; pass 2: row 4; pass 3: rows 2, 6, 10; pass 4: 1, 3, 5, 7, 9.
    const int rowOfStored[11] = {0, 8, 4, 2, 6, 10, 1, 3, 5, 7, 9};
    for (int i = 0; i < 11; ++i) EXPECT_EQ(l.image->Row(rowOfStored[i])[0], i) << "stored " << i;
    EXPECT_EQ(progress.events,
              (std::vector<std::string>{"Decompressing@0", "De-interlacing@75", "@100"}));
}

TEST(GifReader, PlainPictureReportsOnlyDecompressing) {
    Bytes file = Header(1, 1, 1);
    AddImage(file, 1, 1, {1}, 0, false, 2);
    test::RecordingProgress progress;
    const Loaded l = OpenAndLoad(file, &progress);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Decompressing@0", "@100"}));
}

TEST(GifReader, RowsAreSpreadToALargerStride) {
    Bytes pixels;
    for (int i = 0; i < 15; ++i) pixels.push_back(static_cast<uint8_t>(i));
    Bytes file = Header(5, 3, 4);
    AddImage(file, 5, 3, pixels, 0, false, 4);
    const Loaded l = OpenAndLoad(file, nullptr, 8);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 1, 2, 3, 4}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{5, 6, 7, 8, 9}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{10, 11, 12, 13, 14}));
}

TEST(GifReader, InterlacedRowsGoToALargerStride) {
    Bytes file = Header(2, 3, 4);
    AddImage(file, 2, 3, {1, 2, 3, 4, 5, 6}, 0, true, 4);  // stored rows 0, 2, 1
    const Loaded l = OpenAndLoad(file, nullptr, 7);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 2}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{5, 6}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{3, 4}));
}

TEST(GifReader, IndicesBeyondTheTableWrapIntoIt) {
    // A 1-bit table, but 3-bit codes carrying indices up to 7.
    Bytes file = Header(6, 1, 1);
    AddImage(file, 6, 1, {2, 3, 4, 5, 6, 7}, 0, false, 3);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 1, 0, 1, 0, 1}));
}

TEST(GifReader, DecodesStringsAndACodeNotYetInTheTable) {
    // Minimum code size 2: clear 4, end 5. Codes 1, 1 add entry 6 = "1 1";
    // code 6 is then a known string (adding 7 = "1 1"), 0 adds 8 = "1 1 0",
    // code 9 (= the free code) is the previous string "0" plus its own first
    // byte, and 8 is a known string again.
    CodeWriter w(2);
    for (unsigned code : {4u, 1u, 1u, 6u, 0u, 9u, 8u, 5u}) w.Put(code);
    w.Flush();
    Bytes file = Header(10, 1, 2);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 10);
    Le16(file, 1);
    file.push_back(0);
    const Bytes data = ImageData(2, w.bytes);
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    // 1 | 1 | 1 1 | 0 | 0 0 | 1 1 0
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 1, 1, 1, 0, 0, 0, 1, 1, 0}));
}

TEST(GifReader, EndCodeRightAfterAClearStops) {
    CodeWriter w(2);
    for (unsigned code : {4u, 3u, 2u, 4u, 5u, 1u, 1u}) w.Put(code);
    w.Flush();
    Bytes file = Header(4, 1, 2);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 4);
    Le16(file, 1);
    file.push_back(0);
    const Bytes data = ImageData(2, w.bytes);
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{3, 2, 0, 0}));
}

TEST(GifReader, StreamEndingEarlyLeavesTheRestOfThePictureUntouched) {
    // 1, 2, 3, then entry 6 = "1 2", then the end code: five pixels of a
    // 4 x 4 picture. The copy of "1 2" must not carry the 3 that follows it
    // in the output along into pixel 5.
    CodeWriter w(2);
    for (unsigned code : {4u, 1u, 2u, 3u, 6u, 5u}) w.Put(code);
    w.Flush();
    Bytes file = Header(4, 4, 2);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 4);
    Le16(file, 4);
    file.push_back(0);
    const Bytes data = ImageData(2, w.bytes);
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 2, 3, 1}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{2, 0, 0, 0}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{0, 0, 0, 0}));
}

// Minimum code size 3 (clear 8): codes 8, 1, 1, 1 fill exactly two bytes
// and leave entries 10 and 11, next free 12. What follows the data must read
// as code 15 (all ones): the previous string "1" and its first byte.
Bytes RunOutFile(bool zeroLengthBlock) {
    CodeWriter w(3);
    for (unsigned code : {8u, 1u, 1u, 1u}) w.Put(code);
    w.Flush();
    EXPECT_EQ(w.bytes.size(), 2u);
    Bytes file = Header(5, 1, 3);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 5);
    Le16(file, 1);
    file.push_back(0);
    const Bytes data = ImageData(3, w.bytes, zeroLengthBlock);
    file.insert(file.end(), data.begin(), data.end());
    if (zeroLengthBlock) file.push_back(';');
    return file;
}

TEST(GifReader, SubBlocksRunningOutSupplyBytesOf255) {
    const Loaded l = OpenAndLoad(RunOutFile(true));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 1, 1, 1, 1}));
}

TEST(GifReader, EndOfFileInsideTheDataSupplies255Too) {
    const Loaded l = OpenAndLoad(RunOutFile(false));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 1, 1, 1, 1}));
}

TEST(GifReader, OutputStopsAtThePictureWithoutAnEndCode) {
    Bytes pixels(40, 3);
    Bytes file = Header(2, 2, 2);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 2);
    Le16(file, 2);
    file.push_back(0);
    const Bytes data = ImageData(2, LiteralCodes(2, pixels, false));
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{3, 3}));
    // The spare row stays as allocated.
    EXPECT_EQ(l.image->Row(2)[0], 0);
    EXPECT_EQ(l.image->Row(2)[1], 0);
}

TEST(GifReader, FullTableKeepsDecodingTwelveBitCodesWithoutNewEntries) {
    // 5000 single-byte codes and no clear: the table fills at 4096 entries
    // and later codes are still read at 12 bits.
    Bytes pixels;
    for (int i = 0; i < 5000; ++i) pixels.push_back(static_cast<uint8_t>(i * 7));
    CodeWriter w(8);
    w.Put(w.Clear());
    for (uint8_t p : pixels) w.Put(p);
    w.Put(w.End());
    w.Flush();
    Bytes file = Header(100, 50, 8);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 100);
    Le16(file, 50);
    file.push_back(0);
    const Bytes data = ImageData(8, w.bytes);
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(Bytes(l.image->pixels, l.image->pixels + 5000), pixels);
}

TEST(GifReader, WideMinimumCodeSizeLeavesThePictureUndecoded) {
    Bytes file = Header(2, 1, 1);
    AddImage(file, 2, 1, {1, 1}, 0, false, 2);
    // The minimum code size byte: after the 13-byte header, the 2-entry
    // table and the 10-byte descriptor.
    ASSERT_EQ(file[13 + 6 + 10], 2);
    file[13 + 6 + 10] = 12;
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 0}));
}

TEST(GifReader, MinimumCodeSizeZeroWithDataRunningOutStops) {
    // Code size 0: clear 1, end 2, codes start 1 bit wide. The data is eight
    // clear codes; once it runs out every code is the clear code again.
    Bytes file = Header(4, 4, 1);
    file.push_back(',');
    Le16(file, 0);
    Le16(file, 0);
    Le16(file, 4);
    Le16(file, 4);
    file.push_back(0);
    const Bytes data = {0, 1, 0xFF, 0};  // code size 0, one sub-block of one byte
    file.insert(file.end(), data.begin(), data.end());
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 0, 0, 0}));
}

TEST(GifReader, FileWithoutGifSignatureIsNotRecognised) {
    const auto imp = Open({'G', 'I', 'X', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0});
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Not a supported image format");
    // The reader's own verdict, asked directly.
    EXPECT_FALSE(vti_GIF(imp.get()));
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_GIF");
    EXPECT_STREQ(g_errorText, "Not a GIF file");
}

TEST(GifReader, TrailerBeforeAnyImageIsNoImageFound) {
    Bytes file = Header(1, 1, 1);
    AddComment(file, {"nothing here"});
    file.push_back(';');
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_GIF");
    EXPECT_STREQ(g_errorText, "No image found");
}

TEST(GifReader, UnknownBlockIsACorruptFile) {
    Bytes file = Header(1, 1, 1);
    file.push_back('x');
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_GIF");
    EXPECT_STREQ(g_errorText, "Corrupt file");
}

TEST(GifReader, TruncatedAfterTheScreenIsACorruptFile) {
    const auto imp = Open(Header(1, 1, 1));
    EXPECT_STREQ(g_errorText, "Corrupt file");
}

TEST(GifReader, PictureWithoutAnyTableIsRefused) {
    Bytes file = Header(1, 1, 0);
    AddImage(file, 1, 1, {0}, 0, false, 2);
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_GIF");
    EXPECT_STREQ(g_errorText, "No color table found");
}

TEST(GifReader, UnknownExtensionsAreSkipped) {
    Bytes file = Header(1, 1, 1);
    const uint8_t application[] = {0x21, 0xFF, 3, 'a', 'b', 'c', 2, 1, 2, 0};
    file.insert(file.end(), application, application + sizeof application);
    const uint8_t odd[] = {0x21, 0x2A, 1, 9, 0};
    file.insert(file.end(), odd, odd + sizeof odd);
    AddImage(file, 1, 1, {1}, 0, false, 2);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->Row(0)[0], 1);
}

TEST(GifReader, ZeroDescriptorSizeKeepsTheScreenSize) {
    Bytes file = Header(3, 2, 1);
    AddImage(file, 0, 0, {1, 0, 1, 0, 1, 0}, 0, false, 2);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->width, 3);
    EXPECT_EQ(l.image->height, 2);
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{0, 1, 0}));
}

TEST(GifReader, ZeroWidthIsImageSizeIsZero) {
    Bytes file = Header(0, 5, 1);
    AddImage(file, 0, 5, {}, 0, false, 2);
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Image size is zero!");
}

TEST(GifReader, EmptyFirstCommentMeansNoLabelEvenWithALaterOne) {
    Bytes file = Header(1, 1, 1);
    AddComment(file, {});
    AddComment(file, {"later"});
    AddImage(file, 1, 1, {1}, 0, false, 2);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_STREQ(l.image->label, "");
}

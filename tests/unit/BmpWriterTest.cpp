// The bitmap writer through SaveAs, checked byte by byte.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/SaveAs.h"
#include "tests/support/TestSupport.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {
using Bytes = std::vector<uint8_t>;

uint32_t Le32At(const Bytes& b, size_t at) {
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
unsigned Le16At(const Bytes& b, size_t at) { return b[at] | (b[at + 1] << 8); }
}  // namespace

TEST(BmpWriter, WritesTheHeadersOfATwentyFourBitPicture) {
    Image image(3, 2, 9, 2, nullptr, 24);
    const std::string path = test::TempPath("header24.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), &image));
    const Bytes file = test::ReadFile(path);
    ASSERT_EQ(file.size(), 54u + 2 * 12);
    EXPECT_EQ(file[0], 'B');
    EXPECT_EQ(file[1], 'M');
    EXPECT_EQ(Le32At(file, 2), 54u + 24);  // file size
    EXPECT_EQ(Le32At(file, 6), 0u);
    EXPECT_EQ(Le32At(file, 10), 54u);  // data offset
    EXPECT_EQ(Le32At(file, 14), 40u);
    EXPECT_EQ(Le32At(file, 18), 3u);
    EXPECT_EQ(Le32At(file, 22), 2u);
    EXPECT_EQ(Le16At(file, 26), 1u);
    EXPECT_EQ(Le16At(file, 28), 24u);
    for (size_t at = 30; at < 54; at += 4) EXPECT_EQ(Le32At(file, at), 0u) << at;
}

TEST(BmpWriter, WritesRowsBottomFirst) {
    Image image(2, 2, 6, 2, nullptr, 24);
    const Bytes top = {1, 2, 3, 4, 5, 6}, bottom = {7, 8, 9, 10, 11, 12};
    std::memcpy(image.Row(0), top.data(), 6);
    std::memcpy(image.Row(1), bottom.data(), 6);
    std::memset(image.Row(2), 0xEE, 6);  // the spare row
    const std::string path = test::TempPath("rows.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), &image));
    const Bytes file = test::ReadFile(path);
    ASSERT_EQ(file.size(), 54u + 16);
    // Row size 8: six pixel bytes and two bytes of whatever follows the row.
    EXPECT_EQ(Bytes(file.begin() + 54, file.begin() + 62),
              (Bytes{7, 8, 9, 10, 11, 12, 0xEE, 0xEE}));
    EXPECT_EQ(Bytes(file.begin() + 62, file.begin() + 70), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(BmpWriter, AOnePixelWideRowTakesOnePaddingByteFromTheFollowingRow) {
    Image image(1, 2, 3, 2, nullptr, 24);
    const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8, 9};  // row 0, row 1, spare row
    std::memcpy(image.pixels, rows.data(), rows.size());
    const std::string path = test::TempPath("narrow.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), &image));
    const Bytes file = test::ReadFile(path);
    ASSERT_EQ(file.size(), 54u + 8);
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()), (Bytes{4, 5, 6, 7, 1, 2, 3, 4}));
}

TEST(BmpWriter, WritesAPalettePictureOfDepthFourAsEightBitsWithAFullColourTable) {
    Bytes palette(768);
    for (int i = 0; i < 256; ++i) {
        palette[3 * i] = static_cast<uint8_t>(i);            // red
        palette[3 * i + 1] = static_cast<uint8_t>(255 - i);  // green
        palette[3 * i + 2] = static_cast<uint8_t>(i / 2);    // blue
    }
    Image image(3, 1, 8, 1, palette.data(), 4);
    const Bytes pixels = {1, 15, 7, 9, 9, 9, 9, 9};
    std::memcpy(image.pixels, pixels.data(), pixels.size());
    const std::string path = test::TempPath("depth4.bmp");
    ASSERT_TRUE(SaveAs(0, path.c_str(), &image));
    const Bytes file = test::ReadFile(path);
    ASSERT_EQ(file.size(), 1078u + 4);
    EXPECT_EQ(Le32At(file, 2), 1082u);
    EXPECT_EQ(Le32At(file, 10), 1078u);
    EXPECT_EQ(Le16At(file, 28), 8u);
    // Entry 200: blue, green, red, 0.
    EXPECT_EQ(Bytes(file.begin() + 54 + 800, file.begin() + 54 + 804), (Bytes{100, 55, 200, 0}));
    EXPECT_EQ(Bytes(file.begin() + 1078, file.end()), (Bytes{1, 15, 7, 9}));
}

TEST(BmpWriter, SavingOverAnExistingFileReplacesIt) {
    const std::string path = test::WriteTempFile("existing.bmp", Bytes(5000, 0x55));
    Image image(1, 1, 3, 1, nullptr, 24);
    ASSERT_TRUE(SaveAs(0, path.c_str(), &image));
    EXPECT_EQ(test::ReadFile(path).size(), 58u);
}

#ifndef _WIN32
namespace {
// Saves a 64 x 64 picture while files may not grow past 1000 bytes (a full
// disk, in effect) and ends the process: status 0 when SaveAs succeeded.
[[noreturn]] void SaveOntoAFullDisk(const std::string& path) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit;
    limit.rlim_cur = limit.rlim_max = 1000;
    setrlimit(RLIMIT_FSIZE, &limit);
    Image image(64, 64, 192, 64, nullptr, 24);
    std::memset(image.pixels, 0x5A, image.PixelBytes());
    _exit(SaveAs(0, path.c_str(), &image) ? 0 : 3);
}
}  // namespace

TEST(BmpWriterDeathTest, AFullDiskGivesATruncatedFileAndStillSucceeds) {
    // The writes beyond the limit fail, the writer does not look, and SaveAs
    // reports success with a truncated file left.
    const std::string path = test::TempPath("full-disk.bmp");
    // Forked, so that the child writes where this process looks.
    const std::string style = GTEST_FLAG_GET(death_test_style);
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(SaveOntoAFullDisk(path), ::testing::ExitedWithCode(0), "");
    GTEST_FLAG_SET(death_test_style, style);
    const Bytes file = test::ReadFile(path);
    ASSERT_EQ(file.size(), 1000u);
    // The header still announces the whole picture.
    EXPECT_EQ(Le32At(file, 2), 54u + 64 * 192);
    EXPECT_EQ(Le32At(file, 22), 64u);
    EXPECT_EQ(file[999], 0x5A);
}
#endif

TEST(SaveAs, RefusesEveryFormatIndexButZero) {
    Image image(1, 1, 3, 1, nullptr, 24);
    const std::string path = test::TempPath("never.bmp");
    for (int index : {-1, 1, 7}) {
        ClearError();
        EXPECT_FALSE(SaveAs(index, path.c_str(), &image));
        EXPECT_STREQ(g_errorPlace, "SaveAs()");
        EXPECT_STREQ(g_errorText, "Invalid file format index");
    }
    EXPECT_TRUE(test::ReadFile(path).empty());
}

TEST(SaveAs, ReportsAFileThatCannotBeCreated) {
    Image image(1, 1, 3, 1, nullptr, 24);
    const std::string path = test::TempPath("no-such-directory/x.bmp");
    EXPECT_FALSE(SaveAs(0, path.c_str(), &image));
    EXPECT_STREQ(g_errorPlace, "SaveAs()");
    EXPECT_STREQ(g_errorText, "Couldn't create file");
}

namespace {
std::vector<std::string> g_opened;
Progress* RecordOpen(const char* caption, const char* status) {
    g_opened.push_back(std::string(caption) + "|" + status);
    return new test::RecordingProgress;
}
}  // namespace

TEST(SaveAs, OpensAWritingDialogCaptionedWithTheFileName) {
    g_opened.clear();
    const ProgressOpener previous = SetProgressOpener(RecordOpen);
    Image image(1, 1, 3, 1, nullptr, 24);
    const std::string path = test::TempPath("captioned.bmp");
    EXPECT_TRUE(SaveAs(0, path.c_str(), &image));
    SetProgressOpener(previous);
    EXPECT_EQ(g_opened, (std::vector<std::string>{"captioned.bmp|Writing"}));
}

TEST(ExportFormats, OfferOnlyTheWindowsBitmap) {
    const char* extension = nullptr;
    const char* description = nullptr;
    ASSERT_TRUE(GetExportFormat(0, &extension, &description));
    EXPECT_STREQ(extension, "bmp");
    EXPECT_STREQ(description, "Microsoft Windows BitMap");
    EXPECT_FALSE(GetExportFormat(1, &extension, &description));
    EXPECT_FALSE(GetExportFormat(-1, &extension, &description));
}

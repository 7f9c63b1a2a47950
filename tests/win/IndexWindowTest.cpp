#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "app/IndexWindow.h"
#include "app/ProcessStart.h"
#include "core/Image.h"
#include "core/SaveAs.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "tests/support/TestSupport.h"
#include "tests/win/MemoryCanvas.h"

namespace {

// A directory of its own for each test, the settings and screen as the
// tests want them; everything restored afterwards.
class IndexWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        savedCaps_ = g_display;
        savedSettings_ = g_settings;
        FillDefaultSettings(&settings_);
        g_settings = &settings_;
        g_display.dibSections = true;
        g_display.bitsPerPixel = 24;
        GetCurrentDirectoryA(sizeof savedDirectory_, savedDirectory_);
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        directory_ = test::TempPath(std::string("index-") + info->name());
        CreateDirectoryA(directory_.c_str(), nullptr);
    }
    void TearDown() override {
        SetCurrentDirectoryA(savedDirectory_);
        g_display = savedCaps_;
        g_settings = savedSettings_;
    }

    std::string Path(const std::string& name) const { return directory_ + "\\" + name; }

    void WriteText(const std::string& name, size_t bytes) const {
        const std::vector<uint8_t> text(bytes, 'x');
        HANDLE file = CreateFileA(Path(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD written = 0;
        if (bytes) WriteFile(file, text.data(), static_cast<DWORD>(bytes), &written, nullptr);
        CloseHandle(file);
    }

    // A 24-bit bitmap of one colour (blue, green, red).
    void WritePicture(const std::string& name, int width, int height, uint8_t blue, uint8_t green,
                      uint8_t red) const {
        Image picture(width, height, 3 * width, height, nullptr, 24);
        for (int y = 0; y < height; ++y) {
            uint8_t* row = picture.Row(y);
            for (int x = 0; x < width; ++x) {
                row[3 * x] = blue;
                row[3 * x + 1] = green;
                row[3 * x + 2] = red;
            }
        }
        ASSERT_TRUE(SaveAs(0, Path(name).c_str(), &picture));
    }

    DisplayCaps savedCaps_;
    SettingsBlock* savedSettings_ = nullptr;
    SettingsBlock settings_;
    char savedDirectory_[MAX_PATH] = {};
    std::string directory_;
};

std::vector<std::string> Names(IndexList* list) {
    std::vector<std::string> names;
    for (IndexEntry& entry : *list) names.push_back(entry.FileName());
    return names;
}

// A canvas filled with one colour, read back as 0xRRGGBB.
struct Canvas : MemoryCanvas {
    Canvas(int width, int height) : MemoryCanvas(width, height, 0x123456) {}
};

constexpr uint32_t kBlack = 0x000000;
constexpr uint32_t kWhite = 0xFFFFFF;
constexpr uint32_t kGrey = 0x808080;
constexpr uint32_t kLightGrey = 0xC0C0C0;
constexpr uint32_t kUnpainted = 0x123456;

}  // namespace

TEST_F(IndexWindowTest, TheScanListsDotDotFirstAndLeavesOutDot) {
    WriteText("b.txt", 10);
    WriteText("A.txt", 20);
    WriteText("_z.dat", 511);
    CreateDirectoryA(Path("Sub").c_str(), nullptr);
    ASSERT_TRUE(SetCurrentDirectoryA(directory_.c_str()));

    IndexList list;
    EXPECT_EQ(ScanIndexDirectory(&list, true), 5);
    EXPECT_EQ(Names(&list), (std::vector<std::string>{"..", "_z.dat", "A.txt", "b.txt", "Sub"}));
    EXPECT_EQ(list.At(0)->kind, kIndexDirectory);
    EXPECT_EQ(list.At(1)->kind, kIndexOther);
    EXPECT_EQ(list.At(1)->fileSize, 511u);
    EXPECT_EQ(list.At(4)->kind, kIndexDirectory);
    EXPECT_EQ(std::string(list.At(2)->path), directory_ + "\\A.txt");

    // Without directories: only the files.
    EXPECT_EQ(ScanIndexDirectory(&list, false), 3);
    EXPECT_EQ(Names(&list), (std::vector<std::string>{"_z.dat", "A.txt", "b.txt"}));
}

TEST_F(IndexWindowTest, A400By300PictureGetsAn88By66Thumbnail) {
    WritePicture("wide.bmp", 400, 300, 10, 20, 30);
    IndexList list;
    IndexEntry* entry = list.Insert(Path("wide.bmp"), false, 0);
    MakeIndexThumbnail(entry, 88, 66);
    EXPECT_EQ(entry->kind, kIndexPicture);
    EXPECT_EQ(entry->width, 400);
    EXPECT_EQ(entry->height, 300);
    EXPECT_EQ(entry->depth, 24);
    EXPECT_EQ(entry->icon, nullptr);
    ASSERT_NE(entry->display, nullptr);
    EXPECT_EQ(entry->display->width, 88);
    EXPECT_EQ(entry->display->height, 66);
    EXPECT_STREQ(entry->display->className, "DIBSImage");
    // One colour resamples to itself.
    for (int y : {0, 33, 65})
        for (int x : {0, 44, 87}) {
            const uint8_t* pixel = entry->display->Row(y) + 3 * x;
            EXPECT_EQ(pixel[0], 10);
            EXPECT_EQ(pixel[1], 20);
            EXPECT_EQ(pixel[2], 30);
        }
}

TEST_F(IndexWindowTest, A300By400PictureGetsA49By66Thumbnail) {
    WritePicture("tall.bmp", 300, 400, 200, 100, 50);
    IndexList list;
    IndexEntry* entry = list.Insert(Path("tall.bmp"), false, 0);
    MakeIndexThumbnail(entry, 88, 66);
    ASSERT_NE(entry->display, nullptr);
    EXPECT_EQ(entry->display->width, 49);
    EXPECT_EQ(entry->display->height, 66);
    EXPECT_EQ(IndexLabel(*entry, true, false), "tall\n300x400x24");
}

TEST_F(IndexWindowTest, FilesNoReaderAcceptsAndDirectoriesGetAnIcon) {
    WriteText("notes.txt", 100);
    ASSERT_TRUE(SetCurrentDirectoryA(directory_.c_str()));
    IndexList list;
    IndexEntry* other = list.Insert(Path("notes.txt"), false, 100);
    IndexEntry* up = list.Insert(Path(".."), true, 0);
    MakeIndexThumbnail(other, 88, 66);
    MakeIndexThumbnail(up, 88, 66);
    EXPECT_EQ(other->kind, kIndexOther);
    EXPECT_EQ(other->display, nullptr);
    EXPECT_NE(other->icon, nullptr);
    EXPECT_NE(up->icon, nullptr);
    EXPECT_EQ(other->width, GetSystemMetrics(SM_CXICON));
    EXPECT_EQ(other->height, GetSystemMetrics(SM_CYICON));
    EXPECT_EQ(other->depth, 4);
    EXPECT_EQ(up->kind, kIndexDirectory);
    EXPECT_EQ(up->display, nullptr);
    EXPECT_EQ(up->depth, 4);
    EXPECT_EQ(IndexLabel(*up, true, true), "..");
    EXPECT_EQ(IndexLabel(*other, true, true), "notes.txt\n0 KB");
}

TEST_F(IndexWindowTest, ACellHasAFrameABevelAGreyBoxAndWhiteMargins) {
    WritePicture("tall.bmp", 300, 400, 0, 0, 255);  // red
    IndexList list;
    IndexEntry* entry = list.Insert(Path("tall.bmp"), false, 0);
    MakeIndexThumbnail(entry, 88, 66);
    ASSERT_NE(entry->display, nullptr);

    HFONT font = CreateIndexLabelFont();
    const IndexMetrics metrics = MakeIndexMetrics(88, 66, 10, 15, true, false);
    Canvas canvas(120, 130);
    PaintIndexCell(entry, canvas.dc, font, 0, 0, metrics, 0, 0, 130, false);
    GdiFlush();
    // The cell starts at the frame: 9, 9; the box is 12..99 x 12..77.
    EXPECT_EQ(canvas.At(8, 40), kUnpainted);  // left of the cell: not the cell's
    EXPECT_EQ(canvas.At(9, 40), kBlack);      // frame
    EXPECT_EQ(canvas.At(50, 9), kBlack);
    EXPECT_EQ(canvas.At(102, 40), kBlack);
    EXPECT_EQ(canvas.At(50, 80), kBlack);
    EXPECT_EQ(canvas.At(10, 40), kWhite);  // bevel, top and left
    EXPECT_EQ(canvas.At(11, 40), kWhite);
    EXPECT_EQ(canvas.At(50, 10), kWhite);
    EXPECT_EQ(canvas.At(50, 11), kWhite);
    EXPECT_EQ(canvas.At(100, 40), kGrey);  // bottom and right
    EXPECT_EQ(canvas.At(101, 40), kGrey);
    EXPECT_EQ(canvas.At(50, 78), kGrey);
    EXPECT_EQ(canvas.At(50, 79), kGrey);
    // The 49-pixel thumbnail is centred: columns 31..79; grey around it.
    EXPECT_EQ(canvas.At(12, 12), kLightGrey);
    EXPECT_EQ(canvas.At(30, 40), kLightGrey);
    EXPECT_EQ(canvas.At(31, 12), 0xFF0000u);
    EXPECT_EQ(canvas.At(79, 77), 0xFF0000u);
    EXPECT_EQ(canvas.At(80, 40), kLightGrey);
    // Margins right of and below the frame are white (label pixels aside).
    EXPECT_EQ(canvas.At(103, 40), kWhite);
    EXPECT_EQ(canvas.At(111, 116), kWhite);
    EXPECT_EQ(canvas.At(112, 40), kUnpainted);  // the next cell's

    // Pressed, the bevel's colours are exchanged.
    PaintIndexCell(entry, canvas.dc, font, 0, 0, metrics, 0, 0, 130, true);
    GdiFlush();
    EXPECT_EQ(canvas.At(10, 40), kGrey);
    EXPECT_EQ(canvas.At(50, 11), kGrey);
    EXPECT_EQ(canvas.At(101, 40), kWhite);
    EXPECT_EQ(canvas.At(50, 78), kWhite);
    DeleteObject(font);
}

TEST_F(IndexWindowTest, TheLabelIsDrawnBelowTheFrame) {
    IndexList list;
    IndexEntry* entry = list.Insert(Path("AAAA"), true, 0);
    HFONT font = CreateIndexLabelFont();
    const IndexMetrics metrics = MakeIndexMetrics(88, 66, 10, 15, false, false);
    Canvas canvas(120, 130);
    PaintIndexCell(entry, canvas.dc, font, 0, 0, metrics, 0, 0, 130, false);
    GdiFlush();
    // Text pixels (dark) only from 4 pixels below the frame (y 85) on, and
    // from the frame's left edge (x 9) on.
    int firstRow = -1;
    int firstColumn = 1000;
    for (int y = 81; y < 102; ++y)  // the cell ends at 9 + 93
        for (int x = 9; x < 112; ++x)
            if (canvas.At(x, y) != kWhite) {
                if (firstRow < 0) firstRow = y;
                if (x < firstColumn) firstColumn = x;
            }
    EXPECT_GE(firstRow, 85);
    EXPECT_LT(firstRow, 85 + 15);
    EXPECT_GE(firstColumn, 9);
    EXPECT_LT(firstColumn, 9 + 8);
    DeleteObject(font);
}

TEST_F(IndexWindowTest, ACellOutsideTheVisibleBandIsNotDrawn) {
    IndexList list;
    IndexEntry* entry = list.Insert(Path("x.txt"), false, 0);
    HFONT font = CreateIndexLabelFont();
    const IndexMetrics metrics = MakeIndexMetrics(88, 66, 10, 15, true, false);
    Canvas canvas(120, 130);
    // The cell spans 9 ... 9 + 108; the band begins below it.
    PaintIndexCell(entry, canvas.dc, font, 0, 0, metrics, 0, 117, 130, false);
    GdiFlush();
    EXPECT_EQ(canvas.At(9, 40), kUnpainted);
    // No entry: the cell is white.
    PaintIndexCell(nullptr, canvas.dc, font, 0, 0, metrics, 0, 0, 130, false);
    GdiFlush();
    EXPECT_EQ(canvas.At(9, 40), kWhite);
    EXPECT_EQ(canvas.At(50, 50), kWhite);
    DeleteObject(font);
}

TEST_F(IndexWindowTest, TheLabelFontIsThirteenPixelsHigh) {
    HFONT font = CreateIndexLabelFont();
    LOGFONTA description = {};
    ASSERT_EQ(GetObjectA(font, sizeof description, &description),
              static_cast<int>(sizeof description));
    EXPECT_EQ(description.lfHeight, 13);
    EXPECT_EQ(description.lfWeight, 400);
    EXPECT_EQ(description.lfCharSet, ANSI_CHARSET);
    EXPECT_EQ(description.lfOutPrecision, OUT_RASTER_PRECIS);
    EXPECT_EQ(description.lfPitchAndFamily & 0xF0, FF_SWISS);
    EXPECT_STREQ(description.lfFaceName, "arial");
    HDC screen = GetDC(nullptr);
    EXPECT_GT(IndexTextHeight(screen, font), 0);
    ReleaseDC(nullptr, screen);
    DeleteObject(font);
}

TEST_F(IndexWindowTest, AFailedStartSaysSo) {
    std::strcpy(settings_.programPath, "Z:\\nowhere\\missing\\Vantirel.exe");
    IndexList list;
    IndexEntry* directory = list.Insert(Path("Sub"), true, 0);
    IndexEntry* picture = list.Insert(Path("a.bmp"), false, 0);
    picture->kind = kIndexPicture;
    test::MessageRecorder recorder;
    EXPECT_FALSE(OpenIndexEntry(*directory));
    EXPECT_FALSE(OpenIndexEntry(*picture));
    EXPECT_FALSE(OpenSlideShowInNewProcess(Path("show.vts").c_str()));
    using Message = std::pair<std::string, std::string>;
    EXPECT_EQ(recorder.messages,
              (std::vector<Message>{{"Attention!", "Couldn't execute Vantirel.EXE"},
                                    {"Attention!", "Couldn't execute Vantirel.EXE"},
                                    {"Attention!", "Couldn't execute Vantirel.EXE"}}));
}

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/FileDialogs.h"
#include "tests/support/TestSupport.h"

namespace {
std::vector<uint8_t> TinyBitmap() {
    // 2 x 1 pixels, 24 bits, bottom-up, rows padded to 4 bytes.
    return {'B', 'M', 62, 0, 0, 0, 0, 0,  0, 0, 54, 0, 0, 0, 40,  0,   0, 0, 2, 0, 0,
            0,   1,   0,  0, 0, 1, 0, 24, 0, 0, 0,  0, 0, 8, 0,   0,   0, 0, 0, 0, 0,
            0,   0,   0,  0, 0, 0, 0, 0,  0, 0, 0,  0, 0, 0, 255, 255, 0, 0, 0, 0};
}
}  // namespace

TEST(FileDialogs, InformationLineShowsSizeDepthFormatAndCompression) {
    const std::string path = test::WriteTempFile("info.bmp", TinyBitmap());
    EXPECT_EQ(PictureInformation(path.c_str()), "2x1x24, Microsoft Windows Bitmap, Raw");
}

TEST(FileDialogs, InformationLineOfANonPictureIsTheErrorText) {
    const std::string path = test::WriteTempFile("notes.bmp", std::vector<uint8_t>(64, 'x'));
    const std::string line = PictureInformation(path.c_str());
    EXPECT_FALSE(line.empty());
    EXPECT_EQ(line.find("Couldn't open"), std::string::npos);
    const std::string text = test::WriteTempFile("notes.txt", std::vector<uint8_t>(64, 'x'));
    EXPECT_EQ(PictureInformation(text.c_str()), "Not a supported image format");
}

TEST(FileDialogs, InformationLineOfAFileThatCannotBeOpenedIsEmpty) {
    EXPECT_EQ(PictureInformation(test::TempPath("missing.bmp").c_str()), "");
}

TEST(FileDialogs, OneChosenFileIsItsOwnPath) {
    const char buffer[] = "C:\\PICS\\cat.gif\0\0";
    EXPECT_EQ(SelectedPaths(buffer, sizeof buffer),
              (std::vector<std::string>{"C:\\PICS\\cat.gif"}));
}

TEST(FileDialogs, SeveralChosenFilesAreJoinedToTheirDirectory) {
    const char buffer[] = "C:\\PICS\0cat.gif\0dog.bmp\0\0";
    EXPECT_EQ(SelectedPaths(buffer, sizeof buffer),
              (std::vector<std::string>{"C:\\PICS\\cat.gif", "C:\\PICS\\dog.bmp"}));
    const char root[] = "C:\\\0a.bmp\0\0";
    EXPECT_EQ(SelectedPaths(root, sizeof root), (std::vector<std::string>{"C:\\a.bmp"}));
}

TEST(FileDialogs, AnEmptyResultChoosesNothing) {
    const char buffer[4] = {};
    EXPECT_TRUE(SelectedPaths(buffer, sizeof buffer).empty());
}

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/FileFilters.h"

namespace {
// The zero-separated texts of a filter, without the final empty one.
std::vector<std::string> Parts(const std::string& filter) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start < filter.size()) {
        const size_t end = filter.find('\0', start);
        if (end == start) break;  // the list's closing zero
        parts.push_back(filter.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}
}  // namespace

TEST(FileFilters, OpenFilterStartsWithAllSupportedTypesSpelledAsTheProgramDoes) {
    const std::vector<std::string> parts = Parts(BuildOpenFilter());
    ASSERT_GE(parts.size(), 4u);
    EXPECT_EQ(parts[0], "Supperted file types");
    EXPECT_EQ(parts[1],
              "*.BBM;*.BMP;*.CUR;*.DIB;*.GIF;*.ICO;*.VTS;*.IFF;*.JIF;*.JPG;*.JPEG;*.LBM;*.MAC;"
              "*.NEO;*.PBM;*.PCX;*.PGM;*.PIC;*.PNG;*.PPM;*.RAS;*.RLE;*.SUN;*.TGA;*.TIF;*.TIFF");
    EXPECT_EQ(parts[2], "Show all files");
    EXPECT_EQ(parts[3], "*.*");
}

TEST(FileFilters, OpenFilterHasOnePairPerImportFormatInTableOrder) {
    const std::vector<std::string> parts = Parts(BuildOpenFilter());
    ASSERT_EQ(parts.size(), 4u + 2u * 26u);
    EXPECT_EQ(parts[4], "BBM - Electronic Arts DP Brush");
    EXPECT_EQ(parts[5], "*.bbm");
    EXPECT_EQ(parts[6], "BMP - Microsoft Windows Bitmap");
    EXPECT_EQ(parts[7], "*.bmp");
    EXPECT_EQ(parts[24], "JPEG - Joint Photographic Experts Group");
    EXPECT_EQ(parts[25], "*.jpeg");
    EXPECT_EQ(parts[54], "TIFF - Tag Image File Format");
    EXPECT_EQ(parts[55], "*.tiff");
}

TEST(FileFilters, FiltersEndWithTwoZeroBytes) {
    const std::string open = BuildOpenFilter();
    ASSERT_GE(open.size(), 2u);
    EXPECT_EQ(open[open.size() - 1], '\0');
    EXPECT_EQ(open[open.size() - 2], '\0');
    EXPECT_EQ(open.substr(open.size() - 8), std::string("*.tiff\0\0", 8));
}

TEST(FileFilters, SaveFilterListsTheBitmapExport) {
    EXPECT_EQ(BuildSaveFilter(), std::string("BMP - Microsoft Windows BitMap\0*.bmp\0\0", 38));
}

TEST(FileFilters, DefaultSaveNameDropsDirectoryAndExtension) {
    EXPECT_EQ(DefaultSaveName("C:\\PICS\\holiday.photo.jpg"), "holiday.photo");
    EXPECT_EQ(DefaultSaveName("C:\\PICS\\README"), "README");
    EXPECT_EQ(DefaultSaveName("D:cat.gif"), "cat");
    EXPECT_EQ(DefaultSaveName("<none>"), "<none>");
}

TEST(FileFilters, DirectoryPartKeepsEverythingBeforeTheFileName) {
    EXPECT_EQ(DirectoryPart("C:\\PICS\\cat.gif"), "C:\\PICS\\");
    EXPECT_EQ(DirectoryPart("D:cat.gif"), "D:");
    EXPECT_EQ(DirectoryPart("cat.gif"), "");
}

TEST(FileFilters, ANameWithoutExtensionIsRecognised) {
    EXPECT_FALSE(HasExtension("C:\\PICS.D\\picture"));
    EXPECT_TRUE(HasExtension("C:\\PICS\\picture.bmp"));
}

TEST(FileFilters, ExportTypeIsTheSelectedFilterLessOne) {
    EXPECT_EQ(ChooseExportType(1, "C:\\out\\picture.bmp"), 0);
    EXPECT_EQ(ChooseExportType(1, "C:\\out\\picture.BMP"), 0);
    EXPECT_EQ(ChooseExportType(1, "C:\\out\\picture.xyz"), 0);
}

TEST(FileFilters, ANameWhoseExtensionBelongsToAnExportTypeChoosesThatType) {
    // The selected filter says nothing (index 5 is no filter); the name's
    // extension finds the bitmap entry.
    EXPECT_EQ(ChooseExportType(5, "C:\\out\\picture.Bmp"), 0);
    EXPECT_EQ(ChooseExportType(5, "C:\\out\\picture.gif"), 4);
}

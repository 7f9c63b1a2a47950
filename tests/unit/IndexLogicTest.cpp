#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/IndexLogic.h"

namespace {
// X = 88, Y = 66, S = 10, T = 15 with resolutions shown: cells of 103 x 108.
IndexMetrics Defaults(bool showRes = true, bool showSize = false) {
    return MakeIndexMetrics(88, 66, 10, 15, showRes, showSize);
}

std::vector<std::string> Names(IndexList* list) {
    std::vector<std::string> names;
    for (IndexEntry& entry : *list) names.push_back(entry.FileName());
    return names;
}

IndexEntry* Picture(IndexList* list, const char* path, int width, int height, int depth,
                    uint32_t size) {
    IndexEntry* entry = list->Insert(path, false, size);
    entry->kind = kIndexPicture;
    entry->width = width;
    entry->height = height;
    entry->depth = depth;
    return entry;
}
}  // namespace

TEST(IndexLayout, CellsAreXPlusSPlus5WideAndGrowALineForEachExtraLabelLine) {
    EXPECT_EQ(IndexCellWidth(Defaults()), 103);
    EXPECT_EQ(IndexCellHeight(Defaults(false, false)), 93);  // 10 + 66 + 15 + 2
    EXPECT_EQ(IndexCellHeight(Defaults(true, false)), 108);
    EXPECT_EQ(IndexCellHeight(Defaults(true, true)), 123);
    EXPECT_EQ(IndexCellHeight(Defaults(false, true)), 108);
}

TEST(IndexLayout, ColumnsFitTheClientWidthButNeverFallBelowOne) {
    EXPECT_EQ(IndexColumns(50, 103), 1);
    EXPECT_EQ(IndexColumns(103, 103), 1);
    EXPECT_EQ(IndexColumns(627, 103), 6);
    EXPECT_EQ(IndexColumns(628, 103), 6);
    EXPECT_EQ(IndexRows(0, 6), 0);
    EXPECT_EQ(IndexRows(6, 6), 1);
    EXPECT_EQ(IndexRows(7, 6), 2);
}

TEST(IndexLayout, ThumbnailBoxesLieTwoPixelsInsideTheirCellOrigin) {
    const IndexBox first = ThumbnailBox(0, 4, Defaults(), 0);
    EXPECT_EQ(first.left, 12);
    EXPECT_EQ(first.top, 12);
    EXPECT_EQ(first.width, 88);
    EXPECT_EQ(first.height, 66);
    // Entry 6 of four columns: column 2, row 1; scrolled by 30.
    const IndexBox sixth = ThumbnailBox(6, 4, Defaults(), 30);
    EXPECT_EQ(sixth.left, 10 + 2 * 103 + 2);
    EXPECT_EQ(sixth.top, 10 + 108 + 2 - 30);
    // The painter's cell starts at the frame, 3 pixels outside the box.
    const IndexBox cell = IndexCell(2, 1, Defaults(), 30);
    EXPECT_EQ(cell.left, sixth.left - 3);
    EXPECT_EQ(cell.top, sixth.top - 3);
    EXPECT_EQ(cell.width, 103);
    EXPECT_EQ(cell.height, 108);
}

TEST(IndexLayout, AnEmptyIndexFitsIntoTheSpacingMargins) {
    int width = 0, height = 0;
    IndexFitClientSize(3, 0, Defaults(), &width, &height);
    EXPECT_EQ(width, 3 * 103 + 10);
    EXPECT_EQ(height, 10);
    IndexFitClientSize(4, 2, Defaults(), &width, &height);
    EXPECT_EQ(width, 422);
    EXPECT_EQ(height, 226);
}

TEST(IndexLayout, SettingsOutsideSensibleBoundsAreLimited) {
    const IndexMetrics metrics = MakeIndexMetrics(-5, 100000, -1, 15, true, false);
    EXPECT_EQ(metrics.iconX, 0);
    EXPECT_EQ(metrics.iconY, 2048);
    EXPECT_EQ(metrics.spacing, 0);
    EXPECT_EQ(IndexCellWidth(metrics), 5);
    // The thumbnail size of a settings key that could not be read: 0 x 0.
    const IndexMetrics zero = MakeIndexMetrics(0, 0, 0, 15, false, false);
    EXPECT_EQ(IndexColumns(100, IndexCellWidth(zero)), 20);
}

TEST(IndexHitTest, TheHitRegionIsTwoPixelsUpAndLeftOfTheDrawnBox) {
    const IndexMetrics metrics = Defaults();
    // The drawn box of entry 0 spans 12..99 x 12..77; the hit region 10..97 x 10..75.
    EXPECT_EQ(IndexHitTest(10, 10, 0, metrics, 4, 8), 0);
    EXPECT_EQ(IndexHitTest(97, 75, 0, metrics, 4, 8), 0);
    EXPECT_EQ(IndexHitTest(98, 40, 0, metrics, 4, 8), -1);  // inside the drawn box
    EXPECT_EQ(IndexHitTest(40, 76, 0, metrics, 4, 8), -1);
    // Entry 5: column 1, row 1.
    EXPECT_EQ(IndexHitTest(10 + 103, 10 + 108, 0, metrics, 4, 8), 5);
    // Scrolled by 100, the second row starts at y 18.
    EXPECT_EQ(IndexHitTest(10 + 103, 18, 100, metrics, 4, 8), 5);
    EXPECT_EQ(IndexHitTest(10 + 103, 17, 100, metrics, 4, 8), -1);
}

TEST(IndexHitTest, PointsOutsideTheGridOrPastTheLastEntryHitNothing) {
    const IndexMetrics metrics = Defaults();
    EXPECT_EQ(IndexHitTest(10 + 3 * 103, 20, 0, metrics, 4, 8), 3);
    EXPECT_EQ(IndexHitTest(10 + 4 * 103, 20, 0, metrics, 4, 8), -1);        // column 4 of 4
    EXPECT_EQ(IndexHitTest(10 + 2 * 103, 10 + 108, 0, metrics, 4, 6), -1);  // entry 6 of 6
    EXPECT_EQ(IndexHitTest(20, 10 + 2 * 108, 0, metrics, 4, 8), -1);        // row 2 of 2
    EXPECT_EQ(IndexHitTest(20, 20, 0, metrics, 4, 0), -1);
}

TEST(IndexHitTest, TheMarginsLeftOfAndAboveTheGridCountForTheFirstColumnAndRow) {
    // x - S and y - S are divided with truncation toward zero.
    EXPECT_EQ(IndexHitTest(3, 40, 0, Defaults(), 4, 8), 0);
    EXPECT_EQ(IndexHitTest(40, 0, 0, Defaults(), 4, 8), 0);
}

TEST(IndexScrolling, LinesAreTwoPixelsAndPagesOneCellHeight) {
    // 5 rows of 108 in a client 300 high: positions 0 ... 241.
    EXPECT_EQ(IndexScrollPosition(IndexScroll::LineDown, 10, 0, 5, 108, 300), 12);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::LineUp, 10, 0, 5, 108, 300), 8);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::PageDown, 10, 0, 5, 108, 300), 118);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::PageUp, 118, 0, 5, 108, 300), 10);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::Thumb, 10, 77, 5, 108, 300), 77);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::Top, 150, 0, 5, 108, 300), 0);
}

TEST(IndexScrolling, PositionsAreClampedToTheGridBelowTheClientArea) {
    EXPECT_EQ(IndexScrollPosition(IndexScroll::Bottom, 0, 0, 5, 108, 300), 241);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::PageDown, 200, 0, 5, 108, 300), 241);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::LineUp, 1, 0, 5, 108, 300), 0);
    EXPECT_EQ(IndexScrollPosition(IndexScroll::Thumb, 0, -40, 5, 108, 300), 0);
    // A grid shorter than the client area does not scroll.
    EXPECT_EQ(ClampIndexScroll(50, 2, 108, 300), 0);
}

TEST(IndexThumbnail, APictureKeepsItsAspectInsideTheBox) {
    int width = 0, height = 0;
    FitThumbnail(400, 300, 88, 66, &width, &height);
    EXPECT_EQ(width, 88);
    EXPECT_EQ(height, 66);
    FitThumbnail(300, 400, 88, 66, &width, &height);
    EXPECT_EQ(width, 49);
    EXPECT_EQ(height, 66);
    FitThumbnail(1000, 100, 88, 66, &width, &height);
    EXPECT_EQ(width, 88);
    EXPECT_EQ(height, 8);
    FitThumbnail(32, 32, 88, 66, &width, &height);  // enlarged to fill the box
    EXPECT_EQ(width, 66);
    EXPECT_EQ(height, 66);
}

TEST(IndexThumbnail, ASliverStillGetsOnePixelAndHugePicturesDoNotOverflow) {
    int width = 0, height = 0;
    FitThumbnail(1, 1000, 88, 66, &width, &height);
    EXPECT_EQ(width, 1);  // 66 * 1 / 1000 = 0
    EXPECT_EQ(height, 66);
    FitThumbnail(2000000000, 1500000000, 88, 66, &width, &height);
    EXPECT_EQ(width, 88);
    EXPECT_EQ(height, 66);
    FitThumbnail(640, 480, 0, 0, &width, &height);
    EXPECT_EQ(width, 1);
    EXPECT_EQ(height, 1);
}

TEST(IndexLabel, APictureIsNamedWithoutItsExtensionAndShowsItsResolution) {
    IndexList list;
    IndexEntry* entry = Picture(&list, "C:\\pics\\Holiday.1998.bmp", 400, 300, 24, 360054);
    EXPECT_EQ(IndexLabel(*entry, true, false), "Holiday.1998\n400x300x24");
    EXPECT_EQ(IndexLabel(*entry, false, false), "Holiday.1998");
    EXPECT_EQ(IndexLabel(*entry, true, true), "Holiday.1998\n400x300x24\n352 KB");
}

TEST(IndexLabel, SizesRoundToTheNearestKilobyte) {
    IndexList list;
    IndexEntry* small = list.Insert("C:\\d\\a.txt", false, 511);
    IndexEntry* half = list.Insert("C:\\d\\b.txt", false, 512);
    IndexEntry* big = list.Insert("C:\\d\\c.txt", false, 0xFFFFFFFFu);
    EXPECT_EQ(IndexLabel(*small, true, true), "a.txt\n0 KB");
    EXPECT_EQ(IndexLabel(*half, true, true), "b.txt\n1 KB");
    EXPECT_EQ(IndexLabel(*big, false, true), "c.txt\n4194304 KB");
}

TEST(IndexLabel, DirectoriesShowNoSizeAndOtherFilesNoResolution) {
    IndexList list;
    IndexEntry* directory = list.Insert("C:\\d\\Photos.old", true, 0);
    IndexEntry* other = list.Insert("C:\\d\\readme", false, 2048);
    other->width = 32;
    other->height = 32;
    other->depth = 4;
    EXPECT_EQ(IndexLabel(*directory, true, true), "Photos.old");
    EXPECT_EQ(IndexLabel(*other, true, true), "readme\n2 KB");
}

TEST(IndexList, EntriesAreSortedByFullPathWithoutCase) {
    IndexList list;
    for (const char* name : {"b.bmp", "..", "A.gif", "_x.png", "1.png", "Sub", "a.GIF2"})
        list.Insert(std::string("C:\\d\\") + name,
                    std::string(name) == ".." || std::string(name) == "Sub", 0);
    // ".." comes before items beginning with letters or digits; "_" sorts
    // before the letters as their lower case forms are compared.
    EXPECT_EQ(Names(&list), (std::vector<std::string>{"..", "1.png", "_x.png", "A.gif", "a.GIF2",
                                                      "b.bmp", "Sub"}));
    EXPECT_EQ(list.Count(), 7);
    EXPECT_EQ(list.At(0)->kind, kIndexDirectory);
    EXPECT_EQ(list.At(1)->kind, kIndexOther);
    EXPECT_EQ(list.At(6)->kind, kIndexDirectory);
    EXPECT_EQ(list.At(7), nullptr);
    EXPECT_EQ(list.At(-1), nullptr);
}

TEST(IndexList, InsertionWalksBothWaysFromTheLastInsertedEntry) {
    IndexList list;
    // Alternating far ends make every insertion walk the whole list.
    for (const char* name : {"m", "a", "z", "b", "y", "c", "x", "n", "l"})
        list.Insert(std::string("D:\\") + name, false, 0);
    EXPECT_EQ(Names(&list),
              (std::vector<std::string>{"a", "b", "c", "l", "m", "n", "x", "y", "z"}));
    // Removing the entry inserted last leaves insertion working.
    IndexList::iterator last = list.begin();
    std::advance(last, 3);
    list.Remove(last);
    list.Insert("D:\\k", false, 0);
    EXPECT_EQ(Names(&list),
              (std::vector<std::string>{"a", "b", "c", "k", "m", "n", "x", "y", "z"}));
}

TEST(IndexList, EntriesKnowTheirFileNameAndExtension) {
    IndexList list;
    IndexEntry* entry = list.Insert("C:\\my.pics\\photo.jpeg", false, 1234);
    EXPECT_STREQ(entry->FileName(), "photo.jpeg");
    EXPECT_EQ(entry->extensionPos, 16);
    EXPECT_EQ(entry->fileSize, 1234u);
    EXPECT_EQ(entry->icon, nullptr);
    EXPECT_EQ(entry->display, nullptr);
    // A dot in the directory is not the file's extension.
    IndexEntry* plain = list.Insert("C:\\my.pics\\photo", false, 0);
    EXPECT_EQ(plain->extensionPos, 16);
    plain->kind = kIndexPicture;
    EXPECT_EQ(IndexLabel(*plain, false, false), "photo");
    // A path too long for an entry is not listed.
    EXPECT_EQ(list.Insert("C:\\" + std::string(600, 'x'), false, 0), nullptr);
    EXPECT_EQ(list.Count(), 2);
}

namespace {
int g_released = 0;
void CountRelease(void* icon) { g_released += *static_cast<int*>(icon); }
}  // namespace

TEST(IndexList, AnEntryReleasesItsIconWithItself) {
    int one = 1;
    g_released = 0;
    IndexList list;
    list.Insert("C:\\a", false, 0)->SetIcon(&one, CountRelease);
    list.Insert("C:\\b", false, 0)->SetIcon(&one, CountRelease);
    list.Remove(list.begin());
    EXPECT_EQ(g_released, 1);
    list.Clear();
    EXPECT_EQ(g_released, 2);
    EXPECT_EQ(list.Count(), 0);
}

TEST(IndexWindowText, TheTitleIsTheDirectorysLastComponent) {
    EXPECT_EQ(IndexTitle("Z:\\home\\pictures\\Holiday 98"), "Holiday 98 - Vantirel Index");
    EXPECT_EQ(IndexTitle("C:"), "C:\\ - Vantirel Index");
    EXPECT_EQ(IndexTitle("\\\\server\\share"), "share - Vantirel Index");
}

TEST(IndexWindowText, TheDirectoryIsWhatPrecedesIndexVti) {
    EXPECT_EQ(IndexDirectoryOf("C:\\pics\\index.vti"), "C:\\pics\\");
    EXPECT_EQ(IndexDirectoryOf("C:index.vti"), "C:");
    EXPECT_EQ(IndexDirectoryOf("index.vti"), "");
    EXPECT_EQ(IndexArgumentFor("C:\\pics\\.."), "\"C:\\pics\\..\\index.vti\"");
}

TEST(IndexWindowText, TheContextMenuOffersSpawnViewerFirst) {
    const std::vector<MenuItem> menu = BuildIndexMenu();
    ASSERT_EQ(menu.size(), 6u);
    EXPECT_EQ(menu[0].command, 100);
    EXPECT_EQ(menu[0].text, "Spawn viewer");
    EXPECT_TRUE(menu[0].isDefault);
    EXPECT_EQ(menu[1].command, 0);
    EXPECT_TRUE(menu[1].text.empty());
    EXPECT_EQ(menu[2].command, 101);
    EXPECT_EQ(menu[2].text, "Properties");
    EXPECT_EQ(menu[3].command, 122);
    EXPECT_EQ(menu[3].text, "Recreate");
    EXPECT_EQ(menu[4].command, 0);
    EXPECT_EQ(menu[5].command, 102);
    EXPECT_EQ(menu[5].text, "Help");
    EXPECT_FALSE(menu[5].isDefault);
}

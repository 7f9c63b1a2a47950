// The index window's rules that need no window: its entries and their sorted
// list, the cell layout, scrolling, the mouse hit test, thumbnail sizes,
// labels, the title and the context menu. Portable so they are tested
// natively; app/IndexWindow.cpp puts them on the screen.
#pragma once
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "app/ViewerLogic.h"
#include "core/Image.h"

constexpr int kIndexPathSize = 516;

enum IndexKind : int32_t {
    kIndexDirectory = 0,
    kIndexPicture = 1,  // a picture that loaded
    kIndexOther = 2,    // a file not (yet) loaded as a picture
};

// One listed directory item.
struct IndexEntry {
    IndexEntry() = default;
    ~IndexEntry();
    IndexEntry(const IndexEntry&) = delete;
    IndexEntry& operator=(const IndexEntry&) = delete;

    const char* FileName() const { return path + fileNamePos; }
    // Gives the entry an icon, released with it (or when replaced).
    void SetIcon(void* handle, void (*release)(void*));

    int32_t kind = kIndexOther;
    char path[kIndexPathSize] = {};
    int fileNamePos = 0;   // where the file-name part begins
    int extensionPos = 0;  // the last "." of the file name, or the end of the path
    void* icon = nullptr;  // the shell's icon for entries without a thumbnail
    void (*releaseIcon)(void*) = nullptr;
    std::unique_ptr<Image> display;  // the thumbnail, as painted
    // Of the picture as its reader announced it (not of the thumbnail); for
    // an icon the system icon size and depth 4.
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 0;
    uint32_t fileSize = 0;  // low 32 bits, as the directory listing gives it
};

// Full paths compared without regard to case, as the list is ordered.
int CompareIndexPaths(const char* a, const char* b);

// The entries of one directory, kept sorted by full path without case
// (directories and files mixed in one order).
class IndexList {
public:
    using Entries = std::list<IndexEntry>;
    using iterator = Entries::iterator;

    // Adds a new entry in its place: kind 0 for a directory and 2 for a file,
    // no icon, no thumbnail. The search for the place starts at the entry
    // inserted last and walks forwards or backwards from there. Null when
    // the path does not fit an entry.
    IndexEntry* Insert(const std::string& path, bool directory, uint32_t fileSize);
    iterator Remove(iterator entry);
    void Clear();

    int Count() const { return static_cast<int>(entries_.size()); }
    iterator begin() { return entries_.begin(); }
    iterator end() { return entries_.end(); }
    // Entry number `number` in list order, or null.
    IndexEntry* At(int number);

private:
    Entries entries_;
    iterator last_ = entries_.end();
};

// The settings that shape the grid, kept in sensible bounds (a settings
// block may hold anything): X and Y the thumbnail box, S the spacing, T the
// height of a label line.
struct IndexMetrics {
    int iconX = 88;
    int iconY = 66;
    int spacing = 10;
    int textHeight = 0;
    bool showRes = true;
    bool showSize = false;
};
IndexMetrics MakeIndexMetrics(int iconX, int iconY, int spacing, int textHeight, bool showRes,
                              bool showSize);

int IndexCellWidth(const IndexMetrics& metrics);   // X + S + 5
int IndexCellHeight(const IndexMetrics& metrics);  // S + Y + T + 2, plus T per extra label line
// max(client width, cell width) / cell width.
int IndexColumns(int clientWidth, int cellWidth);
// (count + columns - 1) / columns.
int IndexRows(int count, int columns);

struct IndexBox {
    int left;
    int top;
    int width;
    int height;
};
// The thumbnail box of entry `number`: X by Y at S + column * cell width + 2,
// S + row * cell height + 2 - scroll.
IndexBox ThumbnailBox(int number, int columns, const IndexMetrics& metrics, int scroll);
// The cell the painter owns: its frame (3 pixels outside the box) at the
// top left, then the margins up to the next cell.
IndexBox IndexCell(int column, int row, const IndexMetrics& metrics, int scroll);

// The entry number under a client point, or -1. x - S and y - S + scroll
// are divided by the cell size; the point hits when the remainders are below
// X and Y, the column and row lie in the grid and the entry exists. The
// region is 2 pixels up and left of the drawn box, as it has always been.
int IndexHitTest(int x, int y, int scroll, const IndexMetrics& metrics, int columns, int count);

enum class IndexScroll { LineUp, LineDown, PageUp, PageDown, Thumb, Top, Bottom };
// The new scroll position: lines are 2 pixels, pages a cell height, the
// thumb gives its own position; clamped to 0 ... rows * cell height - client
// height + 1.
int IndexScrollPosition(IndexScroll action, int position, int thumb, int rows, int cellHeight,
                        int clientHeight);
int ClampIndexScroll(int position, int rows, int cellHeight, int clientHeight);

// The client size that fits the grid: columns * cell width + S by rows *
// cell height + S.
void IndexFitClientSize(int columns, int rows, const IndexMetrics& metrics, int* width,
                        int* height);

// The thumbnail of a width x height picture fitted into X x Y keeping its
// aspect: Y high when width / height <= X / Y, else X wide (integer
// division for the other side). Never below 1 x 1.
void FitThumbnail(int width, int height, int iconX, int iconY, int* thumbWidth, int* thumbHeight);

// The label under a cell: the file name (without its extension for a
// picture), then "\n%dx%dx%d" for a picture when resolutions are shown,
// then "\n%d KB" with (size + 512) / 1024 for everything but directories
// when sizes are shown.
std::string IndexLabel(const IndexEntry& entry, bool showRes, bool showSize);

// "NAME - Vantirel Index" for a directory given without a trailing
// backslash; a root ("C:") shows as "C:\ - Vantirel Index".
std::string IndexTitle(const char* directory);

// The directory part of a path ending in a file name (index.vti): all up to
// and including the last backslash, slash or colon; empty when there is none.
std::string IndexDirectoryOf(const char* path);

// The argument that opens a directory entry as an index: "%s\index.vti"
// enclosed in double quotes.
std::string IndexArgumentFor(const char* directory);

// Context menu commands of the index window.
enum IndexCommand {
    kIdxCmdSpawnViewer = 100,
    kIdxCmdProperties = 101,
    kIdxCmdHelp = 102,
    kIdxCmdRecreate = 122,
};
// "Spawn viewer" (default), separator, "Properties", "Recreate", separator,
// "Help".
std::vector<MenuItem> BuildIndexMenu();

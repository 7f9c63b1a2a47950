#include "app/IndexLogic.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Bounds for settings the layout divides by and allocates from: a thumbnail
// box of at most 2048 x 2048, a spacing of at most 1024.
constexpr int kMaxIconSize = 2048;
constexpr int kMaxSpacing = 1024;
constexpr int kLineStep = 2;
constexpr int kFarBottom = 99999;

int Clamp(int value, int low, int high) { return std::max(low, std::min(value, high)); }

int LowerAscii(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; }

bool IsPathSeparator(char c) { return c == '\\' || c == '/' || c == ':'; }

}  // namespace

IndexEntry::~IndexEntry() {
    if (icon && releaseIcon) releaseIcon(icon);
}

void IndexEntry::SetIcon(void* handle, void (*release)(void*)) {
    if (icon && releaseIcon) releaseIcon(icon);
    icon = handle;
    releaseIcon = release;
}

int CompareIndexPaths(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const int ca = LowerAscii(static_cast<unsigned char>(*a));
        const int cb = LowerAscii(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0) return ca - cb;
    }
}

IndexEntry* IndexList::Insert(const std::string& path, bool directory, uint32_t fileSize) {
    if (path.size() >= static_cast<size_t>(kIndexPathSize)) return nullptr;
    const char* text = path.c_str();

    iterator place = last_ == entries_.end() ? entries_.begin() : last_;
    if (place != entries_.end() && CompareIndexPaths(text, place->path) < 0) {
        // Backwards: stop behind the first entry that sorts before the path.
        while (place != entries_.begin() && CompareIndexPaths(text, std::prev(place)->path) < 0)
            --place;
    } else {
        // Forwards: past every entry that sorts before or with the path.
        while (place != entries_.end() && CompareIndexPaths(text, place->path) >= 0) ++place;
    }
    last_ = entries_.emplace(place);

    IndexEntry& entry = *last_;
    std::memcpy(entry.path, text, path.size() + 1);
    const int length = static_cast<int>(path.size());
    int name = length;
    while (name > 0 && !IsPathSeparator(text[name - 1])) --name;
    entry.fileNamePos = name;
    entry.extensionPos = length;
    for (int i = length - 1; i >= name; --i) {
        if (text[i] == '.') {
            entry.extensionPos = i;
            break;
        }
    }
    entry.kind = directory ? kIndexDirectory : kIndexOther;
    entry.fileSize = fileSize;
    return &entry;
}

IndexList::iterator IndexList::Remove(iterator entry) {
    if (entry == last_) last_ = entries_.end();
    return entries_.erase(entry);
}

void IndexList::Clear() {
    entries_.clear();
    last_ = entries_.end();
}

IndexEntry* IndexList::At(int number) {
    if (number < 0 || number >= Count()) return nullptr;
    iterator entry = entries_.begin();
    std::advance(entry, number);
    return &*entry;
}

IndexMetrics MakeIndexMetrics(int iconX, int iconY, int spacing, int textHeight, bool showRes,
                              bool showSize) {
    IndexMetrics metrics;
    metrics.iconX = Clamp(iconX, 0, kMaxIconSize);
    metrics.iconY = Clamp(iconY, 0, kMaxIconSize);
    metrics.spacing = Clamp(spacing, 0, kMaxSpacing);
    metrics.textHeight = Clamp(textHeight, 0, kMaxIconSize);
    metrics.showRes = showRes;
    metrics.showSize = showSize;
    return metrics;
}

int IndexCellWidth(const IndexMetrics& metrics) { return metrics.iconX + metrics.spacing + 5; }

int IndexCellHeight(const IndexMetrics& metrics) {
    int height = metrics.spacing + metrics.iconY + metrics.textHeight + 2;
    if (metrics.showRes) height += metrics.textHeight;
    if (metrics.showSize) height += metrics.textHeight;
    return height;
}

int IndexColumns(int clientWidth, int cellWidth) {
    return std::max(clientWidth, cellWidth) / cellWidth;
}

int IndexRows(int count, int columns) { return (count + columns - 1) / columns; }

IndexBox ThumbnailBox(int number, int columns, const IndexMetrics& metrics, int scroll) {
    const int column = number % columns;
    const int row = number / columns;
    return {metrics.spacing + column * IndexCellWidth(metrics) + 2,
            metrics.spacing + row * IndexCellHeight(metrics) + 2 - scroll, metrics.iconX,
            metrics.iconY};
}

IndexBox IndexCell(int column, int row, const IndexMetrics& metrics, int scroll) {
    const int width = IndexCellWidth(metrics);
    const int height = IndexCellHeight(metrics);
    return {metrics.spacing + column * width - 1, metrics.spacing + row * height - 1 - scroll,
            width, height};
}

int IndexHitTest(int x, int y, int scroll, const IndexMetrics& metrics, int columns, int count) {
    const int cellWidth = IndexCellWidth(metrics);
    const int cellHeight = IndexCellHeight(metrics);
    const int dx = x - metrics.spacing;
    const int dy = y - metrics.spacing + scroll;
    // Integer division truncates toward zero: a point up to a cell left of
    // or above the grid counts for the first column or row.
    const int column = dx / cellWidth;
    const int row = dy / cellHeight;
    if (dx % cellWidth >= metrics.iconX || dy % cellHeight >= metrics.iconY) return -1;
    if (columns < 1 || column < 0 || column >= columns || row < 0 ||
        row >= IndexRows(count, columns))
        return -1;
    const int number = row * columns + column;
    return number < count ? number : -1;
}

int ClampIndexScroll(int position, int rows, int cellHeight, int clientHeight) {
    const int limit = rows * cellHeight - clientHeight + 1;
    return std::max(0, std::min(position, limit));
}

int IndexScrollPosition(IndexScroll action, int position, int thumb, int rows, int cellHeight,
                        int clientHeight) {
    switch (action) {
        case IndexScroll::LineUp:
            position -= kLineStep;
            break;
        case IndexScroll::LineDown:
            position += kLineStep;
            break;
        case IndexScroll::PageUp:
            position -= cellHeight;
            break;
        case IndexScroll::PageDown:
            position += cellHeight;
            break;
        case IndexScroll::Thumb:
            position = thumb;
            break;
        case IndexScroll::Top:
            position = 0;
            break;
        case IndexScroll::Bottom:
            position = kFarBottom;
            break;
    }
    return ClampIndexScroll(position, rows, cellHeight, clientHeight);
}

void IndexFitClientSize(int columns, int rows, const IndexMetrics& metrics, int* width,
                        int* height) {
    *width = columns * IndexCellWidth(metrics) + metrics.spacing;
    *height = rows * IndexCellHeight(metrics) + metrics.spacing;
}

void FitThumbnail(int width, int height, int iconX, int iconY, int* thumbWidth, int* thumbHeight) {
    long long w = 0;
    long long h = 0;
    if (iconX < 1 || iconY < 1 || width < 1 || height < 1) {
        // No box to fit into (or nothing to fit): the smallest thumbnail.
    } else if (static_cast<double>(width) / height <= static_cast<double>(iconX) / iconY) {
        h = iconY;
        w = static_cast<long long>(iconY) * width / height;
    } else {
        w = iconX;
        h = static_cast<long long>(iconX) * height / width;
    }
    // A sliver of a picture still gets one pixel.
    *thumbWidth = static_cast<int>(std::max(1LL, w));
    *thumbHeight = static_cast<int>(std::max(1LL, h));
}

std::string IndexLabel(const IndexEntry& entry, bool showRes, bool showSize) {
    std::string label = entry.FileName();
    if (entry.kind == kIndexPicture && entry.extensionPos >= entry.fileNamePos)
        label.resize(static_cast<size_t>(entry.extensionPos - entry.fileNamePos));
    char line[64];
    if (showRes && entry.kind == kIndexPicture) {
        std::snprintf(line, sizeof line, "\n%dx%dx%d", entry.width, entry.height, entry.depth);
        label += line;
    }
    if (showSize && entry.kind != kIndexDirectory) {
        std::snprintf(line, sizeof line, "\n%d KB",
                      static_cast<int>((static_cast<uint64_t>(entry.fileSize) + 512) / 1024));
        label += line;
    }
    return label;
}

std::string IndexTitle(const char* directory) {
    const std::string path = directory;
    const size_t separator = path.find_last_of("\\/");
    const std::string last = separator == std::string::npos ? path : path.substr(separator + 1);
    // A root ("C:", or nothing left of "\") has no last component of its own.
    if (last.empty() || last.back() == ':') return path + "\\ - Vantirel Index";
    return last + " - Vantirel Index";
}

std::string IndexDirectoryOf(const char* path) {
    const std::string text = path;
    const size_t separator = text.find_last_of("\\/:");
    return separator == std::string::npos ? std::string() : text.substr(0, separator + 1);
}

std::string IndexArgumentFor(const char* directory) {
    return std::string("\"") + directory + "\\index.vti\"";
}

std::vector<MenuItem> BuildIndexMenu() {
    const MenuItem separator;
    return {MenuCommand(kIdxCmdSpawnViewer, "Spawn viewer", true),
            separator,
            MenuCommand(kIdxCmdProperties, "Properties"),
            MenuCommand(kIdxCmdRecreate, "Recreate"),
            separator,
            MenuCommand(kIdxCmdHelp, "Help")};
}

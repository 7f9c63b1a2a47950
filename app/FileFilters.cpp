#include "app/FileFilters.h"

#include <cctype>
#include <cstring>

#include "core/ImageImpFile.h"
#include "core/SaveAs.h"

namespace {

std::string Upper(const char* text) {
    std::string result(text);
    for (char& c : result) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return result;
}

void AddPair(std::string* filter, const std::string& text, const std::string& pattern) {
    filter->append(text);
    filter->push_back('\0');
    filter->append(pattern);
    filter->push_back('\0');
}

// "BMP - Microsoft Windows Bitmap" with the pattern "*.bmp".
void AddFormatPair(std::string* filter, const char* extension, const char* description) {
    AddPair(filter, Upper(extension) + " - " + description, std::string("*.") + extension);
}

const char* FileNameOf(const char* path) {
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '\\' || *p == ':') name = p + 1;
    return name;
}

bool EqualNoCase(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b)
        if (std::tolower(static_cast<unsigned char>(*a)) !=
            std::tolower(static_cast<unsigned char>(*b)))
            return false;
    return *a == *b;
}

}  // namespace

std::string BuildOpenFilter() {
    std::string filter;
    std::string all;
    const char* extension = nullptr;
    const char* description = nullptr;
    for (int i = 0; GetImportFormat(i, &extension, &description); ++i)
        all += "*." + Upper(extension) + ";";
    if (!all.empty()) all.pop_back();  // no ';' after the last pattern
    // The misspelling is how the program has always labelled this entry.
    AddPair(&filter, "Supperted file types", all);
    AddPair(&filter, "Show all files", "*.*");
    for (int i = 0; GetImportFormat(i, &extension, &description); ++i)
        AddFormatPair(&filter, extension, description);
    filter.push_back('\0');
    return filter;
}

std::string BuildSaveFilter() {
    std::string filter;
    const char* extension = nullptr;
    const char* description = nullptr;
    for (int i = 0; GetExportFormat(i, &extension, &description); ++i)
        AddFormatPair(&filter, extension, description);
    filter.push_back('\0');
    return filter;
}

std::string DirectoryPart(const char* path) {
    return std::string(path, static_cast<size_t>(FileNameOf(path) - path));
}

std::string DefaultSaveName(const char* path) {
    std::string name = FileNameOf(path);
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos) name.erase(dot);
    return name;
}

bool HasExtension(const char* path) { return std::strchr(FileNameOf(path), '.') != nullptr; }

int ChooseExportType(int filterIndex, const char* path) {
    int type = filterIndex - 1;
    const char* dot = std::strrchr(FileNameOf(path), '.');
    const char* nameExtension = dot ? dot + 1 : "";
    const char* extension = nullptr;
    if (GetExportFormat(type, &extension, nullptr) && EqualNoCase(nameExtension, extension))
        return type;
    for (int i = 0; GetExportFormat(i, &extension, nullptr); ++i)
        if (EqualNoCase(nameExtension, extension)) return i;
    return type;
}

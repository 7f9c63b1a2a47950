// Writing pictures: the export format table (one entry: the Windows bitmap)
// and SaveAs, which creates the file and hands it to the entry's writer.
#pragma once
#include "core/Platform.h"

class Image;
class Progress;

using ExportWriter = bool (*)(platform::Handle file, Image* image, Progress* progress);

struct ExportFormat {
    const char* extension;
    ExportWriter write;
    const char* description;
};

constexpr int kExportFormatCount = 1;
extern const ExportFormat kExportFormats[kExportFormatCount];

// Index 0 gives the extension and description; any other index is false.
bool GetExportFormat(int index, const char** extension, const char** description);

bool SaveAs(int formatIndex, const char* path, Image* image);

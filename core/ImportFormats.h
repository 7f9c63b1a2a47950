// The import format table: which reader serves which file extension, in the
// order readers are tried.
#pragma once
#include "core/ImageImpFile.h"

struct ImportFormat {
    const char* extension;  // without the dot
    IdentifyRoutine identify;
    const char* description;
};

extern const ImportFormat kImportFormats[kImportFormatCount];

// The table the dispatcher walks: kImportFormats, unless a test substitutes a
// table of its own readers (kImportFormatCount entries).
extern const ImportFormat* g_importFormats;

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

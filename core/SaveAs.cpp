#include "core/SaveAs.h"

#include <memory>

#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"

bool GetExportFormat(int index, const char** extension, const char** description) {
    if (index < 0 || index >= kExportFormatCount) return false;
    if (extension) *extension = kExportFormats[index].extension;
    if (description) *description = kExportFormats[index].description;
    return true;
}

bool SaveAs(int formatIndex, const char* path, Image* image) {
    if (formatIndex < 0 || formatIndex >= kExportFormatCount)
        return SetError("SaveAs()", "Invalid file format index");
    const platform::Handle file = platform::CreateFileForWriting(path);
    if (!file) return SetError("SaveAs()", "Couldn't create file");
    bool result;
    {
        std::unique_ptr<Progress> progress(OpenProgress(FileNamePart(path), "Writing"));
        result = kExportFormats[formatIndex].write(file, image, progress.get());
    }
    platform::CloseFile(file);
    return result;
}

#include "core/ImageImpFile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "color/ResampleBicubic.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImportFormats.h"
#include "core/Platform.h"
#include "core/Progress.h"
#include "jpeg/YCbCr.h"

namespace {
constexpr const char* kPlace = "ImageImpFile()";

bool SameTextIgnoringCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const int ca = (*a >= 'A' && *a <= 'Z') ? *a + 32 : *a;
        const int cb = (*b >= 'A' && *b <= 'Z') ? *b + 32 : *b;
        if (ca != cb) return false;
        if (ca == 0) return true;
    }
}

// Entry i of a grey ramp of n entries is i * 255 / (n - 1); inverted ramps
// run from white down.
void FillGreyRamp(uint8_t* palette, int depth, bool inverted) {
    const int n = 1 << std::clamp(depth, 1, 8);
    for (int i = 0; i < n; ++i) {
        int level = i * 255 / (n - 1);
        if (inverted) level = 255 - level;
        palette[3 * i] = palette[3 * i + 1] = palette[3 * i + 2] = static_cast<uint8_t>(level);
    }
}

// Applies the announced colour model to a recognised file; false with the
// error report filled when the model cannot be shown.
bool ApplyColourModel(ImageImpFile* imp) {
    switch (imp->colourModel) {
        case kColourUnstated:
            imp->colourModel = kColourAsStored;
            break;
        case kColourGrey:
        case kColourGreyInverted:
            if (!imp->palette) imp->palette = AllocPaletteBlock();
            if (imp->palette)
                FillGreyRamp(imp->palette, imp->depth, imp->colourModel == kColourGreyInverted);
            break;
        case kColourYIQ:
            platform::Warning("Note! Can't convert YIQ colorspace!");
            break;
        case kColourHSI:
            platform::Warning("Note! Can't convert HSI colorspace!");
            break;
        case kColourAsStored:
        case kColourYCbCr:
            break;
        default:
            return SetError(kPlace, "Unsupported colorspace - can't handle it!");
    }
    if (imp->depth < 9 && !imp->palette) return SetError(kPlace, "No colormap in file");
    if (imp->width == 0 || imp->height == 0) return SetError(kPlace, "Image size is zero!");
    return true;
}

// Tries every table entry whose extension matches (or, on the probing pass,
// differs); stops at the first reader that recognises the file.
bool Identify(ImageImpFile* imp, const char* extension, bool matching) {
    bool verdict = false;
    for (int i = 0; i < kImportFormatCount; ++i) {
        const ImportFormat& format = g_importFormats[i];
        if (SameTextIgnoringCase(format.extension, extension) != matching) continue;
        verdict = format.identify(imp);
        if (imp->ready) {
            imp->description = format.description;
            break;
        }
    }
    return verdict;
}
// The default stride of a colour picture, 3 * width, in 64 bits: a reader
// that stops (or fails) after reading a huge width leaves it here, and a
// stride too large for the record becomes the largest one.
int32_t ThreeTimes(int32_t width) {
    const int64_t stride = 3 * int64_t{width};
    if (stride > INT32_MAX) return INT32_MAX;
    if (stride < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(stride);
}
}  // namespace

uint8_t* AllocPaletteBlock() { return static_cast<uint8_t*>(std::calloc(1, kPaletteBlockBytes)); }

ImageImpFile::ImageImpFile(const char* filePath, Progress* progress, bool probeAll)
    : ready(false),
      data(nullptr),
      size(0),
      width(0),
      height(0),
      depth(0),
      stride(-1),
      rows(-1),
      width2(-1),
      height2(-1),
      stride2(-1),
      rows2(-1),
      colourModel(kColourUnstated),
      description(""),
      compression("Raw"),
      palette(nullptr),
      rowLoader(nullptr),
      rowLoader2(nullptr),
      scratch{},
      fileHandle(0),
      mappingHandle(0),
      view(nullptr),
      path{},
      fileName(path),
      yCbCrConversionOffered(false),
      yCbCrConverted(false) {
    ReportStatus(progress, "Opening", 0, 100);
    std::strncpy(path, filePath, kImpPathSize - 1);
    fileName = FileNamePart(path);

    switch (platform::MapWholeFile(path, &fileHandle, &mappingHandle, &view, &size)) {
        case platform::MapStatus::OpenFailed:
            SetError(kPlace, "Couldn't open file: '%s'", path);
            return;
        case platform::MapStatus::MappingFailed:
            SetError(kPlace, "CreateFileMapping() failed");
            return;
        case platform::MapStatus::ViewFailed:
            SetError(kPlace, "MapViewOfFile() failed");
            return;
        case platform::MapStatus::Ok:
            break;
    }
    data = view;

    const char* dot = std::strrchr(path, '.');
    const char* extension = dot ? dot + 1 : nullptr;

    bool verdict = false;
    if (extension) verdict = Identify(this, extension, true);
    // Without a dot no entry matches; only the probing pass can find a reader.
    if (!ready && probeAll) verdict = Identify(this, extension ? extension : "", false);

    // Defaults are taken now, before the colour model may add a palette: a
    // grey picture that leaves its stride alone gets 3 * width.
    if (stride == -1) stride = palette ? width : ThreeTimes(width);
    if (rows == -1) rows = height;
    if (!rowLoader2) {
        rowLoader2 = rowLoader;
        width2 = width;
        height2 = height;
        stride2 = stride;
        rows2 = rows;
    } else {
        if (stride2 == -1) stride2 = palette ? width2 : ThreeTimes(width2);
        if (rows2 == -1) rows2 = height2;
    }

    if (verdict) verdict = ApplyColourModel(this);
    ReportProgress(progress, 100, 100);

    if (!ready) {
        SetError(kPlace, "Not a supported image format");
        return;
    }
    ready = verdict;
}

ImageImpFile::~ImageImpFile() {
    std::free(palette);
    if (view) platform::UnmapView(view, size);
    if (mappingHandle) platform::CloseMapping(mappingHandle);
    if (fileHandle) platform::CloseFile(fileHandle);
}

bool Load(ImageImpFile* imp, Image* destination, Progress* progress, bool newImage) {
    RowLoader decode = imp->rowLoader;
    Image* target = destination;
    std::unique_ptr<Image> intermediate;
    if (!newImage) {
        if (destination->width != imp->width || destination->height != imp->height)
            return SetError("Load", "Destination bitmap of wrong size");
    } else {
        decode = imp->rowLoader2;
        intermediate = std::make_unique<Image>(imp->width2, imp->height2, imp->stride2, imp->rows2,
                                               imp->palette, imp->depth);
        target = intermediate.get();
    }
    if (!decode) return SetError("Load", "Error: vti_IHI not called");

    std::memcpy(target->path, imp->path, sizeof imp->path);
    // The same file-name position, inside the image's own copy of the path,
    // so it stays valid after the import record is gone.
    target->fileName = target->path + (imp->fileName - imp->path);

    // Only a 3-byte-per-pixel destination holds YCbCr triples to convert.
    const bool convert = imp->colourModel == kColourYCbCr && destination->depth == 24 &&
                         destination->stride >= 3 * destination->width;
    imp->yCbCrConversionOffered = convert && !newImage;
    imp->yCbCrConverted = false;
    bool result = decode(imp, target, progress);
    imp->yCbCrConversionOffered = false;
    if (newImage) {
        if (result) result = ResampleBicubic(destination, target, progress);
        intermediate.reset();
    }
    if (convert && !imp->yCbCrConverted)
        jpegConvertYCbCr(destination->pixels, destination->stride, destination->width,
                         destination->height);
    imp->yCbCrConverted = false;
    ReportProgress(progress, 100, 100);
    return result;
}

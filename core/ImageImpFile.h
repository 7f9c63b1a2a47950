// Reading a picture file: ImageImpFile maps the whole file, lets the format
// table's readers identify it and announce the picture, and Load then lets
// the chosen reader decode the pixels into an Image.
//
// The reader contract: an identify routine that recognises its format sets
// `ready` and announces width, height, depth and rowLoader (and may set
// stride, rows, colourModel, compression, palette, the second geometry and
// rowLoader2). One that recognises the file but cannot read it also sets
// `ready`, fills the error report and returns false: the search stops there.
// One that does not recognise the file leaves `ready` clear and returns false.
#pragma once
#include <cstdint>

#include "core/Platform.h"

class Image;
class Progress;
struct ImageImpFile;

using IdentifyRoutine = bool (*)(ImageImpFile* imp);
using RowLoader = bool (*)(ImageImpFile* imp, Image* destination, Progress* progress);

// Colour model codes a reader may announce.
enum ColourModel : int32_t {
    kColourUnstated = 0,
    kColourAsStored = 1,      // palette or RGB as stored
    kColourGrey = 2,          // 0 = black
    kColourGreyInverted = 3,  // 0 = white
    kColourYCbCr = 4,
    kColourYIQ = 5,
    kColourHSI = 6,
};

constexpr int kImpPathSize = 516;

struct ImageImpFile {
    ImageImpFile(const char* path, Progress* progress, bool probeAll);
    ~ImageImpFile();
    ImageImpFile(const ImageImpFile&) = delete;
    ImageImpFile& operator=(const ImageImpFile&) = delete;

    bool ready;
    const uint8_t* data;  // the mapped file
    uint32_t size;
    int32_t width;
    int32_t height;
    int32_t depth;   // 1..8 palette (one byte per pixel in memory), 24 colour
    int32_t stride;  // -1: default
    int32_t rows;    // -1: default
    // Geometry of the intermediate Image when loading into a new image.
    int32_t width2;
    int32_t height2;
    int32_t stride2;
    int32_t rows2;
    int32_t colourModel;
    const char* description;
    const char* compression;
    uint8_t* palette;  // 772-byte block of 256 red, green, blue triples, or null
    RowLoader rowLoader;
    RowLoader rowLoader2;   // null: same as rowLoader
    uintptr_t scratch[10];  // the chosen reader's, between identify and load
    platform::Handle fileHandle;
    platform::Handle mappingHandle;
    const uint8_t* view;
    char path[kImpPathSize];
    char* fileName;
    // Between Load and the row loader of a YCbCr picture decoded straight
    // into the destination: Load offers the row loader to convert the
    // pixels itself while they are in the cache, and a row loader that has
    // converted every pixel Load would have (the destination's width x
    // height) says so; Load then leaves them alone.
    bool yCbCrConversionOffered;
    bool yCbCrConverted;
};

// Allocates a zeroed palette block from the ordinary heap (null on failure);
// the import record frees it with free().
uint8_t* AllocPaletteBlock();

// Decodes into `destination` (new-image flag clear: exactly the announced
// size) or, with the flag set, into an intermediate Image of the second
// geometry that is then resampled into `destination`.
bool Load(ImageImpFile* imp, Image* destination, Progress* progress, bool newImage);

// The import format table, offered by index 0..25.
bool GetImportFormat(int index, const char** extension, const char** description);
constexpr int kImportFormatCount = 26;

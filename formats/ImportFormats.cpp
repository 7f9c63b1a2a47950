#include "core/ImportFormats.h"

#include <iterator>

#include "formats/Readers.h"

const ImportFormat kImportFormats[kImportFormatCount] = {
    {"bbm", vti_IFF, "Electronic Arts DP Brush"},
    {"bmp", vti_BMP, "Microsoft Windows Bitmap"},
    {"cur", vti_BMP, "Microsoft Windows Cursor"},
    {"dib", vti_BMP, "Microsoft Windows DIBitMap"},
    {"gif", vti_GIF, "Graphics Interchange Format"},
    {"ico", vti_BMP, "Microsoft Windows Icon"},
    {"vts", vti_VTS, "Vantirel SlideShow"},
    {"iff", vti_IFF, "Interchange File Format"},
    {"jif", vti_JPEG, "Joint Photographic Experts Group"},
    {"jpg", vti_JPEG, "Joint Photographic Experts Group"},
    {"jpeg", vti_JPEG, "Joint Photographic Experts Group"},
    {"lbm", vti_IFF, "Electronic Arts DP BitMap"},
    {"mac", vti_MAC, "MacPaint"},
    {"neo", vti_NEO, "Atari Neochrome"},
    {"pbm", vti_PxM, "PBMPLUS Portable BitMap"},
    {"pcx", vti_PCX, "ZSoft/PC Paintbrush"},
    {"pgm", vti_PxM, "PBMPLUS Portable Graymap"},
    {"pic", vti_PIC, "Pictor/PC Paint"},
    {"png", vti_PNG, "Portable Network Graphics"},
    {"ppm", vti_PxM, "PBMPLUS Portable PixelMap"},
    {"ras", vti_RAS, "Sun Raster"},
    {"rle", vti_BMP, "Microsoft Windows RLE bitmap"},
    {"sun", vti_RAS, "Sun Raster"},
    {"tga", vti_TGA, "Truevision TARGA"},
    {"tif", vti_TIF, "Tag Image File Format"},
    {"tiff", vti_TIF, "Tag Image File Format"},
};
static_assert(std::size(kImportFormats) == 26);

const ImportFormat* g_importFormats = kImportFormats;

bool GetImportFormat(int index, const char** extension, const char** description) {
    if (index < 0 || index >= kImportFormatCount) return false;
    if (extension) *extension = g_importFormats[index].extension;
    if (description) *description = g_importFormats[index].description;
    return true;
}

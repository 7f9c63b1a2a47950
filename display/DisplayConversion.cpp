#include "display/DisplayConversion.h"

#include <cstring>

#include "color/ColourConvert.h"
#include "core/Image.h"
#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "display/DisplayChoice.h"
#include "display/DisplayImages.h"

namespace {

void CopyPixels(Image* destination, const Image& source, int bytesPerPixel) {
    const size_t rowBytes = static_cast<size_t>(source.width) * bytesPerPixel;
    for (int row = 0; row < source.height; ++row) {
        const size_t room = destination->BytesFromRow(row);
        std::memcpy(destination->Row(row), source.Row(row), rowBytes < room ? rowBytes : room);
    }
}

}  // namespace

Image* MakeDisplayImage(Image* picture, Progress* progress) {
    const bool hasPalette = picture->palette != nullptr;
    const DisplayConversion plan =
        PlanDisplayConversion(g_display.bitsPerPixel, hasPalette, *g_settings);

    Image* display = nullptr;
    bool converted = true;
    switch (plan.kind) {
        case DisplayConversion::Quantise: {
            // The palette is filled in by the quantiser, which then tells
            // the display image to take up the new colours.
            uint8_t blank[768] = {};
            display = CreateDisplayImage(picture->width, picture->height, picture->width,
                                         picture->height, blank, 8);
            converted = clr_Xto8bit(display, picture, plan.wantColours, plan.dither,
                                    plan.fixedPalette, progress);
            break;
        }
        case DisplayConversion::Dither15:
            display = CreateDisplayImage(picture->width, picture->height, picture->width * 3,
                                         picture->height, nullptr, 24);
            converted = clr_Dither24to15bit(display, picture, progress);
            break;
        case DisplayConversion::AsIs:
            display = CreateDisplayImage(picture->width, picture->height,
                                         picture->width * (hasPalette ? 1 : 3), picture->height,
                                         picture->palette, picture->depth);
            CopyPixels(display, *picture, hasPalette ? 1 : 3);
            break;
    }
    if (!display || !converted) {
        delete display;
        return nullptr;
    }
    std::strcpy(display->label, picture->label);
    std::strcpy(display->path, picture->path);
    display->fileName = FileNamePart(display->path);
    // A plain record cannot paint itself: it is what the bitmap is made from.
    if (std::strcmp(display->className, "Image") == 0) {
        Image* bitmap = new DDBImage(*display);
        delete display;
        display = bitmap;
    }
    return display;
}

// Slide-show scripts in the import format table. They are recognised like
// pictures (the viewer then plays them instead of decoding): the announced
// picture is the screen itself.
#include <algorithm>

#include "core/DisplayCapabilities.h"
#include "core/Error.h"
#include "formats/Readers.h"
#include "formats/SlideShow.h"
#include "formats/SlideShowScript.h"

bool vti_VTS(ImageImpFile* imp) {
    // The header is looked for in the first 2048 bytes.
    SlideShowScript script(reinterpret_cast<const char*>(imp->data),
                           std::min<uint32_t>(imp->size, 2048));
    if (!IsSlideShowHeader(&script)) return SetError("vti_VTS", "Not an Vantirel SlideShow file");
    imp->ready = true;
    imp->width = g_display.width;
    imp->height = g_display.height;
    imp->depth = g_display.bitsPerPixel;
    if (g_display.bitsPerPixel < 9) imp->colourModel = kColourGrey;
    imp->compression = "Text";
    return true;
}

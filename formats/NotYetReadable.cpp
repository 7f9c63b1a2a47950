// Formats whose readers have not been written yet: they recognise nothing, so
// their files are "Not a supported image format". Each reader that lands
// removes its line here.
#include "formats/Readers.h"

bool vti_GIF(ImageImpFile*) { return false; }
bool vti_PNG(ImageImpFile*) { return false; }
bool vti_JPEG(ImageImpFile*) { return false; }
bool vti_TGA(ImageImpFile*) { return false; }
bool vti_PCX(ImageImpFile*) { return false; }
bool vti_IFF(ImageImpFile*) { return false; }
bool vti_PxM(ImageImpFile*) { return false; }
bool vti_RAS(ImageImpFile*) { return false; }
bool vti_MAC(ImageImpFile*) { return false; }
bool vti_NEO(ImageImpFile*) { return false; }
bool vti_PIC(ImageImpFile*) { return false; }
bool vti_VTS(ImageImpFile*) { return false; }

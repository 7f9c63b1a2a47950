// Formats whose readers have not been written yet: they recognise nothing, so
// their files are "Not a supported image format". Each reader that lands
// removes its line here.
#include "formats/Readers.h"

bool vti_TIF(ImageImpFile*) { return false; }

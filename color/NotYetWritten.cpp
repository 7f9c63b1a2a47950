// Resampling arrives with the colour routines; until then loading into a new
// image of another size reports that it cannot be done.
#include "color/ResampleBicubic.h"
#include "core/Error.h"

bool ResampleBicubic(Image*, Image*, Progress*) {
    return SetError("ResampleBicubic()", "Resampling not available");
}
bool ResampleNearest(Image*, Image*, Progress*) {
    return SetError("ResampleBicubic()", "Resampling not available");
}

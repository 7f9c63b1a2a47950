// Makes the display image of a picture: converted for the screen's depth and
// the display options, in the display class the screen calls for. The
// viewer and the index window share it.
#pragma once

class Image;
class Progress;

// Returns the new display image, or null with the error report filled.
Image* MakeDisplayImage(Image* picture, Progress* progress);

// Depth conversions for the screen: palette expansion to 24 bits, 15-bit
// Floyd-Steinberg dithering and quantisation to an 8-bit palette picture.
// Each returns false after filling the error report; progress may be null.
#pragma once

class Image;
class Progress;

// Expands an 8-bit palette picture into a 24-bit one of the same size.
bool clr_8to24bit(Image* destination, Image* source, Progress* progress);

// Reduces every channel of a 24-bit picture to its top 5 bits with error
// diffusion; the destination (which may be the source itself) stays 24-bit
// with channel values that are multiples of 8.
bool clr_Dither24to15bit(Image* destination, Image* source, Progress* progress);

// Converts a 24-bit or 8-bit picture into the existing 8-bit destination with
// at most wantedColours (2..256) palette entries, optimised by box splitting
// or taken from a fixed palette, optionally with error diffusion.
bool clr_Xto8bit(Image* destination, Image* source, int wantedColours, bool dither,
                 bool fixedPalette, Progress* progress);

// True when every row of the picture, at bytesPerPixel bytes per pixel, lies
// inside its pixel block and rows do not overlap. The converters refuse
// records that would make them read or write outside.
bool RowsFitPixelBlock(const Image* image, int bytesPerPixel);

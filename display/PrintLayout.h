// Where a printed page puts the picture and its caption. The picture is as
// large as the page allows with its proportions kept on paper, centred in
// the space above a one-line caption; the caption is centred at the bottom.
// Portable so the arithmetic is tested without a printer.
#pragma once

struct PrintLayout {
    int captionX, captionY;   // top-left corner of the caption text
    int x, y, width, height;  // the picture's rectangle, in device pixels
};

// pageWidth x pageHeight in device pixels (HORZRES, VERTRES); aspectX and
// aspectY the relative width and height of a device pixel (ASPECTX,
// ASPECTY); the caption's measured size; the picture's size in pixels.
//
// The fit works in aspect units, where both directions measure the same on
// paper: the free area is A = pageWidth x aspectX by B = (pageHeight -
// captionHeight) x aspectY. When A / B (in floating point) is at least the
// picture's width / height the height limits: H = B, W = B x width / height;
// otherwise W = A, H = A x height / width. Back in device pixels the picture
// sits at ((A - W) / (2 aspectX), (B - H) / (2 aspectY)) with size
// W / aspectX by H / aspectY. Every division truncates.
PrintLayout LayOutPrintedPage(int pageWidth, int pageHeight, int aspectX, int aspectY,
                              int captionWidth, int captionHeight, int imageWidth, int imageHeight);

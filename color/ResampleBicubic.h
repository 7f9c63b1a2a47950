// Scaling with a separable cubic convolution filter (a = -1) into a 24-bit
// destination, and a nearest-neighbour resampler beside it.
#pragma once

class Image;
class Progress;

bool ResampleBicubic(Image* destination, Image* source, Progress* progress);
bool ResampleNearest(Image* destination, Image* source, Progress* progress);

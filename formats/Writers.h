// Writers of the export format table.
#pragma once
#include "core/Platform.h"

class Image;
class Progress;

bool vte_BMP(platform::Handle file, Image* image, Progress* progress);

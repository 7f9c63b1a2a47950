// The index window is not part of this build yet: the index role ends the
// process quietly. Its own source replaces these lines.
#include "app/Seams.h"

void IndexWindowMain(HINSTANCE, const char*) {}

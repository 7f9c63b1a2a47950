// The index window, clipboard and printing are not part of this build yet.
// Each entry point says so through the error report (the viewer shows it);
// the index role ends the process quietly. Their own sources replace these lines.
#include "app/Seams.h"
#include "core/Error.h"

void IndexWindowMain(HINSTANCE, const char*) {}
bool vte_Clipboard(HWND, Image*) {
    return SetError("vte_Clipboard()", "Clipboard export is not available yet");
}
bool vte_Printer(HWND, Image*) {
    return SetError("vte_Printer()", "Printing is not available yet");
}

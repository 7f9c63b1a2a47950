// Uninstalling, clipboard, printing and the properties sheet are not part of
// this build yet. Each entry point says so through the error report (the
// viewer shows it); the uninstall role ends the process quietly. Their own
// sources replace these lines.
#include "app/Seams.h"
#include "core/Error.h"

void UninstallProgram(HINSTANCE) {}
bool vte_Clipboard(HWND, Image*) {
    return SetError("vte_Clipboard()", "Clipboard export is not available yet");
}
bool vte_Printer(HWND, Image*) {
    return SetError("vte_Printer()", "Printing is not available yet");
}
bool ShowPropertiesSheet(HWND, Image*) {
    return SetError("Properties", "The properties sheet is not available yet");
}

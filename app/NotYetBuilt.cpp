// The index window, uninstalling and the properties sheet are not part of
// this build yet. Each entry point says so through the error report (the
// viewer shows it); the index and uninstall roles end the process quietly.
// Their own sources replace these lines.
#include "app/Seams.h"
#include "core/Error.h"

void IndexWindowMain(HINSTANCE, const char*) {}
void UninstallProgram(HINSTANCE) {}
bool ShowPropertiesSheet(HWND, Image*) {
    return SetError("Properties", "The properties sheet is not available yet");
}

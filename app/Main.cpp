// Start-up: open the shared settings, split the command line, hand every
// further argument to a process of its own, and become the uninstaller, an
// index window or a viewer.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// after windows.h, which it needs
#include <commctrl.h>

#include <cstring>
#include <vector>

#include "app/CommandLine.h"
#include "app/ProcessStart.h"
#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "app/ViewerWindow.h"
#include "core/Error.h"
#include "core/Platform.h"
#include "display/DisplayCaps.h"
#include "display/ProgressDialog.h"

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int) {
    RefreshDisplayCaps();
    InstanceRecord record = {};
    record.instance = instance;
    OpenSettings(&record);
    InitCommonControls();
    SetProgressDialogModule(instance);
    InstallProgressDialogOpener();

    const char* line = GetCommandLineA();
    std::vector<char> text(line, line + std::strlen(line) + 1);
    char* arguments[kMaxArguments] = {};
    const int count = SplitCommandLine(text.data(), arguments, kMaxArguments);

    // Each further file is shown by a process of its own, started first.
    for (int i = 2; i < count; ++i) StartProcess(g_settings->programPath, arguments[i]);

    const char* argument = count > 1 ? arguments[1] : nullptr;
    switch (RoleOf(argument)) {
        case StartRole::Uninstall:
            // Returning means it was not carried out; declining says nothing.
            if (!UninstallProgram(instance) && g_errorPlace[0])
                platform::ShowMessage(g_errorPlace, g_errorText);
            break;
        case StartRole::Index:
            IndexWindowMain(instance, argument);
            break;
        case StartRole::Viewer:
            ViewerMain(instance, argument);
            break;
    }
    CloseSettings(&record);
    return 0;
}

#define WIN32_LEAN_AND_MEAN
#include "app/ProcessStart.h"

#include <windows.h>

#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "core/Platform.h"
#include "core/Settings.h"

bool StartProcess(const char* command, const char* argument) {
    const std::string line = ProcessCommandLine(command, argument);
    std::vector<char> writable(line.begin(), line.end());
    writable.push_back('\0');
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, writable.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return false;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

bool OpenInNewProcess(const char* path) {
    const std::string quoted = std::string("\"") + path + "\"";
    if (StartProcess(g_settings->programPath, quoted.c_str())) return true;
    platform::Warning("Couldn't execute Vantirel.EXE");
    return false;
}

bool OpenSlideShowInNewProcess(const char* path) {
    if (StartProcess(g_settings->programPath, path)) return true;
    platform::Warning("Couldn't execute Vantirel.EXE");
    return false;
}

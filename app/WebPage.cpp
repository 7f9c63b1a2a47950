#include "app/WebPage.h"

#include <string>

#include "app/PropertiesRules.h"
#include "app/SettingsStore.h"
#include "core/Error.h"

namespace {
constexpr LONG kTypeNameSize = 257;  // at most 256 characters
constexpr LONG kCommandSize = 1024;
}  // namespace

bool SpawnURL(const char* page, HKEY classes, ProcessStarter start) {
    char type[kTypeNameSize];
    if (ReadKeyDefault(classes, ".html", type, sizeof type) == 0 &&
        ReadKeyDefault(classes, ".htm", type, sizeof type) == 0)
        SetError("SpawnURL", "No WWW browser found!");  // and on, with no type name
    type[sizeof type - 1] = '\0';

    const std::string commandKey = std::string(type) + "\\shell\\open\\command";
    char command[kCommandSize];
    if (ReadKeyDefault(classes, commandKey.c_str(), command, sizeof command) == 0)
        return SetError("SpawnURL", ".html association corrupt");
    command[sizeof command - 1] = '\0';

    const std::string line = BrowserCommandLine(command, page);
    if (!start(line.c_str(), "")) return SetError("SpawnURL", "Couldn't launch WWW browser!");
    return true;
}

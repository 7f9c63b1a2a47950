// The installation check: the program installs itself on its first run, with
// no separate set-up program.
#include "app/Installation.h"

#include <string>

#include "app/AskUser.h"
#include "app/InstallationRules.h"
#include "app/SettingsStore.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"

namespace {

constexpr LONG kValueSize = 520;

// The stored version, -1 when there is none to read.
int StoredVersion(HKEY settingsKey) {
    if (!settingsKey) return -1;
    char text[16];
    if (ReadRegistryText(settingsKey, kVersionValueName, text, sizeof text, "") == 0) return -1;
    text[sizeof text - 1] = '\0';
    return ParseVersionNumber(text);
}

// A key's default value as text; false when it has none, or an empty one
// (which names no type and no command either).
bool ReadDefaultText(HKEY root, const std::string& keyPath, char (&text)[kValueSize]) {
    if (ReadKeyDefault(root, keyPath.c_str(), text, kValueSize) == 0) text[0] = '\0';
    text[kValueSize - 1] = '\0';
    return text[0] != '\0';
}

bool AppPathNamesProgram(HKEY machine, const char* programPath) {
    char registered[kValueSize];
    return ReadDefaultText(machine, kAppPathsKey, registered) &&
           EqualNoCase(registered, programPath);
}

void WriteText(HKEY root, const char* keyPath, const char* name, const std::string& text,
               DWORD size) {
    WriteRegistryValueAt(root, keyPath, name, REG_SZ, text.c_str(), size);
}

// One format of the import table: asks before taking the type from another
// program, then points the extension at "EXTfile" and that type's open
// command and icon at the program.
void OfferFileType(HKEY classes, const char* extension, const char* description,
                   const char* programPath) {
    const std::string extensionKey = ExtensionKeyName(extension);
    const std::string typeKey = TypeKeyName(extension);
    char current[kValueSize];

    if (ReadDefaultText(classes, extensionKey, current)) {
        if (!EqualNoCase(current, typeKey.c_str()) &&
            AskUser(kInstallCaption, AssociationQuestion(extensionKey, current).c_str(),
                    MB_YESNO | MB_ICONQUESTION) != IDYES)
            return;  // the type stays with the other program, entirely
    }
    WriteKeyDefault(classes, extensionKey.c_str(), typeKey.c_str());
    if (!ReadDefaultText(classes, typeKey, current))
        WriteKeyDefault(classes, typeKey.c_str(), description);

    const std::string commandKey = OpenCommandKey(typeKey);
    if (ReadDefaultText(classes, commandKey, current)) {
        if (!MentionsProgram(current) &&
            AskUser(kInstallCaption, OpenCommandQuestion(extension, current).c_str(),
                    MB_YESNO | MB_ICONQUESTION) != IDYES)
            return;  // the other program keeps opening it, with its icon
    }
    WriteKeyDefault(classes, commandKey.c_str(), OpenCommand(programPath).c_str());
    // A DDE conversation set up for the previous program would be tried
    // before the command line and fail.
    DeleteRegistryTree(classes, DdeExecKey(typeKey).c_str());
    WriteKeyDefault(classes, DefaultIconKey(typeKey).c_str(),
                    DefaultIconValue(programPath).c_str());
}

}  // namespace

void CheckInstallation(HKEY settingsKey, bool shellAware) {
    CheckInstallation(settingsKey, shellAware, g_settings->programPath, RegistryPlaces{});
}

void CheckInstallation(HKEY settingsKey, bool shellAware, const char* programPath,
                       const RegistryPlaces& places) {
    const int version = StoredVersion(settingsKey);
    const bool appPathMatches = shellAware && AppPathNamesProgram(places.machine, programPath);
    const RegistrationPlan plan = PlanRegistration(version, shellAware, appPathMatches);

    if (plan.welcome) AskUser(kInstallCaption, kWelcomeText, MB_OK);
    if (!plan.registerProgram) return;

    if (settingsKey) {
        const std::string number = VersionNumberText();
        WriteRegistryValue(settingsKey, kVersionValueName, REG_SZ, number.c_str(),
                           static_cast<DWORD>(number.size() + 1));
    }
    if (plan.writeShellEntries) {
        WriteKeyDefault(places.machine, kAppPathsKey, programPath);
        // Stored with its terminating NUL, as every text value is.
        WriteText(places.machine, kUninstallKey, "DisplayName", kDisplayName, sizeof kDisplayName);
        const std::string uninstall = UninstallString(programPath);
        WriteText(places.machine, kUninstallKey, "UninstallString", uninstall,
                  static_cast<DWORD>(uninstall.size() + 1));
    }
    if (plan.offerFileTypes) {
        const char* extension = nullptr;
        const char* description = nullptr;
        for (int i = 0; GetImportFormat(i, &extension, &description); ++i)
            OfferFileType(places.classes, extension, description, programPath);
    }
    if (plan.directoryCommand)
        WriteKeyDefault(places.classes, kDirectoryCommandKey,
                        DirectoryCommand(programPath).c_str());
}

// Uninstalling: the registry entries go at once; the files are removed by a
// batch file that waits for the program to exit.
#include <string>

#include "app/AskUser.h"
#include "app/FileFilters.h"
#include "app/Installation.h"
#include "app/InstallationRules.h"
#include "app/Seams.h"
#include "app/SettingsStore.h"
#include "core/Error.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"

namespace {

constexpr LONG kValueSize = 520;

bool DefaultMentionsProgram(HKEY root, const char* keyPath) {
    char text[kValueSize];
    if (ReadKeyDefault(root, keyPath, text, sizeof text) == 0) return false;
    text[sizeof text - 1] = '\0';
    return MentionsProgram(text);
}

// Takes back what the installation gave one file type, keeping whatever
// another program still has there: its own verbs, its icon, and an
// extension that points to another type.
void ReleaseFileType(HKEY classes, const char* extension) {
    const std::string typeKey = TypeKeyName(extension);
    HKEY type = nullptr;
    if (RegOpenKeyExA(classes, typeKey.c_str(), 0, KEY_ALL_ACCESS, &type) != ERROR_SUCCESS) return;
    if (DefaultMentionsProgram(type, "DefaultIcon")) RegDeleteKeyA(type, "DefaultIcon");
    HKEY shell = nullptr;
    if (RegOpenKeyExA(type, "shell", 0, KEY_ALL_ACCESS, &shell) == ERROR_SUCCESS) {
        if (DefaultMentionsProgram(shell, "open\\command")) {
            RegDeleteKeyA(shell, "open\\command");
            RegDeleteKeyA(shell, "open");  // stays while it holds other keys
        }
        const bool empty = !HasSubkeys(shell);
        RegCloseKey(shell);
        if (empty) RegDeleteKeyA(type, "shell");
    }
    const bool empty = !HasSubkeys(type);
    RegCloseKey(type);
    if (!empty) return;
    RegDeleteKeyA(classes, typeKey.c_str());
    const std::string extensionKey = ExtensionKeyName(extension);
    char pointsTo[kValueSize];
    if (ReadKeyDefault(classes, extensionKey.c_str(), pointsTo, sizeof pointsTo) == 0) return;
    pointsTo[sizeof pointsTo - 1] = '\0';
    if (EqualNoCase(pointsTo, typeKey.c_str())) RegDeleteKeyA(classes, extensionKey.c_str());
}

void CleanRegistry(const RegistryPlaces& places) {
    // Keys that are not there are simply not deleted.
    RegDeleteKeyA(places.user, places.settingsKey);
    RegDeleteKeyA(places.machine, kAppPathsKey);
    RegDeleteKeyA(places.machine, kUninstallKey);
    const char* extension = nullptr;
    for (int i = 0; GetImportFormat(i, &extension, nullptr); ++i)
        ReleaseFileType(places.classes, extension);
    RegDeleteKeyA(places.classes, kDirectoryCommandKey);
    RegDeleteKeyA(places.classes, kDirectoryVerbKey);
}

bool WriteBatchFile(const std::string& path) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const std::string text = UninstallBatchText();
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
    return true;
}

bool StartShown(const char* commandLine) { return WinExec(commandLine, SW_SHOWNORMAL) > 31; }

}  // namespace

UninstallOutcome RemoveInstallation(const char* programPath, const RegistryPlaces& places,
                                    CommandStarter start) {
    if (AskUser(kUninstallCaption, kUninstallQuestion,
                MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2) != IDYES)
        return UninstallOutcome::Declined;

    HCURSOR previous = SetCursor(LoadCursor(nullptr, IDC_WAIT));
    CleanRegistry(places);
    SetCursor(previous);

    if (AskUser(kUninstallCaption, kRemoveFilesQuestion, MB_YESNO | MB_ICONINFORMATION) != IDYES)
        return UninstallOutcome::RegistryCleaned;
    const std::string folder = DirectoryPart(programPath);
    // The batch file deletes the program's files by their bare names.
    if (!folder.empty()) SetCurrentDirectoryA(folder.c_str());
    const std::string batchPath = folder + kUninstallBatchName;
    if (!WriteBatchFile(batchPath)) {
        SetError("Uninstall", "Couldn't create file");
        return UninstallOutcome::BatchFileFailed;
    }
    start(UninstallBatchCommand(batchPath).c_str());
    return UninstallOutcome::RemovingFiles;
}

bool UninstallProgram(HINSTANCE) {
    ClearError();
    switch (RemoveInstallation(g_settings->programPath, RegistryPlaces{}, StartShown)) {
        case UninstallOutcome::Declined:
        case UninstallOutcome::BatchFileFailed:
            return false;
        case UninstallOutcome::RegistryCleaned:
        case UninstallOutcome::RemovingFiles:
            break;
    }
    // Ended here, without closing the settings: the last instance would
    // write the options back into the key just deleted.
    ExitProcess(0);
}

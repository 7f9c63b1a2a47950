// What installing and uninstalling decide and write, apart from the registry
// itself: the version number, when to register, the questions asked, the
// values a file type gets, and the uninstall batch file. Portable so it is
// tested natively; Installation.cpp and Uninstall.cpp apply it to the
// registry.
#pragma once
#include <string>
#include <vector>

constexpr int kVersionMajor = 3;
constexpr int kVersionMinor = 0;
// Versions compare as major * 256 + minor.
constexpr int kThisVersion = kVersionMajor * 256 + kVersionMinor;

constexpr char kVersionValueName[] = "VersionNumber";
constexpr char kAppPathsKey[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Vantirel.EXE";
constexpr char kUninstallKey[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Vantirel";
constexpr char kDisplayName[] = "Vantirel v3.0";
constexpr char kDirectoryCommandKey[] = "Directory\\shell\\Vantirel index\\command";
constexpr char kDirectoryVerbKey[] = "Directory\\shell\\Vantirel index";
// Commands and icons that mention this text belong to the program.
constexpr char kProgramMark[] = "Vantirel";

constexpr char kInstallCaption[] = "Vantirel - Installation";
constexpr char kWelcomeText[] = ". .. ... Welcome to Vantirel v3.0! ... .. .";
constexpr char kUninstallCaption[] = "Uninstall - Vantirel";
constexpr char kUninstallQuestion[] = "Do you really want to uninstall Vantirel?";
constexpr char kRemoveFilesQuestion[] =
    "Registry cleaned up for this user!\n\nRemove program files from disk?\n";
constexpr char kUninstallBatchName[] = "uninvt.bat";

// "3.0": major and minor in hexadecimal, separated by a point.
std::string VersionNumberText();
// Reads "%X.%X" back as major * 256 + minor; -1 when the text does not hold
// two hexadecimal numbers separated by a point.
int ParseVersionNumber(const char* text);

// What the installation check does for a stored version (-1 when none could
// be read) on a platform with or without the newer shell, whose App Paths
// entry does or does not name this program file.
struct RegistrationPlan {
    bool welcome = false;            // first run: greet the user
    bool registerProgram = false;    // write the version (and the shell entries)
    bool writeShellEntries = false;  // App Paths and the uninstall entry
    bool offerFileTypes = false;     // ask about every format of the table
    bool directoryCommand = false;   // "Vantirel index" on directories
};
RegistrationPlan PlanRegistration(int storedVersion, bool shellAware, bool appPathMatches);

// Comparisons of registry texts, without regard to case (ASCII letters).
bool EqualNoCase(const char* a, const char* b);
bool ContainsNoCase(const char* text, const char* part);
// True when a command or icon text already belongs to the program.
bool MentionsProgram(const char* text);

// The keys and values of one file type, for an extension without its dot.
std::string ExtensionKeyName(const char* extension);     // ".bmp"
std::string TypeKeyName(const char* extension);          // "bmpfile"
std::string OpenCommandKey(const std::string& typeKey);  // "bmpfile\shell\open\command"
std::string DdeExecKey(const std::string& typeKey);      // "bmpfile\shell\open\ddeexec"
std::string DefaultIconKey(const std::string& typeKey);  // "bmpfile\DefaultIcon"
std::string OpenCommand(const char* programPath);        // PATH "%1"
std::string DefaultIconValue(const char* programPath);   // PATH,2
std::string UninstallString(const char* programPath);    // PATH -UNINSTALL
std::string DirectoryCommand(const char* programPath);   // PATH "%1\index.vti"

// The two questions of a file type that another program holds.
std::string AssociationQuestion(const std::string& extensionKey, const char* currentType);
std::string OpenCommandQuestion(const char* extension, const char* currentCommand);

// The batch file that removes the program's files once it has exited: 17
// lines, each to be ended by carriage return and line feed.
std::vector<std::string> UninstallBatchLines();
std::string UninstallBatchText();
// The files of the program's folder, in the order the batch file deletes
// them.
std::vector<std::string> ProgramFileNames();
// How the batch file is started: its path (quoted when it holds a blank),
// then the file names, each after a blank.
std::string UninstallBatchCommand(const std::string& batchPath);

#include "app/InstallationRules.h"

#include <cstdio>
#include <cstring>

namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// One hexadecimal number as "%X" reads it: leading blanks skipped, at least
// one digit. Large numbers are capped; no version comes near them.
bool ReadHex(const char** text, int* value) {
    const char* p = *text;
    while (*p == ' ' || *p == '\t') ++p;
    if (HexDigit(*p) < 0) return false;
    long number = 0;
    for (; HexDigit(*p) >= 0; ++p)
        if (number < 0x10000) number = number * 16 + HexDigit(*p);
    *value = static_cast<int>(number);
    *text = p;
    return true;
}

}  // namespace

std::string VersionNumberText() {
    char text[16];
    std::snprintf(text, sizeof text, "%X.%X", kVersionMajor, kVersionMinor);
    return text;
}

int ParseVersionNumber(const char* text) {
    int major = 0;
    int minor = 0;
    if (!ReadHex(&text, &major) || *text != '.') return -1;
    ++text;
    if (!ReadHex(&text, &minor)) return -1;
    return major * 256 + minor;
}

RegistrationPlan PlanRegistration(int storedVersion, bool shellAware, bool appPathMatches) {
    RegistrationPlan plan;
    const bool firstRun = storedVersion < kThisVersion;
    const bool newerInstalled = storedVersion > kThisVersion;
    plan.welcome = firstRun;
    // Another copy of this version registered elsewhere (or the entry lost)
    // makes this copy the registered one; a newer version keeps its entries.
    bool registerProgram = shellAware && !appPathMatches;
    if (firstRun) registerProgram = true;
    if (newerInstalled) registerProgram = false;
    plan.registerProgram = registerProgram;
    plan.writeShellEntries = registerProgram && shellAware;
    plan.offerFileTypes = registerProgram && firstRun && shellAware;
    plan.directoryCommand = registerProgram && firstRun;
    return plan;
}

bool EqualNoCase(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b)
        if (Lower(*a) != Lower(*b)) return false;
    return *a == *b;
}

bool ContainsNoCase(const char* text, const char* part) {
    const size_t length = std::strlen(part);
    for (; *text; ++text) {
        size_t i = 0;
        while (i < length && text[i] && Lower(text[i]) == Lower(part[i])) ++i;
        if (i == length) return true;
    }
    return length == 0;
}

// The program file is VANTIREL.EXE as distributed, so a search that minded
// case would not recognise the program's own commands.
bool MentionsProgram(const char* text) { return ContainsNoCase(text, kProgramMark); }

std::string ExtensionKeyName(const char* extension) { return std::string(".") + extension; }
std::string TypeKeyName(const char* extension) { return std::string(extension) + "file"; }
std::string OpenCommandKey(const std::string& typeKey) {
    return typeKey + "\\shell\\open\\command";
}
std::string DdeExecKey(const std::string& typeKey) { return typeKey + "\\shell\\open\\ddeexec"; }
std::string DefaultIconKey(const std::string& typeKey) { return typeKey + "\\DefaultIcon"; }
std::string OpenCommand(const char* programPath) { return std::string(programPath) + " \"%1\""; }
std::string DefaultIconValue(const char* programPath) { return std::string(programPath) + ",2"; }
std::string UninstallString(const char* programPath) {
    return std::string(programPath) + " -UNINSTALL";
}
std::string DirectoryCommand(const char* programPath) {
    return std::string(programPath) + " \"%1\\index.vti\"";
}

std::string AssociationQuestion(const std::string& extensionKey, const char* currentType) {
    return "File type '" + extensionKey + "' is associated with '" + currentType +
           "'.\n\nDo you want to associate it with Vantirel instead?";
}

std::string OpenCommandQuestion(const char* extension, const char* currentCommand) {
    return std::string("File type '.") + extension + "' is currently opened with '" +
           currentCommand + "'.\n\nDo you want to open it with Vantirel instead?";
}

// The batch file deletes its first argument, waiting (by retrying) until the
// exiting program has let go of its own file, then runs itself again with
// the remaining arguments. Without "call" the new run replaces this one, so
// no nesting builds up; at the end it deletes itself.
std::vector<std::string> UninstallBatchLines() {
    return {"echo off",
            "set UAW=%0",
            "if \"%1\"==\"\" goto last",
            "if not exist %1 goto next",
            "echo Deleting %1 ...",
            "attrib -r -h -s %1",
            ":retry",
            "del %1",
            "if exist %1 goto retry",
            ":next",
            "shift",
            "%UAW% %1 %2 %3 %4 %5 %6 %7 %8 %9",
            ":last",
            "echo !",
            "echo ! Finished uninstalling Vantirel!",
            "echo !",
            "del %UAW%"};
}

std::string UninstallBatchText() {
    std::string text;
    for (const std::string& line : UninstallBatchLines()) text += line + "\r\n";
    return text;
}

std::vector<std::string> ProgramFileNames() {
    return {"FILE_ID.DIZ",  "README.TXT",   "VANTIREL.HLP",
            "VANTIREL.GID", "VANTIREL.EXE", "VANTIREL.JPG"};
}

std::string UninstallBatchCommand(const std::string& batchPath) {
    // A folder with blanks (as under "Program Files") would split the path
    // into several words; quoted, the batch file still finds itself as %0.
    std::string command =
        batchPath.find(' ') == std::string::npos ? batchPath : "\"" + batchPath + "\"";
    for (const std::string& name : ProgramFileNames()) command += " " + name;
    return command;
}

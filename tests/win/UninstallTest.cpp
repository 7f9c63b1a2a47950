// Uninstalling against the real registry (Wine's under test), with a scratch
// key in place of each root, and the batch file in a scratch folder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/Installation.h"
#include "core/Error.h"
#include "tests/support/TestSupport.h"
#include "tests/win/InstallationTestSupport.h"

using wintest::RegistrySandbox;
using wintest::ScriptedAnswers;

namespace {

constexpr char kAppPaths[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Vantirel.EXE";
constexpr char kUninstall[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Vantirel";
const char* const kExtensions[] = {"bbm", "bmp",  "cur", "dib", "gif", "ico", "vts", "iff", "jif",
                                   "jpg", "jpeg", "lbm", "mac", "neo", "pbm", "pcx", "pgm", "pic",
                                   "png", "ppm",  "ras", "rle", "sun", "tga", "tif", "tiff"};

std::vector<std::string> g_started;
bool RecordStart(const char* commandLine) {
    g_started.push_back(commandLine);
    return true;
}

class Uninstall : public ::testing::Test {
protected:
    void SetUp() override {
        g_started.clear();
        ClearError();
        char directory[MAX_PATH];
        GetCurrentDirectoryA(sizeof directory, directory);
        savedDirectory_ = directory;
    }
    void TearDown() override { SetCurrentDirectoryA(savedDirectory_.c_str()); }

    // A complete first-run installation of `program` (every question Yes).
    void Install(const char* program) {
        HKEY settings = sandbox_.OpenSettingsKey();
        RegSetValueExA(settings, "disp.bDither", 0, REG_BINARY, reinterpret_cast<const BYTE*>("\1"),
                       1);
        ScriptedAnswers answers(std::vector<int>(60, IDYES));
        CheckInstallation(settings, true, program, sandbox_.places);
        RegCloseKey(settings);
        ASSERT_EQ(RegistrySandbox::Default(sandbox_.classes, ".bmp"), "bmpfile");
    }
    std::string Classes(const std::string& path) {
        return RegistrySandbox::Default(sandbox_.classes, path);
    }
    bool ClassesKey(const std::string& path) {
        return RegistrySandbox::KeyExists(sandbox_.classes, path);
    }
    UninstallOutcome Remove(const char* program, std::vector<int> answers,
                            std::vector<wintest::AskedBox>* asked = nullptr) {
        ScriptedAnswers script(std::move(answers));
        const UninstallOutcome outcome = RemoveInstallation(program, sandbox_.places, RecordStart);
        if (asked) *asked = script.asked;
        return outcome;
    }

    RegistrySandbox sandbox_;
    std::string savedDirectory_;
};

constexpr char kProgram[] = "C:\\VANTIREL\\VANTIREL.EXE";

}  // namespace

TEST_F(Uninstall, DecliningLeavesEverythingInPlace) {
    Install(kProgram);
    std::vector<wintest::AskedBox> asked;
    EXPECT_EQ(Remove(kProgram, {IDNO}, &asked), UninstallOutcome::Declined);
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].caption, "Uninstall - Vantirel");
    EXPECT_EQ(asked[0].text, "Do you really want to uninstall Vantirel?");
    EXPECT_EQ(asked[0].type, static_cast<UINT>(MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2));
    EXPECT_TRUE(RegistrySandbox::KeyExists(sandbox_.user, "Software\\Dravik\\Vantirel"));
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), kProgram);
    EXPECT_EQ(Classes(".gif"), "giffile");
    EXPECT_STREQ(g_errorPlace, "");
}

TEST_F(Uninstall, CleansEveryEntryOfTheProgramAndKeepsTheFilesWhenAsked) {
    Install(kProgram);
    std::vector<wintest::AskedBox> asked;
    EXPECT_EQ(Remove(kProgram, {IDYES, IDNO}, &asked), UninstallOutcome::RegistryCleaned);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_EQ(asked[1].caption, "Uninstall - Vantirel");
    EXPECT_EQ(asked[1].text,
              "Registry cleaned up for this user!\n\nRemove program files from disk?\n");
    EXPECT_EQ(asked[1].type, static_cast<UINT>(MB_YESNO | MB_ICONINFORMATION));

    EXPECT_FALSE(RegistrySandbox::KeyExists(sandbox_.user, "Software\\Dravik\\Vantirel"));
    EXPECT_TRUE(RegistrySandbox::KeyExists(sandbox_.user, "Software\\Dravik"));
    EXPECT_FALSE(RegistrySandbox::KeyExists(sandbox_.machine, kAppPaths));
    EXPECT_FALSE(RegistrySandbox::KeyExists(sandbox_.machine, kUninstall));
    for (const char* extension : kExtensions) {
        SCOPED_TRACE(extension);
        EXPECT_FALSE(ClassesKey(std::string(".") + extension));
        EXPECT_FALSE(ClassesKey(std::string(extension) + "file"));
    }
    EXPECT_FALSE(ClassesKey("Directory\\shell\\Vantirel index"));
    // What remains is the empty Directory\shell the command was put under.
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, ""), 1);
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, "Directory\\shell"), 0);
    EXPECT_TRUE(g_started.empty());
}

TEST_F(Uninstall, KeepsAnotherProgramsVerbsAndExtensionsPointingElsewhere) {
    Install(kProgram);
    HKEY classes = sandbox_.classes;
    // Another program added a verb to tgafile: the type stays with it.
    RegistrySandbox::SetDefault(classes, "tgafile\\shell\\print\\command",
                                "C:\\PAINT\\PAINT.EXE /p %1");
    // Another program took .pcx afterwards: pcxfile goes, .pcx stays.
    RegistrySandbox::SetDefault(classes, ".pcx", "Paint.Picture");
    // Another program took over the whole of tiffile: it stays as it is.
    RegistrySandbox::SetDefault(classes, "tiffile\\shell\\open\\command",
                                "C:\\PAINT\\PAINT.EXE %1");
    RegistrySandbox::SetDefault(classes, "tiffile\\DefaultIcon", "C:\\PAINT\\PAINT.EXE,4");
    // An open verb with more than the command keeps "open" (and "shell").
    RegistrySandbox::SetDefault(classes, "pngfile\\shell\\open\\ddeexec", "[open(\"%1\")]");

    EXPECT_EQ(Remove(kProgram, {IDYES, IDNO}), UninstallOutcome::RegistryCleaned);

    EXPECT_TRUE(ClassesKey("tgafile"));
    EXPECT_EQ(Classes("tgafile\\shell\\print\\command"), "C:\\PAINT\\PAINT.EXE /p %1");
    EXPECT_FALSE(ClassesKey("tgafile\\shell\\open"));
    EXPECT_FALSE(ClassesKey("tgafile\\DefaultIcon"));
    EXPECT_EQ(Classes("tgafile"), "Truevision TARGA");
    EXPECT_EQ(Classes(".tga"), "tgafile");

    EXPECT_FALSE(ClassesKey("pcxfile"));
    EXPECT_EQ(Classes(".pcx"), "Paint.Picture");

    EXPECT_EQ(Classes("tiffile\\shell\\open\\command"), "C:\\PAINT\\PAINT.EXE %1");
    EXPECT_EQ(Classes("tiffile\\DefaultIcon"), "C:\\PAINT\\PAINT.EXE,4");
    EXPECT_EQ(Classes(".tif"), "tiffile");

    EXPECT_FALSE(ClassesKey("pngfile\\shell\\open\\command"));
    EXPECT_EQ(Classes("pngfile\\shell\\open\\ddeexec"), "[open(\"%1\")]");
    EXPECT_FALSE(ClassesKey("pngfile\\DefaultIcon"));
    EXPECT_EQ(Classes(".png"), "pngfile");

    EXPECT_FALSE(ClassesKey("giffile"));
    EXPECT_FALSE(ClassesKey(".gif"));
}

TEST_F(Uninstall, RemovingTheFilesWritesTheBatchFileAndStartsItWithTheFileList) {
    const std::string folder = test::TempPath("uninstall-here");
    CreateDirectoryA(folder.c_str(), nullptr);
    const std::string program = folder + "\\VANTIREL.EXE";
    Install(program.c_str());
    EXPECT_EQ(Remove(program.c_str(), {IDYES, IDYES}), UninstallOutcome::RemovingFiles);

    const std::vector<uint8_t> bytes = test::ReadFile(folder + "\\uninvt.bat");
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "echo off\r\n"
              "set UAW=%0\r\n"
              "if \"%1\"==\"\" goto last\r\n"
              "if not exist %1 goto next\r\n"
              "echo Deleting %1 ...\r\n"
              "attrib -r -h -s %1\r\n"
              ":retry\r\n"
              "del %1\r\n"
              "if exist %1 goto retry\r\n"
              ":next\r\n"
              "shift\r\n"
              "%UAW% %1 %2 %3 %4 %5 %6 %7 %8 %9\r\n"
              ":last\r\n"
              "echo !\r\n"
              "echo ! Finished uninstalling Vantirel!\r\n"
              "echo !\r\n"
              "del %UAW%\r\n");
    ASSERT_EQ(g_started.size(), 1u);
    EXPECT_EQ(g_started[0], folder +
                                "\\uninvt.bat FILE_ID.DIZ README.TXT VANTIREL.HLP "
                                "VANTIREL.GID VANTIREL.EXE VANTIREL.JPG");
    // The program's folder is made current: the batch file names the files
    // without a folder.
    char current[MAX_PATH];
    GetCurrentDirectoryA(sizeof current, current);
    EXPECT_EQ(std::string(current), folder);
    EXPECT_FALSE(RegistrySandbox::KeyExists(sandbox_.machine, kAppPaths));
}

TEST_F(Uninstall, AnOldBatchFileIsOverwritten) {
    const std::string folder = test::TempPath("uninstall-again");
    CreateDirectoryA(folder.c_str(), nullptr);
    test::WriteTempFile("uninstall-again\\uninvt.bat",
                        std::vector<uint8_t>(5000, static_cast<uint8_t>('x')));
    const std::string program = folder + "\\VANTIREL.EXE";
    EXPECT_EQ(Remove(program.c_str(), {IDYES, IDYES}), UninstallOutcome::RemovingFiles);
    EXPECT_EQ(test::ReadFile(folder + "\\uninvt.bat").size(), 276u);
}

TEST_F(Uninstall, ABatchFileThatCannotBeCreatedIsReportedAfterTheRegistryIsClean) {
    const std::string program = test::TempPath("no-such-folder") + "\\VANTIREL.EXE";
    Install(program.c_str());
    EXPECT_EQ(Remove(program.c_str(), {IDYES, IDYES}), UninstallOutcome::BatchFileFailed);
    EXPECT_STREQ(g_errorPlace, "Uninstall");
    EXPECT_STREQ(g_errorText, "Couldn't create file");
    EXPECT_TRUE(g_started.empty());
    EXPECT_FALSE(RegistrySandbox::KeyExists(sandbox_.machine, kAppPaths));
    EXPECT_FALSE(ClassesKey(".bmp"));
}

TEST_F(Uninstall, NothingInstalledIsNothingToClean) {
    EXPECT_EQ(Remove(kProgram, {IDYES, IDNO}), UninstallOutcome::RegistryCleaned);
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, ""), 0);
}

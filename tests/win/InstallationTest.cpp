// The installation check against the real registry (Wine's under test),
// with a scratch key in place of each root.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/Installation.h"
#include "tests/win/InstallationTestSupport.h"

using wintest::AskedBox;
using wintest::RegistrySandbox;
using wintest::ScriptedAnswers;

namespace {

constexpr char kProgram[] = "C:\\VANTIREL\\VANTIREL.EXE";
constexpr char kAppPaths[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Vantirel.EXE";
constexpr char kUninstall[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Vantirel";
constexpr char kDirectoryCommand[] = "Directory\\shell\\Vantirel index\\command";

struct FileType {
    const char* extension;
    const char* description;
};
// Every format of the import table, in its order.
const FileType kFileTypes[] = {
    {"bbm", "Electronic Arts DP Brush"},
    {"bmp", "Microsoft Windows Bitmap"},
    {"cur", "Microsoft Windows Cursor"},
    {"dib", "Microsoft Windows DIBitMap"},
    {"gif", "Graphics Interchange Format"},
    {"ico", "Microsoft Windows Icon"},
    {"vts", "Vantirel SlideShow"},
    {"iff", "Interchange File Format"},
    {"jif", "Joint Photographic Experts Group"},
    {"jpg", "Joint Photographic Experts Group"},
    {"jpeg", "Joint Photographic Experts Group"},
    {"lbm", "Electronic Arts DP BitMap"},
    {"mac", "MacPaint"},
    {"neo", "Atari Neochrome"},
    {"pbm", "PBMPLUS Portable BitMap"},
    {"pcx", "ZSoft/PC Paintbrush"},
    {"pgm", "PBMPLUS Portable Graymap"},
    {"pic", "Pictor/PC Paint"},
    {"png", "Portable Network Graphics"},
    {"ppm", "PBMPLUS Portable PixelMap"},
    {"ras", "Sun Raster"},
    {"rle", "Microsoft Windows RLE bitmap"},
    {"sun", "Sun Raster"},
    {"tga", "Truevision TARGA"},
    {"tif", "Tag Image File Format"},
    {"tiff", "Tag Image File Format"},
};

class Installation : public ::testing::Test {
protected:
    void SetUp() override { settings_ = sandbox_.OpenSettingsKey(); }
    void TearDown() override {
        if (settings_) RegCloseKey(settings_);
    }

    void SetVersion(const char* text) {
        RegSetValueExA(settings_, "VersionNumber", 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                       static_cast<DWORD>(strlen(text) + 1));
    }
    std::string Version() {
        DWORD type = 0;
        const std::string value = RegistrySandbox::Value(sandbox_.user, sandbox_.places.settingsKey,
                                                         "VersionNumber", &type);
        if (value != "<missing>") {
            EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
        }
        return value;
    }
    std::string Classes(const std::string& path) {
        return RegistrySandbox::Default(sandbox_.classes, path);
    }
    bool ClassesKey(const std::string& path) {
        return RegistrySandbox::KeyExists(sandbox_.classes, path);
    }
    std::string Machine(const std::string& path, const char* name) {
        return RegistrySandbox::Value(sandbox_.machine, path, name);
    }
    void Check(bool shellAware = true, bool withKey = true) {
        CheckInstallation(withKey ? settings_ : nullptr, shellAware, kProgram, sandbox_.places);
    }

    RegistrySandbox sandbox_;
    HKEY settings_ = nullptr;
};

const std::string kNul(1, '\0');

}  // namespace

TEST_F(Installation, FirstRunGreetsAndWritesEveryDocumentedEntry) {
    ScriptedAnswers answers({IDOK});
    Check();
    ASSERT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(answers.asked[0].caption, "Vantirel - Installation");
    EXPECT_EQ(answers.asked[0].text, ". .. ... Welcome to Vantirel v3.0! ... .. .");
    EXPECT_EQ(answers.asked[0].type, static_cast<UINT>(MB_OK));

    EXPECT_EQ(Version(), "3.0" + kNul);
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "C:\\VANTIREL\\VANTIREL.EXE");
    DWORD type = 0;
    // 13 characters and the NUL: 14 bytes.
    EXPECT_EQ(RegistrySandbox::Value(sandbox_.machine, kUninstall, "DisplayName", &type),
              std::string("Vantirel v3.0\0", 14));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(Machine(kUninstall, "UninstallString"),
              "C:\\VANTIREL\\VANTIREL.EXE -UNINSTALL" + kNul);
    for (const FileType& format : kFileTypes) {
        const std::string ext = format.extension;
        SCOPED_TRACE(ext);
        EXPECT_EQ(Classes("." + ext), ext + "file");
        EXPECT_EQ(Classes(ext + "file"), format.description);
        EXPECT_EQ(Classes(ext + "file\\shell\\open\\command"), "C:\\VANTIREL\\VANTIREL.EXE \"%1\"");
        EXPECT_EQ(Classes(ext + "file\\DefaultIcon"), "C:\\VANTIREL\\VANTIREL.EXE,2");
    }
    EXPECT_EQ(Classes(kDirectoryCommand), "C:\\VANTIREL\\VANTIREL.EXE \"%1\\index.vti\"");
    // Nothing else: 26 extensions, 26 types, and Directory.
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, ""), 53);
}

TEST_F(Installation, SecondRunOfTheSameCopyAsksNothingAndWritesNothing) {
    {
        ScriptedAnswers answers({IDOK});
        Check();
    }
    RegDeleteKeyA(sandbox_.machine, kUninstall);  // to see that it is not written again
    ScriptedAnswers answers({});
    Check();
    EXPECT_TRUE(answers.asked.empty());
    EXPECT_EQ(Machine(kUninstall, "DisplayName"), "<missing>");
}

TEST_F(Installation, AppPathsNamingThisCopyInAnotherCaseCountsAsThisCopy) {
    SetVersion("3.0");
    RegistrySandbox::SetDefault(sandbox_.machine, kAppPaths, "c:\\vantirel\\Vantirel.exe");
    ScriptedAnswers answers({});
    Check();
    EXPECT_EQ(Machine(kUninstall, "DisplayName"), "<missing>");
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "c:\\vantirel\\Vantirel.exe");
}

TEST_F(Installation, AnotherCopyRegisteredIsReplacedWithoutWelcomeOrQuestions) {
    SetVersion("3.0");
    RegistrySandbox::SetDefault(sandbox_.machine, kAppPaths, "D:\\OLD\\VANTIREL.EXE");
    ScriptedAnswers answers({});
    Check();
    EXPECT_TRUE(answers.asked.empty());
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "C:\\VANTIREL\\VANTIREL.EXE");
    EXPECT_EQ(Machine(kUninstall, "DisplayName"), "Vantirel v3.0" + kNul);
    EXPECT_EQ(Machine(kUninstall, "UninstallString"),
              "C:\\VANTIREL\\VANTIREL.EXE -UNINSTALL" + kNul);
    EXPECT_EQ(Version(), "3.0" + kNul);
    // No file types and no directory command on a later run.
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, ""), 0);
}

TEST_F(Installation, AMissingAppPathsEntryIsWrittenAgain) {
    SetVersion("3.0");
    ScriptedAnswers answers({});
    Check();
    EXPECT_TRUE(answers.asked.empty());
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "C:\\VANTIREL\\VANTIREL.EXE");
}

TEST_F(Installation, ANewerVersionIsNeverReregistered) {
    SetVersion("3.1");
    RegistrySandbox::SetDefault(sandbox_.machine, kAppPaths, "D:\\NEWER\\VANTIREL.EXE");
    ScriptedAnswers answers({});
    Check();
    EXPECT_TRUE(answers.asked.empty());
    EXPECT_EQ(Version(), "3.1" + kNul);
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "D:\\NEWER\\VANTIREL.EXE");
    EXPECT_EQ(Machine(kUninstall, "DisplayName"), "<missing>");
    EXPECT_EQ(RegistrySandbox::SubkeyCount(sandbox_.classes, ""), 0);
}

TEST_F(Installation, AnOlderVersionCountsAsAFirstRun) {
    SetVersion("2.A");
    ScriptedAnswers answers({IDOK});
    Check();
    ASSERT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(answers.asked[0].text, ". .. ... Welcome to Vantirel v3.0! ... .. .");
    EXPECT_EQ(Version(), "3.0" + kNul);
    EXPECT_EQ(Classes(".bmp"), "bmpfile");
}

TEST_F(Installation, FirstRunOnTheOldShellWritesOnlyTheVersionAndTheDirectoryCommand) {
    ScriptedAnswers answers({IDOK});
    Check(false);
    ASSERT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(Version(), "3.0" + kNul);
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "<missing>");
    EXPECT_EQ(Machine(kUninstall, "DisplayName"), "<missing>");
    EXPECT_FALSE(ClassesKey(".bmp"));
    EXPECT_EQ(Classes(kDirectoryCommand), "C:\\VANTIREL\\VANTIREL.EXE \"%1\\index.vti\"");
}

TEST_F(Installation, WithoutTheSettingsKeyEveryStartIsAFirstRun) {
    ScriptedAnswers answers({IDOK});
    Check(true, false);
    ASSERT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(Version(), "<missing>");
    EXPECT_EQ(RegistrySandbox::Default(sandbox_.machine, kAppPaths), "C:\\VANTIREL\\VANTIREL.EXE");
    EXPECT_EQ(Classes(".gif"), "giffile");
}

TEST_F(Installation, AnotherProgramsFileTypesAreTakenOverOnlyAfterYes) {
    HKEY classes = sandbox_.classes;
    // .gif belongs to another type: No leaves it entirely alone.
    RegistrySandbox::SetDefault(classes, ".gif", "GIF.Document");
    RegistrySandbox::SetDefault(classes, "GIF.Document\\shell\\open\\command",
                                "C:\\WEB\\WEB.EXE %1");
    // .pcx already points to pcxfile, opened by another program: No keeps
    // its command and icon (the type still gets its description).
    RegistrySandbox::SetDefault(classes, ".pcx", "pcxfile");
    RegistrySandbox::SetDefault(classes, "pcxfile\\shell\\open\\command",
                                "C:\\PAINT\\PAINT.EXE %1");
    RegistrySandbox::SetDefault(classes, "pcxfile\\DefaultIcon", "C:\\PAINT\\PAINT.EXE,1");
    // .png belongs to another type: Yes points it to pngfile.
    RegistrySandbox::SetDefault(classes, ".png", "PNG.Image");
    // .tga's type is opened by another program through DDE: Yes takes the
    // command, drops the DDE conversation and sets the icon; the type's
    // own description stays.
    RegistrySandbox::SetDefault(classes, ".tga", "TGAFILE");
    RegistrySandbox::SetDefault(classes, "tgafile", "Targa picture");
    RegistrySandbox::SetDefault(classes, "tgafile\\shell\\open\\command",
                                "C:\\PAINT\\PAINT.EXE /dde");
    RegistrySandbox::SetDefault(classes, "tgafile\\shell\\open\\ddeexec", "[open(\"%1\")]");
    RegistrySandbox::SetDefault(classes, "tgafile\\shell\\open\\ddeexec\\Application", "PAINT");
    RegistrySandbox::SetDefault(classes, "tgafile\\shell\\open\\ddeexec\\Topic", "System");
    RegistrySandbox::SetDefault(classes, "tgafile\\DefaultIcon", "C:\\PAINT\\PAINT.EXE,3");
    // .bmp's command already names the program (another copy): rewritten
    // without a question.
    RegistrySandbox::SetDefault(classes, ".bmp", "bmpfile");
    RegistrySandbox::SetDefault(classes, "bmpfile\\shell\\open\\command",
                                "D:\\OLD\\vantirel.exe \"%1\"");

    ScriptedAnswers answers({IDOK, IDNO, IDNO, IDYES, IDYES});
    Check();
    ASSERT_EQ(answers.asked.size(), 5u);
    EXPECT_EQ(answers.asked[1].caption, "Vantirel - Installation");
    EXPECT_EQ(answers.asked[1].text,
              "File type '.gif' is associated with 'GIF.Document'.\n\n"
              "Do you want to associate it with Vantirel instead?");
    EXPECT_EQ(answers.asked[1].type, static_cast<UINT>(MB_YESNO | MB_ICONQUESTION));
    EXPECT_EQ(answers.asked[2].caption, "Vantirel - Installation");
    EXPECT_EQ(answers.asked[2].text,
              "File type '.pcx' is currently opened with 'C:\\PAINT\\PAINT.EXE %1'.\n\n"
              "Do you want to open it with Vantirel instead?");
    EXPECT_EQ(answers.asked[3].text,
              "File type '.png' is associated with 'PNG.Image'.\n\n"
              "Do you want to associate it with Vantirel instead?");
    EXPECT_EQ(answers.asked[4].text,
              "File type '.tga' is currently opened with 'C:\\PAINT\\PAINT.EXE /dde'.\n\n"
              "Do you want to open it with Vantirel instead?");

    EXPECT_EQ(Classes(".gif"), "GIF.Document");
    EXPECT_FALSE(ClassesKey("giffile"));
    EXPECT_EQ(Classes("GIF.Document\\shell\\open\\command"), "C:\\WEB\\WEB.EXE %1");

    EXPECT_EQ(Classes(".pcx"), "pcxfile");
    EXPECT_EQ(Classes("pcxfile"), "ZSoft/PC Paintbrush");
    EXPECT_EQ(Classes("pcxfile\\shell\\open\\command"), "C:\\PAINT\\PAINT.EXE %1");
    EXPECT_EQ(Classes("pcxfile\\DefaultIcon"), "C:\\PAINT\\PAINT.EXE,1");

    EXPECT_EQ(Classes(".png"), "pngfile");
    EXPECT_EQ(Classes("pngfile"), "Portable Network Graphics");
    EXPECT_EQ(Classes("pngfile\\shell\\open\\command"), "C:\\VANTIREL\\VANTIREL.EXE \"%1\"");

    EXPECT_EQ(Classes(".tga"), "tgafile");
    EXPECT_EQ(Classes("tgafile"), "Targa picture");
    EXPECT_EQ(Classes("tgafile\\shell\\open\\command"), "C:\\VANTIREL\\VANTIREL.EXE \"%1\"");
    EXPECT_FALSE(ClassesKey("tgafile\\shell\\open\\ddeexec"));
    EXPECT_EQ(Classes("tgafile\\DefaultIcon"), "C:\\VANTIREL\\VANTIREL.EXE,2");

    EXPECT_EQ(Classes("bmpfile\\shell\\open\\command"), "C:\\VANTIREL\\VANTIREL.EXE \"%1\"");
    EXPECT_EQ(Classes("bmpfile\\DefaultIcon"), "C:\\VANTIREL\\VANTIREL.EXE,2");
    EXPECT_EQ(Classes("bmpfile"), "Microsoft Windows Bitmap");
}

TEST_F(Installation, AnExtensionWithAnEmptyValueIsTakenWithoutAQuestion) {
    // An empty default names no type; an empty command names no program.
    RegistrySandbox::SetDefault(sandbox_.classes, ".ras", "");
    RegistrySandbox::SetDefault(sandbox_.classes, "sunfile\\shell\\open\\command", "");
    ScriptedAnswers answers({IDOK});
    Check();
    EXPECT_EQ(answers.asked.size(), 1u);
    EXPECT_EQ(Classes(".ras"), "rasfile");
    EXPECT_EQ(Classes("rasfile"), "Sun Raster");
    EXPECT_EQ(Classes("sunfile\\shell\\open\\command"), "C:\\VANTIREL\\VANTIREL.EXE \"%1\"");
}

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/InstallationRules.h"

TEST(InstallationRules, VersionNumberIsWrittenAsHexadecimalMajorPointMinor) {
    EXPECT_EQ(VersionNumberText(), "3.0");
    EXPECT_EQ(kThisVersion, 0x300);
}

TEST(InstallationRules, VersionNumberIsReadAsTwoHexadecimalNumbers) {
    EXPECT_EQ(ParseVersionNumber("3.0"), 0x300);
    EXPECT_EQ(ParseVersionNumber("3.1"), 0x301);
    EXPECT_EQ(ParseVersionNumber("2.A"), 0x20a);
    EXPECT_EQ(ParseVersionNumber("a.b"), 0xa0b);
    EXPECT_EQ(ParseVersionNumber("10.0"), 0x1000);
    EXPECT_EQ(ParseVersionNumber(" 3.0"), 0x300);
}

TEST(InstallationRules, AVersionThatIsNotTwoNumbersCountsAsNone) {
    EXPECT_EQ(ParseVersionNumber(""), -1);
    EXPECT_EQ(ParseVersionNumber("3"), -1);
    EXPECT_EQ(ParseVersionNumber("3."), -1);
    EXPECT_EQ(ParseVersionNumber("three"), -1);
    EXPECT_EQ(ParseVersionNumber(".0"), -1);
}

TEST(InstallationRules, FirstRunGreetsRegistersAndOffersEverythingOnTheNewShell) {
    const RegistrationPlan plan = PlanRegistration(-1, true, false);
    EXPECT_TRUE(plan.welcome);
    EXPECT_TRUE(plan.registerProgram);
    EXPECT_TRUE(plan.writeShellEntries);
    EXPECT_TRUE(plan.offerFileTypes);
    EXPECT_TRUE(plan.directoryCommand);
    // An older version counts as a first run, even with App Paths in place.
    const RegistrationPlan older = PlanRegistration(0x200, true, true);
    EXPECT_TRUE(older.welcome);
    EXPECT_TRUE(older.offerFileTypes);
}

TEST(InstallationRules, FirstRunOnTheOldShellWritesOnlyTheVersionAndTheDirectoryCommand) {
    const RegistrationPlan plan = PlanRegistration(-1, false, false);
    EXPECT_TRUE(plan.welcome);
    EXPECT_TRUE(plan.registerProgram);
    EXPECT_FALSE(plan.writeShellEntries);
    EXPECT_FALSE(plan.offerFileTypes);
    EXPECT_TRUE(plan.directoryCommand);
}

TEST(InstallationRules, SameVersionElsewhereIsReregisteredWithoutWelcomeOrQuestions) {
    const RegistrationPlan plan = PlanRegistration(0x300, true, false);
    EXPECT_FALSE(plan.welcome);
    EXPECT_TRUE(plan.registerProgram);
    EXPECT_TRUE(plan.writeShellEntries);
    EXPECT_FALSE(plan.offerFileTypes);
    EXPECT_FALSE(plan.directoryCommand);
}

TEST(InstallationRules, SameVersionInPlaceDoesNothing) {
    const RegistrationPlan plan = PlanRegistration(0x300, true, true);
    EXPECT_FALSE(plan.welcome);
    EXPECT_FALSE(plan.registerProgram);
    EXPECT_FALSE(plan.writeShellEntries);
    // The old shell has no App Paths to compare: nothing either.
    EXPECT_FALSE(PlanRegistration(0x300, false, false).registerProgram);
}

TEST(InstallationRules, ANewerVersionIsNeverReregistered) {
    const RegistrationPlan plan = PlanRegistration(0x301, true, false);
    EXPECT_FALSE(plan.welcome);
    EXPECT_FALSE(plan.registerProgram);
    EXPECT_FALSE(plan.writeShellEntries);
    EXPECT_FALSE(plan.offerFileTypes);
    EXPECT_FALSE(plan.directoryCommand);
}

TEST(InstallationRules, RegistryTextsCompareWithoutCase) {
    EXPECT_TRUE(EqualNoCase("bmpfile", "BMPFile"));
    EXPECT_FALSE(EqualNoCase("bmpfile", "bmpfile2"));
    EXPECT_FALSE(EqualNoCase("", "x"));
    EXPECT_TRUE(EqualNoCase("C:\\VANTIREL\\VANTIREL.EXE", "c:\\vantirel\\Vantirel.exe"));
    EXPECT_TRUE(MentionsProgram("C:\\VANTIREL\\VANTIREL.EXE \"%1\""));
    EXPECT_TRUE(MentionsProgram("c:\\tools\\vantirel.exe,2"));
    EXPECT_FALSE(MentionsProgram("C:\\Paint\\PAINT.EXE \"%1\""));
    EXPECT_FALSE(MentionsProgram("Vantire"));
    EXPECT_TRUE(ContainsNoCase("abc", ""));
}

TEST(InstallationRules, FileTypeKeysAndValuesAreBuiltFromTheExtensionAndThePath) {
    EXPECT_EQ(ExtensionKeyName("tiff"), ".tiff");
    EXPECT_EQ(TypeKeyName("tiff"), "tifffile");
    EXPECT_EQ(OpenCommandKey("tifffile"), "tifffile\\shell\\open\\command");
    EXPECT_EQ(DdeExecKey("tifffile"), "tifffile\\shell\\open\\ddeexec");
    EXPECT_EQ(DefaultIconKey("tifffile"), "tifffile\\DefaultIcon");
    const char* path = "C:\\Program Files\\Vantirel\\VANTIREL.EXE";
    EXPECT_EQ(OpenCommand(path), "C:\\Program Files\\Vantirel\\VANTIREL.EXE \"%1\"");
    EXPECT_EQ(DefaultIconValue(path), "C:\\Program Files\\Vantirel\\VANTIREL.EXE,2");
    EXPECT_EQ(UninstallString(path), "C:\\Program Files\\Vantirel\\VANTIREL.EXE -UNINSTALL");
    EXPECT_EQ(DirectoryCommand(path),
              "C:\\Program Files\\Vantirel\\VANTIREL.EXE \"%1\\index.vti\"");
}

TEST(InstallationRules, KeyNamesAndTextsAreTheProgramsOwn) {
    EXPECT_STREQ(kAppPathsKey,
                 "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Vantirel.EXE");
    EXPECT_STREQ(kUninstallKey,
                 "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Vantirel");
    EXPECT_STREQ(kDirectoryCommandKey, "Directory\\shell\\Vantirel index\\command");
    EXPECT_STREQ(kDisplayName, "Vantirel v3.0");
    EXPECT_STREQ(kWelcomeText, ". .. ... Welcome to Vantirel v3.0! ... .. .");
    EXPECT_STREQ(kInstallCaption, "Vantirel - Installation");
    EXPECT_STREQ(kUninstallCaption, "Uninstall - Vantirel");
    EXPECT_STREQ(kUninstallQuestion, "Do you really want to uninstall Vantirel?");
    EXPECT_STREQ(kRemoveFilesQuestion,
                 "Registry cleaned up for this user!\n\nRemove program files from disk?\n");
}

TEST(InstallationRules, QuestionsNameTheTypeAndWhatHoldsIt) {
    EXPECT_EQ(AssociationQuestion(".gif", "GIF.Document"),
              "File type '.gif' is associated with 'GIF.Document'.\n\n"
              "Do you want to associate it with Vantirel instead?");
    EXPECT_EQ(OpenCommandQuestion("pcx", "C:\\PAINT\\PAINT.EXE %1"),
              "File type '.pcx' is currently opened with 'C:\\PAINT\\PAINT.EXE %1'.\n\n"
              "Do you want to open it with Vantirel instead?");
}

TEST(InstallationRules, UninstallBatchFileHasItsSeventeenLinesEachEndedByCarriageReturnLineFeed) {
    const std::vector<std::string> expected = {"echo off",
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
    EXPECT_EQ(UninstallBatchLines(), expected);
    EXPECT_EQ(UninstallBatchText(),
              "echo off\r\nset UAW=%0\r\nif \"%1\"==\"\" goto last\r\n"
              "if not exist %1 goto next\r\necho Deleting %1 ...\r\nattrib -r -h -s %1\r\n"
              ":retry\r\ndel %1\r\nif exist %1 goto retry\r\n:next\r\nshift\r\n"
              "%UAW% %1 %2 %3 %4 %5 %6 %7 %8 %9\r\n:last\r\necho !\r\n"
              "echo ! Finished uninstalling Vantirel!\r\necho !\r\ndel %UAW%\r\n");
}

TEST(InstallationRules, UninstallBatchFileIsStartedWithTheProgramsFilesInOrder) {
    EXPECT_EQ(UninstallBatchCommand("C:\\VANTIREL\\uninvt.bat"),
              "C:\\VANTIREL\\uninvt.bat FILE_ID.DIZ README.TXT VANTIREL.HLP VANTIREL.GID "
              "VANTIREL.EXE VANTIREL.JPG");
}

TEST(InstallationRules, UninstallBatchFileInAFolderWithBlanksIsStartedByItsQuotedPath) {
    EXPECT_EQ(UninstallBatchCommand("C:\\Program Files\\Vantirel\\uninvt.bat"),
              "\"C:\\Program Files\\Vantirel\\uninvt.bat\" FILE_ID.DIZ README.TXT "
              "VANTIREL.HLP VANTIREL.GID VANTIREL.EXE VANTIREL.JPG");
}

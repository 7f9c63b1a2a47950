// The distribution script assembles the program's folder (run natively, as
// the build runs it); the uninstall's batch file must remove exactly what
// users received.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/InstallationRules.h"
#include "tests/support/TestSupport.h"

#ifndef _WIN32
#include <dirent.h>

namespace {

std::vector<std::string> Listing(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* directory = opendir(folder.c_str())) {
        while (dirent* entry = readdir(directory)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        closedir(directory);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Runs the script on stand-in programs; returns its exit status.
int Assemble(const std::string& output, const std::string& extra) {
    const std::string program = test::WriteTempFile("dist-program.exe", {'M', 'Z', 1, 2});
    const std::string companion = test::WriteTempFile("dist-companion.exe", {'M', 'Z', 3, 4});
    int status = -1;
    test::RunCommand(std::string(VANTIREL_CMAKE_COMMAND) + " -DPROGRAM=" + program +
                         " -DSOURCE=" + VANTIREL_SOURCE_DIR + " -DOUTPUT=" + output +
                         " -DFOLDER=VANTIREL -DCOMPANION_PROGRAM=" + companion +
                         " -DCOMPANION_FOLDER=VANTIREL64 " + extra + " -P " + VANTIREL_SOURCE_DIR +
                         "/cmake/Distribution.cmake >/dev/null 2>&1",
                     &status);
    return status;
}

}  // namespace

TEST(Distribution, EachFolderHoldsTheFilesTheUninstallRemoves) {
    const std::string output = test::TempPath("distribution");
    ASSERT_EQ(Assemble(output, ""), 0);
    const std::vector<std::string> expected = {"FILE_ID.DIZ", "README.TXT", "VANTIREL.EXE",
                                               "VANTIREL.JPG"};
    EXPECT_EQ(Listing(output), (std::vector<std::string>{"VANTIREL", "VANTIREL64"}));
    EXPECT_EQ(Listing(output + "/VANTIREL"), expected);
    EXPECT_EQ(Listing(output + "/VANTIREL64"), expected);
    // Every file is one the batch file deletes (the help files only when
    // there are any).
    const std::vector<std::string> removed = ProgramFileNames();
    for (const std::string& name : Listing(output + "/VANTIREL"))
        EXPECT_NE(std::find(removed.begin(), removed.end(), name), removed.end()) << name;
    // Each folder has its own program.
    EXPECT_EQ(test::ReadFile(output + "/VANTIREL/VANTIREL.EXE"),
              (std::vector<uint8_t>{'M', 'Z', 1, 2}));
    EXPECT_EQ(test::ReadFile(output + "/VANTIREL64/VANTIREL.EXE"),
              (std::vector<uint8_t>{'M', 'Z', 3, 4}));
}

TEST(Distribution, TextsHaveDosLineEndsAndThePictureIsTheSample) {
    const std::string output = test::TempPath("distribution-texts");
    ASSERT_EQ(Assemble(output, ""), 0);
    const std::vector<uint8_t> readme = test::ReadFile(output + "/VANTIREL/README.TXT");
    const std::string text(readme.begin(), readme.end());
    ASSERT_EQ(text.substr(0, 15), "Vantirel v3.0\r\n");
    for (size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n') {
            ASSERT_TRUE(i > 0 && text[i - 1] == '\r') << "bare line feed at " << i;
        }
    const std::vector<uint8_t> diz = test::ReadFile(output + "/VANTIREL/FILE_ID.DIZ");
    const std::string description(diz.begin(), diz.end());
    EXPECT_EQ(description.substr(0, 40), "Vantirel v3.0 - image viewer for Win32\r\n");
    EXPECT_EQ(test::ReadFile(output + "/VANTIREL/VANTIREL.JPG"),
              test::ReadFile(std::string(VANTIREL_SOURCE_DIR) + "/samples/VANTIREL.JPG"));
}

TEST(Distribution, TheZipHoldsBothFolders) {
    const std::string output = test::TempPath("distribution-zip");
    ASSERT_EQ(Assemble(output, "-DZIP=VANTIREL30.ZIP"), 0);
    int status = -1;
    const std::string listing = test::RunCommand(
        "cd " + output + " && " + VANTIREL_CMAKE_COMMAND + " -E tar tf VANTIREL30.ZIP | sort",
        &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(listing,
              "VANTIREL/\nVANTIREL/FILE_ID.DIZ\nVANTIREL/README.TXT\nVANTIREL/VANTIREL.EXE\n"
              "VANTIREL/VANTIREL.JPG\nVANTIREL64/\nVANTIREL64/FILE_ID.DIZ\n"
              "VANTIREL64/README.TXT\nVANTIREL64/VANTIREL.EXE\nVANTIREL64/VANTIREL.JPG\n");
}

#endif

TEST(Distribution, ASampleDecodesWithTheProgramsOwnReader) {
    const test::Decoded decoded =
        test::DecodeFile(std::string(VANTIREL_SOURCE_DIR) + "/samples/VANTIREL.JPG");
    ASSERT_TRUE(decoded.loaded) << decoded.place << ": " << decoded.text;
    EXPECT_EQ(decoded.width, 192);
    EXPECT_EQ(decoded.height, 144);
    EXPECT_EQ(decoded.depth, 24);
}

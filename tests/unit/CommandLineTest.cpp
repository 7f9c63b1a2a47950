#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/CommandLine.h"

namespace {
std::vector<std::string> Split(const std::string& line) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back('\0');
    char* arguments[kMaxArguments];
    const int count = SplitCommandLine(text.data(), arguments, kMaxArguments);
    return std::vector<std::string>(arguments, arguments + count);
}
using Args = std::vector<std::string>;
}  // namespace

TEST(CommandLine, BlanksSeparateArguments) {
    EXPECT_EQ(Split("VT.EXE a.bmp  b.gif"), (Args{"VT.EXE", "a.bmp", "b.gif"}));
}

TEST(CommandLine, LeadingAndTrailingBlanksMakeNoArguments) {
    EXPECT_EQ(Split("   VT.EXE   "), (Args{"VT.EXE"}));
    EXPECT_EQ(Split(""), Args{});
}

TEST(CommandLine, AQuotedPathWithBlanksIsOneArgumentWithoutItsQuotes) {
    EXPECT_EQ(Split("\"C:\\Program Files\\VT.EXE\" \"C:\\My Pictures\\cat one.bmp\""),
              (Args{"C:\\Program Files\\VT.EXE", "C:\\My Pictures\\cat one.bmp"}));
}

TEST(CommandLine, QuotesInsideAnArgumentAreRemovedAndOnlySwitchTheQuotedState) {
    EXPECT_EQ(Split("VT C:\\\"a b\"\\c.bmp x"), (Args{"VT", "C:\\a b\\c.bmp", "x"}));
    EXPECT_EQ(Split("VT \"\"empty"), (Args{"VT", "empty"}));
}

TEST(CommandLine, AnUnclosedQuoteRunsToTheEnd) {
    EXPECT_EQ(Split("VT \"a b c"), (Args{"VT", "a b c"}));
}

TEST(CommandLine, ArgumentsPastTheFortyEighthAreIgnored) {
    std::string line = "VT";
    for (int i = 1; i < 60; ++i) line += " f" + std::to_string(i);
    const Args arguments = Split(line);
    ASSERT_EQ(arguments.size(), 48u);
    EXPECT_EQ(arguments[47], "f47");
}

TEST(CommandLine, UninstallIsRecognisedInAnyCase) {
    EXPECT_EQ(RoleOf("-UNINSTALL"), StartRole::Uninstall);
    EXPECT_EQ(RoleOf("-uninstall"), StartRole::Uninstall);
    EXPECT_EQ(RoleOf("-UnInstall"), StartRole::Uninstall);
    EXPECT_EQ(RoleOf("-UNINSTALLX"), StartRole::Viewer);
}

TEST(CommandLine, APathEndingInVtiIsAnIndex) {
    EXPECT_EQ(RoleOf("C:\\PICS\\index.vti"), StartRole::Index);
    EXPECT_EQ(RoleOf("C:\\PICS\\INDEX.VTI"), StartRole::Index);
    EXPECT_EQ(RoleOf("other.Vti"), StartRole::Index);
    EXPECT_EQ(RoleOf(".vti"), StartRole::Index);
    EXPECT_EQ(RoleOf("vti"), StartRole::Viewer);
}

TEST(CommandLine, NoArgumentOrAnyOtherIsAViewer) {
    EXPECT_EQ(RoleOf(nullptr), StartRole::Viewer);
    EXPECT_EQ(RoleOf("C:\\a.bmp"), StartRole::Viewer);
    EXPECT_EQ(RoleOf("show.vts"), StartRole::Viewer);
}

TEST(CommandLine, AFurtherArgumentReachesItsProcessWithoutItsQuotes) {
    const Args arguments = Split("VT a.bmp \"C:\\My Pictures\\b c.bmp\"");
    ASSERT_EQ(arguments.size(), 3u);
    const std::string command = ProcessCommandLine("C:\\VT\\VANTIREL.EXE", arguments[2].c_str());
    EXPECT_EQ(command, "C:\\VT\\VANTIREL.EXE C:\\My Pictures\\b c.bmp");
    // ...where it is split again, at its blank.
    EXPECT_EQ(Split(command), (Args{"C:\\VT\\VANTIREL.EXE", "C:\\My", "Pictures\\b", "c.bmp"}));
}

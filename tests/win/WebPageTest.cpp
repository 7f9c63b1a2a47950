// Finding the browser through the registry (a scratch key standing in for
// the classes root) and starting it on a page.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/WebPage.h"
#include "core/Error.h"
#include "tests/win/InstallationTestSupport.h"

using wintest::RegistrySandbox;

namespace {

std::vector<std::string> g_started;
bool RecordStart(const char* command, const char* argument) {
    g_started.push_back(std::string(command) + "|" + argument);
    return true;
}

class SpawnUrl : public ::testing::Test {
protected:
    void SetUp() override {
        g_started.clear();
        ClearError();
    }
    RegistrySandbox sandbox_;
};

}  // namespace

TEST_F(SpawnUrl, StartsTheHtmlTypesOpenCommandWithThePageInPlaceOfPercentOne) {
    RegistrySandbox::SetDefault(sandbox_.classes, ".html", "WebPage");
    RegistrySandbox::SetDefault(sandbox_.classes, ".htm", "OtherPage");
    RegistrySandbox::SetDefault(sandbox_.classes, "WebPage\\shell\\open\\command",
                                "\"C:\\NET\\BROWSE.EXE\" -new \"%1\"");
    EXPECT_TRUE(SpawnURL("http://www.example.org/", sandbox_.classes, RecordStart));
    ASSERT_EQ(g_started.size(), 1u);
    EXPECT_EQ(g_started[0], "\"C:\\NET\\BROWSE.EXE\" -new \"http://www.example.org/\"|");
    EXPECT_STREQ(g_errorPlace, "");
}

TEST_F(SpawnUrl, FallsBackToTheHtmType) {
    RegistrySandbox::SetDefault(sandbox_.classes, ".htm", "OtherPage");
    RegistrySandbox::SetDefault(sandbox_.classes, "OtherPage\\shell\\open\\command",
                                "C:\\NET\\VIEW.EXE ");
    EXPECT_TRUE(SpawnURL("http://www.example.org/", sandbox_.classes, RecordStart));
    ASSERT_EQ(g_started.size(), 1u);
    EXPECT_EQ(g_started[0], "C:\\NET\\VIEW.EXE http://www.example.org/|");
}

TEST_F(SpawnUrl, ACommandWithoutPercentOneGetsThePageAppendedDirectly) {
    RegistrySandbox::SetDefault(sandbox_.classes, ".html", "WebPage");
    RegistrySandbox::SetDefault(sandbox_.classes, "WebPage\\shell\\open\\command",
                                "C:\\NET\\BROWSE.EXE");
    EXPECT_TRUE(SpawnURL("http://www.example.org/", sandbox_.classes, RecordStart));
    ASSERT_EQ(g_started.size(), 1u);
    EXPECT_EQ(g_started[0], "C:\\NET\\BROWSE.EXEhttp://www.example.org/|");
}

TEST_F(SpawnUrl, ATypeWithoutOpenCommandIsACorruptAssociation) {
    RegistrySandbox::SetDefault(sandbox_.classes, ".html", "WebPage");
    RegistrySandbox::SetDefault(sandbox_.classes, "WebPage", "Web page");
    EXPECT_FALSE(SpawnURL("http://www.example.org/", sandbox_.classes, RecordStart));
    EXPECT_STREQ(g_errorPlace, "SpawnURL");
    EXPECT_STREQ(g_errorText, ".html association corrupt");
    EXPECT_TRUE(g_started.empty());
}

TEST_F(SpawnUrl, WithoutHtmlTypesTheSearchGoesOnWithNoTypeNameAndFails) {
    // "No WWW browser found!" is noted, and the command under no type name
    // is then not found either: the later message is the one that stays.
    EXPECT_FALSE(SpawnURL("http://www.example.org/", sandbox_.classes, RecordStart));
    EXPECT_STREQ(g_errorPlace, "SpawnURL");
    EXPECT_STREQ(g_errorText, ".html association corrupt");
    EXPECT_TRUE(g_started.empty());
}

TEST_F(SpawnUrl, ABrowserThatCannotBeStartedIsReported) {
    RegistrySandbox::SetDefault(sandbox_.classes, ".html", "WebPage");
    RegistrySandbox::SetDefault(sandbox_.classes, "WebPage\\shell\\open\\command",
                                "C:\\NO\\SUCH\\BROWSER.EXE %1");
    EXPECT_FALSE(SpawnURL("http://www.example.org/", sandbox_.classes));
    EXPECT_STREQ(g_errorPlace, "SpawnURL");
    EXPECT_STREQ(g_errorText, "Couldn't launch WWW browser!");
}

#include <gtest/gtest.h>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

#include <string>
#include <vector>

#include "core/DisplayCapabilities.h"
#include "core/Error.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"
#include "formats/SlideShow.h"
#include "formats/SlideShowScript.h"
#include "tests/support/TestSupport.h"

namespace {
using Tokens = std::vector<std::string>;

// Every token with "|" after a closed one.
Tokens ReadAll(const std::string& text) {
    SlideShowScript script(text.data(), text.size());
    Tokens tokens;
    std::string token;
    bool closed = false;
    while (script.Next(&token, &closed)) tokens.push_back(token + (closed ? "|" : ""));
    return tokens;
}

// Records what the show asks of the viewer. The window closes after
// `closeAfterDisplays` displays, or after `closeAfterSleeps` half-second waits.
class RecordingHost : public SlideShowHost {
public:
    void Display(const std::string& file) override {
        events.push_back("display " + file);
        maximizedDuringShow = g_settings->disp.bRunMaximized;
        autoSizeDuringShow = g_settings->disp.bAutoSize;
        if (++displays == closeAfterDisplays) windowOpen = false;
    }
    void PumpMessages() override {
        ++pumps;
        steps += 'p';
    }
    void SleepHalfSecond() override {
        ++sleeps;
        steps += 's';
        if (sleeps == closeAfterSleeps) windowOpen = false;
    }
    bool WindowExists() override { return windowOpen; }
    void ShellExecute(const std::string& verb, const std::string& file) override {
        events.push_back("shell " + verb + " " + file);
    }
    void StartProcess(const std::string& command, const std::string& argument) override {
        events.push_back("start " + command + " " + argument);
    }
    void CloseWindow() override { events.push_back("close"); }

    std::vector<std::string> events;
    std::string steps;  // 'p' for each pump, 's' for each half-second sleep
    int displays = 0, pumps = 0, sleeps = 0;
    int closeAfterDisplays = -1, closeAfterSleeps = -1;
    bool windowOpen = true;
    int maximizedDuringShow = -1;
    int autoSizeDuringShow = -1;
};

// Runs the statements of a script body (after the header and "{").
RecordingHost RunBody(const std::string& body, RecordingHost host = RecordingHost()) {
    SlideShowScript script(body.data(), body.size());
    RunSlideShowBlock(&script, &host);
    return host;
}
}  // namespace

TEST(SlideShowScript, SplitsAtBlanksLineEndsAndSemicolons) {
    EXPECT_EQ(ReadAll("display a.bmp;\r\ndelay  3;\n}"),
              (Tokens{"display", "a.bmp|", "delay", "3|", "}|"}));
}

TEST(SlideShowScript, ATabIsPartOfAToken) {
    EXPECT_EQ(ReadAll("delay\t5;"), (Tokens{"delay\t5|"}));
}

TEST(SlideShowScript, SemicolonsBetweenTokensAreSkipped) {
    EXPECT_EQ(ReadAll(";; a ; ;b"), (Tokens{"a", "b|"}));
}

TEST(SlideShowScript, CommentsAreSkippedAndEndATokenTheyTouch) {
    EXPECT_EQ(ReadAll("a/* x ; y */b // rest ; of line\nc/*unterminated"), (Tokens{"a", "b", "c"}));
}

TEST(SlideShowScript, AQuotedTokenKeepsItsBlanks) {
    EXPECT_EQ(ReadAll("display \"C:\\My Pictures\\a  b.bmp\"; x"),
              (Tokens{"display", "C:\\My Pictures\\a  b.bmp|", "x|"}));
}

TEST(SlideShowScript, TwoLeadingQuotesAreTakenLiterally) {
    EXPECT_EQ(ReadAll("\"\"odd\" next"), (Tokens{"\"\"odd\"", "next|"}));
}

TEST(SlideShowScript, ALoneQuoteIsAnEmptyToken) { EXPECT_EQ(ReadAll("\" x"), (Tokens{"", "x|"})); }

TEST(SlideShowRunner, DelayWaitsTwoHalfSecondStepsPerSecondPumpingFirst) {
    const RecordingHost host = RunBody("delay 5; }");
    EXPECT_EQ(host.sleeps, 10);
    // Ten steps of dispatching then sleeping, then the dispatch that follows
    // every statement.
    EXPECT_EQ(host.steps,
              "pspspspspspspspspsps"
              "p");
}

TEST(SlideShowRunner, ADisplayOrShellAtTheEndOfTheTextHasNothingToDo) {
    EXPECT_TRUE(RunBody("display ").events.empty());
    EXPECT_TRUE(RunBody("shell ").events.empty());
    EXPECT_EQ(RunBody("shell open ").events, (std::vector<std::string>{"shell open "}));
}

TEST(SlideShowRunner, ADelayKeywordDirectlyFollowedBySemicolonDoesNothing) {
    const RecordingHost host = RunBody("delay; display a.bmp; }");
    EXPECT_EQ(host.sleeps, 0);
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp"}));
}

TEST(SlideShowRunner, ADelayThatIsNoNumberWaitsForNoTime) {
    EXPECT_EQ(RunBody("delay soon; }").sleeps, 0);
}

TEST(SlideShowRunner, ATabBetweenKeywordAndArgumentMakesAnUnknownStatement) {
    const RecordingHost host = RunBody("delay\t5; display a.bmp; }");
    EXPECT_EQ(host.sleeps, 0);
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp"}));
}

TEST(SlideShowRunner, KeywordsAreCaseSensitive) {
    const RecordingHost host = RunBody("Delay 5; DISPLAY b.bmp; display c.bmp; }");
    EXPECT_EQ(host.sleeps, 0);
    EXPECT_EQ(host.events, (std::vector<std::string>{"display c.bmp"}));
}

TEST(SlideShowRunner, AQuotedFileNameWithBlanksIsDisplayedWhole) {
    const RecordingHost host = RunBody("display \"my pictures/a b.bmp\"; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display my pictures/a b.bmp"}));
}

TEST(SlideShowRunner, AnUnknownStatementIsSkippedToItsEnd) {
    const RecordingHost host = RunBody("fade in slowly; display a.bmp; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp"}));
}

TEST(SlideShowRunner, AStatementWhoseLastTokenIsOpenSwallowsUpToTheNextSemicolon) {
    // "a.bmp" ends at a blank, so "display b.bmp;" is part of its statement.
    const RecordingHost host = RunBody("display a.bmp display b.bmp; display c.bmp; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp", "display c.bmp"}));
}

TEST(SlideShowRunner, LoopRepeatsItsBlockCountTimes) {
    const RecordingHost host = RunBody("loop 3 {; display a.bmp; } display z.bmp; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp", "display a.bmp",
                                                     "display a.bmp", "display z.bmp"}));
}

TEST(SlideShowRunner, AfterALoopWhoseBraceWasOpenTheNextStatementIsSkipped) {
    const RecordingHost host =
        RunBody("loop 2 { display a.bmp; } display skipped.bmp; display z.bmp; }");
    EXPECT_EQ(host.events,
              (std::vector<std::string>{"display a.bmp", "display a.bmp", "display z.bmp"}));
}

TEST(SlideShowRunner, ALoopWithoutCountRepeatsUntilTheWindowIsClosed) {
    RecordingHost host;
    host.closeAfterDisplays = 7;
    host = RunBody("loop {; display a.bmp; display b.bmp; } display never.bmp; }", host);
    EXPECT_EQ(host.displays, 7);
    EXPECT_EQ(host.events.back(), "display a.bmp");
}

TEST(SlideShowRunner, ALoopOfZeroLeavesTheRunnerInsideItsBlock) {
    // The block is not run as a loop; reading goes on after "{;", so its
    // statements run once and its "}" ends the enclosing block.
    const RecordingHost host = RunBody("loop 0 {; display a.bmp; } display z.bmp; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp"}));
}

TEST(SlideShowRunner, ALoopWithoutABraceIsDropped) {
    const RecordingHost host = RunBody("loop 3; display a.bmp; }");
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp"}));
}

TEST(SlideShowRunner, NestedBlocksRunInOrder) {
    const RecordingHost host = RunBody("{ display a.bmp; { display b.bmp; } } display c.bmp; }");
    EXPECT_EQ(host.events,
              (std::vector<std::string>{"display a.bmp", "display b.bmp", "display c.bmp"}));
}

TEST(SlideShowRunner, ShellOpensADocumentWithAVerbOrStartsACommand) {
    const RecordingHost host = RunBody("shell open notes.txt; shell notepad.exe; }");
    EXPECT_EQ(host.events,
              (std::vector<std::string>{"shell open notes.txt", "start notepad.exe "}));
}

TEST(SlideShowRunner, ClosingTheWindowDuringADelayEndsTheShowAfterTheDelay) {
    RecordingHost host;
    host.closeAfterSleeps = 3;
    host = RunBody("delay 4; display never.bmp; }", host);
    EXPECT_EQ(host.sleeps, 8);  // the delay runs to its end
    EXPECT_TRUE(host.events.empty());
}

namespace {
std::string Script(const std::string& name, const std::string& text) {
    return test::WriteTempFile(name, std::vector<uint8_t>(text.begin(), text.end()));
}
}  // namespace

TEST(SlideShowPlay, HeaderWordsCompareWithoutCaseAndTheBlockFollowsTheFirstBrace) {
    const std::string path =
        Script("lower.vts", "vantirel slideshow ignored words { display a.bmp; }");
    RecordingHost host;
    g_settings->disp.bRunMaximized = 0;
    g_settings->disp.bAutoSize = 1;
    EXPECT_TRUE(PlaySlideShow(path.c_str(), &host));
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp", "close"}));
    // Maximised, not auto-sized, during the show; restored afterwards.
    EXPECT_EQ(host.maximizedDuringShow, 1);
    EXPECT_EQ(host.autoSizeDuringShow, 0);
    EXPECT_EQ(g_settings->disp.bRunMaximized, 0);
    EXPECT_EQ(g_settings->disp.bAutoSize, 1);
    g_settings->disp.bAutoSize = 0;
}

TEST(SlideShowPlay, RefusesOtherFiles) {
    const std::string path = Script("other.vts", "Vantirel Show { }");
    RecordingHost host;
    EXPECT_FALSE(PlaySlideShow(path.c_str(), &host));
    EXPECT_STREQ(g_errorPlace, "vti_VTS");
    EXPECT_STREQ(g_errorText, "Not an Vantirel SlideShow file");
    EXPECT_TRUE(host.events.empty());

    EXPECT_FALSE(PlaySlideShow(test::TempPath("missing.vts").c_str(), &host));
    EXPECT_STREQ(g_errorText, "Couldn't open file");
}

#ifdef _WIN32
TEST(SlideShowPlay, PlaysAScriptThatAnotherProgramHasOpenForWriting) {
    const std::string path = Script("open.vts", "Vantirel SlideShow { display a.bmp; }");
    HANDLE writer = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    RecordingHost host;
    EXPECT_TRUE(PlaySlideShow(path.c_str(), &host)) << g_errorText;
    CloseHandle(writer);
    EXPECT_EQ(host.events, (std::vector<std::string>{"display a.bmp", "close"}));
}
#endif

TEST(SlideShowPlay, AnEmptyScriptIsNoSlideShow) {
    const std::string path = Script("empty.vts", "");
    RecordingHost host;
    EXPECT_FALSE(PlaySlideShow(path.c_str(), &host));
    EXPECT_STREQ(g_errorPlace, "vti_VTS");
    EXPECT_STREQ(g_errorText, "Not an Vantirel SlideShow file");
}

TEST(SlideShowPlay, RecognisesScriptPathsByTheirLastFourCharacters) {
    EXPECT_TRUE(IsSlideShowPath("C:\\shows\\HOLIDAY.VTS"));
    EXPECT_TRUE(IsSlideShowPath("holiday.vts"));
    EXPECT_FALSE(IsSlideShowPath("holiday.vtsx"));
    EXPECT_FALSE(IsSlideShowPath("vts"));
}

TEST(SlideShowIdentify, AnnouncesTheScreenAsThePicture) {
    const DisplayCapabilities saved = g_display;
    g_display.width = 800;
    g_display.height = 600;
    g_display.bitsPerPixel = 8;
    const std::string path = Script("show.vts", "VANTIREL SLIDESHOW { display a.bmp; }");
    ImageImpFile imp(path.c_str(), nullptr, false);
    g_display = saved;
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.width, 800);
    EXPECT_EQ(imp.height, 600);
    EXPECT_EQ(imp.depth, 8);
    EXPECT_EQ(imp.colourModel, 2);  // fewer than 9 bits: grey
    EXPECT_STREQ(imp.compression, "Text");
    EXPECT_STREQ(imp.description, "Vantirel SlideShow");
}

TEST(SlideShowIdentify, LooksForTheHeaderInTheFirst2048Bytes) {
    const std::string late = std::string(2045, ' ') + "Vantirel SlideShow {}";
    const std::string path = Script("late.vts", late);
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "Not a supported image format");
}

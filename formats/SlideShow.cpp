#include "formats/SlideShow.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "core/Error.h"
#include "core/Platform.h"
#include "core/Settings.h"
#include "formats/SlideShowScript.h"

namespace {
constexpr const char* kPlace = "vti_VTS";

bool SameIgnoringCase(const std::string& a, const char* b) {
    if (a.size() != std::strlen(b)) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        const int ca = (a[i] >= 'A' && a[i] <= 'Z') ? a[i] + 32 : a[i];
        const int cb = (b[i] >= 'A' && b[i] <= 'Z') ? b[i] + 32 : b[i];
        if (ca != cb) return false;
    }
    return true;
}

// A decimal count as "%d" reads it; text that is no number waits for no time.
int ReadCount(const std::string& token) {
    int value = 0;
    return std::sscanf(token.c_str(), "%d", &value) == 1 ? value : 0;
}

// After a statement whose last token was open, the rest of the statement is
// skipped: tokens up to and including the first closed one.
void SkipToStatementEnd(SlideShowScript* script) {
    std::string token;
    bool closed = false;
    while (script->Next(&token, &closed) && !closed) {
    }
}
}  // namespace

bool IsSlideShowHeader(SlideShowScript* script) {
    std::string first, second;
    bool closed = false;
    return script->Next(&first, &closed) && SameIgnoringCase(first, "Vantirel") &&
           script->Next(&second, &closed) && SameIgnoringCase(second, "SlideShow");
}

bool RunSlideShowBlock(SlideShowScript* script, SlideShowHost* host) {
    std::string token;
    bool closed = false;
    for (;;) {
        if (!script->Next(&token, &closed) || (!token.empty() && token[0] == '}')) return true;

        if (!token.empty() && token[0] == '{') {
            if (!RunSlideShowBlock(script, host)) return false;
        } else {
            const bool known =
                token == "delay" || token == "display" || token == "loop" || token == "shell";
            // A keyword directly followed by ";" does nothing at all.
            if (known && closed) continue;
            bool lastOpen = !closed;
            std::string argument;
            bool argumentClosed = true;
            if (token == "delay") {
                script->Next(&argument, &argumentClosed);
                const int seconds = ReadCount(argument);
                for (int step = 0; step < 2 * seconds; ++step) {
                    host->PumpMessages();
                    host->SleepHalfSecond();
                }
                lastOpen = !argumentClosed;
            } else if (token == "display") {
                // At the end of the text there is no file to show.
                if (script->Next(&argument, &argumentClosed)) host->Display(argument);
                lastOpen = !argumentClosed;
            } else if (token == "loop") {
                auto opensBlock = [](const std::string& t) { return !t.empty() && t[0] == '{'; };
                int count = -1;  // no count: until the window is closed
                bool have = script->Next(&argument, &argumentClosed);
                if (have && !argumentClosed && !opensBlock(argument)) count = ReadCount(argument);
                while (have && !opensBlock(argument) && !argumentClosed)
                    have = script->Next(&argument, &argumentClosed);
                if (!have || !opensBlock(argument)) continue;  // the statement is dropped
                const size_t blockStart = script->Position();
                for (;;) {
                    const int taken = count--;
                    if (taken == 0) break;
                    script->Seek(blockStart);
                    if (!RunSlideShowBlock(script, host)) return false;
                }
                // The statement ends with the "{" token: when it was open the
                // tokens after the block are skipped up to the first closed
                // one (scripts write "{;" to keep the next statement).
                lastOpen = !argumentClosed;
            } else if (token == "shell") {
                const bool have = script->Next(&argument, &argumentClosed);
                if (!have) {
                    lastOpen = false;  // nothing to open or start
                } else if (!argumentClosed) {
                    std::string file;
                    bool fileClosed = true;
                    script->Next(&file, &fileClosed);
                    host->ShellExecute(argument, file);
                    lastOpen = !fileClosed;
                } else {
                    host->StartProcess(argument, "");
                    lastOpen = false;
                }
            }
            if (lastOpen) SkipToStatementEnd(script);
        }
        if (!host->WindowExists()) return false;
        host->PumpMessages();
    }
}

bool PlaySlideShow(const char* path, SlideShowHost* host) {
    // The script is read whole (others may go on reading and writing it)
    // and ends in a NUL.
    std::vector<char> text;
    if (!platform::ReadWholeFile(path, &text)) return SetError(kPlace, "Couldn't open file");
    const size_t size = text.size() - 1;

    SlideShowScript script(text.data(), size);
    if (!IsSlideShowHeader(&script)) return SetError(kPlace, "Not an Vantirel SlideShow file");
    std::string token;
    bool closed = false;
    while (script.Next(&token, &closed) && token != "{") {
    }

    // For the show the viewer runs maximised and keeps its size; every
    // window sees the change, as the settings block is shared.
    const uint8_t runMaximized = g_settings->disp.bRunMaximized;
    const uint8_t autoSize = g_settings->disp.bAutoSize;
    g_settings->disp.bRunMaximized = 1;
    g_settings->disp.bAutoSize = 0;
    RunSlideShowBlock(&script, host);
    g_settings->disp.bRunMaximized = runMaximized;
    g_settings->disp.bAutoSize = autoSize;
    host->CloseWindow();
    return true;
}

bool IsSlideShowPath(const char* path) {
    const size_t length = std::strlen(path);
    return length >= 4 && SameIgnoringCase(std::string(path + length - 4), ".VTS");
}

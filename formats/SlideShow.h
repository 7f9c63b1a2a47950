// Slide shows: plain-text scripts ("Vantirel SlideShow { ... }") that show
// pictures with delays and loops in a viewer window. The runner is portable;
// the window program supplies the host that displays, waits and launches.
#pragma once
#include <string>

class SlideShowScript;

class SlideShowHost {
public:
    virtual ~SlideShowHost() = default;
    // Loads and shows a file as the viewer's own open command does (it
    // reports its own failures; the show goes on).
    virtual void Display(const std::string& file) = 0;
    // Dispatches every pending message of the thread without waiting.
    virtual void PumpMessages() = 0;
    virtual void SleepHalfSecond() = 0;
    // False once the user has closed the viewer window.
    virtual bool WindowExists() = 0;
    // Opens a document with a verb (owner: the viewer window, show-normal).
    virtual void ShellExecute(const std::string& verb, const std::string& file) = 0;
    // Starts a program with the command line "%s %s" of command and argument,
    // without waiting.
    virtual void StartProcess(const std::string& command, const std::string& argument) = 0;
    // Ends the viewer when the show is over.
    virtual void CloseWindow() = 0;
};

// Plays the script at `path` in the host. False with the error report filled
// (place "vti_VTS") when the file cannot be opened or is not a slide show.
bool PlaySlideShow(const char* path, SlideShowHost* host);

// Runs one block of statements up to its "}" (or the end of the text).
// False when the viewer window no longer exists.
bool RunSlideShowBlock(SlideShowScript* script, SlideShowHost* host);

// Reads the first two tokens; true when they are "Vantirel" and
// "SlideShow", compared without case.
bool IsSlideShowHeader(SlideShowScript* script);

// Whether a path names a slide show: its last four characters are ".VTS",
// compared without case.
bool IsSlideShowPath(const char* path);

// Helpers shared by the tests: where the sample corpus and scratch files
// live, recorders for progress and message boxes, running external decoders.
#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/Progress.h"

namespace test {

// The sample corpus (VANTIREL_CORPUS_DIR, by default ../shared/corpus beside
// the project; paths usable by the code under test, also under Wine).
std::string CorpusPath(const std::string& relative);
bool CorpusAvailable();
// A fresh scratch directory for this test program; files in it are removed
// at exit.
std::string TempPath(const std::string& name);
// Writes bytes to a scratch file and returns its path.
std::string WriteTempFile(const std::string& name, const std::vector<uint8_t>& bytes);
std::vector<uint8_t> ReadFile(const std::string& path);

// Runs a shell command (native builds only); returns its stdout and sets
// *status to its exit status.
std::string RunCommand(const std::string& command, int* status = nullptr);
bool HaveTool(const std::string& tool);

// A decoded picture from an independent decoder: width, height, and three
// bytes per pixel in red, green, blue order.
struct RgbPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;
};
// Parses binary PNM (P4, P5, P6; maxval 255) into RGB.
bool ParsePnm(const std::string& bytes, RgbPicture* picture);

// A picture decoded by this program through the import dispatcher and Load,
// as RGB (palette pictures looked up in their palette), plus what was
// announced. Pictures announcing a non-positive size are not loaded.
struct Decoded {
    bool opened = false;
    bool loaded = false;
    std::string place;  // the error report after a failure
    std::string text;
    int width = 0, height = 0, depth = 0;
    std::string description, compression;
    std::vector<uint8_t> indices;  // palette pictures: one index per pixel
    RgbPicture picture;
};
Decoded DecodeFile(const std::string& path, bool probeAll = true);

// An independent decoder's result for a file, through PIL
// (tests/conformance/reference_decode.py); icon files take an entry number.
bool ReferenceDecode(const std::string& path, RgbPicture* picture, int iconEntry = -1);

// Number of pixels whose RGB differ.
long DifferentPixels(const RgbPicture& a, const RgbPicture& b);

class RecordingProgress : public Progress {
public:
    void SetStatus(const char* text, int done, int total) override;
    void SetProgress(int done, int total) override;
    // "status text@percent" for SetStatus, "@percent" for SetProgress.
    std::vector<std::string> events;
};

// Message boxes become "CAPTION: TEXT" lines on stderr (for death tests: a
// real box would wait for a click).
void PrintMessagesToStderr();

// Records every message box while alive: pairs of (caption, text).
class MessageRecorder {
public:
    MessageRecorder();
    ~MessageRecorder();
    std::vector<std::pair<std::string, std::string>> messages;
};

}  // namespace test

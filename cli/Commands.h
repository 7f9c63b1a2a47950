// The subcommands of vantirel-cli. Each takes its arguments after the
// command name and returns the process exit status.
#pragma once
#include <string>
#include <vector>

using Arguments = std::vector<std::string>;

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

int CommandInfo(const Arguments& args);
int CommandConvert(const Arguments& args);
int CommandThumbnail(const Arguments& args);
int CommandQuantize(const Arguments& args);
int CommandDither15(const Arguments& args);
int CommandResample(const Arguments& args);

// The thumbnail size of a width x height picture fitted into a box as the
// index window fits it (aspect kept, integer division).
void FitThumbnail(int width, int height, int boxWidth, int boxHeight, int* outWidth,
                  int* outHeight);

// Names the file being worked on in warnings ("FILE: Attention!: TEXT").
void SetCurrentFile(const char* path);
// Message boxes become lines on stderr: "FILE: CAPTION: TEXT", and the
// fatal box as it stands ("QUIT!: EXIT: ...").
void PrintMessageBox(const char* caption, const char* text);
// Prints "FILE: PLACE: MESSAGE" from the error report and gives kExitFailed.
int ReportFailure(const char* path);
// Prints a usage error and gives kExitUsage.
int UsageError(const char* message);

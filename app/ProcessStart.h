// Starting further processes of the program (or another command).
#pragma once

// Starts "command argument" without waiting; the handles are closed at once.
bool StartProcess(const char* command, const char* argument);

// Opens a file in a new viewer process: the program with the path in double
// quotes. A failed start says "Couldn't execute Vantirel.EXE".
bool OpenInNewProcess(const char* path);

// Hands a slide show to a new process: the program, a blank and the script's
// path as it stands. A failed start says "Couldn't execute Vantirel.EXE".
bool OpenSlideShowInNewProcess(const char* path);

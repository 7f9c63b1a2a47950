// Splitting the program's command line and deciding what this process
// becomes. Portable so it is tested natively.
#pragma once
#include <string>

// Room for the program itself and 47 arguments; further ones are ignored.
constexpr int kMaxArguments = 48;

// Splits text in place: blanks separate arguments; inside an argument a
// double-quote switches the quoted state and is removed (the rest of the
// text moves left by one); a blank outside quotes ends the argument. Returns
// the number of arguments (argument 0 is the program).
int SplitCommandLine(char* text, char* arguments[], int maxArguments);

enum class StartRole { Viewer, Uninstall, Index };

// Argument 1 decides: none or anything else views a picture, "-UNINSTALL"
// (any case) uninstalls, a path ending in ".VTI" (any case) is an index.
StartRole RoleOf(const char* argument);

// The command line of a process started for one further file: the command,
// a blank and the argument as it stands.
std::string ProcessCommandLine(const char* command, const char* argument);

// Case-insensitive check of a text's last characters.
bool EndsWithNoCase(const char* text, const char* ending);

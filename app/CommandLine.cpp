#include "app/CommandLine.h"

#include <cctype>
#include <cstring>

static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

static bool EqualNoCase(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b)
        if (std::toupper(static_cast<unsigned char>(*a)) !=
            std::toupper(static_cast<unsigned char>(*b)))
            return false;
    return *a == *b;
}

int SplitCommandLine(char* text, char* arguments[], int maxArguments) {
    int count = 0;
    char* p = text;
    while (*p) {
        while (IsBlank(*p)) ++p;
        if (!*p) break;
        char* start = p;
        bool quoted = false;
        while (*p) {
            if (*p == '"') {
                quoted = !quoted;
                std::memmove(p, p + 1, std::strlen(p + 1) + 1);
                continue;
            }
            if (IsBlank(*p) && !quoted) {
                *p++ = '\0';
                break;
            }
            ++p;
        }
        if (count < maxArguments) arguments[count++] = start;
    }
    return count;
}

bool EndsWithNoCase(const char* text, const char* ending) {
    const size_t length = std::strlen(text);
    const size_t endingLength = std::strlen(ending);
    return length >= endingLength && EqualNoCase(text + length - endingLength, ending);
}

StartRole RoleOf(const char* argument) {
    if (!argument) return StartRole::Viewer;
    if (EqualNoCase(argument, "-UNINSTALL")) return StartRole::Uninstall;
    if (EndsWithNoCase(argument, ".VTI")) return StartRole::Index;
    return StartRole::Viewer;
}

std::string ProcessCommandLine(const char* command, const char* argument) {
    return std::string(command) + " " + argument;
}

#include "app/PropertiesRules.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "app/InstallationRules.h"

const char* ArchitectureName(int architecture) {
    switch (architecture) {
        case 0:
            return "Intel";
        case 1:
            return "Mips";
        case 2:
            return "Alpha";
        case 3:
            return "PPC";
    }
    return "?";
}

const char* PlatformName(int platform) {
    switch (platform) {
        case 0:
            return "3.1 with Win32s";
        case 1:
            return "95";
        case 2:
            return "NT";
    }
    return "?";
}

namespace {
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
    char text[600];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}
}  // namespace

InformationTexts DescribeInformation(const PictureFacts& picture, const ScreenFacts& screen,
                                     int32_t filesOpened, int32_t filesSaved,
                                     const SystemFacts& system) {
    InformationTexts texts;
    texts.source = Format("Source: %s", picture.path);
    texts.image = Format("Image: %dx%dx%d", picture.width, picture.height, picture.depth);
    texts.display = Format("Display: %dx%dx%d", screen.width, screen.height, screen.bitsPerPixel);
    texts.opened = Format("%d", static_cast<int>(filesOpened));
    texts.saved = Format("%d", static_cast<int>(filesSaved));
    texts.processor = Format("%d %s %d CPU", system.processors,
                             ArchitectureName(system.architecture), system.processorType);
    texts.system = Format("Windows %s v.%d.%d build %d", PlatformName(system.platform),
                          system.majorVersion, system.minorVersion, system.build);
    texts.version = Format("Vantirel v.%X.%X", kVersionMajor, kVersionMinor);
    return texts;
}

void ApplyNumberField(const char* text, int32_t* value, int32_t minimum) {
    const char* p = text;
    while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == '\v' || *p == '\f') ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') negative = *p++ == '-';
    if (*p < '0' || *p > '9') return;  // not a number: the setting stays
    long long number = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        if (number <= INT_MAX) number = number * 10 + (*p - '0');
    if (negative) number = -number;
    if (number > INT_MAX) number = INT_MAX;
    if (number < INT_MIN) number = INT_MIN;
    *value = static_cast<int32_t>(number < minimum ? minimum : number);
}

std::string BrowserCommandLine(const char* openCommand, const char* page) {
    const size_t length = std::strlen(openCommand);
    for (size_t i = length; i >= 2; --i) {
        if (openCommand[i - 2] == '%' && openCommand[i - 1] == '1')
            return std::string(openCommand, i - 2) + page + (openCommand + i);
    }
    // No "%1": the page follows the command directly, as the program always
    // did (a command ending in a blank gets a separated argument).
    return std::string(openCommand) + page;
}

// The properties sheet's texts and rules that need no window: the lines of
// the information page, how an edit field's text becomes a setting, and the
// browser command line for the maker's web page. Portable so they are tested
// natively; PropertiesSheet.cpp and WebPage.cpp put them to work.
#pragma once
#include <cstdint>
#include <string>

// What the information page tells about the machine.
struct SystemFacts {
    int processors = 0;
    int architecture = 0;  // PROCESSOR_ARCHITECTURE_*
    int processorType = 0;
    int platform = 0;  // VER_PLATFORM_*
    int majorVersion = 0;
    int minorVersion = 0;
    int build = 0;
};

// Architecture 0 "Intel", 1 "Mips", 2 "Alpha", 3 "PPC", any other "?".
const char* ArchitectureName(int architecture);
// Platform 0 "3.1 with Win32s", 1 "95", 2 "NT", any other "?".
const char* PlatformName(int platform);

// The information page's texts, one per static control.
struct InformationTexts {
    std::string source;     // "Source: PATH"
    std::string image;      // "Image: WxHxD"
    std::string display;    // "Display: WxHxD"
    std::string opened;     // stat.iOpen
    std::string saved;      // stat.iSave
    std::string processor;  // "N ARCH TYPE CPU"
    std::string system;     // "Windows PLATFORM v.MAJOR.MINOR build BUILD"
    std::string version;    // "Vantirel v.3.0"
};
struct PictureFacts {
    const char* path = "";
    int width = 0;
    int height = 0;
    int depth = 0;
};
struct ScreenFacts {
    int width = 0;
    int height = 0;
    int bitsPerPixel = 0;
};
InformationTexts DescribeInformation(const PictureFacts& picture, const ScreenFacts& screen,
                                     int32_t filesOpened, int32_t filesSaved,
                                     const SystemFacts& system);

// Longest text an edit field of the sheet gives up.
constexpr int kNumberFieldSize = 32;
// Reads the text as a decimal number ("%d": leading blanks, a sign, digits,
// anything after them ignored) into *value, raised to at least minimum. A
// text that is not a number leaves *value as it was.
void ApplyNumberField(const char* text, int32_t* value, int32_t minimum);
constexpr int32_t kMinimumThumbnailSize = 32;
constexpr int32_t kMinimumThumbnailSpacing = 0;

// The maker's web page, opened by the "Program" page's button.
constexpr char kMakerWebPage[] = "http://www.dravik.example/vantirel/";

// The browser's command line for a page: the registered open command with
// the page in place of its last "%1"; a command without "%1" gets the page
// appended directly, without a blank.
std::string BrowserCommandLine(const char* openCommand, const char* page);

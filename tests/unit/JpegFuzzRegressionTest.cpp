// Inputs the fuzzer found, kept with what the decoder must do with them.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {
std::string FuzzFile(const std::string& name) {
    std::string path = std::string(VANTIREL_SOURCE_DIR) + "/tests/data/fuzz/" + name;
#ifdef _WIN32
    if (!path.empty() && path[0] == '/') path = "Z:" + path;
#endif
    return path;
}

class JpegFuzzRegressions : public JpegSettings {};
}  // namespace

TEST_F(JpegFuzzRegressions, AScanThatNamesAComponentTwiceDecodesWithDerivedTables) {
    // SOS lists Cr, Cb, Cr: the luma component is in no scan entry, yet its
    // blocks are decoded with its (default) tables, which must be derived.
    const std::vector<uint8_t> bytes =
        test::ReadFile(FuzzFile("jpeg-scan-names-a-component-twice.jpg"));
    ASSERT_EQ(bytes.size(), 570u);
    g_settings->idx.iIconX = 4;
    g_settings->idx.iIconY = 4;
    for (int option = 0; option < 8; ++option) {
        g_settings->jpeg.bFastDCT = option & 1;
        g_settings->jpeg.bFastUnsubsample = (option >> 1) & 1;
        const Decoded d = DecodeBytes(bytes, "fuzz-scan.jpg", nullptr, option >= 4);
        EXPECT_TRUE(d.loaded) << d.place << ": " << d.text;
        EXPECT_EQ(d.width, option >= 4 ? 4 : 32);
        EXPECT_EQ(d.height, option >= 4 ? 4 : 32);
    }
}

// Decoding test pictures through the import path, and the settings the
// decoder reads, restored after each test.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"
#include "tests/support/TestSupport.h"

namespace jpegtest {

struct Decoded {
    bool identified = false;
    bool loaded = false;
    std::string place, text;  // the error report after a failure
    int width = 0, height = 0, depth = 0;
    std::unique_ptr<Image> image;
};

// Opens bytes as a .jpg file and, when identified, loads it into an image of
// the announced geometry (or, with reduced, of the second geometry through
// the second row loader, without resampling or colour conversion). With
// convert false the row loader is called directly: YCbCr stays as decoded.
inline Decoded DecodeBytes(const std::vector<uint8_t>& bytes, const std::string& name,
                           Progress* progress = nullptr, bool reduced = false,
                           bool convert = true) {
    Decoded result;
    ClearError();
    const std::string path = test::WriteTempFile(name, bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    result.identified = imp.ready;
    if (!imp.ready) {
        result.place = g_errorPlace;
        result.text = g_errorText;
        return result;
    }
    result.width = reduced ? imp.width2 : imp.width;
    result.height = reduced ? imp.height2 : imp.height;
    result.depth = imp.depth;
    if (reduced) {
        result.image.reset(
            new Image(imp.width2, imp.height2, imp.stride2, imp.rows2, imp.palette, imp.depth));
        result.loaded = imp.rowLoader2(&imp, result.image.get(), progress);
    } else {
        result.image.reset(
            new Image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth));
        result.loaded = convert ? Load(&imp, result.image.get(), progress, false)
                                : imp.rowLoader(&imp, result.image.get(), progress);
    }
    result.place = g_errorPlace;
    result.text = g_errorText;
    return result;
}

// Keeps the decoder's settings as they were before the test.
class JpegSettings : public ::testing::Test {
protected:
    void SetUp() override { saved_ = *g_settings; }
    void TearDown() override { *g_settings = saved_; }
    SettingsBlock saved_;
};

// FNV-1a over the picture's visible pixels, row by row.
inline uint32_t PixelChecksum(const Image& image) {
    uint32_t hash = 2166136261u;
    const int bytes = image.width * (image.depth == 24 ? 3 : 1);
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* row = image.Row(y);
        for (int x = 0; x < bytes; ++x) hash = (hash ^ row[x]) * 16777619u;
    }
    return hash;
}

}  // namespace jpegtest

// Small helpers for reader tests: a byte builder for annotated in-memory
// files, and one call that writes such a file, opens it through the import
// dispatcher and loads it, keeping everything a test wants to look at.
#pragma once
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "tests/support/TestSupport.h"

namespace test {

struct Bytes {
    std::vector<uint8_t> data;
    Bytes& u8(unsigned v) { data.push_back(static_cast<uint8_t>(v)); return *this; }
    Bytes& le16(unsigned v) { return u8(v & 255).u8((v >> 8) & 255); }
    Bytes& be16(unsigned v) { return u8((v >> 8) & 255).u8(v & 255); }
    Bytes& le32(uint32_t v) { return le16(v & 0xFFFF).le16(v >> 16); }
    Bytes& be32(uint32_t v) { return be16(v >> 16).be16(v & 0xFFFF); }
    Bytes& text(const std::string& s) { data.insert(data.end(), s.begin(), s.end()); return *this; }
    Bytes& fill(size_t count, unsigned v = 0) { data.insert(data.end(), count, static_cast<uint8_t>(v)); return *this; }
    Bytes& bytes(const std::vector<uint8_t>& b) { data.insert(data.end(), b.begin(), b.end()); return *this; }
    Bytes& pad(size_t size, unsigned v = 0) { if (data.size() < size) fill(size - data.size(), v); return *this; }
    size_t size() const { return data.size(); }
    uint8_t& operator[](size_t i) { return data[i]; }
};

struct Loaded {
    bool ready = false;   // the dispatcher's verdict
    bool loaded = false;  // Load's result
    std::string place, text;  // the error report after a failure
    int width = 0, height = 0, depth = 0, stride = 0, colourModel = 0;
    std::string compression, description;
    bool hasPalette = false;
    std::vector<uint8_t> palette;  // 768 bytes when there is one
    std::vector<uint8_t> pixels;   // stride * height bytes
    std::vector<std::string> progress;

    uint8_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * stride + x]; }
    // Red, green, blue of a pixel, through the palette for palette pictures.
    std::vector<uint8_t> Rgb(int x, int y) const {
        if (hasPalette && depth <= 8) {
            const uint8_t i = At(x, y);
            return {palette[3 * i], palette[3 * i + 1], palette[3 * i + 2]};
        }
        const uint8_t* p = &pixels[static_cast<size_t>(y) * stride + 3 * x];
        return {p[2], p[1], p[0]};
    }
};

inline Loaded OpenAndLoad(const std::string& path, bool probeAll = false, bool load = true) {
    Loaded result;
    ClearError();
    RecordingProgress progress;
    ImageImpFile imp(path.c_str(), &progress, probeAll);
    result.ready = imp.ready;
    result.width = imp.width;
    result.height = imp.height;
    result.depth = imp.depth;
    result.stride = imp.stride;
    result.colourModel = imp.colourModel;
    result.compression = imp.compression ? imp.compression : "";
    result.description = imp.description ? imp.description : "";
    if (imp.palette) {
        result.hasPalette = true;
        result.palette.assign(imp.palette, imp.palette + 768);
    }
    if (imp.ready && load) {
        progress.events.clear();
        Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
        std::memset(image.pixels, 0xEE, image.PixelBytes());  // shows pixels never written
        result.loaded = Load(&imp, &image, &progress, false);
        result.pixels.assign(image.pixels, image.pixels + static_cast<size_t>(image.stride) * image.height);
        result.progress = progress.events;
    }
    result.place = g_errorPlace;
    result.text = g_errorText;
    return result;
}

inline Loaded OpenAndLoad(const std::string& name, const Bytes& file, bool probeAll = false) {
    return OpenAndLoad(WriteTempFile(name, file.data), probeAll);
}

// What a reader's own identify routine says about a file, before the
// dispatcher adds its verdict: whether it recognised the file, and its
// error report.
struct Verdict {
    bool recognised = false;
    bool result = false;
    std::string place, text;
};
inline Verdict Identify(IdentifyRoutine identify, const std::string& name, const Bytes& file) {
    ImageImpFile imp(WriteTempFile(name, file.data).c_str(), nullptr, false);
    std::free(imp.palette);
    imp.palette = nullptr;
    imp.ready = false;
    ClearError();
    Verdict verdict;
    verdict.result = identify(&imp);
    verdict.recognised = imp.ready;
    verdict.place = g_errorPlace;
    verdict.text = g_errorText;
    return verdict;
}

}  // namespace test

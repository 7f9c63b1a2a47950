// Our GIF and PNG readers against giflib (GIF) and libpng and libspng (PNG),
// each decoding the same files in one run. The compared time is decoding
// alone: our record is opened once and Load runs into the same Image each
// time; the peers decode from the file bytes in memory into one output
// buffer allocated beforehand (palette indices or samples as stored, no
// colour conversion). Our whole import path (map, identify, allocate the
// Image, load) is printed as well.
//   bench_gif_png FILE...   (bench/make_gif_png_files.sh makes suitable ones)
#include <gif_lib.h>
#include <png.h>
#include <spng.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"

namespace {
constexpr int kRuns = 7;

bool DecodeWithVantirel(const std::string& path, int* pixels) {
    ImageImpFile imp(path.c_str(), nullptr, false);
    if (!imp.ready) return false;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    *pixels = imp.width * imp.height;
    return Load(&imp, &image, nullptr, false);
}

// Output buffer of the peers, allocated once per file.
std::vector<unsigned char> g_output;

struct MemoryInput {
    const unsigned char* data;
    size_t size;
    size_t position;
};

int ReadGifBytes(GifFileType* gif, GifByteType* out, int count) {
    auto* in = static_cast<MemoryInput*>(gif->UserData);
    const size_t n = std::min<size_t>(static_cast<size_t>(count), in->size - in->position);
    std::memcpy(out, in->data + in->position, n);
    in->position += n;
    return static_cast<int>(n);
}

// The first image only, like ours: records up to the first image
// descriptor, then its raster line by line (giflib de-interlaces when the
// caller asks for the lines in pass order, so interlaced files are read in
// the four passes into their rows).
bool DecodeWithGiflib(const std::vector<unsigned char>& file) {
    MemoryInput input{file.data(), file.size(), 0};
    int error = 0;
    GifFileType* gif = DGifOpen(&input, ReadGifBytes, &error);
    if (!gif) return false;
    bool ok = false;
    GifRecordType record;
    while (DGifGetRecordType(gif, &record) == GIF_OK && record != TERMINATE_RECORD_TYPE) {
        if (record == EXTENSION_RECORD_TYPE) {
            int code;
            GifByteType* extension;
            if (DGifGetExtension(gif, &code, &extension) != GIF_OK) break;
            while (extension && DGifGetExtensionNext(gif, &extension) == GIF_OK) {
            }
            continue;
        }
        if (record != IMAGE_DESC_RECORD_TYPE || DGifGetImageDesc(gif) != GIF_OK) break;
        const int width = gif->Image.Width, height = gif->Image.Height;
        std::vector<GifPixelType>& pixels = g_output;
        if (pixels.size() < static_cast<size_t>(width) * height) break;
        ok = true;
        if (gif->Image.Interlace) {
            const int start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
            for (int pass = 0; pass < 4 && ok; ++pass)
                for (int y = start[pass]; y < height && ok; y += step[pass])
                    ok = DGifGetLine(gif, &pixels[static_cast<size_t>(y) * width], width) == GIF_OK;
        } else {
            for (int y = 0; y < height && ok; ++y)
                ok = DGifGetLine(gif, &pixels[static_cast<size_t>(y) * width], width) == GIF_OK;
        }
        break;
    }
    DGifCloseFile(gif, &error);
    return ok;
}

void ReadPngBytes(png_structp png, png_bytep out, png_size_t count) {
    auto* in = static_cast<MemoryInput*>(png_get_io_ptr(png));
    if (count > in->size - in->position) png_error(png, "end of data");
    std::memcpy(out, in->data + in->position, count);
    in->position += count;
}

// libpng as it comes: samples as stored (16-bit kept), palette indices
// unpacked to bytes, interlaced pictures through png_read_image.
bool DecodeWithLibpng(const std::vector<unsigned char>& file) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    MemoryInput input{file.data(), file.size(), 0};
    std::vector<unsigned char>& pixels = g_output;
    std::vector<png_bytep> rows;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_set_read_fn(png, &input, ReadPngBytes);
    png_read_info(png, info);
    png_set_packing(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    const png_uint_32 height = png_get_image_height(png, info);
    if (pixels.size() < rowBytes * height) png_error(png, "output buffer too small");
    rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y) rows[y] = &pixels[y * rowBytes];
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

bool DecodeWithLibspng(const std::vector<unsigned char>& file) {
    spng_ctx* ctx = spng_ctx_new(0);
    bool ok = ctx && spng_set_png_buffer(ctx, file.data(), file.size()) == 0;
    size_t size = 0;
    ok = ok && spng_decoded_image_size(ctx, SPNG_FMT_PNG, &size) == 0;
    ok = ok && size <= g_output.size() &&
         spng_decode_image(ctx, g_output.data(), size, SPNG_FMT_PNG, 0) == 0;
    spng_ctx_free(ctx);
    return ok;
}

void Report(const std::string& name, const char* peer, int pixels, double ours, double theirs) {
    bench::PrintRatio(name, peer, ours, theirs);
    std::printf("%-40s vantirel %7.1f MP/s  %-14s %7.1f MP/s  speed ours/peer %5.2f\n", "",
                pixels / ours / 1000.0, peer, pixels / theirs / 1000.0, theirs / ours);
}
}  // namespace

int main(int argc, char** argv) {
    platform::SetMessageBoxHook([](const char*, const char*) {});
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE.gif|FILE.png...\n", argv[0]);
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        const std::string path = argv[i];
        const std::vector<unsigned char> file = bench::ReadFile(path);
        const std::string name = path.substr(path.find_last_of('/') + 1);
        int pixels = 0;
        if (!DecodeWithVantirel(path, &pixels)) {
            std::fprintf(stderr, "%s: our reader refused it\n", path.c_str());
            continue;
        }
        const double whole =
            bench::MedianMilliseconds(kRuns, [&] { DecodeWithVantirel(path, &pixels); });
        ImageImpFile imp(path.c_str(), nullptr, false);
        Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
        const double ours =
            bench::MedianMilliseconds(kRuns, [&] { Load(&imp, &image, nullptr, false); });
        std::printf("%-40s vantirel whole import path %8.3f ms (%.1f MP/s)\n", name.c_str(), whole,
                    pixels / whole / 1000.0);
        // Enough for every peer's plain output (16-bit RGBA at most).
        g_output.assign(static_cast<size_t>(pixels) * 8 + static_cast<size_t>(imp.height) * 8, 0);
        const bool isGif = file.size() > 3 && std::memcmp(file.data(), "GIF", 3) == 0;
        if (isGif) {
            if (!DecodeWithGiflib(file))
                std::fprintf(stderr, "%s: giflib refused it\n", path.c_str());
            const double giflib = bench::MedianMilliseconds(kRuns, [&] { DecodeWithGiflib(file); });
            Report(name, "giflib", pixels, ours, giflib);
        } else {
            if (!DecodeWithLibpng(file))
                std::fprintf(stderr, "%s: libpng refused it\n", path.c_str());
            const double libpng = bench::MedianMilliseconds(kRuns, [&] { DecodeWithLibpng(file); });
            Report(name, "libpng", pixels, ours, libpng);
            if (!DecodeWithLibspng(file))
                std::fprintf(stderr, "%s: libspng refused it\n", path.c_str());
            const double libspng =
                bench::MedianMilliseconds(kRuns, [&] { DecodeWithLibspng(file); });
            Report(name, "libspng", pixels, ours, libspng);
        }
    }
    return 0;
}

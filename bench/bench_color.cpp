// Throughput of the colour routines on a 12-megapixel photograph, beside
// ImageMagick doing the same work in the same run where it can (-colors 256
// with and without dithering, -filter Catrom -resize). ImageMagick is run as
// its command-line tool; the time it takes to read the picture and discard
// the result (convert IN null:) is measured and taken off.
//
//   bench_color [PICTURE]   (any picture ImageMagick reads; default: the
//                            corpus flower enlarged to 4000 x 3000)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Image.h"

namespace {
using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

bool HaveMagick() { return std::system("command -v convert >/dev/null 2>&1") == 0; }

// Best of three runs of a shell command, in seconds.
double TimeCommand(const std::string& command) {
    double best = 1e30;
    for (int run = 0; run < 3; ++run) {
        const auto start = Clock::now();
        if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) return -1;
        best = std::min(best, Seconds(start));
    }
    return best;
}

// Reads a binary PPM (P6, maxval 255) into a 24-bit picture.
std::unique_ptr<Image> ReadPpm(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return nullptr;
    int width = 0, height = 0, maxval = 0;
    if (std::fscanf(file, "P6 %d %d %d", &width, &height, &maxval) != 3 || maxval != 255 ||
        width < 1 || height < 1) {
        std::fclose(file);
        return nullptr;
    }
    std::fgetc(file);
    auto image = std::make_unique<Image>(width, height, 3 * width, height, nullptr, 24);
    std::vector<uint8_t> row(3 * static_cast<size_t>(width));
    for (int y = 0; y < height; ++y) {
        if (std::fread(row.data(), 1, row.size(), file) != row.size()) break;
        uint8_t* out = image->Row(y);
        for (int x = 0; x < width; ++x) {
            out[3 * x] = row[3 * x + 2];
            out[3 * x + 1] = row[3 * x + 1];
            out[3 * x + 2] = row[3 * x];
        }
    }
    std::fclose(file);
    return image;
}

// Median of three runs, in seconds; -1 when the routine fails.
template <typename Work>
double TimeOurs(Work work) {
    bool ok = true;
    const double ms = bench::MedianMilliseconds(3, [&] { ok = work() && ok; });
    return ok ? ms / 1000 : -1;
}

// Our time against ImageMagick's (ratio ours / its), then our throughput.
void Report(const char* task, double megapixels, double ours, double magick) {
    bench::PrintRatio(task, magick > 0 ? "ImageMagick" : "(no peer)", 1000 * ours,
                      magick > 0 ? 1000 * magick : 0);
    std::printf("    %.1f source megapixels per second\n", megapixels / ours);
}
}  // namespace

int main(int argc, char** argv) {
    if (!HaveMagick()) {
        std::fprintf(stderr,
                     "bench_color: ImageMagick's convert is needed to prepare the picture\n");
        return 1;
    }
    const std::string ppm = "/tmp/bench_color_input.ppm";
    std::string prepare;
    if (argc > 1)
        prepare = "convert '" + std::string(argv[1]) + "' -depth 8 " + ppm;
    else
        prepare = "convert " VANTIREL_CORPUS_DIR
                  "/jpeg/pillow-flower.jpg "
                  "-resize 4000x3000! -depth 8 " +
                  ppm;
    if (std::system(prepare.c_str()) != 0) {
        std::fprintf(stderr, "bench_color: could not prepare %s\n", ppm.c_str());
        return 1;
    }
    std::unique_ptr<Image> photo = ReadPpm(ppm);
    if (!photo) {
        std::fprintf(stderr, "bench_color: could not read %s\n", ppm.c_str());
        return 1;
    }
    const double megapixels = photo->width * static_cast<double>(photo->height) / 1e6;
    std::printf("picture %dx%d (%.1f MP)\n", photo->width, photo->height, megapixels);

    const double baseline = TimeCommand("convert " + ppm + " null:");
    auto magick = [&](const std::string& options) {
        const double t = TimeCommand("convert " + ppm + " " + options + " null:");
        return t < 0 ? -1 : t - baseline;
    };

    uint8_t palette[kPaletteBytes] = {};
    Image quantised(photo->width, photo->height, photo->width, photo->height, palette, 8);
    Report("quantise to 256 colours", megapixels, TimeOurs([&] {
               return clr_Xto8bit(&quantised, photo.get(), 256, false, false, nullptr);
           }),
           magick("+dither -colors 256"));
    Report("quantise to 256 colours, dithered", megapixels, TimeOurs([&] {
               return clr_Xto8bit(&quantised, photo.get(), 256, true, false, nullptr);
           }),
           magick("-dither FloydSteinberg -colors 256"));
    Report("fixed 256-colour palette, dithered", megapixels,
           TimeOurs([&] { return clr_Xto8bit(&quantised, photo.get(), 256, true, true, nullptr); }),
           -1);

    Image dithered(photo->width, photo->height, 3 * photo->width, photo->height, nullptr, 24);
    Report("dither to 15 bits", megapixels,
           TimeOurs([&] { return clr_Dither24to15bit(&dithered, photo.get(), nullptr); }), -1);

    Image screen(1920, 1080, 3 * 1920, 1080, nullptr, 24);
    Report("bicubic to 1920x1080", megapixels,
           TimeOurs([&] { return ResampleBicubic(&screen, photo.get(), nullptr); }),
           magick("-filter Catrom -resize 1920x1080!"));
    Image thumbnail(88, 66, 3 * 88, 66, nullptr, 24);
    Report("bicubic to 88x66", megapixels,
           TimeOurs([&] { return ResampleBicubic(&thumbnail, photo.get(), nullptr); }),
           magick("-filter Catrom -resize 88x66!"));
    Report("nearest to 1920x1080", megapixels,
           TimeOurs([&] { return ResampleNearest(&screen, photo.get(), nullptr); }),
           magick("-filter Point -resize 1920x1080!"));
    std::printf("(ImageMagick times are its command minus reading the picture: %.3f s)\n",
                baseline);
    std::remove(ppm.c_str());
    return 0;
}

// The colour routines on photographs against ImageMagick doing the same work:
// quantisation error beside ImageMagick's -colors, 15-bit dithering keeping
// the average, bicubic resampling beside a Catmull-Rom resize.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Image.h"
#include "tests/support/TestSupport.h"

#ifndef _WIN32
namespace {
// A photograph from the corpus, or, without the corpus, ImageMagick's plasma
// fractal with a fixed seed; as ImageMagick decodes it.
std::string PhotoSource() {
    if (test::CorpusAvailable()) return test::CorpusPath("jpeg/pillow-flower.jpg");
    return "-seed 12 -size 480x360 plasma:";
}

bool RunMagick(const std::string& arguments, test::RgbPicture* picture) {
    int status = 0;
    const std::string out = test::RunCommand("convert " + arguments + " -depth 8 ppm:-", &status);
    return status == 0 && test::ParsePnm(out, picture);
}

std::unique_ptr<Image> ToImage(const test::RgbPicture& picture) {
    auto image = std::make_unique<Image>(picture.width, picture.height, 3 * picture.width,
                                         picture.height, nullptr, 24);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            const uint8_t* rgb = &picture.rgb[3 * (picture.width * y + x)];
            uint8_t* p = image->Row(y) + 3 * x;
            p[0] = rgb[2], p[1] = rgb[1], p[2] = rgb[0];
        }
    return image;
}

// Mean absolute difference per channel between a picture and an RGB reference.
double MeanError(const test::RgbPicture& reference, int width, int height,
                 const std::function<void(int, int, int*)>& rgbAt) {
    double total = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            int rgb[3];
            rgbAt(x, y, rgb);
            for (int c = 0; c < 3; ++c)
                total += std::abs(rgb[c] - reference.rgb[3 * (width * y + x) + c]);
        }
    return total / (3.0 * width * height);
}

class ColourConformance : public ::testing::Test {
protected:
    void SetUp() override {
        if (!test::HaveTool("convert")) GTEST_SKIP() << "ImageMagick missing";
        ASSERT_TRUE(RunMagick(PhotoSource(), &photo));
    }
    test::RgbPicture photo;
};

void ExpectQuantisationCloseToMagick(const test::RgbPicture& photo, int colours, bool dither) {
    auto source = ToImage(photo);
    uint8_t palette[kPaletteBytes] = {};
    Image quantised(photo.width, photo.height, photo.width, photo.height, palette, 8);
    ASSERT_TRUE(clr_Xto8bit(&quantised, source.get(), colours, dither, false, nullptr));
    std::set<int> used;
    const double ours = MeanError(photo, photo.width, photo.height, [&](int x, int y, int* rgb) {
        const int i = quantised.Row(y)[x];
        used.insert(i);
        for (int c = 0; c < 3; ++c) rgb[c] = quantised.palette[3 * i + c];
    });
    EXPECT_LE(static_cast<int>(used.size()), colours);

    test::RgbPicture magick;
    ASSERT_TRUE(RunMagick(PhotoSource() + (dither ? " -dither FloydSteinberg" : " +dither") +
                              " -colors " + std::to_string(colours),
                          &magick));
    const double theirs = MeanError(photo, photo.width, photo.height, [&](int x, int y, int* rgb) {
        for (int c = 0; c < 3; ++c) rgb[c] = magick.rgb[3 * (photo.width * y + x) + c];
    });
    std::printf("quantise to %d colours%s: mean error ours %.2f, ImageMagick %.2f\n", colours,
                dither ? " dithered" : "", ours, theirs);
    // Boxes split at the mean over a 6-bit histogram against ImageMagick's
    // octree: the same order of error, not the same pixels.
    EXPECT_LT(ours, 2.0 * theirs + 1.0);
}
}  // namespace

TEST_F(ColourConformance, QuantisedPhotoErrorIsCloseToImageMagicks) {
    ExpectQuantisationCloseToMagick(photo, 256, false);
    ExpectQuantisationCloseToMagick(photo, 16, false);
}

TEST_F(ColourConformance, DitheredQuantisedPhotoErrorIsCloseToImageMagicks) {
    ExpectQuantisationCloseToMagick(photo, 256, true);
    ExpectQuantisationCloseToMagick(photo, 16, true);
}

TEST_F(ColourConformance, FifteenBitDitheringKeepsEveryChannelsAverage) {
    auto image = ToImage(photo);
    ASSERT_TRUE(clr_Dither24to15bit(image.get(), image.get(), nullptr));
    double sums[3] = {0, 0, 0}, reference[3] = {0, 0, 0};
    for (int y = 0; y < photo.height; ++y)
        for (int x = 0; x < photo.width; ++x)
            for (int c = 0; c < 3; ++c) {
                const int value = image->Row(y)[3 * x + 2 - c];
                ASSERT_EQ(value & 7, 0);
                sums[c] += value;
                reference[c] += photo.rgb[3 * (photo.width * y + x) + c];
            }
    const double pixels = static_cast<double>(photo.width) * photo.height;
    for (int c = 0; c < 3; ++c) {
        std::printf("15-bit channel %d: mean %.3f, source %.3f\n", c, sums[c] / pixels,
                    reference[c] / pixels);
        // Truncating without diffusion would lose 3.5 on average.
        EXPECT_NEAR(sums[c] / pixels, reference[c] / pixels, 0.5);
    }
}

TEST_F(ColourConformance, BicubicThumbnailIsCloseToCatmullRomAtTheSamePositions) {
    auto source = ToImage(photo);
    const int width = 88, height = 66;
    Image thumbnail(width, height, 3 * width, height, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&thumbnail, source.get(), nullptr));

    // Destination pixel j samples source position 1 + j x step, row r the
    // position 1/2 + r x step (pixel indices, steps in 16.16). In
    // ImageMagick's continuous coordinates (pixel centres at + 0.5) that is
    // an affine map; sampling its Catmull-Rom interpolation (a = -1/2, ours
    // is a = -1) there without a prefilter is the independent version.
    const double xStep = (((photo.width - 3) << 16) / width) / 65536.0;
    const double yStep = (((photo.height - 2) << 16) / height) / 65536.0;
    char points[256];
    std::snprintf(points, sizeof points, "1.5,1.0 0.5,0.5  %.9f,%.9f 10.5,10.5  %.9f,1.0 10.5,0.5",
                  1.5 + 10 * xStep, 1.0 + 10 * yStep, 1.5 + 10 * xStep);
    test::RgbPicture sampled;
    ASSERT_TRUE(RunMagick(PhotoSource() +
                              " -virtual-pixel edge -interpolate Catrom -filter point"
                              " -define distort:viewport=88x66+0+0 -distort Affine '" +
                              points + "' +repage",
                          &sampled));
    ASSERT_EQ(sampled.width, width);
    ASSERT_EQ(sampled.height, height);
    auto ours = [&](int x, int y, int* rgb) {
        for (int c = 0; c < 3; ++c) rgb[c] = thumbnail.Row(y)[3 * x + 2 - c];
    };
    const double difference = MeanError(sampled, width, height, ours);

    test::RgbPicture resized;
    ASSERT_TRUE(RunMagick(PhotoSource() + " -filter Catrom -resize 88x66!", &resized));
    const double fromResize = MeanError(resized, width, height, ours);
    std::printf(
        "88x66 thumbnail: mean difference %.2f from Catmull-Rom sampled at our positions, "
        "%.2f from ImageMagick's filtered Catrom resize\n",
        difference, fromResize);
    EXPECT_LT(difference, 2.5);
}
#endif

// The JPEG decoder against libjpeg-turbo (djpeg, and PIL for raw YCbCr) on
// the sample corpus and on files made at test time with cjpeg.
//
// Where the pipelines agree the results must be identical: greyscale with
// the accurate transform, the luma of every colour file, and Cb and Cr of
// 4:4:4 files before colour conversion. Where this decoder deliberately
// differs the difference is bounded:
// - colour conversion: our tables are centred at 127.5, libjpeg's at 128.
//   Against djpeg -nosmooth (replicated chroma, as our fast upsampling) the
//   RGB values differ by at most 2 (the half step times 1.772 for blue, plus
//   the two roundings) and by about 1 on average;
// - smooth upsampling: our filters work on the padded sample grid with their
//   own rounding, libjpeg's triangle filter on the image edge; measured
//   PSNR 44.5-47 dB and at most 5 levels on real photos, so PSNR >= 40 dB
//   and max <= 12 are asserted;
// - the fast transform: our multipliers are truncated where libjpeg rounds
//   them, and the one-eighth decode floors DC/8 where libjpeg rounds.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"
#include "jpeg/YCbCr.h"
#include "tests/support/TestSupport.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

bool HaveTools() {
#ifdef _WIN32
    return false;
#else
    return test::HaveTool("djpeg") && test::HaveTool("cjpeg");
#endif
}

struct Difference {
    int max = 0;
    double mean = 0;
    double psnr = 1e9;
};

// Our picture (B, G, R or grey through the palette) against theirs (RGB).
Difference Compare(const Image& ours, const test::RgbPicture& theirs, int channel = -1) {
    Difference d;
    EXPECT_EQ(ours.width, theirs.width);
    EXPECT_EQ(ours.height, theirs.height);
    if (ours.width != theirs.width || ours.height != theirs.height) {
        d.max = 999;
        return d;
    }
    double sum = 0, squares = 0;
    size_t count = 0;
    for (int y = 0; y < ours.height; ++y) {
        for (int x = 0; x < ours.width; ++x) {
            int mine[3];
            if (ours.depth == 24) {
                const uint8_t* p = ours.Row(y) + 3 * x;
                if (channel >= 0) {
                    mine[0] = mine[1] = mine[2] = p[channel];
                } else {
                    mine[0] = p[2];
                    mine[1] = p[1];
                    mine[2] = p[0];
                }
            } else {
                const uint8_t v = ours.Row(y)[x];
                for (int c = 0; c < 3; ++c) mine[c] = ours.palette ? ours.palette[3 * v + c] : v;
            }
            for (int c = 0; c < 3; ++c) {
                const int diff = std::abs(
                    mine[c] - theirs.rgb[(static_cast<size_t>(y) * theirs.width + x) * 3 + c]);
                d.max = std::max(d.max, diff);
                sum += diff;
                squares += diff * diff;
                ++count;
            }
        }
    }
    d.mean = sum / static_cast<double>(count);
    d.psnr = squares == 0 ? 1e9
                          : 10 * std::log10(255.0 * 255.0 / (squares / static_cast<double>(count)));
    return d;
}

test::RgbPicture Djpeg(const std::string& options, const std::string& path) {
    test::RgbPicture picture;
    const std::string out = test::RunCommand("djpeg " + options + " '" + path + "' 2>/dev/null");
    EXPECT_TRUE(test::ParsePnm(out, &picture)) << "djpeg " << options << " " << path;
    return picture;
}

// Decodes a file with the given options: converted to RGB, or with raw
// true as decoded (YCbCr).
Decoded DecodeFile(const std::string& path, bool fastDct, bool fastUpsampling, bool raw = false,
                   bool reduced = false) {
    g_settings->jpeg.bFastDCT = fastDct;
    g_settings->jpeg.bFastUnsubsample = fastUpsampling;
    return DecodeBytes(test::ReadFile(path), "conformance.jpg", nullptr, reduced, !raw && !reduced);
}

class JpegConformance : public JpegSettings {
protected:
    void SetUp() override {
        JpegSettings::SetUp();
        if (!HaveTools()) GTEST_SKIP() << "djpeg/cjpeg not available";
        g_settings->idx.iIconX = 1;
        g_settings->idx.iIconY = 1;
    }

    // Every check that applies to a baseline file this decoder accepts.
    void CheckAgainstLibjpeg(const std::string& path, bool grey, bool checkSmooth, bool exactChroma,
                             bool compareFastDct = true) {
        SCOPED_TRACE(path);
        // Greyscale, or the luma of colour files: identical.
        const Decoded raw = DecodeFile(path, false, true, true);
        ASSERT_TRUE(raw.loaded) << raw.text;
        const test::RgbPicture luma = Djpeg("-dct int -grayscale", path);
        EXPECT_EQ(Compare(*raw.image, luma, grey ? -1 : 0).max, 0);

        if (!grey) {
            // Replicated chroma against djpeg's: only the colour tables differ.
            const Decoded fast = DecodeFile(path, false, true);
            const Difference d = Compare(*fast.image, Djpeg("-dct int -nosmooth", path));
            EXPECT_LE(d.max, 2);
            EXPECT_LE(d.mean, 1.4);
            if (checkSmooth) {
                const Decoded smooth = DecodeFile(path, false, false);
                const Difference s = Compare(*smooth.image, Djpeg("-dct int", path));
                EXPECT_GE(s.psnr, 40.0);
                EXPECT_LE(s.max, 12);
            }
        }
        if (exactChroma && test::HaveTool("/usr/bin/python3")) {
            // Cb and Cr before conversion, from PIL's raw YCbCr output.
            test::RgbPicture ycc;
            const std::string out = test::RunCommand(
                "/usr/bin/python3 -c \"import sys; from PIL import Image; im = "
                "Image.open(sys.argv[1]); "
                "im.draft('YCbCr', im.size); sys.stdout.buffer.write(b'P6 %d %d 255\\n' % im.size "
                "+ "
                "im.tobytes())\" '" +
                path + "' 2>/dev/null");
            const bool parsed = test::ParsePnm(out, &ycc);
            EXPECT_TRUE(parsed) << "PIL gave no YCbCr picture";
            if (parsed) {
                // Compare channel by channel: byte c of ours with PIL's channel c.
                int worst = 0;
                for (int y = 0; y < ycc.height; ++y)
                    for (int x = 0; x < ycc.width; ++x)
                        for (int c = 0; c < 3; ++c)
                            worst = std::max(
                                worst,
                                std::abs(
                                    raw.image->Row(y)[3 * x + c] -
                                    ycc.rgb[(static_cast<size_t>(y) * ycc.width + x) * 3 + c]));
                EXPECT_EQ(worst, 0);
                // After conversion: exactly our tables applied to those values.
                std::vector<uint8_t> converted(ycc.rgb);
                jpegConvertYCbCr(converted.data(), 3 * ycc.width, ycc.width, ycc.height);
                const Decoded rgb = DecodeFile(path, false, false);
                int worstRgb = 0;
                for (int y = 0; y < ycc.height; ++y)
                    for (int x = 0; x < 3 * ycc.width; ++x)
                        worstRgb = std::max(
                            worstRgb,
                            std::abs(rgb.image->Row(y)[x] -
                                     converted[static_cast<size_t>(y) * 3 * ycc.width + x]));
                EXPECT_EQ(worstRgb, 0);
            }
        }
        // The fast transform: close to libjpeg's fast transform. Its
        // multipliers are truncated to two fractional bits, so with
        // quantisers of 1 (quality 100) some lose a tenth of their value
        // and detailed pictures differ much more; those are left out.
        if (compareFastDct) {
            const Decoded fastDct = DecodeFile(path, true, true);
            const Difference f = Compare(*fastDct.image, Djpeg("-dct fast -nosmooth", path));
            EXPECT_GE(f.psnr, 36.0);
        }
        // The one-eighth decode: DC/8 floored where libjpeg rounds, so each
        // of its pixels is ours or one more.
        if (grey) {
            const Decoded eighth = DecodeFile(path, false, false, false, true);
            ASSERT_TRUE(eighth.loaded);
            const test::RgbPicture scaled = Djpeg("-dct int -scale 1/8", path);
            ASSERT_EQ(eighth.width, scaled.width);
            ASSERT_EQ(eighth.height, scaled.height);
            int same = 0, other = 0;
            for (int y = 0; y < scaled.height; ++y) {
                for (int x = 0; x < scaled.width; ++x) {
                    const int theirs = scaled.rgb[(static_cast<size_t>(y) * scaled.width + x) * 3];
                    const int difference = theirs - eighth.image->Row(y)[x];
                    same += difference == 0;
                    other += difference != 0 && difference != 1;
                }
            }
            EXPECT_EQ(other, 0);
            EXPECT_GT(same, 0);
        }
    }
};

struct CorpusFile {
    const char* path;
    const char* place;  // null: decodes
    const char* text;
};

const CorpusFile kCorpus[] = {
    {"jpeg/imagers-portrait_2.jpg", nullptr, nullptr},
    {"jpeg/imagers-test.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/jpegdec-16bit-qtables.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-blank_800x280.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-extraneous-bytes-after-sos.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-grayscale_16x24_sampling2x2.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-grayscale_large.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-grayscale_long.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-jpeg_lossless_sel1.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/jpegdec-multiple-0xff-before-eoi.jpg", nullptr, nullptr},
    {"jpeg/jpegdec-non-interleaved-mcu.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/ljt-monkey12.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/ljt-testimgari.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/ljt-testimgint.jpg", nullptr, nullptr},
    {"jpeg/ljt-testorig.jpg", nullptr, nullptr},
    {"jpeg/pillow-app13.jpg", nullptr, nullptr},
    {"jpeg/pillow-flower.jpg", nullptr, nullptr},
    {"jpeg/pillow-flower2.jpg", nullptr, nullptr},
    {"jpeg/pillow-hopper.jpg", nullptr, nullptr},
    {"jpeg/pillow-hopper_16bit_qtables.jpg", nullptr, nullptr},
    {"jpeg/pillow-hopper_gray.jpg", nullptr, nullptr},
    {"jpeg/pillow-iptc.jpg", nullptr, nullptr},
    {"jpeg/pillow-jpeg_ff00_header.jpg", nullptr, nullptr},
    {"jpeg/pillow-junk_jpeg_header.jpg", nullptr, nullptr},
    {"jpeg/pillow-photoshop-200dpi.jpg", nullptr, nullptr},
    // Four components: the probe announces only 8 or 24 bits per pixel.
    {"jpeg/pillow-pil_sample_cmyk.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"jpeg/zigimg-grayscale_sample0.jpg", nullptr, nullptr},
    {"jpeg/zigimg-huff_simple0.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_410.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_411.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_420.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_422.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_440.jpg", nullptr, nullptr},
    {"jpeg/zigimg-subsampling_444.jpg", nullptr, nullptr},
    {"bad/jpegdec-dc-predictor-overflow.jpg", nullptr, nullptr},
    {"bad/jpegdec-derive-huffman-codes-overflow.jpg", "jpegGetDHT", "Bogus DHT count!"},
    {"bad/jpegdec-invalid-dimensions.jpg", "ImageImpFile()", "Image size is zero!"},
    {"bad/jpegdec-missing-frame-image-1410.jpg", "vti_JPEG", "No SOF marker found"},
    {"bad/jpegdec-missing-sof.jpg", "vti_JPEG", "No SOF marker found"},
    {"bad/jpegdec-missing-sos.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
    {"bad/jpegdec-null_height.jpg", "ImageImpFile()", "Image size is zero!"},
    {"bad/pillow-truncated_jpeg.jpg", "vti_JPEG", "Unsupported non-baseline JPEG format"},
};

class JpegCorpus : public JpegSettings {
protected:
    void SetUp() override {
        JpegSettings::SetUp();
        if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    }
};

}  // namespace

TEST_F(JpegCorpus, EveryFileDecodesOrIsRefusedWithItsMessage) {
    for (const CorpusFile& file : kCorpus) {
        SCOPED_TRACE(file.path);
        for (int option = 0; option < 4; ++option) {
            g_settings->jpeg.bFastDCT = option & 1;
            g_settings->jpeg.bFastUnsubsample = option >> 1;
            const Decoded d =
                DecodeBytes(test::ReadFile(test::CorpusPath(file.path)), "corpus.jpg");
            if (file.place) {
                EXPECT_FALSE(d.identified && d.loaded);
                EXPECT_EQ(d.place, file.place);
                EXPECT_EQ(d.text, file.text);
            } else {
                EXPECT_TRUE(d.loaded) << d.place << ": " << d.text;
            }
        }
    }
}

TEST_F(JpegCorpus, TheLargestFrameIsAnnouncedWithoutDecoding) {
    const std::string path = test::CorpusPath("bad/jpegdec-max_size.jpg");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.width, 65535);
    EXPECT_EQ(imp.height, 65535);
    EXPECT_EQ(imp.stride, 65536);
    EXPECT_EQ(imp.rows, 65536);
}

TEST_F(JpegCorpus, AnEmptyFileIsNotAPicture) {
    const Decoded d = DecodeBytes({}, "empty.jpg");
    EXPECT_FALSE(d.identified);
}

#if GTEST_HAS_DEATH_TEST && !defined(_WIN32)
TEST_F(JpegCorpus, AFileWhoseRestartIntervalsOverrunTheirMarkersEndsTheProgram) {
    // Its segments hold more MCUs' worth of bits than the restart interval
    // says, so the decoder reads through an RSTn as data and then meets the
    // one after it.
    const std::vector<uint8_t> bytes =
        test::ReadFile(test::CorpusPath("jpeg/pillow-hopper_bad_exif.jpg"));
    EXPECT_EXIT(DecodeBytes(bytes, "bad-exif.jpg"), ::testing::ExitedWithCode(1),
                "QUIT!: EXIT: Incorrect RST marker");
}
#endif

TEST_F(JpegConformance, CorpusFilesMatchLibjpeg) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    struct {
        const char* file;
        bool grey, smooth, exactChroma;
        bool compareFastDct = true;
    } files[] = {
        {"pillow-hopper_gray.jpg", true, false, false},
        {"zigimg-grayscale_sample0.jpg", true, false, false},
        {"jpegdec-grayscale_large.jpg", true, false, false},
        {"jpegdec-grayscale_long.jpg", true, false, false},
        {"jpegdec-blank_800x280.jpg", true, false, false},
        {"jpegdec-grayscale_16x24_sampling2x2.jpg", true, false, false, false},  // all quantisers 1
        {"pillow-flower2.jpg", false, true, true},
        {"pillow-photoshop-200dpi.jpg", false, true, true},
        {"pillow-jpeg_ff00_header.jpg", false, true, true},
        {"zigimg-subsampling_444.jpg", false, true, true},
        {"zigimg-huff_simple0.jpg", false, false, true},
        {"pillow-hopper.jpg", false, true, false},
        {"pillow-flower.jpg", false, true, false},
        {"pillow-iptc.jpg", false, true, false},
        {"pillow-junk_jpeg_header.jpg", false, true, false},
        {"imagers-portrait_2.jpg", false, true, false},
        {"ljt-testorig.jpg", false, true, false},
        {"ljt-testimgint.jpg", false, true, false},
        {"jpegdec-multiple-0xff-before-eoi.jpg", false, true, false},
        {"jpegdec-extraneous-bytes-after-sos.jpg", false, true, false},
        {"zigimg-subsampling_420.jpg", false, true, false},
        {"zigimg-subsampling_422.jpg", false, true, false},
        {"zigimg-subsampling_440.jpg", false, true, false},
        // Too small for the edge handling of the two smoothing filters to
        // be compared.
        {"pillow-app13.jpg", false, false, false},
    };
    for (const auto& f : files)
        CheckAgainstLibjpeg(test::CorpusPath(std::string("jpeg/") + f.file), f.grey, f.smooth,
                            f.exactChroma, f.compareFastDct);
}

TEST_F(JpegConformance, FilesMadeByCjpegMatchLibjpeg) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    // Photos as sources: two corpus pictures of odd sizes, decoded to PPM.
    const std::string sources[] = {"pillow-flower.jpg", "ljt-testorig.jpg"};
    const struct {
        const char* options;
        bool grey, smooth, exactChroma;
    } encodings[] = {
        {"-baseline -quality 90 -sample 1x1", false, true, true},
        {"-baseline -quality 90 -sample 2x1", false, true, false},
        {"-baseline -quality 90 -sample 2x2", false, true, false},
        {"-baseline -quality 90 -sample 1x2", false, true, false},
        {"-baseline -quality 75 -grayscale", true, false, false},
        {"-baseline -quality 100 -grayscale -optimize", true, false, false},
        {"-baseline -quality 50 -sample 2x2 -restart 1", false, true, false},
        {"-baseline -quality 85 -sample 1x1 -restart 3B -optimize", false, true, true},
        {"-baseline -quality 95 -sample 2x1 -optimize", false, true, false},
        {"-baseline -quality 20 -grayscale -restart 2B", true, false, false},
        // Greyscale whose one component claims subsampling: its scan is not
        // interleaved, one block per MCU.
        {"-baseline -quality 90 -grayscale -sample 2x2", true, false, false},
        {"-baseline -quality 80 -grayscale -sample 3x2 -restart 1", true, false, false},
    };
    int index = 0;
    for (const std::string& source : sources) {
        const std::string ppm = test::TempPath("source-" + std::to_string(index) + ".ppm");
        int status = 0;
        test::RunCommand(
            "djpeg -dct int '" + test::CorpusPath("jpeg/" + source) + "' > '" + ppm + "'", &status);
        ASSERT_EQ(status, 0);
        for (const auto& e : encodings) {
            const std::string jpg = test::TempPath("made-" + std::to_string(index++) + ".jpg");
            test::RunCommand(std::string("cjpeg ") + e.options + " '" + ppm + "' > '" + jpg + "'",
                             &status);
            ASSERT_EQ(status, 0) << e.options;
            SCOPED_TRACE(std::string(e.options) + " from " + source);
            CheckAgainstLibjpeg(jpg, e.grey, e.smooth, e.exactChroma);
        }
    }
}

TEST_F(JpegConformance, ProgressiveArithmeticCmykAndSeparateScansAreRefused) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "corpus not available";
    const std::string ppm = test::TempPath("refusal-source.ppm");
    test::RunCommand("djpeg '" + test::CorpusPath("jpeg/pillow-hopper.jpg") + "' > '" + ppm + "'");
    const std::string scans = test::TempPath("separate.scans");
    if (FILE* f = std::fopen(scans.c_str(), "w")) {
        std::fputs("0;\n1;\n2;\n", f);
        std::fclose(f);
    }
    const struct {
        std::string command;
        const char* place;
        const char* text;
    } cases[] = {
        {"cjpeg -progressive '" + ppm + "'", "vti_JPEG", "Unsupported non-baseline JPEG format"},
        {"cjpeg -arithmetic '" + ppm + "'", "vti_JPEG", "Unsupported non-baseline JPEG format"},
        {"cjpeg -baseline -scans '" + scans + "' '" + ppm + "'", "jpegGetSOS",
         "Multiscan images not supported"},
        {"convert '" + ppm + "' -colorspace CMYK jpg:-", "vti_JPEG",
         "Unsupported non-baseline JPEG format"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command);
        if (c.command.rfind("convert", 0) == 0 && !test::HaveTool("convert")) continue;
        int status = 0;
        const std::string bytes = test::RunCommand(c.command + " 2>/dev/null", &status);
        ASSERT_EQ(status, 0);
        const Decoded d =
            DecodeBytes(std::vector<uint8_t>(bytes.begin(), bytes.end()), "refused.jpg");
        EXPECT_FALSE(d.identified && d.loaded);
        EXPECT_EQ(d.place, c.place);
        EXPECT_EQ(d.text, c.text);
    }
}

// JPEG files through vantirel-cli as users run it (native builds): the
// information line, conversion with each decoder option, refusals, and the
// wrong restart marker that ends the program.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "tests/support/TestSupport.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

#ifndef _WIN32
using namespace jpegtest;

namespace {
struct CliRun {
    int status;
    std::string out;
    std::string err;
};

CliRun Cli(const std::string& arguments) {
    const std::string errFile = test::TempPath("jpeg-cli-stderr.txt");
    CliRun r;
    r.out = test::RunCommand(
        std::string(VANTIREL_BINARY_DIR) + "/cli/vantirel-cli " + arguments + " 2>" + errFile,
        &r.status);
    const std::vector<uint8_t> err = test::ReadFile(errFile);
    r.err.assign(err.begin(), err.end());
    return r;
}

// The pixels of a written bitmap, read back through the import path.
uint32_t BitmapChecksum(const std::string& path, int* depth) {
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_TRUE(imp.ready) << path;
    if (!imp.ready) return 0;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    EXPECT_TRUE(Load(&imp, &image, nullptr, false));
    *depth = image.depth;
    return PixelChecksum(image);
}

class JpegCli : public JpegSettings {
protected:
    void SetUp() override {
        JpegSettings::SetUp();
        if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    }
};
}  // namespace

TEST_F(JpegCli, InfoNamesTheFormatAndCompressionAndReportsRefusals) {
    const std::string colour = test::CorpusPath("jpeg/pillow-hopper.jpg");
    const std::string grey = test::CorpusPath("jpeg/pillow-hopper_gray.jpg");
    const std::string progressive = test::CorpusPath("jpeg/imagers-test.jpg");
    const CliRun r = Cli("info " + colour + " " + progressive + " " + grey);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, colour + ": 128x128x24, Joint Photographic Experts Group, HuffDCT\n" + grey +
                         ": 128x128x8, Joint Photographic Experts Group, HuffDCT\n");
    EXPECT_EQ(r.err, progressive + ": vti_JPEG: Unsupported non-baseline JPEG format\n");
}

TEST_F(JpegCli, ConvertDecodesWithEachOptionSet) {
    // The same pixels as the in-process decode pins for each option set:
    // accurate or fast transform, smooth or replicated chroma.
    const std::string in = test::CorpusPath("jpeg/pillow-hopper.jpg");
    const struct {
        const char* options;
        uint32_t checksum;
    } cases[] = {
        {"", 3425845381u},
        {"--fast-upsampling ", 506990098u},
        {"--fast-dct ", 2857407218u},
        {"--fast-dct --fast-upsampling ", 1352440963u},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        const std::string out = test::TempPath("hopper-cli.bmp");
        const CliRun r = Cli(std::string("convert ") + c.options + in + " " + out);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");
        int depth = 0;
        EXPECT_EQ(BitmapChecksum(out, &depth), c.checksum);
        EXPECT_EQ(depth, 24);
    }
    const std::string grey = test::TempPath("hopper-grey-cli.bmp");
    ASSERT_EQ(Cli("convert " + test::CorpusPath("jpeg/pillow-hopper_gray.jpg") + " " + grey).status,
              0);
    int depth = 0;
    EXPECT_EQ(BitmapChecksum(grey, &depth), 624786520u);
    EXPECT_EQ(depth, 8);
}

TEST_F(JpegCli, ConvertRefusesWhatTheDecoderDoesNotRead) {
    const std::string out = test::TempPath("never-written.bmp");
    const std::string arithmetic = test::CorpusPath("jpeg/ljt-testimgari.jpg");
    const CliRun r = Cli("convert " + arithmetic + " " + out);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, arithmetic + ": vti_JPEG: Unsupported non-baseline JPEG format\n");
    const std::string dht = test::CorpusPath("bad/jpegdec-derive-huffman-codes-overflow.jpg");
    const CliRun bad = Cli("convert " + dht + " " + out);
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err, dht + ": jpegGetDHT: Bogus DHT count!\n");
}

TEST_F(JpegCli, AWrongRestartMarkerEndsTheProgramWithQuit) {
    // Two 8x8 blocks, restart interval 1, and RST5 where RST0 belongs.
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter scan;
    EncodeBlock(&scan, dc, ac, 16);
    scan.Flush();
    scan.Raw({0xFF, 0xD5});
    EncodeBlock(&scan, dc, ac, 16);
    scan.Flush();
    const std::string in = test::WriteTempFile(
        "wrong-rst.jpg", Picture(Header(16, 8, {{1, 1, 1, 0}}, 1, Dri(1)), scan));
    const std::string out = test::TempPath("wrong-rst.bmp");
    std::remove(out.c_str());
    const CliRun r = Cli("convert " + in + " " + out);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "QUIT!: EXIT: Incorrect RST marker\n");
    EXPECT_TRUE(test::ReadFile(out).empty());
    // The same file with RST0 converts.
    std::vector<uint8_t> fixed = test::ReadFile(in);
    for (size_t i = 0; i + 1 < fixed.size(); ++i)
        if (fixed[i] == 0xFF && fixed[i + 1] == 0xD5) fixed[i + 1] = 0xD0;
    const CliRun ok = Cli("convert " + test::WriteTempFile("right-rst.jpg", fixed) + " " + out);
    EXPECT_EQ(ok.status, 0) << ok.err;
}
#endif

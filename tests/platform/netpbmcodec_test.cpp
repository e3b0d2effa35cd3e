// PGM and PFM files made by hand from the formats' descriptions.
#include "tests/platform/imagetestsupport.h"

#include "tests/support/environment.h"

#include <bit>
#include <limits>

namespace platform {
namespace {

using namespace ImageTest;
using namespace std::string_literals;

CPixels Grey8(int width, int height, const std::vector<std::uint8_t>& values)
{
    return Image(width, height, EPixelFormat::eGray8, values);
}

CPixels Grey16(int width, int height, const std::vector<std::uint16_t>& values)
{
    return Image(width, height, EPixelFormat::eGray16, values);
}

TEST(ReadPgm, TakesBinaryBytes)
{
    ExpectImage(Bytes("P5\n3 2\n255\n\x01\x02\x03\x04\xFE\xFF"), Grey8(3, 2, {1, 2, 3, 4, 254, 255}),
                "8-bit grey PGM with a maxval of 255");
}

TEST(ReadPgm, TakesBinaryNumbersOf16BitsWithTheHighByteFirst)
{
    ExpectImage(Bytes("P5 2 1 65535\n\x12\x34\xFF\xFE"), Grey16(2, 1, {0x1234, 0xFFFE}),
                "16-bit grey PGM with a maxval of 65535");
}

TEST(ReadPgm, KeepsNumbersOf16BitsWithASmallerMaxval)
{
    ExpectImage(Bytes("P5 2 1 1023\n\x03\xFF\x00\x01"s), Grey16(2, 1, {1023, 1}),
                "16-bit grey PGM with a maxval of 1023");
    ExpectImage(Bytes("P2 2 1 256 256 1"), Grey16(2, 1, {256, 1}),
                "16-bit grey text PGM with a maxval of 256");
}

TEST(ReadPgm, ScalesBytesWithASmallerMaxval)
{
    // 255 / 15 = 17; 255 * 50 / 100 = 127.5, which rounds up.
    ExpectImage(Bytes("P5 3 1 15\n\x00\x01\x0F"s), Grey8(3, 1, {0, 17, 255}),
                "8-bit grey PGM with a maxval of 15");
    ExpectImage(Bytes("P2 3 1 100 0 50 100"), Grey8(3, 1, {0, 128, 255}),
                "8-bit grey text PGM with a maxval of 100");
    ExpectImage(Bytes("P2 2 1 1 0 1"), Grey8(2, 1, {0, 255}), "8-bit grey text PGM with a maxval of 1");
}

TEST(ReadPgm, TakesTextWithCommentsAndAnyWhiteSpace)
{
    ExpectImage(Bytes("P2 # a comment\r\n#another 9 9\n 2\t2\n#\n255\n1 2 # between\n\n3\v4\n"),
                Grey8(2, 2, {1, 2, 3, 4}), "8-bit grey text PGM with a maxval of 255");
    ExpectImage(Bytes("P5#\n1 1 255\n#"), Grey8(1, 1, {'#'}), "8-bit grey PGM with a maxval of 255");
}

TEST(ReadPgm, LeavesWhatFollowsAlone)
{
    ExpectImage(Bytes("P5 1 1 255\n\x05P5 1 1 255\n\x06"), Grey8(1, 1, {5}),
                "8-bit grey PGM with a maxval of 255");
}

TEST(ReadPgm, RefusesSamplesAboveTheMaxval)
{
    ExpectBroken(Bytes("P2 2 1 100 1 101"), "PGM with a sample of 101 above its maxval of 100");
    ExpectBroken(Bytes("P5 1 1 256 \x01\x01"), "PGM with a sample of 257 above its maxval of 256");
}

TEST(ReadPgm, RefusesHeadersThatLie)
{
    ExpectBroken(Bytes("P5 0 1 255 "), "PGM of 0 by 1 pixels");
    ExpectBroken(Bytes("P5 1 0 255 "), "PGM of 1 by 0 pixels");
    ExpectBroken(Bytes("P5 1 1 0 x"), "PGM with a maxval of 0");
    ExpectBroken(Bytes("P5 1 1 65536 xx"), "PGM with a maxval of 65536");
    ExpectBroken(Bytes("P5 -1 1 255 x"), "PGM with \"-1\" for a number");
    ExpectBroken(Bytes("P5 4294967296 1 255 x"), "PGM with \"4294967296\" for a number");
    ExpectBroken(Bytes("P5 1x 1 255 x"), "PGM with \"1x\" for a number");
    ExpectBroken(Bytes("P5 1 1 " + std::string(100, '9')), "PGM with \"99999999999999999999\" for a number");
    ExpectBroken(Bytes("P5 1 1 255#\n1"), "PGM whose header does not end in white space");
    ExpectUnsupported(Bytes("P5 2147483648 1 255 x"), "PGM of 2147483648 by 1 pixels, which is too large");
    ExpectUnsupported(Bytes("P5 2147483647 2147483647 65535 x"),
                      "PGM of 2147483647 by 2147483647 pixels, which is too large");
    ExpectBroken(Bytes("P5 10000 10000 255 x"), "PGM cut short: 20 bytes, needs at least 100000019");
    ExpectBroken(Bytes("P2 10000 10000 255 1"), "PGM cut short: 2 bytes, needs at least 200000000");
    ExpectBroken(Bytes("P2 2 1 255 1 "), "PGM cut short: 3 bytes, needs at least 4");
    ExpectBroken(Bytes("P2 2 1 255 11 "), "PGM cut short");
}

TEST(ReadPgm, IsTheOnlyOneOfItsFamilyWithIntegers)
{
    ExpectUnsupported(Bytes("P1 1 1 1"), "1-bit PBM");
    ExpectUnsupported(Bytes("P4 8 1 x"), "1-bit PBM");
    ExpectUnsupported(Bytes("P3 1 1 255 1 2 3"), "RGB PPM");
    ExpectUnsupported(Bytes("P6 1 1 255 xyz"), "RGB PPM");
    ExpectUnsupported(Bytes("P7\nWIDTH 1"), "no image file of a known kind");
    ExpectUnsupported(Bytes("P55 1 1 255 x"), "no image file of a known kind");
}

/// The bytes of the numbers in one order or the other.
std::vector<std::byte> Floats(const std::vector<float>& values, bool bigEndian)
{
    std::vector<std::byte> bytes;
    for (const float value : values) {
        std::vector<std::byte> number;
        AppendLittle<std::uint32_t>(number, std::bit_cast<std::uint32_t>(value));
        if (bigEndian) {
            number = {number[3], number[2], number[1], number[0]};
        }
        Append(bytes, number);
    }
    return bytes;
}

std::vector<std::byte> Pfm(const std::string& head, const std::vector<float>& values, bool bigEndian)
{
    std::vector<std::byte> file = Bytes(head);
    Append(file, Floats(values, bigEndian));
    return file;
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(ReadPfm, TakesGreyInBothByteOrdersFromTheBottomUp)
{
    const CPixels expected = Image<float>(2, 2, EPixelFormat::eGrayFloat, {3.5F, -kInfinity, -0.0F, 1e-40F});
    const std::vector<float> stored{-0.0F, 1e-40F, 3.5F, -kInfinity};
    ExpectImage(Pfm("Pf\n2 2\n-1.0\n", stored, false), expected, "32-bit float grey PFM");
    ExpectImage(Pfm("Pf\n2 2\n1.0\n", stored, true), expected, "32-bit float grey PFM");
}

TEST(ReadPfm, TakesColourWithBlueFirst)
{
    const CPixels expected =
        Image<float>(2, 2, EPixelFormat::eBgrFloat, {9, 8, 7, 12, 11, 10, 3, 2, 1, 6, 5, 4});
    const std::vector<float> stored{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ExpectImage(Pfm("PF 2 2 -1\n", stored, false), expected, "32-bit float RGB PFM");
    ExpectImage(Pfm("PF 2 2 1\n", stored, true), expected, "32-bit float RGB PFM");
}

TEST(ReadPfm, AppliesNoScaleAndKeepsBitsOfNan)
{
    const float nan = std::bit_cast<float>(0xFFC12345U);
    ExpectImage(Pfm("Pf 2 1 -1e3\n", {nan, 2.0F}, false),
                Image<float>(2, 1, EPixelFormat::eGrayFloat, {nan, 2.0F}), "32-bit float grey PFM");
}

TEST(ReadPfm, ReadsTheScaleAlikeInEveryLocale)
{
    const TestSupport::CCommaDecimalLocale comma;
    ExpectImage(Pfm("Pf 1 1 -0.5\n", {2.0F}, false), Image<float>(1, 1, EPixelFormat::eGrayFloat, {2.0F}),
                "32-bit float grey PFM");
}

TEST(ReadPfm, RefusesHeadersThatLie)
{
    const std::string scale = "PFM without a scale, whose sign tells the order of its bytes";
    for (const char* const wrong : {"0", "-0.0", "nan", "inf", "1e999", "x", "1.0x", "1,5"}) {
        ExpectBroken(Pfm("Pf 1 1 "s + wrong + "\n", {1.0F}, false), scale);
    }
    ExpectBroken(Bytes("Pf 0 1 -1\n"), "PFM of 0 by 1 pixels");
    ExpectBroken(Bytes("PF 5000 5000 -1\nabcd"), "PFM cut short: 20 bytes, needs at least 300000016");
    ExpectUnsupported(Bytes("Pf 4294967295 4294967295 -1\nabcd"),
                      "PFM of 4294967295 by 4294967295 pixels, which is too large");
}

TEST(ReadNetpbm, GivesNoImageOfTheBeginningOfAFile)
{
    ExpectNoImageOfAnyBeginning(Bytes("P5\n3 2\n255\n\x01\x02\x03\x04\xFE\xFF"));
    ExpectNoImageOfAnyBeginning(Bytes("P2 3 2 255 1 2 3 4 5 6"));
    ExpectNoImageOfAnyBeginning(Pfm("PF 2 1 -1\n", {1, 2, 3, 4, 5, 6}, false));
}

TEST(ReadNetpbm, SurvivesChangedBytes)
{
    ExpectSurvivesChangedBytes(Bytes("P5\n3 2\n255\n\x01\x02\x03\x04\xFE\xFF"), 1, 3000);
    ExpectSurvivesChangedBytes(Bytes("P2 3 2 255 1 2 3 4 5 6"), 2, 3000);
    ExpectSurvivesChangedBytes(Pfm("PF 2 1 -1\n", {1, 2, 3, 4, 5, 6}, false), 3, 3000);
}

} // namespace
} // namespace platform

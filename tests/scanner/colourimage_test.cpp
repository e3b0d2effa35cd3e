#include "scanner/app/colourimage.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <png.h>

#include <stdexcept>
#include <vector>

namespace app {
namespace {

TEST(ColourImage, RoundsAndClipsGreyLevels)
{
    const std::vector<float> bgr = {-3.0F, 0.49F, 0.51F, 254.6F, 300.0F, 127.5F};
    const ColourImage image = ColourImage::FromBgr(2, 1, bgr);
    EXPECT_EQ(image.At(0, 0), (Rgb{1, 0, 0}));
    EXPECT_EQ(image.At(1, 0), (Rgb{128, 255, 255}));
}

TEST(ColourImage, RefusesPixelsThatDoNotFillIt)
{
    const std::vector<float> pixels(5);
    EXPECT_THROW(ColourImage::FromBgr(2, 1, pixels), std::invalid_argument);
}

TEST(ColourImage, CutsWhatIsPastedOverTheBorder)
{
    ColourImage image(3, 2, {1, 1, 1});
    image.Paste(ColourImage(2, 2, {9, 9, 9}), 2, -1);
    EXPECT_EQ(image.At(2, 0), (Rgb{9, 9, 9}));
    EXPECT_EQ(image.At(1, 0), (Rgb{1, 1, 1}));
    EXPECT_EQ(image.At(2, 1), (Rgb{1, 1, 1}));
}

TEST(ColourImage, WritesAPngThatReadsBackTheSame)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "picture.png";
    ColourImage image(5, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x) {
            image.At(x, y) = {static_cast<std::uint8_t>(40 * x), static_cast<std::uint8_t>(60 * y), 7};
        }
    }
    image.WritePng(file);

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&png, file.c_str()), 0);
    png.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> bytes(PNG_IMAGE_SIZE(png));
    ASSERT_NE(png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr), 0);
    ASSERT_EQ(png.width, 5U);
    ASSERT_EQ(png.height, 4U);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x) {
            const std::uint8_t* pixel = bytes.data() + 3 * (5 * y + x);
            EXPECT_EQ(image.At(x, y), (Rgb{pixel[0], pixel[1], pixel[2]}));
        }
    }
}

TEST(ColourImage, NamesTheFileThatItCannotWrite)
{
    try {
        ColourImage(1, 1).WritePng("/nonexistent-folder/picture.png");
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("/nonexistent-folder/picture.png"), std::string::npos);
    }
}

} // namespace
} // namespace app

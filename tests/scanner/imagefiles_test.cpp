#include "scanner/app/imagefiles.h"

#include "orx/logging/logger.h"
#include "orx/platform/imagecodec.h"
#include "pixelelements.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace app {
namespace {

using LxCV::CCTImage;

class ImageFiles : public testing::Test
{
protected:
    std::string Write(const std::string& name, const std::string& content) const
    {
        TestSupport::WriteFile(m_folder / name, content);
        return m_folder / name;
    }

    /// Why an image is not loaded; empty if it is.
    template <typename Load>
    static std::string Complaint(Load load, const std::string& file)
    {
        try {
            load(file);
        } catch (const std::exception& error) {
            return error.what();
        }
        return {};
    }

    TestSupport::CTemporaryFolder m_folder;
};

TEST_F(ImageFiles, AMissingFileIsToldOnceWithoutALogLine)
{
    const Logging::CCapture capture;
    EXPECT_EQ(Complaint(LoadImage, m_folder / "none.png"),
              "there is no file '" + (m_folder / "none.png") + "'");
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST_F(ImageFiles, WhatIsNotReadIsNamedWithTheReason)
{
    const std::string missing = m_folder / "none.png";
    EXPECT_EQ(Complaint(LoadImage, missing), "there is no file '" + missing + "'");
    const std::string folder = m_folder.GetPath().string();
    EXPECT_EQ(Complaint(LoadImage, folder), "cannot open '" + folder + "': Is a directory");
    const std::string text = Write("text", "hello, world");
    EXPECT_EQ(Complaint(LoadImage, text),
              "'" + text + "' is no image of a kind that can be read: TIFF, PNG, JPEG, BMP, PGM and PFM can");
    const std::string cut = Write("cut.pgm", "P5 3 2 255\nab");
    EXPECT_EQ(Complaint(LoadImage, cut), "'" + cut + "' is a damaged image: write or copy it anew");
    const std::string empty = Write("empty.png", "");
    EXPECT_EQ(Complaint(LoadImage, empty), "'" + empty + "' is empty, and no image");
    EXPECT_EQ(Complaint(LoadLevels, empty), Complaint(LoadImage, empty));
}

TEST_F(ImageFiles, AnImageThatIsTooLargeForTheMemoryIsNamed)
{
    if (!LxCV::AllocationLimit::IsEffective()) {
        GTEST_SKIP() << "the thread sanitizer lets no allocation fail";
    }
    const std::string file = Write("grey.pgm", "P5 40 50 255\n" + std::string(2000, '\7'));
    const auto complaint = [&file](std::size_t allowed) {
        const LxCV::AllocationLimit limit(2000, allowed);
        return Complaint(LoadLevels, file);
    };
    std::size_t allowed = 0;
    for (std::string told = complaint(0); !told.empty(); told = complaint(++allowed)) {
        // The library does not tell a file that it has no memory to read from one of an unknown kind.
        EXPECT_TRUE(
            told == "'" + file + "' is too large for the memory" ||
            (allowed < 3 && told.starts_with("'" + file + "' is no image of a kind that can be read")))
            << told;
        ASSERT_LT(allowed, 100U);
    }
    EXPECT_GT(allowed, 2U) << "the file, its floats and its colours";
}

TEST_F(ImageFiles, GreyOf16BitsBecomesColoursOfBytes)
{
    // 257 is the step from one level of 8 bits to the next, and 1000 / 257 lies between two.
    const std::string file =
        Write("grey.pgm", std::string("P5 3 1 65535\n") + "\xFF\xFF" + "\x01\x01" + "\x03\xE8");
    const CCTImage levels = LoadLevels(file);
    ASSERT_EQ(levels.GetDataType(), CCTImage::eIDT_FLOAT32_3);
    const auto elements = LxCV::ElementsOf<float>(levels);
    const float between = 1000.0F / 257.0F;
    EXPECT_EQ(std::vector<float>(elements.begin(), elements.end()),
              (std::vector<float>{255, 255, 255, 1, 1, 1, between, between, between}));
}

TEST_F(ImageFiles, PicturesAreWrittenToPathsWithABackslash)
{
    CCTImage picture(2, 1, CCTImage::eIDT_ARGB8, true, nullptr);
    picture.Clear();
    const std::string file = m_folder / "a\\b.png";
    WritePicture(picture, file);
    EXPECT_TRUE(std::filesystem::exists(file));
    const std::string none = m_folder / "none/a.png";
    EXPECT_EQ(Complaint([&](const std::string& to) { WritePicture(picture, to); }, none),
              "cannot write '" + none + "': No such file or directory");
}

TEST(SizeText, IsWidthByHeight)
{
    EXPECT_EQ(SizeText(640, 480), "640 by 480 pixels");
    EXPECT_EQ(SizeText(CCTImage(3, 2, CCTImage::eIDT_UINT8, true, nullptr)), "3 by 2 pixels");
}

} // namespace
} // namespace app

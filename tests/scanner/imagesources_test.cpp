#include "scanner/app/imagesources.h"

#include "scanner/app/measurement.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {
namespace {

using acquisition::ImagePair;
using acquisition::Rendering;
using LxCV::CCTImage;

bool AreEqual(const CCTImage& a, const CCTImage& b)
{
    return a.DoTypeAndDimMatchWith(b) && a.GetSizeInBytes() > 0 &&
           std::memcmp(a.GetBuffer(), b.GetBuffer(), static_cast<std::size_t>(a.GetSizeInBytes())) == 0;
}

bool ShowsPixelsOf(const CCTImage& image, const device::ImageF& pixels)
{
    return image.GetDataType() == CCTImage::eIDT_FLOAT32_3 && image.GetWidth() == pixels.width &&
           image.GetHeight() == pixels.height &&
           std::memcmp(image.GetBuffer(), pixels.data.data(), pixels.data.size() * sizeof(float)) == 0;
}

/// What a call complains about; empty if it does not.
template <typename Call>
std::string Complaint(Call&& call)
{
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

class ImageSources : public testing::Test
{
protected:
    std::filesystem::path Folder() const { return m_folder.GetPath(); }

    /// A pair of a small device, its noise as a text.
    std::shared_ptr<const Rendering> Render(const std::string& noise)
    {
        EXPECT_EQ(m_grabber.Init({"scene=sphere", "seed=3", "noise=" + noise}), 0);
        return m_grabber.GetRendering();
    }

    ImagePair Replay(const Rendering& rendering) const
    {
        WriteRendering(rendering, Folder());
        return acquisition::AcquirePair(*OpenReplay(rendering, WriteReplayFiles(rendering, Folder())));
    }

    Measurement MeasurePair(const ImagePair& images, const Rendering& rendering) const
    {
        Progress progress(1);
        return Measure(images, rendering, Folder() / "model.txt", ETriangulation::eTable, progress);
    }

    TestSupport::CTemporaryFolder m_folder;
    acquisition::VirtualFrameGrabber m_grabber{device::SmallDevice(60, 120)};
};

TEST_F(ImageSources, DeviceAndFilesGiveTheSamePixels)
{
    for (const char* noise : {"1", "0", "0.3"}) {
        const std::shared_ptr<const Rendering> rendering = Render(noise);
        const ImagePair fromDevice = acquisition::AcquirePair(m_grabber);
        EXPECT_EQ(m_grabber.GetRendering(), rendering) << "both images are of one pair";
        EXPECT_TRUE(ShowsPixelsOf(fromDevice.reference, rendering->pair.reference)) << noise;
        EXPECT_TRUE(ShowsPixelsOf(fromDevice.pattern, rendering->pair.pattern)) << noise;
        const ImagePair fromFiles = Replay(*rendering);
        EXPECT_TRUE(AreEqual(fromFiles.reference, fromDevice.reference)) << noise;
        EXPECT_TRUE(AreEqual(fromFiles.pattern, fromDevice.pattern)) << noise;
    }
}

TEST_F(ImageSources, DeviceAndFilesGiveTheSamePoints)
{
    for (const char* noise : {"1", "0"}) {
        const std::shared_ptr<const Rendering> rendering = Render(noise);
        const ImagePair images = acquisition::AcquirePair(m_grabber);
        const ImagePair replayed = Replay(*rendering);
        const Measurement fromDevice = MeasurePair(images, *rendering);
        const Measurement fromFiles = MeasurePair(replayed, *rendering);
        ASSERT_EQ(fromFiles.cloud.size(), fromDevice.cloud.size());
        EXPECT_GT(fromDevice.cloud.size(), 100U);
        for (std::size_t i = 0; i < fromFiles.cloud.size(); ++i) {
            ASSERT_EQ(fromFiles.cloud[i].position, fromDevice.cloud[i].position);
            ASSERT_EQ(fromFiles.cloud[i].colour, fromDevice.cloud[i].colour);
        }
        EXPECT_EQ(fromFiles.accuracy.rmsMm, fromDevice.accuracy.rmsMm);
    }
}

TEST_F(ImageSources, AReplayNeedsItsFiles)
{
    const std::shared_ptr<const Rendering> rendering = Render("1");
    const std::filesystem::path missing = Folder() / "pattern.png";
    EXPECT_EQ(Complaint([&] { OpenReplay(*rendering, {missing}); }),
              "cannot replay '" + missing.string() + "'");
    EXPECT_EQ(Complaint([&] { OpenReplay(*rendering, {"a\\pattern.png"}); }),
              "cannot replay 'a\\pattern.png': there is a backslash in its path; take another folder");
    EXPECT_EQ(Complaint([&] { WriteReplayFiles(*Render("0"), "/nonexistent-folder"); }),
              "cannot write '/nonexistent-folder/reference.tif': No such file or directory");
}

TEST_F(ImageSources, APairThatIsNotDeliveredIsNamed)
{
    EXPECT_EQ(Complaint([&] { acquisition::AcquirePair(m_grabber); }),
              "VirtualFrameGrabber delivers no pattern image");
    const std::shared_ptr<const Rendering> rendering = Render("1");
    WriteRendering(*rendering, Folder());
    EXPECT_EQ(
        Complaint([&] { acquisition::AcquirePair(*OpenReplay(*rendering, {Folder() / "pattern.png"})); }),
        "CSimFrameGrabber delivers no reference image");
}

TEST(OpenVirtual, RefusesWhatTheDeviceRefuses)
{
    acquisition::PairOptions options;
    options.scene = "teapot";
    EXPECT_EQ(Complaint([&] { OpenVirtual(options); }),
              "cannot start the virtual device: the argument scene=teapot makes no sense");
}

} // namespace
} // namespace app

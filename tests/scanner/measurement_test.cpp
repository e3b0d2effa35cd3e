#include "scanner/app/measurement.h"

#include "scanner/acquisition/virtualframegrabber.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace app {
namespace {

/// A small pair of a plane, and model files of all kinds for it.
class MeasuredPair : public ::testing::Test
{
protected:
    MeasuredPair() : m_grabber(device::SmallDevice(40, 160))
    {
        m_grabber.Init({"scene=plane", "noise=0"});
        m_images = acquisition::AcquirePair(m_grabber);
    }

    std::string ModelText() const { return m_grabber.GetRendering()->device->ParameterText(kModelRoot); }

    /// The model's text with the first `from` replaced.
    std::string ModelWith(const std::string& from, const std::string& to) const
    {
        std::string text = ModelText();
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return text.replace(at, from.size(), to);
    }

    Measurement MeasureWith(const std::string& model)
    {
        TestSupport::WriteFile(File(), model);
        return MeasureWithFile(File());
    }

    Measurement MeasureWithFile(const std::string& file)
    {
        Progress progress(1);
        return Measure(m_images, *m_grabber.GetRendering(), file, ETriangulation::eComputed, progress);
    }

    /// What the measurement with a model complains about; empty if it does not.
    std::string Complaint(const std::string& model)
    {
        try {
            MeasureWith(model);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    std::string File() const { return m_folder / "model.txt"; }

    TestSupport::CTemporaryFolder m_folder;
    acquisition::VirtualFrameGrabber m_grabber;
    acquisition::ImagePair m_images;
};

TEST_F(MeasuredPair, HasAColouredPointForEachEdge)
{
    const Measurement measurement = MeasureWith(ModelText());
    EXPECT_EQ(measurement.cloud.size(), measurement.accuracy.points);
    EXPECT_GT(measurement.accuracy.coverage, 0.8);
    EXPECT_EQ(measurement.accuracy.wrongCodeFraction, 0.0);
    constexpr double kDepth = 33.0;     // mm, of the plane
    constexpr double kTolerance = 0.01; // mm
    for (const CloudPoint& point : measurement.cloud) {
        ASSERT_NEAR(point.position[2], kDepth, kTolerance);
        ASSERT_GT(point.colour[1], 50);
    }
}

TEST_F(MeasuredPair, NamesTheModelThatCannotBeRead)
{
    try {
        MeasureWithFile("/nonexistent-folder/model.txt");
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "cannot open '/nonexistent-folder/model.txt': No such file or directory");
    }
    EXPECT_EQ(Complaint(""), "'" + File() + "' is empty");
}

TEST_F(MeasuredPair, NamesTheModelThatIsDamaged)
{
    const std::string complaint =
        Complaint(ModelWith("LUT[0][0]=", "LUT[0][0]=" + std::string(1000, '\x80')));
    EXPECT_TRUE(complaint.starts_with("'" + File() +
                                      "': ::MV3DCamBase::Projector::CLPattern: a row of edge "
                                      "positions"))
        << complaint;
}

TEST_F(MeasuredPair, NamesTheModelThatDoesNotFit)
{
    EXPECT_EQ(Complaint("no sections"),
              "'" + File() + "' is no model: it has none of a model's sections, such as '::Cams[0]'");
    EXPECT_EQ(Complaint(ModelWith("Calibrated=1", "Calibrated=0")),
              "the model '" + File() + "' is not calibrated: 'lumorad model check' tells what it lacks");
    EXPECT_EQ(Complaint(ModelWith("Nfx=40.", "Nfx=41.")),
              "the model '" + File() +
                  "' was calibrated with images of 41 by 160 pixels, and these have 40 by 160 pixels: take "
                  "the model of the camera that took them, or images as that camera took them");
}

} // namespace
} // namespace app

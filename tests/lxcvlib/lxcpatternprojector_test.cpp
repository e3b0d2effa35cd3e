#include "lxcpatternprojector.h"

#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

/// The lines of a text that begin a section.
std::vector<std::string> Sections(const std::string& text)
{
    std::vector<std::string> sections;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("::")) {
            sections.push_back(line);
        }
    }
    return sections;
}

std::string ProjectorText(const TestSupport::CCameraModel& model)
{
    std::ostringstream text;
    TestSupport::WriteDevice(text, model.projector, "::P::PinholeProjector::PinholeCamera");
    TestSupport::WritePattern(text, model, "::P::CLPattern");
    return text.str();
}

TEST(LxCPatternProjector, HasAQualityThresholdOfTwenty)
{
    EXPECT_EQ(LxCPatternProjector().GetQualityThreshold(), 20.0);
    EXPECT_EQ(LxCPinholeCamera().GetQualityThreshold(), 2.0);
}

TEST(LxCPatternProjector, CopiesTheSourcesQualityThresholdAndPattern)
{
    LxCPatternProjector projector;
    projector.SetQualityThreshold(7.0);
    projector.GetCLPattern()->SetPatternString("0123");
    const LxCPatternProjector copy(projector);
    EXPECT_EQ(copy.GetQualityThreshold(), 7.0);
    EXPECT_EQ(copy.GetCLPattern()->GetPatternString(), "0123");
    LxCPatternProjector assigned;
    assigned = projector;
    EXPECT_EQ(assigned.GetQualityThreshold(), 7.0);
    EXPECT_EQ(assigned.GetCLPattern()->GetPatternString(), "0123");
}

TEST(LxCPatternProjector, WritesItsCameraBeforeItsPattern)
{
    LxCPatternProjector projector;
    const std::vector<std::string> expected = {
        "::P::PinholeProjector::PinholeCamera", "::P::PinholeProjector::PinholeCamera::CoordSysTrans",
        "::P::PinholeProjector::PinholeCamera::IntrinsicParams", "::P::CLPattern"};
    EXPECT_EQ(Sections(TestSupport::Store(projector, "::P")), expected);
}

TEST(LxCPatternProjector, ReadsCameraAndPattern)
{
    const TestSupport::CCameraModel model = TestSupport::PlainModel();
    LxCPatternProjector projector;
    TestSupport::Load(projector, "::P", ProjectorText(model));
    EXPECT_TRUE(projector.IsCalibrated());
    EXPECT_EQ(projector.GetIntrinsicParams()->GetFocalLength(), model.projector.f);
    EXPECT_EQ(projector.GetCLPattern()->GetNrOfStripeEdges(), model.NumEdges());
    EXPECT_EQ(projector.GetCLPattern()->GetPatternString(), model.digits);
}

TEST(LxCPatternProjector, WritesWhatItReadByteForByte)
{
    std::mt19937_64 random(1);
    for (int trial = 0; trial < 20; ++trial) {
        LxCPatternProjector projector;
        TestSupport::Load(projector, "::P", ProjectorText(TestSupport::RandomModel(random, trial % 2 == 0)));
        const std::string text = TestSupport::Store(projector, "::P");
        LxCPatternProjector again;
        TestSupport::Load(again, "::P", text);
        ASSERT_EQ(TestSupport::Store(again, "::P"), text) << trial;
    }
}

TEST(LxCPatternProjector, HasSlidePositionsAsImageCoordinates)
{
    // f / pitch = 11000 slide units to the unit of tangent.
    LxCPatternProjector projector;
    TestSupport::Load(projector, "::P", ProjectorText(TestSupport::PlainModel()));
    double col = 0.0;
    double row = 0.0;
    ASSERT_TRUE(projector.CameraToDisImageCoords(3.0, -6.0, 30.0, &col, &row));
    constexpr double tolerance = 1e-8; // slide units; a dozen roundings of values below 10000
    EXPECT_NEAR(col, 3490.0 + 1100.0, tolerance);
    EXPECT_NEAR(row, 3520.0 - 2200.0, tolerance);
}

} // namespace
} // namespace LxCV

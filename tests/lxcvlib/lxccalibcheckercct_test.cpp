#include "lxccalibcheckercct.h"

#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::PlainModel;
using TestSupport::Vector;

constexpr float c_fDepth = 33.0F; ///< mm
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();
constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();

/// Lengths of some ten mm carry errors of about 1e-12 mm, of which a ratio keeps a part.
constexpr double c_dRatioTolerance = 1e-10;

static_assert(std::is_base_of_v<Base::IReferenceCounted, LxCCalibCheckerCCT>);

class CCheckerProbe : public LxCCalibCheckerCCT
{
public:
    using LxCCalibCheckerCCT::ComputeDistanceRatio;
    using LxCCalibCheckerCCT::ComputeDistInMeasureVol;
    using LxCCalibCheckerCCT::GetPairs;
    using LxCCalibCheckerCCT::GetStripeNumberForSensorPointAndDepth;
    using LxCCalibCheckerCCT::GetValuesAfter;
    using LxCCalibCheckerCCT::GetValuesBefore;
    using LxCCalibCheckerCCT::LxCCalibCheckerCCT;
};

/// The same device `factor` times as large, seen with the same lenses.
CCameraModel Scaled(CCameraModel model, double factor)
{
    for (double& t : model.camera.t) {
        t *= factor;
    }
    for (double& t : model.projector.t) {
        t *= factor;
    }
    return model;
}

void LoadInto(LxCPinholeFramework& framework, const CCameraModel& model)
{
    TestSupport::Load(framework, "::MV3DCam", TestSupport::ModelText(model, "::MV3DCam"));
}

double RatioOf(const CCameraModel& before, const CCameraModel& after)
{
    CFrameworkProbe framework(before);
    LxCCalibCheckerCCT checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    LoadInto(framework, after);
    checker.ComputeComparativeValuesAfterCalibration();
    EXPECT_TRUE(checker.IsComparativeValuesComputed());
    return checker.GetDistanceRatio();
}

/// The stripe of a pixel at a depth by the model's own equations: slide column over stripe width.
int StripeOf(const CCameraModel& model, int x, int y, double depth)
{
    const Vector point = depth * TestSupport::DirectionFromImage(model.camera, x, y);
    const Vector inProjector = TestSupport::InnerFromOuter(model.projector, point);
    return static_cast<int>(TestSupport::ImageFromPoint(model.projector, inProjector)[0] / model.stripeWidth);
}

// -------------------------------------------------------------------------------------------------------- pairs

struct SExpectedPair
{
    int x1, y1;
    double depth1;
    int x2, y2;
    double depth2;
};

// For 658 by 494 pixels about 33 mm: 633 = 658 - 25, 469 = 494 - 25, 608 = 658 - 50, 444 = 494 - 50.
constexpr std::array<SExpectedPair, 24> c_Expected = {{
    {25, 25, 30.5, 633, 25, 30.5},   {633, 25, 30.5, 633, 469, 30.5}, {633, 469, 30.5, 25, 469, 30.5},
    {25, 469, 30.5, 25, 25, 30.5},   {50, 50, 35.5, 608, 50, 35.5},   {608, 50, 35.5, 608, 444, 35.5},
    {608, 444, 35.5, 50, 444, 35.5}, {50, 444, 35.5, 50, 50, 35.5},   {25, 25, 30.5, 633, 25, 35.5},
    {633, 25, 30.5, 658, 25, 35.5},  {25, 469, 30.5, 633, 469, 35.5}, {633, 469, 30.5, 658, 469, 35.5},
    {50, 50, 30.5, 50, 444, 37.0},   {50, 444, 30.5, 50, 50, 37.0},   {608, 50, 30.5, 608, 444, 37.0},
    {608, 444, 30.5, 608, 50, 37.0}, {25, 25, 30.5, 633, 469, 35.5},  {25, 469, 30.5, 633, 25, 35.5},
    {633, 469, 30.5, 25, 25, 35.5},  {633, 25, 30.5, 25, 469, 35.5},  {50, 50, 30.5, 608, 444, 37.0},
    {50, 444, 30.5, 608, 50, 37.0},  {608, 444, 30.5, 50, 50, 37.0},  {608, 50, 30.5, 50, 444, 37.0},
}};

TEST(LxCCalibCheckerCCT, PairsAreTheTwentyFourOfTheTable)
{
    CCameraModel model = PlainModel();
    model.camera.width = 658.9; // sizes are truncated
    model.camera.height = 494.9;
    CFrameworkProbe framework(model);
    CCheckerProbe checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    const auto& pairs = checker.GetPairs();
    ASSERT_EQ(pairs.size(), c_Expected.size());
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const SExpectedPair& e = c_Expected[i];
        EXPECT_EQ(pairs[i].m_iColumn1, e.x1) << "pair " << i + 1;
        EXPECT_EQ(pairs[i].m_iRow1, e.y1) << "pair " << i + 1;
        EXPECT_EQ(pairs[i].m_iStripe1, StripeOf(model, e.x1, e.y1, e.depth1)) << "pair " << i + 1;
        EXPECT_EQ(pairs[i].m_iColumn2, e.x2) << "pair " << i + 1;
        EXPECT_EQ(pairs[i].m_iRow2, e.y2) << "pair " << i + 1;
        EXPECT_EQ(pairs[i].m_iStripe2, StripeOf(model, e.x2, e.y2, e.depth2)) << "pair " << i + 1;
    }
}

TEST(LxCCalibCheckerCCT, PairsAreMadeAnewEachTime)
{
    CFrameworkProbe framework(PlainModel());
    CCheckerProbe checker(&framework, c_fDepth);
    checker.AddPairDefinition(1, 2, 30.0, 3, 4, 30.0);
    checker.ComputeComparativeValuesBeforeCalibration();
    checker.ComputeComparativeValuesBeforeCalibration();
    EXPECT_EQ(checker.GetPairs().size(), 24U);
    EXPECT_EQ(checker.GetPairs().front().m_iColumn1, 25);
}

TEST(LxCCalibCheckerCCT, StripesAreSlideColumnsOverTheStripeWidth)
{
    std::mt19937_64 random(17);
    int different = 0;
    for (int i = 0; i < 20; ++i) {
        CCameraModel model = TestSupport::RandomModel(random, i % 2 == 0);
        model.stripeWidth = 50 + i;
        model.numPatches = 0;
        model.rows.clear();
        CFrameworkProbe framework(model);
        const CCheckerProbe checker(&framework, c_fDepth);
        for (int k = 0; k < 50; ++k) {
            const int x = static_cast<int>(random() % 658);
            const int y = static_cast<int>(random() % 494);
            const double depth = 26.0 + static_cast<double>(random() % 1500) / 100.0;
            // A lens's table and its polynomial differ by thousandths of a slide unit, so a number may tip over.
            const int expected = StripeOf(model, x, y, depth);
            const int got = checker.GetStripeNumberForSensorPointAndDepth(x, y, depth);
            ASSERT_NEAR(got, expected, 1) << i << ": " << x << ", " << y << ", " << depth;
            different += got != expected;
        }
    }
    EXPECT_LT(different, 3);
}

TEST(LxCCalibCheckerCCT, StripesOfModelsThatMeanNothingAreDefined)
{
    const Logging::CCapture quiet;
    CCameraModel model = PlainModel();
    {
        CCameraModel odd = model;
        odd.stripeWidth = 0;
        CFrameworkProbe framework(odd);
        const CCheckerProbe checker(&framework, c_fDepth);
        EXPECT_EQ(checker.GetStripeNumberForSensorPointAndDepth(300, 200, 33.0),
                  std::numeric_limits<int>::max());
    }
    CFrameworkProbe framework(model);
    const CCheckerProbe checker(&framework, c_fDepth);
    EXPECT_EQ(checker.GetStripeNumberForSensorPointAndDepth(300, 200, c_dNaN), 0);
    framework.GetProjector()->GetIntrinsicParams()->SetPrincipalPoint(-1e30, 0.0);
    EXPECT_EQ(checker.GetStripeNumberForSensorPointAndDepth(300, 200, 33.0), std::numeric_limits<int>::min());
    framework.GetProjector()->GetIntrinsicParams()->SetPrincipalPoint(c_dNaN, 0.0);
    EXPECT_EQ(checker.GetStripeNumberForSensorPointAndDepth(300, 200, 33.0), 0);
}

TEST(LxCCalibCheckerCCT, ImageSizesWithoutMeaningAreHarmless)
{
    const Logging::CCapture quiet;
    for (const double size : {0.0, -1e300, 1e300, c_dInfinity, -c_dInfinity, c_dNaN}) {
        CFrameworkProbe framework(PlainModel());
        framework.GetCamera()->GetIntrinsicParams()->SetImageSize(size, size);
        CCheckerProbe checker(&framework, std::numeric_limits<float>::quiet_NaN());
        checker.ComputeComparativeValuesBeforeCalibration();
        checker.ComputeComparativeValuesAfterCalibration();
        EXPECT_EQ(checker.GetPairs().size(), 24U) << size;
        EXPECT_GE(checker.GetDistanceRatio(), 1.0) << size;
    }
}

// ---------------------------------------------------------------------------------------------------- distances

TEST(LxCCalibCheckerCCT, DistancesAreThoseOfTheTriangulatedPoints)
{
    const CCameraModel model = PlainModel();
    CFrameworkProbe framework(model);
    CCheckerProbe checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    const LxSComparativeValues& values = checker.GetValuesBefore();
    EXPECT_TRUE(values.m_bComputed);
    ASSERT_EQ(values.m_vdDistances.size(), 24U);
    for (std::size_t i = 0; i < 24; ++i) {
        const auto& pair = checker.GetPairs()[i];
        const Vector first =
            TestSupport::Triangulate(model, pair.m_iColumn1, pair.m_iRow1, pair.m_iStripe1).inCamera;
        const Vector second =
            TestSupport::Triangulate(model, pair.m_iColumn2, pair.m_iRow2, pair.m_iStripe2).inCamera;
        const Vector delta = second - first;
        const auto expected = static_cast<double>(std::sqrt(TestSupport::Dot(delta, delta)));
        EXPECT_NEAR(values.m_vdDistances[i], expected, 1e-8 * (1.0 + expected)) << "pair " << i + 1;
    }
}

TEST(LxCCalibCheckerCCT, AnUnchangedCalibrationGivesExactlyOne)
{
    const Logging::CCapture quiet; // odd lenses
    std::mt19937_64 random(3);
    EXPECT_EQ(RatioOf(PlainModel(), PlainModel()), 1.0);
    for (int i = 0; i < 10; ++i) {
        const CCameraModel model = TestSupport::RandomModel(random, i % 2 == 0);
        EXPECT_EQ(RatioOf(model, model), 1.0) << "model " << i;
    }
}

TEST(LxCCalibCheckerCCT, AnUncalibratedFrameworkThatStaysSoCountsAsUnchanged)
{
    LxCPinholeFramework framework;
    LxCCalibCheckerCCT checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    checker.ComputeComparativeValuesAfterCalibration();
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
}

TEST(LxCCalibCheckerCCT, AScaleOfOnePercentGivesOnePointZeroOne)
{
    for (const double percent : {1.0, 2.5, 0.01}) {
        const double factor = 1.0 + percent / 100.0;
        EXPECT_NEAR(RatioOf(PlainModel(), Scaled(PlainModel(), factor)), factor, c_dRatioTolerance);
    }
}

TEST(LxCCalibCheckerCCT, ShrinkingCountsAsGrowing)
{
    EXPECT_NEAR(RatioOf(PlainModel(), Scaled(PlainModel(), 0.99)), 1.01, c_dRatioTolerance);
}

TEST(LxCCalibCheckerCCT, ALostCalibrationIsFarFromOne)
{
    CCameraModel lost = PlainModel();
    lost.camera.calibrated = false;
    EXPECT_EQ(RatioOf(PlainModel(), lost), 2.0) << "all distances are 0 afterwards: |0 - 1| + 1";
    EXPECT_EQ(RatioOf(lost, PlainModel()), c_dInfinity);
}

// -------------------------------------------------------------------------------------------------------- ratio

TEST(LxCCalibCheckerCCT, WithoutBothSetsTheRatioIsOne)
{
    CFrameworkProbe framework(PlainModel());
    LxCCalibCheckerCCT checker(&framework, c_fDepth);
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
    checker.ComputeComparativeValuesBeforeCalibration();
    LoadInto(framework, Scaled(PlainModel(), 2.0));
    EXPECT_FALSE(checker.IsComparativeValuesComputed());
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
    checker.ComputeComparativeValuesAfterCalibration();
    EXPECT_NEAR(checker.GetDistanceRatio(), 2.0, c_dRatioTolerance);
}

TEST(LxCCalibCheckerCCT, TheSecondComputationAloneMakesNoPairs)
{
    CFrameworkProbe framework(PlainModel());
    CCheckerProbe checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesAfterCalibration();
    EXPECT_TRUE(checker.GetPairs().empty());
    EXPECT_TRUE(checker.GetValuesAfter().m_vdDistances.empty());
    EXPECT_FALSE(checker.IsComparativeValuesComputed());
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
}

TEST(LxCCalibCheckerCCT, ASecondUseForgetsTheFirst)
{
    CFrameworkProbe framework(PlainModel());
    LxCCalibCheckerCCT checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    LoadInto(framework, Scaled(PlainModel(), 1.5));
    checker.ComputeComparativeValuesAfterCalibration();
    checker.ComputeComparativeValuesBeforeCalibration();
    EXPECT_FALSE(checker.IsComparativeValuesComputed());
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
}

TEST(LxCCalibCheckerCCT, APairAddedInBetweenTakesNoPart)
{
    // Another lens changes each pair by another ratio, so that one more of them would show.
    const auto ratio = [](bool isAdded) {
        CFrameworkProbe framework(PlainModel());
        CCheckerProbe checker(&framework, c_fDepth);
        checker.ComputeComparativeValuesBeforeCalibration();
        if (isAdded) {
            checker.AddPairDefinition(100, 100, 33.0, 200, 200, 33.0);
        }
        framework.GetCamera()->GetIntrinsicParams()->SetPrincipalPoint(300, 260);
        checker.ComputeComparativeValuesAfterCalibration();
        EXPECT_EQ(checker.GetValuesAfter().m_vdDistances.size(), isAdded ? 25U : 24U);
        return checker.GetDistanceRatio();
    };
    const double plain = ratio(false);
    EXPECT_GT(plain, 1.0);
    EXPECT_EQ(ratio(true), plain);
}

TEST(LxCCalibCheckerCCT, NoThreePairsDecide)
{
    std::mt19937_64 random(5);
    const double odd[] = {0.0, 1e-9, 3.0, 1e300, c_dInfinity, c_dNaN, -c_dInfinity, -7.0};
    for (int i = 0; i < 2000; ++i) {
        std::vector<double> before;
        std::vector<double> after;
        for (int k = 0; k < 24; ++k) {
            before.push_back(1.0 + static_cast<double>(random() % 1000) / 50.0);
            after.push_back(before.back() * 1.01);
        }
        for (int k = 0; k < 3; ++k) {
            after[random() % 24] = odd[random() % std::size(odd)];
        }
        ASSERT_NEAR(CCheckerProbe::ComputeDistanceRatio(before, after), 1.01, c_dRatioTolerance) << i;
    }
}

TEST(LxCCalibCheckerCCT, TheRatioIsTheTrimmedMeanOfTheRelativeChanges)
{
    std::mt19937_64 random(6);
    for (int i = 0; i < 2000; ++i) {
        const std::size_t count = 7 + random() % 40;
        std::vector<double> before;
        std::vector<double> after;
        std::vector<long double> changes;
        for (std::size_t k = 0; k < count; ++k) {
            before.push_back(1.0 + static_cast<double>(random() % 1000) / 50.0);
            after.push_back(1.0 + static_cast<double>(random() % 1000) / 50.0);
            changes.push_back(std::fabs(static_cast<long double>(after[k]) / before[k] - 1.0L));
        }
        for (int k = 0; k < 3; ++k) {
            changes.erase(std::min_element(changes.begin(), changes.end()));
            changes.erase(std::max_element(changes.begin(), changes.end()));
        }
        const long double mean =
            std::accumulate(changes.begin(), changes.end(), 0.0L) / static_cast<long double>(changes.size());
        ASSERT_NEAR(CCheckerProbe::ComputeDistanceRatio(before, after), static_cast<double>(mean) + 1.0,
                    1e-13)
            << i;
    }
}

TEST(LxCCalibCheckerCCT, FewerThanSevenPairsLeaveTheirMiddle)
{
    // Changes are 0.1, 0.2 ... of distances of 1.
    const std::vector<double> after = {1.4, 1.1, 1.6, 1.2, 1.5, 1.3};
    const std::vector<double> before(6, 1.0);
    const double expected[] = {1.0, 1.4, 1.25, 1.4, 1.3, 1.4, 1.35};
    for (std::size_t n = 0; n <= after.size(); ++n) {
        const std::vector<double> some(after.begin(), after.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_NEAR(CCheckerProbe::ComputeDistanceRatio(before, some), expected[n], 1e-12) << n;
    }
    EXPECT_EQ(CCheckerProbe::ComputeDistanceRatio({}, {}), 1.0);
}

TEST(LxCCalibCheckerCCT, FourChangesWithoutANumberAreNoGoodCalibration)
{
    std::vector<double> before(24, 2.0);
    std::vector<double> after(24, 2.0);
    std::fill_n(after.begin(), 3, c_dNaN);
    EXPECT_EQ(CCheckerProbe::ComputeDistanceRatio(before, after), 1.0);
    after[7] = c_dNaN;
    EXPECT_EQ(CCheckerProbe::ComputeDistanceRatio(before, after), c_dInfinity);
    std::fill(after.begin(), after.end(), c_dNaN);
    before = after;
    EXPECT_EQ(CCheckerProbe::ComputeDistanceRatio(before, after), c_dInfinity);
}

// ------------------------------------------------------------------------------------------------------- object

TEST(LxCCalibCheckerCCT, KeepsTheLimitOfItsConstruction)
{
    const float before = LxCLxCVLibSettings::GetCalibCheckerMaxLengthDiff();
    LxCLxCVLibSettings::SetCalibCheckerMaxLengthDiff(1.25F);
    const LxCCalibCheckerCCT checker(nullptr, c_fDepth);
    LxCLxCVLibSettings::SetCalibCheckerMaxLengthDiff(before);
    EXPECT_EQ(checker.GetMaxLengthDiff(), 1.25);
    EXPECT_EQ(LxCCalibCheckerCCT(checker).GetMaxLengthDiff(), 1.25);
}

TEST(LxCCalibCheckerCCT, ACopyGoesOnByItself)
{
    CFrameworkProbe framework(PlainModel());
    CCheckerProbe checker(&framework, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    checker.getReferenceCounter() = 4;
    CCheckerProbe copy(checker);
    EXPECT_EQ(copy.getReferenceCounter(), 0);
    LoadInto(framework, Scaled(PlainModel(), 1.01));
    copy.ComputeComparativeValuesAfterCalibration();
    EXPECT_NEAR(copy.GetDistanceRatio(), 1.01, c_dRatioTolerance);
    EXPECT_FALSE(checker.IsComparativeValuesComputed());
}

TEST(LxCCalibCheckerCCT, WithoutAFrameworkNothingIsComputed)
{
    CCheckerProbe checker(nullptr, c_fDepth);
    checker.ComputeComparativeValuesBeforeCalibration();
    checker.ComputeComparativeValuesAfterCalibration();
    checker.AddPairDefinition(1, 2, 3.0, 4, 5, 6.0);
    EXPECT_FALSE(checker.IsComparativeValuesComputed());
    EXPECT_EQ(checker.GetDistanceRatio(), 1.0);
    ASSERT_EQ(checker.GetPairs().size(), 1U);
    EXPECT_EQ(checker.GetPairs()[0].m_iStripe1, 0);
}

} // namespace
} // namespace LxCV

#include "lxccameraprojectorcoupling.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <type_traits>

namespace LxCV {
namespace {

using Values = std::array<float, 9>;

constexpr Values c_aIdentity{1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};

Values ValuesOf(const LxCCameraProjectorCoupling& coupling)
{
    Values v{};
    coupling.GetValues(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    return v;
}

LxCCameraProjectorCoupling Coupling(const Values& v)
{
    LxCCameraProjectorCoupling coupling;
    coupling.SetValues(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    return coupling;
}

std::array<float, 3> Transform(const LxCCameraProjectorCoupling& coupling, float red, float green, float blue)
{
    LxCColorValueFloat out;
    coupling.TransformColor(LxCColorValueFloat(red, green, blue), out);
    return {out.GetRed(), out.GetGreen(), out.GetBlue()};
}

TEST(LxCCameraProjectorCoupling, IsTheIdentityAtFirst)
{
    const LxCCameraProjectorCoupling coupling;
    EXPECT_EQ(ValuesOf(coupling), c_aIdentity);
    EXPECT_EQ(Transform(coupling, 1.5F, -2.25F, 255.0F), (std::array{1.5F, -2.25F, 255.0F}));
}

TEST(LxCCameraProjectorCoupling, SerializeIsItsOnlyVirtualFunction)
{
    EXPECT_EQ(::TestSupport::SlotOf(&LxCCameraProjectorCoupling::Serialize), 0);
    EXPECT_FALSE(std::has_virtual_destructor_v<LxCCameraProjectorCoupling>);
}

TEST(LxCCameraProjectorCoupling, CoefficientsAreNamedFromChannelToChannel)
{
    // Arr, Arg, Arb, Agr, Agg, Agb, Abr, Abg, Abb
    const auto coupling = Coupling({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(Transform(coupling, 1, 0, 0), (std::array{1.0F, 2.0F, 3.0F}));
    EXPECT_EQ(Transform(coupling, 0, 1, 0), (std::array{4.0F, 5.0F, 6.0F}));
    EXPECT_EQ(Transform(coupling, 0, 0, 1), (std::array{7.0F, 8.0F, 9.0F}));
    // 1 * 10 + 4 * 100 + 7 * 1000, and so on.
    EXPECT_EQ(Transform(coupling, 10, 100, 1000), (std::array{7410.0F, 8520.0F, 9630.0F}));
}

TEST(LxCCameraProjectorCoupling, TransformsAColourInItsPlace)
{
    const auto coupling = Coupling({0, 0, 1, 1, 0, 0, 0, 1, 0});
    LxCColorValueFloat color(10.0F, 20.0F, 30.0F);
    coupling.TransformColor(color, color);
    EXPECT_EQ(color.GetRed(), 20.0F);
    EXPECT_EQ(color.GetGreen(), 30.0F);
    EXPECT_EQ(color.GetBlue(), 10.0F);
}

TEST(LxCCameraProjectorCoupling, InverseOfPowersOfTwoIsExact)
{
    // red' = 2 red + 4 blue, green' = green / 2, blue' = blue: red = red' / 2 - 2 blue', green = 2 green'.
    const auto coupling = Coupling({2, 0, 0, 0, 0.5F, 0, 4, 0, 1});
    EXPECT_EQ(ValuesOf(coupling.GetInverse()), (Values{0.5F, 0, 0, 0, 2, 0, -2, 0, 1}));
}

TEST(LxCCameraProjectorCoupling, InverseUndoesTheTransform)
{
    constexpr int c_trials = 3000;
    // Diagonally dominant by 1: condition below 10, and errors below 100 roundings of values up to 255.
    constexpr float c_tolerance = 100.0F * 255.0F * std::numeric_limits<float>::epsilon();
    std::mt19937 random(3);
    std::uniform_real_distribution<float> small(-0.5F, 0.5F);
    std::uniform_real_distribution<float> level(0.0F, 255.0F);
    for (int trial = 0; trial < c_trials; ++trial) {
        Values values{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = small(random) + (i % 4 == 0 ? 2.5F : 0.0F);
        }
        const auto coupling = Coupling(values);
        const LxCColorValueFloat in(level(random), level(random), level(random));
        LxCColorValueFloat out;
        coupling.TransformColor(in, out);
        coupling.GetInverse().TransformColor(out, out);
        ASSERT_TRUE(std::abs(out.GetRed() - in.GetRed()) <= c_tolerance) << trial;
        ASSERT_TRUE(std::abs(out.GetGreen() - in.GetGreen()) <= c_tolerance) << trial;
        ASSERT_TRUE(std::abs(out.GetBlue() - in.GetBlue()) <= c_tolerance) << trial;
    }
}

TEST(LxCCameraProjectorCoupling, WithoutAnInverseTheAnswerIsTheIdentity)
{
    constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    constexpr float c_tiny = std::numeric_limits<float>::denorm_min(); // its reciprocal is no float
    for (const Values& values :
         {Values{}, Values{1, 2, 3, 2, 4, 6, 0, 0, 1}, Values{c_nan, 0, 0, 0, 1, 0, 0, 0, 1},
          Values{1, 0, 0, 0, c_infinity, 0, 0, 0, 1}, Values{c_tiny, 0, 0, 0, 1, 0, 0, 0, 1}}) {
        const Logging::CCapture capture;
        EXPECT_EQ(ValuesOf(Coupling(values).GetInverse()), c_aIdentity);
        EXPECT_EQ(capture.Count(Logging::ELevel::eDebug, L"ORX.Lumorad.LxCCameraProjectorCoupling",
                                L"LxCCameraProjectorCoupling error: inversion failed!\n"),
                  1);
    }
}

TEST(LxCCameraProjectorCoupling, LoadsAndStoresEveryKeyInOrder)
{
    const std::string text = "::C\n"
                             "Arr=0.50000000000000000000\n"
                             "Arg=1.50000000000000000000\n"
                             "Arb=2.50000000000000000000\n"
                             "Agr=3.50000000000000000000\n"
                             "Agg=4.50000000000000000000\n"
                             "Agb=5.50000000000000000000\n"
                             "Abr=6.50000000000000000000\n"
                             "Abg=7.50000000000000000000\n"
                             "Abb=-8.50000000000000000000\n";
    LxCCameraProjectorCoupling coupling;
    TestSupport::Load(coupling, "::C", text);
    EXPECT_EQ(ValuesOf(coupling), (Values{0.5F, 1.5F, 2.5F, 3.5F, 4.5F, 5.5F, 6.5F, 7.5F, -8.5F}));
    EXPECT_EQ(TestSupport::Store(coupling, "::C"), text);
}

TEST(LxCCameraProjectorCoupling, LeavesWhatATextLacks)
{
    const Logging::CCapture quiet;
    LxCCameraProjectorCoupling coupling;
    TestSupport::Load(coupling, "::C", "::C\nAgb=0.25\nAbb=none\n");
    EXPECT_EQ(ValuesOf(coupling), (Values{1, 0, 0, 0, 1, 0.25F, 0, 0, 1}));
}

} // namespace
} // namespace LxCV

#include "scanner/decoder/referenceshift.h"

#include "scanner/device/texture.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/scanner/pairdecoding.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <random>

namespace decoder {

void PrintTo(const ImageShift& shift, std::ostream* out)
{
    *out << "(" << shift.columns << ", " << shift.rows << ")";
}

namespace {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

constexpr int kWidth = 240;
constexpr int kHeight = 200;
constexpr int kBorder = 10;

/// Light of 150 times a texture with details of some six pixels, and noise.
CCTImage Textured(ImageShift shift, double contrast, unsigned seed)
{
    CCTImage image(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 0.0F);
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0.0F, 2.0F);
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            const double texture = device::Mottle(column - shift.columns, row - shift.rows, 12.0, 5);
            const auto level = static_cast<float>(150.0 * (1.0 + contrast * texture));
            image.GetFloat3Fast(column, row) =
                LxCFloat3(level + noise(random), level + noise(random), level + noise(random));
        }
    }
    return image;
}

/// Stripes of five rows that sink by a row in `columns`; a channel is on or lets 5 percent through.
void PutStripes(CCTImage& image, double columns)
{
    constexpr int kDigits[] = {2, 1, 6, 3, 0, 5, 3, 7, 4, 1, 2, 5};
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            const int stripe = static_cast<int>(std::floor((row - column / columns) / 5.0)) + 1000;
            const int digit = kDigits[stripe % 12];
            LxCFloat3& pixel = image.GetFloat3Fast(column, row);
            const auto through = [&](int channel) { return (digit >> channel & 1) != 0 ? 1.0F : 0.05F; };
            pixel =
                LxCFloat3(pixel.get(0) * through(0), pixel.get(1) * through(1), pixel.get(2) * through(2));
        }
    }
}

CCTImage Striped(ImageShift shift, double contrast, double columns = 40.0)
{
    CCTImage image = Textured(shift, contrast, 2);
    PutStripes(image, columns);
    return image;
}

TEST(ShiftEstimator, TellsTheShiftOfATexturedSceneUnderStripes)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    for (const ImageShift shift : {ImageShift{1, 0},
                                   {0, -1},
                                   {-2, 3},
                                   {5, 5},
                                   {-10, 10},
                                   {7, -9},
                                   {0, 0},
                                   {-4, 0},
                                   {10, 0},
                                   {3, -8}}) {
        const CCTImage pattern = Striped(shift, 0.4);
        EXPECT_EQ(ShiftEstimator(kBorder, true).Estimate(reference, pattern), shift);
        EXPECT_EQ(ShiftEstimator(kBorder, false).Estimate(reference, pattern), shift);
    }
}

TEST(ShiftEstimator, TellsNoShiftOfAWhiteSceneWhateverItsStripes)
{
    for (const double columns : {5.0, 10.0, 40.0, -20.0, 1e9}) {
        const CCTImage pattern = Striped({}, 0.0, columns);
        EXPECT_EQ(ShiftEstimator(kBorder, true).Estimate(Textured({}, 0.0, 1), pattern), ImageShift{})
            << columns;
        EXPECT_EQ(ShiftEstimator(kBorder, false).Estimate(Textured({}, 0.0, 1), pattern), ImageShift{})
            << columns;
    }
}

TEST(ShiftEstimator, ShiftsByNoMoreThanItsLimit)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    for (const int limit : {0, 1, 3, 6}) {
        for (const bool isPyramid : {false, true}) {
            const ImageShift shift =
                ShiftEstimator(limit, isPyramid).Estimate(reference, Striped({7, -7}, 0.4));
            EXPECT_LE(std::abs(shift.columns), limit);
            EXPECT_LE(std::abs(shift.rows), limit);
        }
    }
}

TEST(ShiftEstimator, TellsNoneWhereTheLimitLeavesNothingOfTheImages)
{
    constexpr int kMost = std::numeric_limits<int>::max();
    const CCTImage reference = Textured({}, 0.4, 1);
    const CCTImage pattern = Striped({2, 3}, 0.4);
    for (const int limit : {-kMost, -1, 0, 100, 120, 199, 200, 1000, kMost}) {
        EXPECT_EQ(ShiftEstimator(limit, true).Estimate(reference, pattern), ImageShift{}) << limit;
    }
    for (int size = 1; size < 70; ++size) {
        const CCTImage small(size, size, CCTImage::eIDT_FLOAT32_3, 100.0F);
        EXPECT_EQ(ShiftEstimator(kBorder, true).Estimate(small, small), ImageShift{}) << size;
        const CCTImage high(size, 70, CCTImage::eIDT_FLOAT32_3, 100.0F);
        EXPECT_EQ(ShiftEstimator(kBorder, false).Estimate(high, high), ImageShift{}) << size;
    }
}

TEST(ShiftEstimator, TellsNoneOfImagesOfOneValue)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kLargest = std::numeric_limits<float>::max();
    for (const float white : {0.0F, 255.0F, kLargest, -kLargest, kInfinity, -kInfinity, std::nanf("")}) {
        for (const float striped : {0.0F, 100.0F, kLargest, kInfinity, std::nanf("")}) {
            const CCTImage reference(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, white);
            const CCTImage pattern(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, striped);
            EXPECT_EQ(ShiftEstimator(kBorder, true).Estimate(reference, pattern), ImageShift{});
        }
    }
}

LxCV::LxCCCLAlgoConfig Algorithm(bool isWanted, int border)
{
    LxCV::LxCCCLAlgoConfig algorithm;
    algorithm.GetActiveAlgorithmConfig().m_bUseReferenceShift = isWanted;
    algorithm.GetActiveAlgorithmConfig().m_iBoundaryShiftedRefImg = border;
    return algorithm;
}

TEST(ReferenceShift, IsWantedWhereThePresetTellsItAndLeavesABorder)
{
    EXPECT_TRUE(ReferenceShift(Algorithm(true, 1)).IsWanted());
    EXPECT_FALSE(ReferenceShift(Algorithm(true, 0)).IsWanted());
    EXPECT_FALSE(ReferenceShift(Algorithm(true, -3)).IsWanted());
    EXPECT_FALSE(ReferenceShift(Algorithm(false, 10)).IsWanted());
    // data/settings.lua: UseReferenceShift is off and BoundaryShiftedRefImg 10, and the bare presets shift nothing.
    LxCV::LxCCCLAlgoConfig defaults;
    EXPECT_FALSE(ReferenceShift(defaults).IsWanted());
    defaults.GetActiveAlgorithmConfig().m_bUseReferenceShift = true;
    EXPECT_TRUE(ReferenceShift(defaults).IsWanted());
    defaults.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset2);
    EXPECT_FALSE(ReferenceShift(defaults).IsWanted());
}

TEST(ReferenceShift, MovesTheReferenceOntoThePatternAndIsBlackWhereItShowsNothing)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    ReferenceShift shift(Algorithm(true, kBorder));
    const CCTImage& aligned = shift.Align(reference, Striped({4, -7}, 0.4));
    ASSERT_EQ(shift.GetShift(), (ImageShift{4, -7}));
    EXPECT_EQ(&shift.Aligned(reference), &aligned);
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            const bool isInside = column >= 4 && row < kHeight - 7;
            for (int channel = 0; channel < 3; ++channel) {
                ASSERT_EQ(aligned.GetFloat3Fast(column, row).get(channel),
                          isInside ? reference.GetFloat3Fast(column - 4, row + 7).get(channel) : 0.0F)
                    << column << " " << row;
            }
        }
    }
}

TEST(ReferenceShift, LeavesAnUnmovedReferenceAsItIs)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    ReferenceShift shift(Algorithm(true, kBorder));
    shift.Align(reference, Striped({4, -7}, 0.4));
    EXPECT_EQ(&shift.Align(reference, Striped({}, 0.4)), &reference);
    EXPECT_EQ(&shift.Aligned(reference), &reference);
}

TEST(ReferenceShift, LeavesImagesThatDoNotFitAsTheyAre)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    const CCTImage narrow(kWidth - 1, kHeight, CCTImage::eIDT_FLOAT32_3, 100.0F);
    const CCTImage bytes(kWidth, kHeight, CCTImage::eIDT_BGRU8, true, nullptr);
    const CCTImage hollow(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, false, nullptr);
    ReferenceShift shift(Algorithm(true, kBorder));
    for (const CCTImage* const image : {&narrow, &bytes, &hollow}) {
        EXPECT_EQ(&shift.Align(reference, *image), &reference);
        EXPECT_EQ(&shift.Align(*image, reference), image);
    }
    EXPECT_EQ(&shift.Align(bytes, bytes), &bytes);
}

TEST(ReferenceShift, TakesNoMemoryOnceItsBuffersAreMade)
{
    const CCTImage reference = Textured({}, 0.4, 1);
    const CCTImage pattern = Striped({4, -7}, 0.4);
    ReferenceShift shift(Algorithm(true, kBorder));
    shift.Init(kWidth, kHeight);
    const LxCV::AllocationCount allocations;
    shift.Align(reference, pattern);
    EXPECT_EQ(allocations.Get(), 0U);
    EXPECT_NE(shift.GetShift(), ImageShift{});
}

/// A plane with fine speckles, such as a powdered tooth has.
class SpeckledPlane : public device::Scene
{
public:
    std::optional<device::Hit> Intersect(const device::Ray& ray) const override
    {
        return m_plane->Intersect(ray);
    }
    device::Colour Albedo(const device::Hit& hit) const override
    {
        constexpr double kGrain = 0.2; // mm
        const double share = 0.5 * (1.0 + 0.95 * device::Mottle(hit.point.x, hit.point.y, kGrain, 9));
        return {share, share, share};
    }

private:
    static std::unique_ptr<device::Scene> Plane()
    {
        const device::Vec3 point{0.0, 0.0, 33.0};
        const device::Vec3 normal{0.2, 0.1, -1.0};
        return device::MakePlane(point, normal, device::c_plaster);
    }

    std::unique_ptr<device::Scene> m_plane = Plane();
};

/// Pairs of a camera that moved between its images by some pixels.
class MovedCamera : public testing::Test
{
protected:
    static device::VirtualDevice CameraAt(double columns, double rows)
    {
        device::DeviceParameters parameters = device::SmallDevice(kWidth, kHeight);
        parameters.camera.centreX += columns;
        parameters.camera.centreY += rows;
        return device::VirtualDevice(parameters);
    }

    /// A pair, and a reference from where the camera sees things so many pixels before.
    struct Moved
    {
        device::RenderedPair pair;
        device::ImageF reference;
    };

    static Moved Render(double columns, double rows)
    {
        const SpeckledPlane scene;
        device::RenderOptions options;
        options.supersamples = 2;
        Moved moved{CameraAt(0.0, 0.0).RenderPair(scene, options), {}};
        options.seed = 2;
        options.truth = false;
        moved.reference = CameraAt(-columns, -rows).RenderPair(scene, options).reference;
        return moved;
    }

    static acceptance::Accuracy Measure(Moved& moved, const DecoderConfig& config)
    {
        const SpeckledPlane scene;
        return scannertest::MeasurePair(CameraAt(0.0, 0.0), scene, moved.pair, moved.reference, config);
    }

    static DecoderConfig Config(bool isShifted, bool isPyramid = true)
    {
        DecoderConfig config;
        config.algorithm.GetActiveAlgorithmConfig().m_bUseReferenceShift = isShifted;
        config.algorithm.GetActiveAlgorithmConfig().m_bUsePyrApproach = isPyramid;
        return config;
    }
};

TEST_F(MovedCamera, ASceneWithTextureIsMeasuredAsWellAsAtRestWhereTheReferenceIsShifted)
{
    Moved still = Render(0.0, 0.0);
    const acceptance::Accuracy atRest = Measure(still, Config(false));
    EXPECT_GT(atRest.coverage, 0.98);
    for (const auto& [columns, rows] : {std::pair{6.0, -5.0}, {-3.0, 8.0}, {4.3, 2.6}}) {
        Moved moved = Render(columns, rows);
        const acceptance::Accuracy without = Measure(moved, Config(false));
        EXPECT_GT(without.wrongCodeFraction, 0.0);
        for (const bool isPyramid : {true, false}) {
            const acceptance::Accuracy with = Measure(moved, Config(true, isPyramid));
            EXPECT_GT(with.coverage, atRest.coverage - 0.01) << columns << " " << rows;
            EXPECT_GT(with.coverage, without.coverage + 0.1) << columns << " " << rows;
            EXPECT_EQ(with.wrongCodeFraction, 0.0) << columns << " " << rows;
            EXPECT_LT(with.rmsMm, 0.5 * without.rmsMm) << columns << " " << rows;
        }
    }
}

TEST_F(MovedCamera, NothingChangesAtRest)
{
    Moved still = Render(0.0, 0.0);
    const acceptance::Accuracy with = Measure(still, Config(true));
    const acceptance::Accuracy without = Measure(still, Config(false));
    EXPECT_EQ(with.points, without.points);
    EXPECT_EQ(with.coverage, without.coverage);
    EXPECT_EQ(with.rmsMm, without.rmsMm);
}

} // namespace
} // namespace decoder

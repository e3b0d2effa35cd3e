#include "scanner/device/slidemarks.h"

#include "orx/lxcvlib/lxcstripepattern.h"
#include "scanner/device/stripeslide.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>
#include <stdexcept>

namespace device {
namespace {

DeviceParameters WithSlide(const SlideParameters& slide)
{
    DeviceParameters parameters;
    parameters.slide = slide;
    return parameters;
}

/// What the ideal slide lets through at one position.
double IdealSlide(const SlideParameters& slide, double u, double v, std::size_t channel)
{
    const int stripe = static_cast<int>(std::floor(v / slide.stripeWidth)) + 1;
    for (const int marked : slide.markStripes) {
        for (const double centre : slide.markCentres) {
            if (stripe == marked && std::abs(u - centre) < slide.markHalfLength) {
                return slide.brightMarks ? 1.0 : slide.darkLevel;
            }
        }
    }
    const int digit = slide.digits[static_cast<std::size_t>(stripe - 1) % slide.digits.size()] - '0';
    return ((digit >> channel) & 1) != 0 ? 1.0 : slide.darkLevel;
}

/// The blurred slide at one position, by a sum over a fine grid that does not know of separability.
double BlurredBySum(const SlideParameters& slide, const Vec2& at, std::size_t channel)
{
    constexpr double c_step = 0.5; // slide units; borders of marks and stripes lie between the samples
    const double reach = 6.0 * slide.blur;
    double sum = 0.0, weights = 0.0;
    for (double v = std::floor(at.y - reach) + 0.25; v < at.y + reach; v += c_step) {
        for (double u = std::floor(at.x - reach) + 0.25; u < at.x + reach; u += c_step) {
            const double far = (u - at.x) * (u - at.x) + (v - at.y) * (v - at.y);
            const double weight = std::exp(-0.5 * far / (slide.blur * slide.blur));
            sum += weight * IdealSlide(slide, u, v, channel);
            weights += weight;
        }
    }
    return sum / weights;
}

constexpr Vec2 c_places[] = {{0, 25}, {50, 25}, {-50, 25}, {47, 3}, {53, -4}, {-45, 52}, {58, 60}};

TEST(SlideMarks, TransmissionIsTheBlurredSlideWithItsMarks)
{
    // Steps of h = 0.5 miss an edge by h^2 / 24 of the bell's slope, 0.24 / 36 at most: 7e-5, both ways 1.4e-4.
    constexpr double c_summing = 1.5e-4;
    for (const SlideParameters& slide : {SlideWithDarkMarks(), SlideWithBrightMarks()}) {
        const StripeSlide blurred(slide, 7000);
        const double begin = (slide.markStripes[2] - 1) * 50.0;
        for (const Vec2& place : c_places) {
            const Vec2 at{3500.0 + place.x, begin + place.y};
            const Colour mean = blurred.Mean(at, {0.01, 0.01});
            for (std::size_t channel = 0; channel < mean.size(); ++channel) {
                EXPECT_NEAR(mean[channel], BlurredBySum(slide, at, channel), c_summing)
                    << place.x << " " << place.y;
            }
        }
    }
}

TEST(SlideMarks, MeanOverARectangleIsTheMeanOfItsPoints)
{
    // Midpoint sums of 40 parts, 0.25 units: 0.25^2 / 24 of the steepest bend, 0.24 / 36.
    constexpr double c_summing = 2e-5;
    constexpr int c_parts = 40;
    const SlideParameters slide = SlideWithDarkMarks();
    const StripeSlide blurred(slide, 7000);
    for (const Vec2& place : c_places) {
        const Vec2 centre{1750.0 + place.x, (slide.markStripes[5] - 1) * 50.0 + place.y}, reach{5.0, 3.0};
        Colour sum{};
        for (int j = 0; j < c_parts; ++j) {
            for (int i = 0; i < c_parts; ++i) {
                const Vec2 at{centre.x + reach.x * ((2.0 * i + 1.0) / c_parts - 1.0),
                              centre.y + reach.y * ((2.0 * j + 1.0) / c_parts - 1.0)};
                const Colour point = blurred.Mean(at, {0.01, 0.01});
                for (std::size_t channel = 0; channel < sum.size(); ++channel) {
                    sum[channel] += point[channel] / (c_parts * c_parts);
                }
            }
        }
        const Colour mean = blurred.Mean(centre, reach);
        for (std::size_t channel = 0; channel < sum.size(); ++channel) {
            EXPECT_NEAR(mean[channel], sum[channel], c_summing) << place.x << " " << place.y;
        }
    }
}

TEST(SlideMarks, MiddleOfAMarkLetsThroughTheMarksLevel)
{
    // From the middle of a stripe to its borders are 25 units, 4.17 sigma: 2 F(-4.17) = 3e-5 of the change.
    constexpr double c_tails = 5e-5;
    const SlideParameters dark = SlideWithDarkMarks();
    const StripeSlide darkMarks(dark, 7000);
    for (const int stripe : dark.markStripes) {
        for (const double u : dark.markCentres) {
            EXPECT_NEAR(darkMarks.Mean({u, 50.0 * stripe - 25.0}, {0.1, 0.1})[1], 0.03, c_tails);
            EXPECT_NEAR(darkMarks.Mean({u + 200.0, 50.0 * stripe - 25.0}, {0.1, 0.1})[1], 1.0, c_tails);
        }
    }
    const SlideParameters bright = SlideWithBrightMarks();
    const StripeSlide brightMarks(bright, 7000);
    for (const int stripe : bright.markStripes) {
        for (const double u : bright.markCentres) {
            EXPECT_NEAR(brightMarks.Mean({u, 50.0 * stripe - 25.0}, {0.1, 0.1})[2], 1.0, c_tails);
            EXPECT_NEAR(brightMarks.Mean({u - 200.0, 50.0 * stripe - 25.0}, {0.1, 0.1})[2], 0.03, c_tails);
        }
    }
}

TEST(SlideMarks, AwayFromMarksTheSlideIsThatOfTheStripesToTheLastBit)
{
    const StripeSlide plain(SlideParameters(), 7000), marked(SlideWithDarkMarks(), 7000);
    for (double v = -60.0; v < 7060.0; v += 3.7) {
        const Colour expected = plain.Mean(v, 2.0);
        EXPECT_EQ(marked.Mean({2600.0, v}, {1.0, 2.0}), expected);
        EXPECT_EQ(plain.Mean({3500.0, v}, {1.0, 2.0}), expected);
    }
    EXPECT_FALSE(plain.HasMarks());
    EXPECT_TRUE(marked.HasMarks());
}

int Digit(const std::string& digits, int stripe)
{
    return digits[static_cast<std::size_t>(stripe - 1) % digits.size()] - '0';
}

TEST(SlideMarks, BlackMarksStandOnWhiteStripesAndWhiteOnesOnBlackStripes)
{
    const SlideParameters dark = SlideWithDarkMarks();
    EXPECT_FALSE(dark.brightMarks);
    EXPECT_EQ(dark.digits, SlideParameters().digits);
    EXPECT_EQ(dark.markStripes.size(), 13U);
    for (const int stripe : dark.markStripes) {
        EXPECT_EQ(Digit(dark.digits, stripe), 7) << stripe;
    }
    const SlideParameters bright = SlideWithBrightMarks();
    EXPECT_TRUE(bright.brightMarks);
    EXPECT_EQ(bright.markStripes.size(), 11U);
    for (const int stripe : bright.markStripes) {
        EXPECT_EQ(Digit(bright.digits, stripe), 0) << stripe;
    }
}

TEST(SlideMarks, DigitsAreThoseThatTheDecoderKnows)
{
    EXPECT_EQ(SlideWithDarkMarks().digits, LxCV::LxCStripePattern::GetPatternStringA());
    EXPECT_EQ(SlideWithBrightMarks().digits, LxCV::LxCStripePattern::GetPatternStringC());
}

TEST(SlideMarks, BothSlidesHaveUniqueCodeWordsAndNoEqualNeighbours)
{
    for (const SlideParameters& slide : {SlideWithDarkMarks(), SlideWithBrightMarks()}) {
        const std::string twice = slide.digits + slide.digits;
        std::set<std::string> words;
        for (std::size_t i = 0; i < slide.digits.size(); ++i) {
            words.insert(twice.substr(i, static_cast<std::size_t>(slide.codeWordLength)));
            EXPECT_NE(twice[i], twice[i + 1]) << i;
        }
        EXPECT_EQ(words.size(), slide.digits.size());
    }
}

TEST(SlideMarks, CornersComeInTheOrderOfTheirSlidePositions)
{
    const VirtualDevice device(WithSlide(SlideWithBrightMarks()));
    const std::vector<MarkCorner> corners = FindMarkCorners(device, {{0, 0, 33}, {0, 0, -1}});
    ASSERT_EQ(corners.size(), 132U);
    // Row of 5250, stripe 8: v from 350 to 400.
    const Vec2 first[] = {{5300, 350}, {5300, 400}, {5200, 350}, {5200, 400}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(corners[i].slide.x, first[i].x);
        EXPECT_EQ(corners[i].slide.y, first[i].y);
        EXPECT_EQ(corners[i].stripe, 8);
        EXPECT_EQ(corners[i].row, 0);
        EXPECT_EQ(corners[i].corner, static_cast<int>(i));
    }
    // Row of 1750, stripe 120.
    EXPECT_EQ(corners[131].slide.x, 1700.0);
    EXPECT_EQ(corners[131].slide.y, 6000.0);
    EXPECT_EQ(corners[131].row, 2);
    EXPECT_EQ(corners[131].stripe, 120);
}

TEST(SlideMarks, CornersLieOnThePlaneAndProjectBothWays)
{
    constexpr double c_exact = 1e-6; // pixels
    const VirtualDevice device(WithSlide(SlideWithDarkMarks()));
    int visible = 0;
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const PlanePose plane = DrawPlane(PlaneRange(), seed);
        const auto scene = MakePlane(plane.point, plane.normal, Colour{0.8, 0.8, 0.8});
        for (const MarkCorner& corner : FindMarkCorners(device, plane)) {
            ASSERT_TRUE(corner.onPlane);
            ASSERT_NEAR(Dot(plane.normal, corner.pointInCamera - plane.point), 0.0, 1e-10);
            // The slide position by the projector's equations forward, the image by the camera's ray.
            const Vec2 slide = device.SlideFromPoint(corner.pointInCamera);
            ASSERT_NEAR(slide.x, corner.slide.x, 1e-7);
            ASSERT_NEAR(slide.y, corner.slide.y, 1e-7);
            if (!corner.visible) {
                continue;
            }
            ++visible;
            const auto seen = device.TruePointAt(*scene, corner.image);
            ASSERT_TRUE(seen.has_value());
            const double millimetresPerPixel = corner.pointInCamera.z * 0.0074 / 9.45;
            ASSERT_LT(Length(*seen - corner.pointInCamera), c_exact * millimetresPerPixel);
            // A mark's corners at v lie on the stripe edges s and s + 1.
            const auto crossing =
                device.CrossingNear(*scene, corner.image, corner.stripe + corner.corner % 2);
            ASSERT_TRUE(crossing.has_value()) << seed;
            ASSERT_NEAR(crossing->row, corner.image.y, c_exact);
        }
    }
    EXPECT_GT(visible, 10000);
}

TEST(SlideMarks, RowsOfMarksRunFromTheImagesRightToItsLeft)
{
    const VirtualDevice device(WithSlide(SlideWithDarkMarks()));
    double sum[3] = {};
    for (const MarkCorner& corner : FindMarkCorners(device, {{0, 0, 33}, {0, 0, -1}})) {
        sum[corner.row] += corner.image.x / 52.0;
    }
    EXPECT_GT(sum[0], sum[1] + 100.0);
    EXPECT_GT(sum[1], sum[2] + 100.0);
}

TEST(SlideMarks, PlanesThatTheProjectorOrTheCameraCannotSeeShowNothing)
{
    const VirtualDevice device(WithSlide(SlideWithDarkMarks()));
    for (const MarkCorner& corner : FindMarkCorners(device, {{0, 0, -33}, {0, 0, 1}})) {
        EXPECT_FALSE(corner.onPlane);
        EXPECT_FALSE(corner.visible);
    }
    // The camera at the origin sees the one side of y = -3, the projector at y = -7 lights the other.
    for (const MarkCorner& corner : FindMarkCorners(device, {{0, -3, 33}, {0, 1, 0.01}})) {
        EXPECT_FALSE(corner.visible);
    }
    EXPECT_THROW(FindMarkCorners(device, {{0, 0, 33}, {0, 0, 0}}), std::invalid_argument);
    EXPECT_THROW(FindMarkCorners(device, {{0, 0, std::numeric_limits<double>::infinity()}, {0, 0, 1}}),
                 std::invalid_argument);
}

/// Where a row of the pattern passes half way between the levels at `inside` and `outside`, by linear interpolation.
double HalfWay(const ImageF& image, int row, int inside, int outside)
{
    const double half = 0.5 * (image.At(inside, row, 1) + image.At(outside, row, 1));
    const int step = outside > inside ? 1 : -1;
    for (int col = inside; col != outside; col += step) {
        const double a = image.At(col, row, 1) - half, b = image.At(col + step, row, 1) - half;
        if ((a < 0.0) != (b < 0.0)) {
            return col + step * a / (a - b);
        }
    }
    return std::numeric_limits<double>::quiet_NaN();
}

TEST(SlideMarks, RenderedMarksHaveTheirSidesWhereTheTruthTells)
{
    // Linear interpolation of an edge with a sigma of 0.9 pixels misses by up to 0.02 pixels either way; the level
    // outside is not flat, because the other stripes are within the blur's reach.
    constexpr double c_interpolation = 0.05, c_bias = 0.01;
    for (const SlideParameters& slide : {SlideWithDarkMarks(), SlideWithBrightMarks()}) {
        const VirtualDevice device(WithSlide(slide));
        const PlanePose plane{{0, 0, 33}, {0.1, -0.05, -1.0}};
        const auto scene = MakePlane(plane.point, plane.normal, Colour{0.8, 0.8, 0.8});
        RenderOptions options = NoiseFree();
        options.truth = false;
        options.supersamples = 2;
        const ImageF pattern = device.RenderPair(*scene, options).pattern;
        const std::vector<MarkCorner> corners = FindMarkCorners(device, plane);
        int marks = 0;
        double sum = 0.0; // of what sides lie too far outwards
        for (std::size_t i = 0; i < corners.size(); i += 4) {
            const auto begin = corners.begin() + static_cast<std::ptrdiff_t>(i);
            const bool inside = std::all_of(begin, begin + 4, [](const MarkCorner& corner) {
                return corner.visible && corner.image.x > 12 && corner.image.x < 645;
            });
            if (!inside) {
                continue;
            }
            const double middleX = 0.5 * (corners[i].image.x + corners[i + 2].image.x);
            const double middleY = 0.5 * (corners[i].image.y + corners[i + 1].image.y);
            const int row = static_cast<int>(std::lround(middleY)),
                      col = static_cast<int>(std::lround(middleX));
            for (const std::size_t side : {i, i + 2}) {
                const Vec2 &upper = corners[side].image, &lower = corners[side + 1].image;
                const double expected = upper.x + (row - upper.y) * (lower.x - upper.x) / (lower.y - upper.y);
                const int outside = static_cast<int>(std::lround(expected)) + (expected > middleX ? 5 : -5);
                const double found = HalfWay(pattern, row, col, outside);
                sum += expected > middleX ? found - expected : expected - found;
                ASSERT_NEAR(found, expected, c_interpolation)
                    << "stripe " << corners[i].stripe << ", row " << corners[i].row;
            }
            ++marks;
        }
        EXPECT_GT(marks, 20);
        EXPECT_NEAR(sum / (2.0 * marks), 0.0, c_bias);
    }
}

TEST(SlideMarks, ThePairIsThatOfThePlainSlideWhereThereAreNoMarks)
{
    DeviceParameters parameters = SmallDevice(80, 60);
    const auto scene = MakeScene("molar");
    const RenderedPair plain = VirtualDevice(parameters).RenderPair(*scene);
    parameters.slide = SlideWithDarkMarks();
    parameters.slide.markCentres = {200.0, 6800.0};
    const RenderedPair marked = VirtualDevice(parameters).RenderPair(*scene);
    EXPECT_EQ(marked.reference.data, plain.reference.data);
    EXPECT_EQ(marked.pattern.data, plain.pattern.data);
}

TEST(SlideMarks, ReferenceImageShowsNoMarks)
{
    DeviceParameters parameters = SmallDevice(120, 90);
    const auto scene = MakeScene("plane");
    const RenderedPair plain = VirtualDevice(parameters).RenderPair(*scene);
    parameters.slide = SlideWithDarkMarks();
    const RenderedPair marked = VirtualDevice(parameters).RenderPair(*scene);
    EXPECT_EQ(marked.reference.data, plain.reference.data);
    EXPECT_NE(marked.pattern.data, plain.pattern.data);
}

TEST(SlideMarks, RandomPlanesFillTheirRange)
{
    const PlaneRange range;
    double nearest = 100.0, farthest = 0.0, steepest = 0.0;
    for (std::uint64_t seed = 0; seed < 2000; ++seed) {
        const PlanePose plane = DrawPlane(range, seed);
        ASSERT_NEAR(Length(plane.normal), 1.0, 1e-12);
        const double tilt = std::acos(-plane.normal.z);
        ASSERT_LE(tilt, range.steepestTilt + 1e-9);
        ASSERT_GE(plane.point.z, range.nearest);
        ASSERT_LE(plane.point.z, range.farthest);
        nearest = std::min(nearest, plane.point.z);
        farthest = std::max(farthest, plane.point.z);
        steepest = std::max(steepest, tilt);
    }
    EXPECT_LT(nearest, 30.1);
    EXPECT_GT(farthest, 36.9);
    EXPECT_GT(steepest, 0.25);
    EXPECT_EQ(DrawPlane(range, 5).point.z, DrawPlane(range, 5).point.z);
    PlaneRange empty;
    empty.farthest = 20.0;
    EXPECT_THROW(DrawPlane(empty, 1), std::invalid_argument);
}

TEST(SlideMarks, RefusesMarksThatNoSlideHas)
{
    const auto refuses = [](auto change) {
        DeviceParameters parameters = WithSlide(SlideWithDarkMarks());
        change(parameters.slide);
        EXPECT_THROW(VirtualDevice{parameters}, std::invalid_argument);
    };
    refuses([](SlideParameters& slide) { slide.markStripes.push_back(0); });
    refuses([](SlideParameters& slide) { slide.markStripes.push_back(141); });
    refuses([](SlideParameters& slide) { slide.markStripes.push_back(10); });
    refuses([](SlideParameters& slide) { slide.markHalfLength = 0.0; });
    refuses([](SlideParameters& slide) { slide.markHalfLength = std::numeric_limits<double>::quiet_NaN(); });
    refuses([](SlideParameters& slide) { slide.markCentres.push_back(1849.0); });
    refuses([](SlideParameters& slide) { slide.markCentres[0] = std::numeric_limits<double>::infinity(); });
}

} // namespace
} // namespace device

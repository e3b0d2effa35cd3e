#include "lxcblob.h"

#include "cctimage.h"
#include "lxcblobfinder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();

LxCBlob Box(int left, int top, int right, int bottom)
{
    LxCBlob blob;
    blob.m_iLeft = left;
    blob.m_iTop = top;
    blob.m_iRight = right;
    blob.m_iBottom = bottom;
    blob.m_dCenterX = 0.5 * left + 0.5 * right;
    blob.m_dCenterY = 0.5 * top + 0.5 * bottom;
    return blob;
}

TEST(LxCBlob, StartsAndResetsToItsDefaults)
{
    LxCBlob blob = Box(1, 2, 3, 4);
    blob.m_iId = 5;
    blob.m_iPixelCount = 6;
    blob.m_iSumX = 7;
    blob.m_iSumY = 8;
    blob.SetValid(false);
    EXPECT_FALSE(blob.IsValid());
    blob.Reset();
    for (const LxCBlob& fresh : {blob, LxCBlob()}) {
        EXPECT_EQ(fresh.m_iId, 0);
        EXPECT_EQ(fresh.m_iPixelCount, 0);
        EXPECT_EQ(fresh.m_iLeft, -1);
        EXPECT_EQ(fresh.m_iRight, -1);
        EXPECT_EQ(fresh.m_iTop, -1);
        EXPECT_EQ(fresh.m_iBottom, -1);
        EXPECT_EQ(fresh.m_dCenterX, -1.0);
        EXPECT_EQ(fresh.m_dCenterY, -1.0);
        EXPECT_EQ(fresh.m_iSumX, 0);
        EXPECT_EQ(fresh.m_iSumY, 0);
        EXPECT_TRUE(fresh.IsValid());
    }
}

TEST(LxCBlob, WidthAndHeightIncludeBothBounds)
{
    const LxCBlob blob = Box(3, 10, 3, 14);
    EXPECT_EQ(blob.GetWidth(), 1);
    EXPECT_EQ(blob.GetHeight(), 5);
    const int low = std::numeric_limits<int>::min();
    const int high = std::numeric_limits<int>::max();
    EXPECT_EQ(Box(low, low, high, high).GetWidth(), high);
    EXPECT_EQ(Box(high, high, low, low).GetHeight(), low);
}

TEST(LxCBlob, TheBoundsAreInside)
{
    const LxCBlob blob = Box(1, 2, 5, 6);
    EXPECT_TRUE(blob.IsInside(1.0, 2.0));
    EXPECT_TRUE(blob.IsInside(5.0, 6.0));
    EXPECT_FALSE(blob.IsInside(5.001, 4.0));
    EXPECT_FALSE(blob.IsInside(0.999, 4.0));
    EXPECT_FALSE(blob.IsInside(3.0, 1.999));
    EXPECT_FALSE(blob.IsInside(3.0, 6.001));
    EXPECT_FALSE(blob.IsInside(c_dNaN, 4.0));
    EXPECT_FALSE(blob.IsInside(3.0, c_dNaN));
    EXPECT_FALSE(blob.IsInside(c_dInfinity, 4.0));
}

TEST(LxCBlob, IntersectsABoxWithACornerInsideItOnly)
{
    const LxCBlob blob = Box(10, 10, 20, 20);
    EXPECT_TRUE(blob.IsIntersection(Box(20, 20, 30, 30))) << "left top";
    EXPECT_TRUE(blob.IsIntersection(Box(15, 0, 30, 12))) << "left bottom";
    EXPECT_TRUE(blob.IsIntersection(Box(0, 15, 12, 30))) << "right top";
    EXPECT_TRUE(blob.IsIntersection(Box(0, 0, 10, 10))) << "right bottom";
    EXPECT_FALSE(blob.IsIntersection(Box(21, 10, 30, 20)));
    EXPECT_FALSE(blob.IsIntersection(Box(12, 0, 18, 30))) << "a cross has no corner inside";
}

TEST(LxCBlob, IntersectionIsNotSymmetric)
{
    const LxCBlob outer = Box(0, 0, 30, 30);
    const LxCBlob inner = Box(10, 10, 20, 20);
    EXPECT_TRUE(outer.IsIntersection(inner));
    EXPECT_FALSE(inner.IsIntersection(outer));
}

TEST(LxCBlob, CombiningKeepsTheLargerPixelCountAndNoCentre)
{
    LxCBlob first = Box(5, 2, 9, 8);
    first.m_iId = 3;
    first.m_iPixelCount = 20;
    first.SetValid(false);
    LxCBlob second = Box(1, 4, 7, 12);
    second.m_iPixelCount = 30;
    for (const LxCBlob& both : {first.Combine(second), second.Combine(first)}) {
        EXPECT_EQ(both.m_iId, -1);
        EXPECT_EQ(both.m_iPixelCount, 30);
        EXPECT_EQ(both.m_iLeft, 1);
        EXPECT_EQ(both.m_iTop, 2);
        EXPECT_EQ(both.m_iRight, 9);
        EXPECT_EQ(both.m_iBottom, 12);
        EXPECT_EQ(both.m_dCenterX, -1.0);
        EXPECT_EQ(both.m_dCenterY, -1.0);
        EXPECT_EQ(both.m_iSumX, -1);
        EXPECT_EQ(both.m_iSumY, -1);
        EXPECT_TRUE(both.IsValid());
    }
}

struct Contour
{
    std::vector<double> x = std::vector<double>(1000, c_dNaN);
    std::vector<double> y = std::vector<double>(1000, c_dNaN);
    int count = 0;
};

Contour ContourOf(double cx, double cy, double a, double b, int maxPoints = 1000)
{
    Contour contour;
    contour.count =
        LxCBlob::CreateArtificialContour(contour.x.data(), contour.y.data(), cx, cy, a, b, maxPoints);
    return contour;
}

TEST(ArtificialContour, StoresBothPointsOfAColumnWhereTheUpperEntersAnotherPixel)
{
    // Columns 9, 9.25, ... 11 with h = 0, 0.66, 0.87, 0.97, 1, 0.97, 0.87, 0.66, 0 about y = 20.5: the pixels
    // of the first points are (9, 20), then (9, 21) thrice, (10, 21) four times and (11, 20).
    const Contour contour = ContourOf(10.0, 20.5, 1.0, 1.0);
    const double h = std::sqrt(1.0 - 0.75 * 0.75);
    ASSERT_EQ(contour.count, 6);
    const double x[6] = {9.0, 9.25, 9.25, 10.0, 10.0, 11.0};
    const double y[6] = {20.5, 20.5 + h, 20.5 - h, 21.5, 19.5, 20.5};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(contour.x[i], x[i]) << i;
        EXPECT_DOUBLE_EQ(contour.y[i], y[i]) << i;
    }
}

TEST(ArtificialContour, LiesOnTheEllipseAndEntersEveryPixelOnce)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int trial = 0; trial < 500; ++trial) {
        const double cx = 100.0 + 50.0 * unit(random);
        const double cy = 100.0 + 50.0 * unit(random);
        const double a = 0.5 + 40.0 * unit(random);
        const double b = 0.5 + 40.0 * unit(random);
        const Contour contour = ContourOf(cx, cy, a, b);
        ASSERT_GE(contour.count, 2) << "trial " << trial;
        ASSERT_LT(contour.count, 1000) << "trial " << trial;
        EXPECT_TRUE(std::isnan(contour.x[contour.count])) << "nothing is written behind the points";
        EXPECT_EQ(contour.x[0], cx - a);
        int lastX = -1;
        int lastY = -1;
        for (int i = 0; i < contour.count; ++i) {
            const double u = (contour.x[i] - cx) / a;
            const double v = (contour.y[i] - cy) / b;
            EXPECT_NEAR(u * u + v * v, 1.0, 1e-9);
            if (contour.y[i] >= cy) {
                const int pixelX = static_cast<int>(contour.x[i]);
                const int pixelY = static_cast<int>(contour.y[i]);
                EXPECT_FALSE(pixelX == lastX && pixelY == lastY) << "trial " << trial << ", point " << i;
                lastX = pixelX;
                lastY = pixelY;
            }
        }
    }
}

TEST(ArtificialContour, IsEmptyWithoutAxes)
{
    EXPECT_EQ(ContourOf(10.0, 10.0, 0.0, 5.0).count, 0);
    EXPECT_EQ(ContourOf(10.0, 10.0, 5.0, 0.0).count, 0);
    EXPECT_EQ(ContourOf(10.0, 10.0, -1.0, 5.0).count, 0);
    EXPECT_EQ(ContourOf(10.0, 10.0, 5.0, -1.0).count, 0);
    EXPECT_EQ(ContourOf(10.0, 10.0, c_dNaN, 5.0).count, 0);
    EXPECT_EQ(ContourOf(10.0, 10.0, 5.0, c_dNaN).count, 0);
}

TEST(ArtificialContour, AnOverflowGivesNoPointsInsteadOfFewer)
{
    const int needed = ContourOf(50.0, 50.0, 20.0, 10.0).count;
    ASSERT_GT(needed, 60);
    EXPECT_EQ(ContourOf(50.0, 50.0, 20.0, 10.0, needed + 1).count, needed);
    // One place stays free. The last column has one point, so with a place less the end is not reached.
    for (int room = needed; room > -3; --room) {
        EXPECT_EQ(ContourOf(50.0, 50.0, 20.0, 10.0, room).count, 0) << room;
    }
    EXPECT_EQ(ContourOf(50.0, 50.0, 20.0, 10.0, std::numeric_limits<int>::min()).count, 0);
}

TEST(ArtificialContour, NeverWritesBehindItsRoom)
{
    for (int room = 0; room < 100; ++room) {
        const Contour contour = ContourOf(50.3, 50.7, 12.2, 9.1, room);
        for (std::size_t i = static_cast<std::size_t>(room); i < contour.x.size(); ++i) {
            ASSERT_TRUE(std::isnan(contour.x[i]) && std::isnan(contour.y[i])) << room << ' ' << i;
        }
    }
}

TEST(ArtificialContour, EndsForAnyNumbersAndNulls)
{
    double values[10];
    EXPECT_EQ(LxCBlob::CreateArtificialContour(nullptr, values, 0.0, 0.0, 1.0, 1.0, 10), 0);
    EXPECT_EQ(LxCBlob::CreateArtificialContour(values, nullptr, 0.0, 0.0, 1.0, 1.0, 10), 0);
    const double special[] = {0.0,  1.0,  -1.0,   1e-300, 1e300,       1e15,         4.5e15,
                              1e16, 1e18, c_dNaN, 5e-324, c_dInfinity, -c_dInfinity, 40.0};
    double xs[100];
    double ys[100];
    for (const double cx : special) {
        for (const double cy : special) {
            for (const double a : special) {
                for (const double b : special) {
                    const int count = LxCBlob::CreateArtificialContour(xs, ys, cx, cy, a, b, 100);
                    EXPECT_TRUE(count >= 0 && count <= 100) << cx << ' ' << cy << ' ' << a << ' ' << b;
                }
            }
        }
    }
}

/// A disc or ellipse of grey `inside` on `outside` with an edge that is smooth over about two pixels.
CCTImage Render(const LxCEllipse& e, CCTImage::EImageDataType type, int inside, int outside, int width = 100,
                int height = 80)
{
    CCTImage image(width, height, type, 0.0F);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double distance = e.DistanceApproximate(x, y, true);
            const double t = std::isnan(distance) ? 0.0 : 0.5 + 0.5 * std::tanh(distance);
            const auto value = static_cast<int>(std::lround(inside + t * (outside - inside)));
            const float real = static_cast<float>(value);
            if (type == CCTImage::eIDT_FLOAT32) {
                image.SetPixel(x, y, &real);
            } else {
                image.SetPixel(x, y, static_cast<unsigned long>(value));
            }
        }
    }
    return image;
}

// An edge that is blurred by a standard deviation of about one pixel moves inwards by 1/(2R) where its radius
// of curvature is R, 10 pixels and more in these tests; the rays meet it off the normal.
constexpr double c_dEdgeTolerance = 0.05; // pixels
// A single point has the roundings of three grey values of about 1 in 100 in its parabola.
constexpr double c_dPointTolerance = 0.1; // pixels

double FitFrom(const LxCEllipse& start, CCTImage& image, bool rising, bool shortProfile, LxCEllipse& ellipse,
               CCTImage* debugImage = nullptr)
{
    Contour contour = ContourOf(start.GetX(), start.GetY(), start.GetA(), start.GetB());
    ellipse.Reset(start.GetX(), start.GetY(), 0.0, 0.0, 0.0);
    return LxCBlob::EllipseFitEx(contour.x.data(), contour.y.data(), contour.count, &ellipse, &image, rising,
                                 shortProfile, debugImage);
}

TEST(EllipseFitEx, FindsRisingAndFallingEdgesToHundredthsOfAPixel)
{
    const LxCEllipse truth(50.3, 39.6, 20.4, 14.7, 0.0);
    for (const auto type :
         {CCTImage::eIDT_UINT8, CCTImage::eIDT_UINT16, CCTImage::eIDT_INT32, CCTImage::eIDT_FLOAT32}) {
        for (const bool rising : {true, false}) {
            for (const bool shortProfile : {true, false}) {
                CCTImage image = Render(truth, type, rising ? 20 : 220, rising ? 220 : 20);
                LxCEllipse found;
                const double error =
                    FitFrom({50.0, 40.0, 20.0, 15.0, 0.0}, image, rising, shortProfile, found);
                EXPECT_GT(error, 0.0);
                EXPECT_LT(error, 0.1);
                EXPECT_NEAR(found.GetX(), truth.GetX(), c_dEdgeTolerance);
                EXPECT_NEAR(found.GetY(), truth.GetY(), c_dEdgeTolerance);
                EXPECT_NEAR(found.GetA(), truth.GetA(), c_dEdgeTolerance);
                EXPECT_NEAR(found.GetB(), truth.GetB(), c_dEdgeTolerance);
            }
        }
    }
}

TEST(EllipseFitEx, SeesNoEdgeOfTheOtherDirection)
{
    CCTImage image = Render({50.0, 40.0, 20.0, 15.0, 0.0}, CCTImage::eIDT_UINT8, 20, 220);
    LxCEllipse found;
    // Everywhere rising, the least gradient lies at an end of the profile or on a flat stretch.
    EXPECT_EQ(FitFrom({50.0, 40.0, 20.0, 15.0, 0.0}, image, false, true, found), -1.0);
    EXPECT_EQ(found.GetX(), 50.0);
    EXPECT_EQ(found.GetA(), 0.0) << "a failed fit leaves the ellipse";
}

TEST(EllipseFitEx, PutsTheEdgeOfAVerticalStepWhereTheParabolaPeaks)
{
    // Along x grey is 0 up to column 49, 60 at 50 and 100 from 51. From the centre (40, y) a point at (50, y)
    // sees s(-3 ... 3) = 0, 0, 0, 60, 100, 100, 100, so g = 0, 60, 100, 40, 0 and k = 2, between g = 60 and
    // 40: d = 40 + 60 - 200 = -100, t = (60 - 40)/(-100)/2 + 3 - 3 = -0.1.
    CCTImage image(100, 80, CCTImage::eIDT_UINT8, true, nullptr);
    image.Clear();
    for (int y = 0; y < 80; ++y) {
        for (int x = 50; x < 100; ++x) {
            image.SetPixel(x, y, static_cast<unsigned long>(x == 50 ? 60 : 100));
        }
    }
    for (const bool shortProfile : {true, false}) {
        double xs[6] = {50.0, 50.0, 50.0, 50.0, 50.0, 50.0};
        double ys[6] = {40.0, 40.0, 40.0, 40.0, 40.0, 40.0};
        LxCEllipse center(40.0, 40.0, 0.0, 0.0, 0.0);
        // Six equal points are no ellipse, but they are refined.
        EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, 6, &center, &image, true, shortProfile, nullptr), -1.0);
        EXPECT_DOUBLE_EQ(xs[0], 49.9);
        EXPECT_DOUBLE_EQ(ys[0], 40.0);
    }
}

/// Where the point (50, 40) moves to along x from the centre (40, 40) in an image whose columns 46 to 54 have
/// the given grey values; columns before and behind go on with the outermost ones.
double RefineOnColumns(const std::array<int, 9>& greys, bool rising, bool shortProfile)
{
    CCTImage image(100, 80, CCTImage::eIDT_UINT8, true, nullptr);
    for (int y = 0; y < 80; ++y) {
        for (int x = 0; x < 100; ++x) {
            const int grey = greys[static_cast<std::size_t>(std::clamp(x - 46, 0, 8))];
            image.SetPixel(x, y, static_cast<unsigned long>(grey));
        }
    }
    std::array<double, 6> xs;
    std::array<double, 6> ys;
    xs.fill(50.0);
    ys.fill(40.0);
    LxCEllipse center(40.0, 40.0, 0.0, 0.0, 0.0);
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs.data(), ys.data(), 6, &center, &image, rising, shortProfile, nullptr),
              -1.0)
        << "six equal points are no ellipse";
    return xs[0];
}

TEST(EllipseFitEx, TheFirstOfEqualGradientsCounts)
{
    // Short: g = 50, 100, 100, 100, 50, so k = 1, d = 100 + 50 - 200 = -50 and
    // t = (50 - 100)/(-50)/2 + 2 - 3 = -0.5. Long: the same with 0 at both ends, k = 2 and 3 - 4.
    const std::array<int, 9> ramp = {0, 0, 0, 50, 100, 150, 200, 200, 200};
    std::array<int, 9> fall = ramp;
    std::reverse(fall.begin(), fall.end());
    for (const bool shortProfile : {true, false}) {
        EXPECT_EQ(RefineOnColumns(ramp, true, shortProfile), 49.5);
        EXPECT_EQ(RefineOnColumns(fall, false, shortProfile), 49.5);
    }
}

TEST(EllipseFitEx, ASteepestGradientAtAnEndOfTheProfileSkipsThePoint)
{
    // A step between columns e - 1 and e gives two equal gradients, at e - 49 and e - 48 of a short profile,
    // of which the first counts: it must be 1 to 3. The parabola through 0, 100, 100 peaks half way, at the
    // step. With 48 and 53 one of the two lies beyond an end, and with 49 the first one is the end.
    for (int e = 47; e <= 54; ++e) {
        std::array<int, 9> step;
        for (int x = 46; x <= 54; ++x) {
            step[static_cast<std::size_t>(x - 46)] = x < e ? 0 : 100;
        }
        EXPECT_EQ(RefineOnColumns(step, true, true), e >= 50 && e <= 52 ? e - 0.5 : 50.0) << e;
        EXPECT_EQ(RefineOnColumns(step, true, false), e >= 49 && e <= 53 ? e - 0.5 : 50.0) << e;
    }
}

TEST(EllipseFitEx, RefinedPointsMoveToTheFrontAndAreMarked)
{
    CCTImage image = Render({50.0, 40.0, 20.0, 15.0, 0.0}, CCTImage::eIDT_UINT8, 20, 220);
    // The centre itself, a point whose profile leaves the image, one on a flat stretch and one that is no
    // number are skipped; the last one stays.
    double xs[6] = {50.0, 98.0, 55.0, c_dNaN, c_dInfinity, 70.2};
    double ys[6] = {40.0, 40.0, 40.0, 40.0, 40.0, 40.0};
    LxCEllipse ellipse(50.0, 40.0, 0.0, 0.0, 0.0);
    CCTImage debug(100, 80, CCTImage::eIDT_UINT16, true, nullptr);
    debug.Clear();
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, 6, &ellipse, &image, true, true, &debug), -1.0)
        << "one refined point is too few";
    EXPECT_NEAR(xs[0], 70.0, c_dPointTolerance);
    EXPECT_EQ(ys[0], 40.0);
    EXPECT_EQ(xs[1], 98.0);
    const auto* pixels = static_cast<const std::uint16_t*>(debug.GetBuffer());
    EXPECT_EQ(std::count(pixels, pixels + 100 * 80, 65535), 1);
    EXPECT_EQ(pixels[40 * 100 + static_cast<int>(xs[0])], 65535);
}

TEST(EllipseFitEx, ErrorIsTheRootMeanSquareDistanceOfTheRefinedPoints)
{
    CCTImage image = Render({50.2, 40.1, 20.0, 15.0, 0.2}, CCTImage::eIDT_UINT8, 20, 220);
    Contour contour = ContourOf(50.0, 40.0, 20.0, 15.0);
    const Contour start = contour;
    LxCEllipse ellipse(50.0, 40.0, 0.0, 0.0, 0.0);
    const double error = LxCBlob::EllipseFitEx(contour.x.data(), contour.y.data(), contour.count, &ellipse,
                                               &image, true, false, nullptr);
    ASSERT_GT(error, 0.0);
    double squares = 0.0;
    for (int i = 0; i < contour.count; ++i) {
        const double dx = contour.x[i] - 50.0;
        const double dy = contour.y[i] - 40.0;
        // Each point still lies on its own ray, so all of them are refined, and all count.
        ASSERT_NEAR(dx * (start.y[i] - 40.0) - dy * (start.x[i] - 50.0), 0.0, 1e-9) << i;
        squares += std::pow(ellipse.Distance(contour.x[i], contour.y[i]), 2.0);
    }
    EXPECT_DOUBLE_EQ(error, std::sqrt(squares / contour.count));
}

TEST(EllipseFitEx, RefusesFewPointsAndNulls)
{
    CCTImage image = Render({50.0, 40.0, 20.0, 15.0, 0.0}, CCTImage::eIDT_UINT8, 20, 220);
    Contour c = ContourOf(50.0, 40.0, 20.0, 15.0);
    LxCEllipse ellipse(50.0, 40.0, 0.0, 0.0, 0.0);
    double* const xs = c.x.data();
    double* const ys = c.y.data();
    for (const int count : {5, 0, -1}) {
        EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, count, &ellipse, &image, true, true, nullptr), -1.0);
    }
    EXPECT_EQ(LxCBlob::EllipseFitEx(nullptr, ys, c.count, &ellipse, &image, true, true, nullptr), -1.0);
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs, nullptr, c.count, &ellipse, &image, true, true, nullptr), -1.0);
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, c.count, nullptr, &image, true, true, nullptr), -1.0);
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, c.count, &ellipse, nullptr, true, true, nullptr), -1.0);
    CCTImage empty;
    EXPECT_EQ(LxCBlob::EllipseFitEx(xs, ys, c.count, &ellipse, &empty, true, true, nullptr), -1.0);
    EXPECT_GT(LxCBlob::EllipseFitEx(xs, ys, c.count, &ellipse, &image, true, true, nullptr), 0.0);
}

TEST(EllipseFitEx, GradientsOfTheWidestValuesDoNotOverflow)
{
    CCTImage image(20, 20, CCTImage::eIDT_INT32, true, nullptr);
    std::mt19937 random(2);
    for (int trial = 0; trial < 50; ++trial) {
        for (int i = 0; i < 400; ++i) {
            image.SetInt32PixelFast(i % 20, i / 20,
                                    random() % 2 != 0 ? std::numeric_limits<int>::max()
                                                      : std::numeric_limits<int>::min());
        }
        LxCEllipse found;
        const double error = FitFrom({10.0, 10.0, 5.0, 4.0, 0.0}, image, trial % 2 == 0, true, found);
        EXPECT_TRUE(error == -1.0 || error >= 0.0);
    }
}

/// The blob of the pixels inside an ellipse.
LxCBlob BlobOf(const LxCEllipse& e)
{
    CCTImage labels(100, 80, CCTImage::eIDT_INT32, true, nullptr);
    for (int y = 0; y < 80; ++y) {
        for (int x = 0; x < 100; ++x) {
            labels.SetInt32PixelFast(x, y, e.DistanceApproximate(x, y, true) <= 0.0 ? 1 : 0);
        }
    }
    const LxCBlobFinder finder(&labels);
    EXPECT_EQ(finder.GetNrOfBlobs(), 1);
    return finder.GetNrOfBlobs() > 0 ? finder[0] : LxCBlob();
}

TEST(FitEllipseToBlob, FitsMarksOfAllSizesAndPlaces)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int trial = 0; trial < 200; ++trial) {
        const LxCEllipse truth(45.1 + 9.0 * unit(random), 36.1 + 7.0 * unit(random),
                               8.0 + 20.0 * unit(random), 8.0 + 18.0 * unit(random), 0.0);
        CCTImage image = Render(truth, CCTImage::eIDT_UINT8, 30, 230);
        LxCEllipse found;
        const double error = BlobOf(truth).FitEllipseToBlob(&image, &found, 0.5, trial % 2 == 0, nullptr);
        EXPECT_TRUE(error > 0.0 && error < 0.2) << "trial " << trial << ": " << error;
        EXPECT_NEAR(found.GetX(), truth.GetX(), c_dEdgeTolerance) << "trial " << trial;
        EXPECT_NEAR(found.GetY(), truth.GetY(), c_dEdgeTolerance) << "trial " << trial;
        EXPECT_NEAR(found.GetA(), truth.GetA(), 2.0 * c_dEdgeTolerance) << "trial " << trial;
        EXPECT_NEAR(found.GetB(), truth.GetB(), 2.0 * c_dEdgeTolerance) << "trial " << trial;
    }
}

TEST(FitEllipseToBlob, ASecondFitFollowsAnEdgeFartherOutThanTheBlob)
{
    // The blob is 2.4 pixels smaller than the mark on each side, as a strict threshold leaves it.
    const LxCEllipse truth(50.0, 40.0, 22.4, 18.4, 0.0);
    CCTImage image = Render(truth, CCTImage::eIDT_UINT8, 30, 230);
    const LxCBlob blob = BlobOf({50.0, 40.0, 20.0, 16.0, 0.0});
    LxCEllipse found;
    const double error = blob.FitEllipseToBlob(&image, &found, 0.5, false, nullptr);
    EXPECT_TRUE(error > 0.0 && error < 0.1) << error;
    EXPECT_NEAR(found.GetA(), truth.GetA(), c_dEdgeTolerance);
    EXPECT_NEAR(found.GetB(), truth.GetB(), c_dEdgeTolerance);
    // With no error allowed the first fit is final: its error comes back as it is.
    LxCEllipse first;
    const double firstError = blob.FitEllipseToBlob(&image, &first, 1e-9, false, nullptr);
    Contour contour = ContourOf(blob.m_dCenterX, blob.m_dCenterY, blob.GetWidth() / 2, blob.GetHeight() / 2);
    LxCEllipse byHand(blob.m_dCenterX, blob.m_dCenterY, 0.0, 0.0, 0.0);
    EXPECT_EQ(firstError, LxCBlob::EllipseFitEx(contour.x.data(), contour.y.data(), contour.count, &byHand,
                                                &image, true, false, nullptr));
    EXPECT_EQ(first.GetA(), byHand.GetA());
    EXPECT_NE(error, firstError) << "the second fit changed nothing, so nothing was tested";
    EXPECT_EQ(blob.FitEllipseToBlob(&image, &first, firstError, false, nullptr), firstError)
        << "an error that is the limit is not improved";
}

/// Whether the fit of a blob of the given centre and half width and height is another one than the first, from
/// the blob alone.
bool IsFitTwice(CCTImage& image, double cx, double cy, int halfWidth, int halfHeight)
{
    LxCBlob blob = Box(0, 0, 2 * halfWidth, 2 * halfHeight);
    blob.m_dCenterX = cx;
    blob.m_dCenterY = cy;
    LxCEllipse ellipse;
    const double error = blob.FitEllipseToBlob(&image, &ellipse, 0.5, false, nullptr);
    LxCEllipse first;
    const auto a = static_cast<double>(halfWidth);
    const auto b = static_cast<double>(halfHeight);
    const double firstError = FitFrom({cx, cy, a, b, 0.0}, image, true, false, first);
    EXPECT_GT(error, 0.0);
    EXPECT_GT(firstError, 0.0);
    EXPECT_EQ(error == firstError, ellipse.GetA() == first.GetA());
    return error != firstError;
}

TEST(FitEllipseToBlob, MoreThanAPixelOffInPlaceOrSizeIsFitTwice)
{
    constexpr double c_dOff = 1.0;
    constexpr double c_dMargin = 0.15; // of c_dEdgeTolerance and what a fit from aside adds
    for (const double off :
         {-c_dOff - c_dMargin, -c_dOff + c_dMargin, c_dOff - c_dMargin, c_dOff + c_dMargin}) {
        const bool twice = std::abs(off) > c_dOff;
        CCTImage round = Render({50.0, 40.0, 20.0, 15.0, 0.0}, CCTImage::eIDT_UINT8, 30, 230);
        EXPECT_EQ(IsFitTwice(round, 50.0 + off, 40.0, 20, 15), twice) << "x " << off;
        EXPECT_EQ(IsFitTwice(round, 50.0, 40.0 + off, 20, 15), twice) << "y " << off;
        CCTImage wide = Render({50.0, 40.0, 20.0 + off, 15.0, 0.0}, CCTImage::eIDT_UINT8, 30, 230);
        EXPECT_EQ(IsFitTwice(wide, 50.0, 40.0, 20, 15), twice) << "a " << off;
        CCTImage high = Render({50.0, 40.0, 20.0, 15.0 + off, 0.0}, CCTImage::eIDT_UINT8, 30, 230);
        EXPECT_EQ(IsFitTwice(high, 50.0, 40.0, 20, 15), twice) << "b " << off;
    }
}

TEST(FitEllipseToBlob, TakesContoursOfLessThanAThousandPoints)
{
    std::vector<double> xs(10000);
    std::vector<double> ys(xs.size());
    int fewest = 2000;
    int most = 0;
    for (int half = 100; half < 250; ++half) {
        for (int halfHeight = half / 2; halfHeight < half; halfHeight += 9) {
            const int needed = LxCBlob::CreateArtificialContour(xs.data(), ys.data(), half, halfHeight, half,
                                                                halfHeight, static_cast<int>(xs.size()));
            ASSERT_GT(needed, 0);
            // The ellipse is reset where there is a contour, also without an image.
            LxCEllipse ellipse;
            const LxCBlob blob = Box(0, 0, 2 * half, 2 * halfHeight);
            EXPECT_EQ(blob.FitEllipseToBlob(nullptr, &ellipse, 0.5, true, nullptr), -1.0);
            EXPECT_EQ(ellipse.GetX(), needed < 1000 ? half : 0) << half << " needs " << needed;
            most = needed < 1000 ? std::max(most, needed) : most;
            fewest = needed >= 1000 ? std::min(fewest, needed) : fewest;
        }
    }
    EXPECT_GE(most, 998);
    EXPECT_LE(fewest, 1001);
}

TEST(FitEllipseToBlob, AFirstFitWithinAPixelOfTheBoxIsFinal)
{
    const LxCEllipse truth(50.2, 40.1, 20.3, 15.4, 0.0);
    CCTImage image = Render(truth, CCTImage::eIDT_UINT8, 30, 230);
    const LxCBlob blob = BlobOf(truth);
    LxCEllipse found;
    const double error = blob.FitEllipseToBlob(&image, &found, 0.5, false, nullptr);
    const auto fitOnceFrom = [&](const LxCEllipse& start, LxCEllipse& ellipse) {
        Contour c = ContourOf(start.GetX(), start.GetY(), start.GetA(), start.GetB());
        return LxCBlob::EllipseFitEx(c.x.data(), c.y.data(), c.count, &ellipse, &image, true, false, nullptr);
    };
    LxCEllipse first(blob.m_dCenterX, blob.m_dCenterY, 0.0, 0.0, 0.0);
    EXPECT_EQ(error, fitOnceFrom({blob.m_dCenterX, blob.m_dCenterY, 20.0, 15.0, 0.0}, first));
    EXPECT_EQ(found.GetA(), first.GetA());
    LxCEllipse second = first;
    EXPECT_NE(error, fitOnceFrom(first, second)) << "a second fit would change nothing: nothing was tested";
}

TEST(FitEllipseToBlob, GivesMinusOneWithoutContourEdgeOrArguments)
{
    CCTImage image = Render({50.0, 40.0, 20.0, 15.0, 0.0}, CCTImage::eIDT_UINT8, 30, 230);
    const LxCBlob blob = BlobOf({50.0, 40.0, 20.0, 15.0, 0.0});
    LxCEllipse ellipse;
    EXPECT_EQ(blob.FitEllipseToBlob(nullptr, &ellipse, 0.5, true, nullptr), -1.0);
    EXPECT_EQ(ellipse.GetX(), blob.m_dCenterX) << "the ellipse is reset to the blob's centre";
    ellipse.Reset(0.0, 0.0, 0.0, 0.0, 0.0);
    EXPECT_EQ(blob.FitEllipseToBlob(&image, nullptr, 0.5, true, nullptr), -1.0);
    EXPECT_EQ(Box(50, 40, 50, 40).FitEllipseToBlob(&image, &ellipse, 0.5, true, nullptr), -1.0)
        << "half the width of one pixel is 0 in integers";
    EXPECT_EQ(
        Box(-1000000, -1000000, 1000000, 1000000).FitEllipseToBlob(&image, &ellipse, 0.5, true, nullptr),
        -1.0);
    EXPECT_EQ(ellipse.GetX(), 0.0) << "without a contour the ellipse is left alone";
    for (const double bad : {c_dNaN, c_dInfinity, -c_dInfinity, 1e300, -1e300}) {
        LxCBlob lost = blob;
        lost.m_dCenterX = bad;
        EXPECT_EQ(lost.FitEllipseToBlob(&image, &ellipse, 0.5, true, nullptr), -1.0) << bad;
        lost = blob;
        lost.m_dCenterY = bad;
        EXPECT_EQ(lost.FitEllipseToBlob(&image, &ellipse, 0.5, true, nullptr), -1.0) << bad;
    }
    CCTImage flat(100, 80, CCTImage::eIDT_UINT8, true, nullptr);
    flat.Clear();
    EXPECT_EQ(blob.FitEllipseToBlob(&flat, &ellipse, 0.5, true, nullptr), -1.0);
    EXPECT_EQ(ellipse.GetX(), blob.m_dCenterX) << "the ellipse is reset to the blob's centre";
    EXPECT_EQ(ellipse.GetA(), 0.0);
}

TEST(FitEllipseToBlob, RefusesAnEllipseThatStraysFromTheBlob)
{
    // Only the right flank of a large disc lies within reach of the blob's contour, and what fits there is
    // the disc.
    const LxCEllipse disc(20.0, 40.0, 30.0, 30.0, 0.0);
    CCTImage image = Render(disc, CCTImage::eIDT_UINT8, 30, 230);
    LxCEllipse ellipse;
    const LxCBlob blob = Box(41, 20, 49, 60);
    EXPECT_EQ(blob.FitEllipseToBlob(&image, &ellipse, 10.0, false, nullptr), -1.0);
    EXPECT_GT(std::abs(ellipse.GetX() - blob.m_dCenterX), 20.0) << "the ellipse did not stray";
}

} // namespace
} // namespace LxCV

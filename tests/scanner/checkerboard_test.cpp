#include "scanner/device/checkerboard.h"

#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numbers>
#include <set>
#include <stdexcept>

namespace device {
namespace {

LensParameters Camera()
{
    return DeviceParameters().camera;
}

/// The default camera without distortion, its axis in the middle of the image.
LensParameters StraightCamera()
{
    LensParameters camera = Camera();
    camera.k2 = camera.k4 = camera.k6 = camera.tau1 = camera.tau2 = 0.0;
    camera.centreX = 0.5 * (camera.width - 1);
    camera.centreY = 0.5 * (camera.height - 1);
    return camera;
}

TargetImaging Imaging(const LensParameters& camera)
{
    TargetImaging imaging;
    imaging.camera = camera;
    return imaging;
}

/// The placement that puts a point of the target at a point of the camera frame.
Placement Put(const Vec3& pointOnTarget, const Vec3& pointInCamera, double rx, double ry, double rz)
{
    Placement placement{rx, ry, rz, 0.0, 0.0, 0.0};
    const Vec3 moved = pointInCamera - RotationOf(placement) * pointOnTarget;
    placement.tx = moved.x;
    placement.ty = moved.y;
    placement.tz = moved.z;
    return placement;
}

const Vec3 c_middle{11.0, 9.5, 0.0}; // of the marked squares, mm, target frame

const TargetCorner& Find(const std::vector<TargetCorner>& corners, int square, ECorner corner)
{
    return *std::find_if(corners.begin(), corners.end(), [&](const TargetCorner& candidate) {
        return candidate.square == square && candidate.corner == corner;
    });
}

TEST(Checkerboard, MarkedIdsFollowFromTheFirstOne)
{
    EXPECT_EQ(Checkerboard().MarkedIds(), (std::array<int, 4>{27, 29, 30, 37}));
    Checkerboard other;
    other.columns = 11;
    other.idOfFirstMarkedSquare = 15;
    EXPECT_EQ(other.MarkedIds(), (std::array<int, 4>{15, 17, 18, 28}));
}

TEST(Checkerboard, CornersComeByRisingIdWithTheirPlacesOnTheTarget)
{
    const RenderedBoard found =
        FindBoardCorners(Checkerboard(), Put(c_middle, {0, 0, 33}, 0, 0, 0), Camera());
    ASSERT_EQ(found.corners.size(), 224U);
    for (std::size_t i = 0; i < found.corners.size(); ++i) {
        const int square = static_cast<int>(i) / 4, row = square / 8, column = square % 8;
        const int corner = static_cast<int>(i) % 4;
        EXPECT_EQ(found.corners[i].square, square + 1);
        EXPECT_EQ(found.corners[i].corner, corner);
        // Squares from 3c - 0.003 to 3c + 1.003: upper left, upper right, lower left, lower right.
        EXPECT_DOUBLE_EQ(found.corners[i].pointOnTarget.x, 3.0 * column + (corner % 2 == 1 ? 1.003 : -0.003));
        EXPECT_DOUBLE_EQ(found.corners[i].pointOnTarget.y, 3.0 * row + (corner / 2 == 1 ? 1.003 : -0.003));
        EXPECT_EQ(found.corners[i].pointOnTarget.z, 0.0);
    }
    ASSERT_EQ(found.embedded.size(), 16U);
    EXPECT_EQ(found.embedded[0].square, 27);
    EXPECT_EQ(found.embedded[15].square, 37);
    // Square 27 stands in row 3, column 2: its middle is (6.5, 9.5), its bright square has a side of 0.5.
    EXPECT_NEAR(found.embedded[0].pointOnTarget.x, 6.25, 1e-12);
    EXPECT_NEAR(found.embedded[3].pointOnTarget.y, 9.75, 1e-12);
    EXPECT_TRUE(found.image.data.empty());
}

/// Rotation, projection and distortion written out in one piece.
Vec2 ProjectByHand(const Vec3& p, const Placement& m, const LensParameters& lens)
{
    // About z, then y, then x.
    const double x1 = std::cos(m.rz) * p.x - std::sin(m.rz) * p.y;
    const double y1 = std::sin(m.rz) * p.x + std::cos(m.rz) * p.y;
    const double x2 = std::cos(m.ry) * x1 + std::sin(m.ry) * p.z;
    const double z2 = -std::sin(m.ry) * x1 + std::cos(m.ry) * p.z;
    const double y3 = std::cos(m.rx) * y1 - std::sin(m.rx) * z2;
    const double z3 = std::sin(m.rx) * y1 + std::cos(m.rx) * z2;
    const double x = (x2 + m.tx) / (z3 + m.tz), y = (y3 + m.ty) / (z3 + m.tz);
    const double q = x * x + y * y;
    const double radial = 1.0 + lens.k2 * q + lens.k4 * q * q + lens.k6 * q * q * q;
    const double u = x * radial + 2.0 * lens.tau1 * x * y + lens.tau2 * (q + 2.0 * x * x);
    const double v = y * radial + lens.tau1 * (q + 2.0 * y * y) + 2.0 * lens.tau2 * x * y;
    return {lens.focalLength / lens.pitchX * u + lens.centreX,
            lens.focalLength / lens.pitchY * v + lens.centreY};
}

TEST(Checkerboard, CornersAreThePointsProjected)
{
    constexpr double c_rounding = 1e-9; // pixels
    const LensParameters camera = Camera();
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const Placement placement = DrawBoardPlacement(Checkerboard(), camera, BoardPoses(), seed);
        const RenderedBoard found = FindBoardCorners(Checkerboard(), placement, camera);
        for (const std::vector<TargetCorner>* corners : {&found.corners, &found.embedded}) {
            for (const TargetCorner& corner : *corners) {
                ASSERT_TRUE(corner.inFront);
                const Vec2 expected = ProjectByHand(corner.pointOnTarget, placement, camera);
                ASSERT_NEAR(corner.image.x, expected.x, c_rounding) << seed;
                ASSERT_NEAR(corner.image.y, expected.y, c_rounding) << seed;
                const bool inImage =
                    expected.x >= -0.5 && expected.x <= 657.5 && expected.y >= -0.5 && expected.y <= 493.5;
                ASSERT_EQ(corner.inImage, inImage);
            }
        }
    }
}

TEST(Checkerboard, SquaresAreDarkAndMarkedOnesHoldABrightSquare)
{
    Checkerboard board;
    const TargetImaging imaging = Imaging(Camera());
    const Placement placement = Put(c_middle, {0.3, 0.2, 33}, 0.1, -0.2, 0.4);
    const RenderedBoard rendered = RenderBoard(board, placement, imaging);
    const auto grey = [&](const Vec3& point) {
        const Vec2 image = ProjectByHand(point, placement, imaging.camera);
        const auto col = std::lround(image.x), row = std::lround(image.y);
        const bool within = col >= 0 && col < rendered.image.width && row >= 0 && row < rendered.image.height;
        return within ? rendered.image.At(static_cast<int>(col), static_cast<int>(row), 1) : -1.0F;
    };
    const std::array<int, 4> marked = board.MarkedIds();
    int seen = 0;
    for (int id = 1; id <= 56; ++id) {
        const double x = 3.0 * ((id - 1) % 8), y = 3.0 * ((id - 1) / 8);
        const bool isMarked = std::find(marked.begin(), marked.end(), id) != marked.end();
        const float middle = grey({x + 0.5, y + 0.5, 0.0}), rim = grey({x + 0.12, y + 0.5, 0.0});
        const float ground = grey({x + 2.0, y + 2.0, 0.0});
        // The levels of green; 0.12 mm are four pixels, five sigma of the blur.
        if (middle >= 0.0F) {
            EXPECT_NEAR(middle, isMarked ? 205.0 : 40.0, 0.01) << id;
            ++seen;
        }
        if (rim >= 0.0F) {
            EXPECT_NEAR(rim, 40.0, 0.2) << id;
        }
        if (ground >= 0.0F) {
            EXPECT_NEAR(ground, 205.0, 0.01) << id;
        }
    }
    EXPECT_GT(seen, 20);
}

/// Where a row's profile falls from bright to dark, by conservation of area: the ground's share of the light between
/// two columns tells how many pixels are bright.
double EdgeByArea(const ImageF& image, int row, int begin, int end)
{
    const double bright = image.At(begin, row, 1), dark = image.At(end, row, 1);
    double sum = 0.0;
    for (int col = begin; col <= end; ++col) {
        sum += (image.At(col, row, 1) - dark) / (bright - dark);
    }
    return begin - 0.5 + sum;
}

TEST(Checkerboard, RenderedProfilesHoldTheExactEdge)
{
    constexpr double c_exact = 1e-6; // pixels; 24 grey levels of float precision, 165 apart, miss it by 3e-7
    for (const double blur : {0.0, 0.7, 1.3}) {
        TargetImaging imaging = Imaging(StraightCamera());
        imaging.blur = blur;
        for (const double turn : {0.0, 0.05, -0.11}) {
            // Square 29 stands at (12, 9): its middle is on the axis, moved by a fraction of a pixel.
            const Placement placement =
                Put({12.5, 9.5, 0.0}, {0.0123, -0.0071, 31.7}, turn == 0.0 ? 0.0 : 0.2, 3.0 * turn, turn);
            Checkerboard board;
            board.embeddedSide = 0.0;
            const RenderedBoard rendered = RenderBoard(board, placement, imaging);
            const Vec2 upper = Find(rendered.corners, 29, eUpperLeft).image;
            const Vec2 lower = Find(rendered.corners, 29, eLowerLeft).image;
            for (int row = static_cast<int>(upper.y) + 9; row < static_cast<int>(lower.y) - 8; ++row) {
                const double expected = upper.x + (row - upper.y) * (lower.x - upper.x) / (lower.y - upper.y);
                const int near = static_cast<int>(std::lround(expected));
                ASSERT_NEAR(EdgeByArea(rendered.image, row, near - 12, near + 12), expected, c_exact)
                    << "blur " << blur << ", turn " << turn << ", row " << row;
            }
        }
    }
}

TEST(Checkerboard, TheLensBendsTheSquaresSides)
{
    // The board's edge in an image row, found from the lens the other way round: from image positions to the plane.
    const LensParameters camera = Camera();
    const Lens lens(camera);
    const TargetImaging imaging = Imaging(camera);
    const Placement placement = Put(c_middle, {0.2, 0.1, 33.0}, 0.3, 0.25, 0.07);
    const RigidMotion motion(placement);
    Checkerboard board;
    board.embeddedSide = 0.0;
    const RenderedBoard rendered = RenderBoard(board, placement, imaging);
    const auto targetX = [&](double col, double row) {
        const Vec2 direction = lens.DirectionFromRaster({col, row});
        const Vec3 eye = motion.Backward({0, 0, 0}), far = motion.Backward({direction.x, direction.y, 1.0});
        return eye.x + (far.x - eye.x) * eye.z / (eye.z - far.z);
    };
    // Over a pixel and the blur the side's bend of 5e-5 pixels per square pixel shifts the mean by
    // 5e-5 (1/12 + 0.7^2) / 2; the square's own bend across the row adds as much again.
    constexpr double c_bend = 4e-5;
    int rows = 0;
    for (int id = 1; id <= 56; ++id) {
        const TargetCorner& upper = Find(rendered.corners, id, eUpperLeft);
        const TargetCorner& lower = Find(rendered.corners, id, eLowerLeft);
        const bool clear = upper.inImage && lower.inImage && upper.image.x > 20 && lower.image.x > 20;
        if (!clear || std::abs(upper.image.x - lower.image.x) > 8.0 || upper.image.x > 630 ||
            lower.image.x > 630) {
            continue;
        }
        for (int row = static_cast<int>(upper.image.y) + 8; row < static_cast<int>(lower.image.y) - 8;
             ++row) {
            double left = std::min(upper.image.x, lower.image.x) - 3.0;
            double right = std::max(upper.image.x, lower.image.x) + 3.0;
            while (right - left > 1e-9) {
                const double middle = 0.5 * (left + right);
                (targetX(middle, row) < upper.pointOnTarget.x ? left : right) = middle;
            }
            const int near = static_cast<int>(std::lround(left));
            ASSERT_NEAR(EdgeByArea(rendered.image, row, near - 6, near + 6), left, c_bend)
                << id << " " << row;
            ++rows;
        }
    }
    EXPECT_GT(rows, 300);
}

TEST(Checkerboard, BlurOnlySmearsTheSharpImage)
{
    TargetImaging imaging = Imaging(Camera());
    imaging.blur = 0.0;
    const Placement placement = Put(c_middle, {0.2, 0.1, 33.0}, 0.3, 0.25, 1.0);
    const ImageF sharp = RenderBoard(Checkerboard(), placement, imaging).image;
    imaging.blur = 0.5;
    const ImageF blurred = RenderBoard(Checkerboard(), placement, imaging).image;
    // Two samples of the bell to each side, written out.
    double weights[5], sum = 0.0;
    for (int i = -2; i <= 2; ++i) {
        weights[i + 2] = std::exp(-2.0 * i * i);
        sum += weights[i + 2];
    }
    for (int row = 2; row < 492; row += 7) {
        for (int col = 2; col < 656; ++col) {
            double expected = 0.0;
            for (int j = -2; j <= 2; ++j) {
                for (int i = -2; i <= 2; ++i) {
                    expected += weights[j + 2] * weights[i + 2] * sharp.At(col + i, row + j, 2) / (sum * sum);
                }
            }
            ASSERT_NEAR(blurred.At(col, row, 2), expected, 1e-4) << col << " " << row; // grey levels
        }
    }
}

TEST(Checkerboard, LightIsBrokenByTheBordersOfTheImageOnly)
{
    // The board goes on beyond the image, so that cutting a window out of a larger image changes nothing.
    TargetImaging large = Imaging(StraightCamera());
    TargetImaging window = large;
    window.camera.width = 200;
    window.camera.height = 150;
    window.camera.centreX = large.camera.centreX - 120.0;
    window.camera.centreY = large.camera.centreY - 90.0;
    const Placement placement = Put(c_middle, {0.2, 0.1, 33.0}, 0.3, 0.25, 0.3);
    const ImageF whole = RenderBoard(Checkerboard(), placement, large).image;
    const ImageF part = RenderBoard(Checkerboard(), placement, window).image;
    for (int row = 0; row < part.height; ++row) {
        for (int col = 0; col < part.width; ++col) {
            ASSERT_NEAR(part.At(col, row, 0), whole.At(col + 120, row + 90, 0), 1e-3) << col << " " << row;
        }
    }
}

TEST(Checkerboard, MirroredBoardIsTheMirrorImage)
{
    Checkerboard mirrored;
    mirrored.mirrored = true;
    const TargetImaging imaging = Imaging(StraightCamera());
    // Mirroring about the board's middle, x = 11 mm, is mirroring the image where that lies on the axis and the board
    // is not tilted about y nor turned.
    const Placement placement = Put({11.0, 9.5, 0.0}, {0.0, 0.4, 33.0}, 0.25, 0.0, 0.0);
    const RenderedBoard plain = RenderBoard(Checkerboard(), placement, imaging);
    const RenderedBoard seen = RenderBoard(mirrored, placement, imaging);
    for (int row = 0; row < seen.image.height; ++row) {
        for (int col = 0; col < seen.image.width; ++col) {
            ASSERT_NEAR(seen.image.At(col, row, 0), plain.image.At(657 - col, row, 0), 1e-3);
        }
    }
    for (std::size_t i = 0; i < seen.corners.size(); ++i) {
        EXPECT_EQ(seen.corners[i].pointOnTarget.x, plain.corners[i].pointOnTarget.x);
        EXPECT_NEAR(seen.corners[i].image.x, 657.0 - plain.corners[i].image.x, 1e-9);
        EXPECT_NEAR(seen.corners[i].image.y, plain.corners[i].image.y, 1e-9);
    }
}

TEST(Checkerboard, CornersBehindTheCameraAreNotInFront)
{
    // Tilted by 80 degrees close to the camera: the near end of the board passes below it.
    const Placement placement = Put({10.5, 9.0, 0.0}, {0.0, 1.0, 6.0}, 1.4, 0.0, 0.0);
    const RenderedBoard rendered = RenderBoard(Checkerboard(), placement, Imaging(Camera()));
    const RigidMotion motion(placement);
    int behind = 0;
    for (const TargetCorner& corner : rendered.corners) {
        const bool inFront = motion.Forward(corner.pointOnTarget).z > 0.0;
        EXPECT_EQ(corner.inFront, inFront);
        EXPECT_FALSE(corner.inImage && !inFront);
        behind += inFront ? 0 : 1;
    }
    EXPECT_GT(behind, 20);
    for (const float grey : rendered.image.data) {
        ASSERT_GE(grey, 35.9F);
        ASSERT_LE(grey, 205.1F);
    }
}

TEST(Checkerboard, ABoardWhollyBehindTheCameraLeavesTheGround)
{
    const RenderedBoard rendered =
        RenderBoard(Checkerboard(), Put(c_middle, {0, 0, -33}, 0, 0, 0), Imaging(Camera()));
    EXPECT_EQ(*std::min_element(rendered.image.data.begin(), rendered.image.data.end()), 190.0F);
}

TEST(Checkerboard, DirectionsOutsideTheFieldAreNotFoldedIntoTheImage)
{
    // With k2 = -1 the lens images directions of tangent 0.58 farthest out, and those of tangent 1 on the axis again.
    LensParameters camera = StraightCamera();
    camera.k2 = -1.0;
    camera.k4 = 0.0;
    const Placement placement = Put(c_middle, {0, 0, 8}, 0, 0, 0);
    const RenderedBoard rendered = RenderBoard(Checkerboard(), placement, Imaging(camera));
    for (const TargetCorner& corner : rendered.corners) {
        const Vec3 point = RigidMotion(placement).Forward(corner.pointOnTarget);
        const double tangent = std::hypot(point.x / point.z, point.y / point.z);
        EXPECT_FALSE(corner.inImage && tangent > 0.58) << corner.square;
    }
}

TEST(Checkerboard, LightIsUnevenAsTold)
{
    TargetImaging imaging = Imaging(StraightCamera());
    imaging.slopeX = 0.1;
    imaging.slopeY = -0.05;
    imaging.falloff = 0.2;
    const ImageF image = RenderBoard(Checkerboard(), Put(c_middle, {0, 0, -33}, 0, 0, 0), imaging).image;
    for (const auto& [col, row] : {std::pair{0, 0}, std::pair{657, 0}, std::pair{100, 400}}) {
        const double s = 2.0 * (col - 328.5) / 658.0, t = 2.0 * (row - 246.5) / 494.0;
        const double light = 1.0 + 0.1 * s - 0.05 * t - 0.1 * (s * s + t * t);
        EXPECT_NEAR(image.At(col, row, 0), 190.0 * light, 1e-4);
        EXPECT_NEAR(image.At(col, row, 2), 198.0 * light, 1e-4);
    }
}

TEST(Checkerboard, CrosstalkMixesTheLevels)
{
    TargetImaging imaging = Imaging(StraightCamera());
    imaging.crosstalk = {Colour{0.5, 0.25, 0.0}, Colour{0.0, 1.0, 0.0}, Colour{0.0, 0.5, 0.5}};
    const RenderedBoard board =
        RenderBoard(Checkerboard(), Put({15.5, 3.5, 0.0}, {0, 0, 33}, 0, 0, 0), imaging);
    // The middle of the image is the middle of square 14: 0.5 * 36 + 0.25 * 40 = 28, 0.5 * 40 + 0.5 * 38 = 39.
    EXPECT_NEAR(board.image.At(329, 247, 0), 28.0, 1e-4);
    EXPECT_NEAR(board.image.At(329, 247, 1), 40.0, 1e-4);
    EXPECT_NEAR(board.image.At(329, 247, 2), 39.0, 1e-4);
}

TEST(Checkerboard, NoiseHasTheSigmaAskedForAndWholeLevels)
{
    TargetImaging imaging = Imaging(Camera());
    imaging.noise = 3.0;
    const ImageF image = RenderBoard(Checkerboard(), Put(c_middle, {0, 0, -33}, 0, 0, 0), imaging).image;
    double sum[3] = {}, squares[3] = {}, product = 0.0;
    const int pixels = image.width * image.height;
    for (int row = 0; row < image.height; ++row) {
        for (int col = 0; col < image.width; ++col) {
            for (int channel = 0; channel < 3; ++channel) {
                const double grey = image.At(col, row, channel);
                ASSERT_EQ(grey, std::floor(grey));
                const double off = grey - imaging.bright[static_cast<std::size_t>(channel)];
                sum[channel] += off;
                squares[channel] += off * off;
            }
            product += (image.At(col, row, 0) - 190.0) * (image.At(col, row, 1) - 205.0);
        }
    }
    for (int channel = 0; channel < 3; ++channel) {
        // Rounding adds a variance of 1/12. Five sigma of 325052 samples: 5 * 3 / 570 and 5 * 9 * sqrt(2) / 570.
        EXPECT_NEAR(sum[channel] / pixels, 0.0, 0.03);
        EXPECT_NEAR(squares[channel] / pixels, 9.0 + 1.0 / 12.0, 0.12);
    }
    EXPECT_NEAR(product / pixels, 0.0, 0.08); // channels are independent
}

TEST(Checkerboard, GreyNoiseIsTheSameInAllChannels)
{
    TargetImaging imaging = Imaging(Camera());
    imaging.bright = {200.0, 200.0, 200.0};
    imaging.noise = 3.0;
    imaging.greyNoise = true;
    const ImageF image = RenderBoard(Checkerboard(), Put(c_middle, {0, 0, -33}, 0, 0, 0), imaging).image;
    std::set<float> levels;
    for (std::size_t i = 0; i < image.data.size(); i += 3) {
        ASSERT_EQ(image.data[i], image.data[i + 1]);
        ASSERT_EQ(image.data[i], image.data[i + 2]);
        levels.insert(image.data[i]);
    }
    EXPECT_GT(levels.size(), 15U);
}

TEST(Checkerboard, TheSameArgumentsGiveTheSameImageAndAnotherSeedDoesNot)
{
    TargetImaging imaging = Imaging(Camera());
    imaging.noise = 1.0;
    const Placement placement = DrawBoardPlacement(Checkerboard(), imaging.camera, BoardPoses(), 3);
    const std::vector<float> first = RenderBoard(Checkerboard(), placement, imaging).image.data;
    EXPECT_EQ(RenderBoard(Checkerboard(), placement, imaging).image.data, first);
    imaging.seed = 2;
    EXPECT_NE(RenderBoard(Checkerboard(), placement, imaging).image.data, first);
}

TEST(Checkerboard, RandomPlacementsHoldTheMarkedSquaresAndReachAllPoses)
{
    const Checkerboard board;
    const LensParameters camera = Camera();
    const BoardPoses poses;
    std::array<int, 4> quarters{};
    double steepest = 0.0, nearest = 100.0, farthest = 0.0;
    for (std::uint64_t seed = 0; seed < 2000; ++seed) {
        const Placement placement = DrawBoardPlacement(board, camera, poses, seed);
        const RigidMotion motion(placement);
        for (const int id : board.MarkedIds()) {
            const double x = 3.0 * ((id - 1) % 8), y = 3.0 * ((id - 1) / 8);
            for (const double dx : {-0.003, 1.003}) {
                for (const double dy : {-0.003, 1.003}) {
                    const Vec2 image = ProjectByHand({x + dx, y + dy, 0.0}, placement, camera);
                    ASSERT_GE(image.x, 12.0) << seed;
                    ASSERT_LE(image.x, 645.0) << seed;
                    ASSERT_GE(image.y, 12.0) << seed;
                    ASSERT_LE(image.y, 481.0) << seed;
                }
            }
        }
        const Vec3 origin = motion.Forward({0, 0, 0});
        const Vec3 normal = motion.Forward({0, 0, 1}) - origin, along = motion.Forward({1, 0, 0}) - origin;
        const double tilt = std::acos(normal.z);
        ASSERT_LE(tilt, poses.steepestTilt + 1e-9);
        // The middle of the squares 27, 29, 30 and 37: x from 6 to 16, y from 9 to 13, with their rims.
        const double depth = motion.Forward({11.0, 11.0, 0.0}).z;
        ASSERT_GE(depth, poses.nearest - 1e-9);
        ASSERT_LE(depth, poses.farthest + 1e-9);
        steepest = std::max(steepest, tilt);
        nearest = std::min(nearest, depth);
        farthest = std::max(farthest, depth);
        const double angle = std::atan2(along.y, along.x) + std::numbers::pi;
        ++quarters[std::min<std::size_t>(3, static_cast<std::size_t>(angle / (0.5 * std::numbers::pi)))];
    }
    EXPECT_GT(steepest, 0.97 * poses.steepestTilt);
    EXPECT_LT(nearest, 28.5);
    EXPECT_GT(farthest, 37.5);
    for (const int quarter : quarters) {
        EXPECT_GT(quarter, 350); // of 500 where no turn is favoured
    }
}

TEST(Checkerboard, ASeedAlwaysGivesTheSamePlacement)
{
    const Placement first = DrawBoardPlacement(Checkerboard(), Camera(), BoardPoses(), 77);
    const Placement again = DrawBoardPlacement(Checkerboard(), Camera(), BoardPoses(), 77);
    const Placement other = DrawBoardPlacement(Checkerboard(), Camera(), BoardPoses(), 78);
    EXPECT_EQ(first.rz, again.rz);
    EXPECT_EQ(first.tx, again.tx);
    EXPECT_NE(first.rz, other.rz);
}

TEST(Checkerboard, RefusesWhatIsNoBoardNoPoseOrNoImaging)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Placement placement = Put(c_middle, {0, 0, 33}, 0, 0, 0);
    const auto refusesBoard = [&](auto change) {
        Checkerboard board;
        change(board);
        EXPECT_THROW(FindBoardCorners(board, placement, Camera()), std::invalid_argument);
    };
    refusesBoard([](Checkerboard& board) { board.rows = 0; });
    refusesBoard([](Checkerboard& board) { board.columns = 1001; });
    refusesBoard([&](Checkerboard& board) { board.pitch = nan; });
    refusesBoard([](Checkerboard& board) { board.squareEnd = 2.998; });
    refusesBoard([](Checkerboard& board) { board.squareEnd = board.squareBegin; });
    refusesBoard([](Checkerboard& board) { board.embeddedSide = 1.01; });
    refusesBoard([](Checkerboard& board) { board.idOfFirstMarkedSquare = std::numeric_limits<int>::max(); });
    const auto refusesImaging = [&](auto change) {
        TargetImaging imaging = Imaging(Camera());
        change(imaging);
        EXPECT_THROW(RenderBoard(Checkerboard(), placement, imaging), std::invalid_argument);
    };
    refusesImaging([](TargetImaging& imaging) { imaging.blur = -0.1; });
    refusesImaging([&](TargetImaging& imaging) { imaging.noise = nan; });
    refusesImaging([&](TargetImaging& imaging) { imaging.dark[1] = nan; });
    refusesImaging([&](TargetImaging& imaging) { imaging.crosstalk[1][2] = nan; });
    refusesImaging([&](TargetImaging& imaging) { imaging.falloff = nan; });
    refusesImaging([](TargetImaging& imaging) { imaging.camera.width = 0; });
    Placement lost = placement;
    lost.tz = nan;
    EXPECT_THROW(FindBoardCorners(Checkerboard(), lost, Camera()), std::invalid_argument);
}

TEST(Checkerboard, RefusesPosesInWhichTheMarkedSquaresNeverFit)
{
    BoardPoses poses;
    poses.nearest = poses.farthest = 10.0;
    EXPECT_THROW(DrawBoardPlacement(Checkerboard(), Camera(), poses, 1), std::invalid_argument);
    poses.farthest = 5.0;
    EXPECT_THROW(DrawBoardPlacement(Checkerboard(), Camera(), poses, 1), std::invalid_argument);
    Checkerboard unmarked;
    unmarked.idOfFirstMarkedSquare = 1000;
    EXPECT_THROW(DrawBoardPlacement(unmarked, Camera(), BoardPoses(), 1), std::invalid_argument);
}

} // namespace
} // namespace device

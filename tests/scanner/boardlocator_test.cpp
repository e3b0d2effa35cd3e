#include "scanner/calibration/boardlocator.h"

#include "lxccalibrationtargetwriter.h"
#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/boardexperiment.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace calibration {
namespace {

using device::ImageF;
using LxCV::CCTImage;

/// Sees the image, which must outlive the view.
CCTImage View(ImageF& image)
{
    return {image.width, image.height, CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

/// The columns [left, right) and rows [top, bottom).
ImageF Crop(const ImageF& image, int left, int top, int right, int bottom)
{
    ImageF part(right - left, bottom - top);
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            for (int channel = 0; channel < ImageF::channels; ++channel) {
                part.At(x - left, y - top, channel) = image.At(x, y, channel);
            }
        }
    }
    return part;
}

/// The second image to the right of the first one.
ImageF SideBySide(const ImageF& first, const ImageF& second)
{
    ImageF both(first.width + second.width, first.height);
    for (int y = 0; y < both.height; ++y) {
        for (int x = 0; x < both.width; ++x) {
            for (int channel = 0; channel < ImageF::channels; ++channel) {
                both.At(x, y, channel) =
                    x < first.width ? first.At(x, y, channel) : second.At(x - first.width, y, channel);
            }
        }
    }
    return both;
}

/// The board turned in its plane by an angle (radians), its middle marked squares near the image's middle.
device::Placement Turned(double angle)
{
    device::Placement placement{0.05, -0.08, angle, 0.0, 0.0, 0.0};
    const device::Vec3 middle = device::RotationOf(placement) * device::Vec3{11.0, 10.5, 0.0};
    constexpr double depth = 33.0;
    placement.tx = -middle.x;
    placement.ty = -middle.y;
    placement.tz = depth - middle.z;
    return placement;
}

class BoardLocation : public testing::Test
{
protected:
    LocatedBoard Locate(ImageF image) { return m_locator.Locate(View(image)); }

    /// @param margin pixels; the default is beyond all that the border hinders: traced edges are lengthened by 6
    static BoardComparison Compare(const LocatedBoard& board, const device::RenderedBoard& truth,
                                   double margin = 12.0)
    {
        return CompareWithTruth(board.marks, truth.corners, truth.image.width, truth.image.height, margin);
    }

    device::RenderedBoard Render(double angle, bool mirrored = false) const
    {
        device::Checkerboard board;
        board.mirrored = mirrored;
        return device::RenderBoard(board, Turned(angle), m_experiment.imaging);
    }

    const Logging::CCapture m_quiet;
    const BoardExperiment m_experiment = DefaultExperiment();
    BoardLocator m_locator;
};

TEST_F(BoardLocation, NamedCornersAreWithinAFewHundredthsOfAPixel)
{
    const BoardExperimentResult result = calibration::Run(m_experiment, m_locator);
    constexpr double mean = 0.03, largest = 0.12; // pixels; what calibration asks for
    EXPECT_LE(result.accuracy.mean, mean);
    EXPECT_GT(result.accuracy.mean, 0.001);
    EXPECT_LE(result.accuracy.largest, largest);
    EXPECT_EQ(result.accuracy.wrong, 0U);
    EXPECT_EQ(result.accuracy.images, 12U);
    EXPECT_GE(result.accuracy.named, 1000U);
    EXPECT_EQ(result.NamedShareUpright(), 1.0);
    EXPECT_TRUE(result.wrongSeeds.empty());
    EXPECT_GT(result.meanTimes.Of("locate"), 0.0);
}

TEST_F(BoardLocation, EveryQuarterTurnHasItsOrientationAndTheRightNames)
{
    std::set<int> orientations;
    for (int quarter = 0; quarter < 4; ++quarter) {
        const device::RenderedBoard rendered = Render(0.1 + 0.5 * std::numbers::pi * quarter);
        const LocatedBoard found = Locate(rendered.image);
        ASSERT_EQ(found.error, LxCV::eCalibOk) << found.problem;
        orientations.insert(found.orientation);
        const BoardComparison comparison = Compare(found, rendered);
        EXPECT_EQ(comparison.wrong, 0U) << quarter;
        EXPECT_EQ(comparison.visibleNamed, comparison.visible) << quarter;
        EXPECT_GE(comparison.visible, 60U);
        EXPECT_TRUE(std::is_sorted(found.marks.begin(), found.marks.end(),
                                   [](const BoardMark& a, const BoardMark& b) { return a.id < b.id; }));
    }
    EXPECT_EQ(orientations, (std::set<int>{0, 1, 2, 3}));
}

TEST_F(BoardLocation, MirroredTargetIsRefused)
{
    for (int eighth = 0; eighth < 8; ++eighth) {
        const double angle = 0.1 + 0.25 * std::numbers::pi * eighth;
        const LocatedBoard found = Locate(Render(angle, true).image);
        EXPECT_NE(found.error, LxCV::eCalibOk) << angle;
        EXPECT_FALSE(found.problem.empty());
        EXPECT_TRUE(found.marks.empty());
    }
}

TEST_F(BoardLocation, TwoTargetsInOneImageAreToldFromNone)
{
    const ImageF image = Render(0.2).image;
    const LocatedBoard found = Locate(SideBySide(image, image));
    EXPECT_EQ(found.error, LxCV::eCalibNoFourSquares);
    EXPECT_EQ(found.marked, 8U);
    EXPECT_NE(found.problem.find("more than one target"), std::string::npos) << found.problem;
    EXPECT_TRUE(found.marks.empty());
}

TEST_F(BoardLocation, TargetCutByAnyBorderHasRightNamesOrNone)
{
    const device::RenderedBoard rendered = Render(0.3);
    const int width = rendered.image.width, height = rendered.image.height;
    std::size_t identified = 0, refused = 0;
    for (int step = 0; step <= 5; ++step) {
        const int cut = 60 * step;
        for (const auto& [left, top, right, bottom] :
             {std::array{cut, 0, width, height}, std::array{0, std::min(cut, height - 20), width, height},
              std::array{0, 0, width - cut, height}, std::array{0, 0, width, std::max(height - cut, 20)}}) {
            device::RenderedBoard part{Crop(rendered.image, left, top, right, bottom), rendered.corners, {}};
            for (device::TargetCorner& corner : part.corners) {
                corner.image = {corner.image.x - left, corner.image.y - top};
            }
            const LocatedBoard found = Locate(part.image);
            const BoardComparison comparison = Compare(found, part);
            EXPECT_EQ(comparison.wrong, 0U) << cut;
            (found.error == LxCV::eCalibOk ? identified : refused) += 1;
            if (found.error == LxCV::eCalibOk) {
                EXPECT_EQ(comparison.visibleNamed, comparison.visible) << cut << " " << left << " " << top;
            }
        }
    }
    EXPECT_GE(identified, 6U);
    EXPECT_GE(refused, 6U);
}

TEST_F(BoardLocation, CornersOfCutSquaresAreNamedButNotForCalibration)
{
    std::size_t computed = 0;
    for (std::size_t pose = 0; pose < m_experiment.poses; ++pose) {
        const LocatedBoard found = Locate(RenderPose(m_experiment, pose).image);
        std::set<int> cutSquares;
        for (const BoardMark& mark : found.marks) {
            if (mark.computed) {
                ++computed;
                cutSquares.insert((mark.id - 1) / 4);
            }
        }
        for (const BoardMark& mark : found.marks) {
            EXPECT_FALSE(mark.usable && cutSquares.count((mark.id - 1) / 4) > 0) << mark.id;
        }
    }
    EXPECT_GE(computed, 1U);
}

TEST_F(BoardLocation, OverexposedTargetIsIdentifiedButNotForCalibration)
{
    device::RenderedBoard rendered = Render(0.25);
    for (float& level : rendered.image.data) {
        level = std::min(255.0F, 1.5F * level);
    }
    const LocatedBoard found = Locate(rendered.image);
    ASSERT_EQ(found.error, LxCV::eCalibOk) << found.problem;
    LocatedBoard counted = found;
    for (BoardMark& mark : counted.marks) {
        EXPECT_FALSE(mark.usable) << mark.id;
        mark.usable = !mark.computed;
    }
    const BoardComparison comparison = Compare(counted, rendered);
    EXPECT_EQ(comparison.wrong, 0U);
    EXPECT_EQ(comparison.visibleNamed, comparison.visible);
}

TEST_F(BoardLocation, ImagesWithoutTargetAreRefused)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const auto& [width, height, value] : {std::tuple{1, 1, 9.0F},
                                               {2, 2, 9.0F},
                                               {3, 7, 9.0F},
                                               {658, 1, 9.0F},
                                               {1, 494, 9.0F},
                                               {658, 494, 0.0F},
                                               {658, 494, 255.0F},
                                               {400, 300, nan},
                                               {10, 10, nan}}) {
        ImageF image(width, height);
        std::fill(image.data.begin(), image.data.end(), value);
        const LocatedBoard found = Locate(image);
        EXPECT_EQ(found.error, LxCV::eCalibNoFourSquares) << width << " x " << height;
        EXPECT_EQ(found.marked, 0U);
        EXPECT_TRUE(found.marks.empty());
        EXPECT_NE(found.problem.find("found 0 of the four"), std::string::npos);
    }
}

TEST_F(BoardLocation, EmptyImageAndUnknownPixelsAreUnsuitable)
{
    EXPECT_EQ(m_locator.Locate(CCTImage()).error, LxCV::eCalibImageUnsuitable);
    const CCTImage words(40, 30, CCTImage::eIDT_INT32, true, nullptr);
    EXPECT_EQ(m_locator.Locate(words).error, LxCV::eCalibImageUnsuitable);
}

TEST_F(BoardLocation, AFailureLeavesNothingOfTheImageBefore)
{
    const ImageF image = Render(0.2).image;
    const std::size_t marks = Locate(image).marks.size();
    EXPECT_GE(marks, 60U);
    EXPECT_EQ(Locate(ImageF(658, 494)).corners, 0U);
    EXPECT_EQ(m_locator.Locate(CCTImage()).corners, 0U);
    EXPECT_EQ(Locate(image).marks.size(), marks);
}

/// Whether both found the same corners at the same places.
void ExpectSame(const LocatedBoard& a, const LocatedBoard& b)
{
    ASSERT_EQ(a.error, LxCV::eCalibOk) << a.problem;
    ASSERT_EQ(a.marks.size(), b.marks.size());
    for (std::size_t i = 0; i < a.marks.size(); ++i) {
        EXPECT_EQ(a.marks[i].id, b.marks[i].id);
        EXPECT_EQ(a.marks[i].image.x, b.marks[i].image.x);
        EXPECT_EQ(a.marks[i].image.y, b.marks[i].image.y);
        EXPECT_EQ(a.marks[i].quality, b.marks[i].quality);
    }
}

TEST_F(BoardLocation, PixelTypesOfFilesGiveTheSameCorners)
{
    ImageF image = Render(0.15).image; // with noise: whole numbers
    const CCTImage floats = View(image);
    CCTImage bytes(image.width, image.height, CCTImage::eIDT_BGRU8, true, nullptr);
    ASSERT_EQ(floats.ConvertToBGRU8(&bytes, false), CCTImage::eRC_OK);
    CCTImage words(image.width, image.height, CCTImage::eIDT_ARGB8, true, nullptr);
    ASSERT_EQ(floats.ConvertToARGB8(&words, false), CCTImage::eRC_OK);
    const LocatedBoard found = m_locator.Locate(floats);
    ExpectSame(m_locator.Locate(bytes), found);
    ExpectSame(m_locator.Locate(words), found);

    CCTImage grey(image.width, image.height, CCTImage::eIDT_UINT8, true, nullptr);
    CCTImage deep(image.width, image.height, CCTImage::eIDT_UINT16, true, nullptr);
    CCTImage real(image.width, image.height, CCTImage::eIDT_FLOAT32, true, nullptr);
    ASSERT_EQ(words.ConvertToGrayscale(&grey, CCTImage::eCM_Green), CCTImage::eRC_OK);
    const auto* levels = static_cast<const std::uint8_t*>(grey.GetBuffer());
    for (int i = 0; i < grey.GetSizeInPixels(); ++i) {
        static_cast<std::uint16_t*>(deep.GetBuffer())[i] = static_cast<std::uint16_t>(257 * levels[i]);
        static_cast<float*>(real.GetBuffer())[i] = levels[i];
    }
    const LocatedBoard foundInGrey = m_locator.Locate(grey);
    ExpectSame(m_locator.Locate(deep), foundInGrey);
    ExpectSame(m_locator.Locate(real), foundInGrey);
}

TEST_F(BoardLocation, RefinementMovesCornersAndKeepsNames)
{
    const device::RenderedBoard rendered = Render(0.2);
    const LocatedBoard plain = Locate(rendered.image);
    m_locator.SetRefinement(Refinement::eWholeEdges);
    const LocatedBoard edges = Locate(rendered.image);
    m_locator.SetRefinement(Refinement::eRowPolynomials);
    const LocatedBoard rows = Locate(rendered.image);
    for (const LocatedBoard* refined : {&edges, &rows}) {
        ASSERT_EQ(refined->marks.size(), plain.marks.size());
        std::size_t moved = 0;
        for (std::size_t i = 0; i < plain.marks.size(); ++i) {
            EXPECT_EQ(refined->marks[i].id, plain.marks[i].id);
            moved += refined->marks[i].image.x != plain.marks[i].image.x ? 1 : 0;
        }
        EXPECT_GT(moved, plain.marks.size() / 2);
    }
    EXPECT_EQ(Compare(edges, rendered).wrong, 0U);
}

TEST_F(BoardLocation, DrawingMarksCornersOfThePicture)
{
    ImageF image = Render(0.2).image;
    const LocatedBoard found = Locate(image);
    CCTImage picture(image.width, image.height, CCTImage::eIDT_ARGB8, true, nullptr);
    picture.Clear();
    m_locator.Draw(picture);
    constexpr std::uint32_t red = 0xFF0000, magenta = 0xFF00FF, colours = 0xFFFFFF;
    for (const BoardMark& mark : found.marks) {
        if (mark.computed) {
            continue; // may lie outside the image
        }
        const int x = static_cast<int>(std::lround(mark.image.x)),
                  y = static_cast<int>(std::lround(mark.image.y));
        std::uint32_t pixel = 0;
        ASSERT_EQ(picture.GetPixel(x, y, &pixel), CCTImage::eRC_OK);
        EXPECT_EQ(pixel & colours, mark.usable ? red : magenta) << mark.id;
    }
    CCTImage edges = m_locator.DrawEdges();
    EXPECT_EQ(edges.GetWidth(), image.width);
    EXPECT_EQ(edges.GetHeight(), image.height);
}

TEST_F(BoardLocation, ExportsTheUsableMarksOnce)
{
    const LocatedBoard board = Locate(Render(0.3).image);
    ASSERT_EQ(board.error, LxCV::eCalibOk);
    const std::vector<LxCV::LxCCalibrationData> records = m_locator.ExportRecords();
    std::size_t usable = 0;
    for (const BoardMark& mark : board.marks) {
        if (!mark.usable) {
            continue;
        }
        ++usable;
        const auto record = std::find_if(records.begin(), records.end(), [&](const auto& exported) {
            return exported.m_dXi == mark.image.x && exported.m_dYi == mark.image.y;
        });
        ASSERT_NE(record, records.end()) << mark.id;
        EXPECT_EQ(record->m_dXw, mark.world.x);
        EXPECT_EQ(record->m_dYw, mark.world.y);
        EXPECT_EQ(record->m_dZw, mark.world.z);
        EXPECT_EQ(record->m_dWeight, mark.quality);
    }
    EXPECT_GE(usable, 60U);
    EXPECT_EQ(records.size(), usable);
    EXPECT_TRUE(m_locator.ExportRecords().empty());
}

TEST_F(BoardLocation, WithoutImageThereAreNoEdgesToDraw)
{
    EXPECT_EQ(m_locator.DrawEdges().GetSizeInPixels(), 0);
}

class BoardData : public BoardLocation
{
protected:
    /// What loading a file of this text throws; empty if nothing.
    std::string Load(const std::string& text)
    {
        const std::string file = m_folder / "target.txt";
        TestSupport::WriteFile(file, text);
        try {
            m_locator.LoadFile(file);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    static std::string Coordinates(std::size_t points, double scale)
    {
        std::string text = "::Coords\r\n";
        for (std::size_t i = 0; i < points; ++i) {
            const std::size_t square = i / 4, corner = i % 4;
            text += std::to_string(scale * static_cast<double>(3 * (square % 8) + corner % 2)) + " " +
                    std::to_string(scale * static_cast<double>(3 * (square / 8) + corner / 2)) + " 0\r\n";
        }
        return text;
    }

    TestSupport::CTemporaryFolder m_folder;
    TestSupport::CEnvironmentVariable m_store{"LXCV_STORE", m_folder / "store"};
};

TEST_F(BoardData, CoordinatesComeFromTheFile)
{
    const ImageF image = Render(0.2).image;
    const LocatedBoard nominal = Locate(image);
    EXPECT_EQ(Load("::Thres\r\n\r\n" + Coordinates(224, 2.0)), "");
    const LocatedBoard found = Locate(image);
    ASSERT_EQ(found.marks.size(), nominal.marks.size());
    constexpr double tolerance =
        0.007; // mm: the nominal squares reach 0.003 farther, here doubled, and rounding
    for (std::size_t i = 0; i < found.marks.size(); ++i) {
        EXPECT_NEAR(found.marks[i].world.x, 2.0 * nominal.marks[i].world.x, tolerance);
        EXPECT_NEAR(found.marks[i].world.y, 2.0 * nominal.marks[i].world.y, tolerance);
    }
}

TEST_F(BoardData, UnusableFilesAreToldAndChangeNothing)
{
    EXPECT_THROW(m_locator.LoadFile(m_folder / "missing.txt"), std::runtime_error);
    EXPECT_THROW(m_locator.LoadFile(m_folder.GetPath()), std::runtime_error);
    EXPECT_NE(Load("").find("no list of coordinates"), std::string::npos);
    EXPECT_NE(Load("::Coords\n1 2\nx\n").find("no list of coordinates"), std::string::npos);
    EXPECT_NE(Load(std::string(100000, ':')).find("no list of coordinates"), std::string::npos);
    EXPECT_NE(Load(Coordinates(223, 1.0)).find("coordinates of 223 corners, too few"), std::string::npos);
    for (const char* hostile : {"NrOfCols=0", "NrOfCols=-8", "NrOfRows=2147483647", "NrOfRows=x"}) {
        Load("::Thres\n" + std::string(hostile) + "\n" + Coordinates(224, 1.0));
    }
    EXPECT_EQ(
        Load("::Thres\n::Thres::Base\nKernelSizeX=1000000\nImgMargin=-2147483648\n" + Coordinates(224, 1.0)),
        "");
    EXPECT_TRUE(Locate(Render(0.2).image).marks.empty()); // nothing is smoothed with that kernel
}

TEST_F(BoardData, InstalledTargetIsTakenWhereThereIsOne)
{
    EXPECT_FALSE(m_locator.LoadInstalled());
    const ImageF image = Render(0.2).image;
    const LocatedBoard nominal = Locate(image);
    // 3 0 0 0 0 0: the check digits are -(2 * 3) mod 10 = 4 and -3 mod 10 = 7.
    ASSERT_EQ(LxCV::LxCCalibrationTargetWriter::WriteCalibDataToRegistry(std::string("30000047")),
              LxCV::LxCCalibrationTargetWriter::eCDRC_Success);
    EXPECT_TRUE(m_locator.LoadInstalled());
    const LocatedBoard found = Locate(image);
    ASSERT_EQ(found.marks.size(), nominal.marks.size());
    constexpr double single = 1e-5; // mm, coordinates of 20 mm in single precision
    for (std::size_t i = 0; i < found.marks.size(); ++i) {
        EXPECT_NEAR(found.marks[i].world.x, nominal.marks[i].world.x, single);
        EXPECT_NEAR(found.marks[i].world.y, nominal.marks[i].world.y, single);
    }
    EXPECT_EQ(m_locator.Thresholds().m_uiTargetId, 30000047U);
}

TEST(BoardExperiment, AngleFromTheDiagonalIsThatOfTheNearestSideOfAMarkedSquare)
{
    const device::Checkerboard board; // marked: 27, 29, 30, 37
    const auto square = [](int id, double degrees) {
        const double a = degrees * std::numbers::pi / 180.0, c = 10.0 * std::cos(a), s = 10.0 * std::sin(a);
        std::vector<device::TargetCorner> corners(4);
        for (int i = 0; i < 4; ++i) {
            const int u = i % 2, v = i / 2;
            corners[static_cast<std::size_t>(i)].square = id;
            corners[static_cast<std::size_t>(i)].image = {u * c - v * s, u * s + v * c};
        }
        return corners;
    };
    constexpr double rounding = 1e-9;
    EXPECT_NEAR(AngleFromDiagonal(board, square(27, 10.0)), 35.0, rounding);
    EXPECT_NEAR(AngleFromDiagonal(board, square(30, 134.0)), 1.0, rounding);
    EXPECT_EQ(AngleFromDiagonal(board, square(28, 45.0)), 90.0);
    EXPECT_EQ(AngleFromDiagonal(board, {}), 90.0);
}

} // namespace
} // namespace calibration

// Tests of the location of checkerboard corners on drawn boards, whose corners are known exactly.
#include "allocationcount.h"
#include "calibedgeimages.h"
#include "checkerboardprobe.h"
#include "lxccalibrationdata.h"
#include "lxccolorvalueargb8.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <set>

namespace LxCV {
namespace {

using namespace TestSupport;
using EType = LxCRectCornerCalibMark::EType;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxCCBCalibBody";
constexpr int kWidth = 330;
constexpr int kHeight = 260;
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();

/// Pixels. Edges are found to 1/64 pixel and fitted by many of them; the corners of noise-free pictures stay well
/// within two of these units.
constexpr double kCornerTolerance = 0.03;

SquareBoard Turned(double angle)
{
    SquareBoard board;
    const double pitch = 60.0;
    board.right = {pitch * std::cos(angle), pitch * std::sin(angle)};
    board.down = {-pitch * std::sin(angle), pitch * std::cos(angle)};
    board.marked = {6};
    return board;
}

void ExpectCorners(const std::vector<LxCCalibMark*>& marks, const std::array<SPoint, 4>& corners)
{
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const LxCRectCornerCalibMark* const mark = Nearest(marks, corners[i]);
        ASSERT_NE(mark, nullptr);
        EXPECT_NEAR(mark->GetXImg(), corners[i].x, kCornerTolerance) << "corner " << i;
        EXPECT_NEAR(mark->GetYImg(), corners[i].y, kCornerTolerance) << "corner " << i;
        EXPECT_EQ(static_cast<std::size_t>(mark->GetType()), i + 1);
        EXPECT_TRUE(mark->UseForCalib());
    }
}

/// Whether edges, marks and squares point to each other, and to nothing else.
void ExpectConsistentLinks(const LxCCBCalibBody& target)
{
    std::set<const LxCRectCornerCalibMark*> corners;
    for (const auto* marks : {&target.GetCalibMarks(), &target.GetMarksOfSecondPolarity()}) {
        for (const LxCCalibMark* mark : *marks) {
            const auto* const corner = dynamic_cast<const LxCRectCornerCalibMark*>(mark);
            ASSERT_NE(corner, nullptr);
            corners.insert(corner);
            ASSERT_NE(corner->GetHorEdge(), nullptr);
            ASSERT_NE(corner->GetVerEdge(), nullptr);
        }
    }
    for (const auto* edges : {&target.GetHorEdges(), &target.GetVerEdges()}) {
        for (const auto& edge : *edges) {
            for (const bool atStart : {true, false}) {
                const LxCRectCornerCalibMark* const corner = edge->GetCorner(atStart);
                EXPECT_TRUE(corner == nullptr || corners.contains(corner)) << "a corner that is gone";
            }
        }
    }
}

TEST(LxCCBCalibBodyLocate, CornersOfDrawnSquaresAreFoundAtAnyTurn)
{
    for (int degrees = -35; degrees <= 35; degrees += 10) {
        SCOPED_TRACE(degrees);
        SquareBoard board = Turned(degrees * 0.017453292519943295);
        board.origin = {degrees > 0 ? 130.3 : 60.3, degrees < 0 ? 150.7 : 30.7};
        board.columns = 3;
        board.rows = 2;
        board.marked = {2};
        LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
        CCheckerboardProbe target;
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        EXPECT_EQ(target.GetCalibMarks().size(), 24U);
        EXPECT_EQ(target.GetMarksOfSecondPolarity().size(), 4U);
        for (int id = 1; id <= 6; ++id) {
            ExpectCorners(target.GetCalibMarks(), board.Square(id));
        }
        ExpectCorners(target.GetMarksOfSecondPolarity(), board.Embedded(2));
        ExpectConsistentLinks(target);
    }
}

TEST(LxCCBCalibBodyLocate, CornersAreFoundAtAnySubpixelPosition)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> offset(0.0, 1.0);
    std::uniform_real_distribution<double> skew(-12.0, 12.0);
    for (int run = 0; run < 15; ++run) {
        SCOPED_TRACE(run);
        SquareBoard board;
        board.origin = {40.0 + offset(random), 40.0 + offset(random)};
        board.right = {55.0, skew(random)};
        board.down = {skew(random), 58.0};
        board.columns = 2;
        board.rows = 2;
        LxCCalibData data = ViewOf(Render(board, 160, 170));
        CCheckerboardProbe target;
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        ASSERT_EQ(target.GetCalibMarks().size(), 16U);
        for (int id = 1; id <= 4; ++id) {
            ExpectCorners(target.GetCalibMarks(), board.Square(id));
        }
    }
}

TEST(LxCCBCalibBodyLocate, ParabolasFindTheSameCorners)
{
    const SquareBoard board = Turned(0.1);
    LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
    CCheckerboardProbe target;
    target.Thres().m_bUseParabolaFit = true;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    ASSERT_EQ(target.GetCalibMarks().size(), 48U);
    for (int id = 1; id <= 12; ++id) {
        ExpectCorners(target.GetCalibMarks(), board.Square(id));
    }
}

/// A picture with more corners of the first polarity, or of the second one.
CCTImage PictureOfPolarities(bool moreOfSecond)
{
    SquareBoard board = Turned(0.05);
    if (moreOfSecond) {
        std::swap(board.ground, board.square); // bright squares, of which one holds a dark one
    }
    return Render(board, kWidth, kHeight);
}

TEST(LxCCBCalibBodyLocate, TypeOfBoardTellsWhichPolarityTheMarksHave)
{
    struct SCase
    {
        int type;
        bool moreOfSecond;
        std::size_t marks;
        std::size_t secondMarks;
    };
    constexpr SCase kCases[] = {
        {0, false, 48, 4}, {0, true, 48, 4},  // the larger list
        {1, false, 48, 4}, {1, true, 4, 48},  // the first polarity: dark squares
        {2, false, 4, 48}, {2, true, 48, 4},  // the second one
        {3, false, 52, 0}, {3, true, 52, 0},  // no difference
        {4, false, 0, 0},  {-1, false, 0, 0}, // no type
    };
    const std::array<CCTImage, 2> pictures{PictureOfPolarities(false), PictureOfPolarities(true)};
    for (const SCase& c : kCases) {
        LxCCalibData data = ViewOf(pictures[c.moreOfSecond ? 1 : 0]);
        CCheckerboardProbe target;
        target.Thres().m_eTypeOfCB = static_cast<LxCCBCalibThres::ECheckerBoardType>(c.type);
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        EXPECT_EQ(target.GetCalibMarks().size(), c.marks) << c.type << ' ' << c.moreOfSecond;
        EXPECT_EQ(target.GetMarksOfSecondPolarity().size(), c.secondMarks) << c.type << ' ' << c.moreOfSecond;
        ExpectConsistentLinks(target);
    }
}

TEST(LxCCBCalibBodyLocate, ListOneWinsWhereBothPolaritiesHaveTheSameNumberOfCorners)
{
    SquareBoard board = Turned(0.0);
    board.columns = 1;
    board.rows = 1;
    board.marked = {1};
    LxCCalibData data = ViewOf(Render(board, 160, 160));
    CCheckerboardProbe target;
    target.Thres().m_eTypeOfCB = LxCCBCalibThres::eCBT_MoreCorners;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    ASSERT_EQ(target.GetCalibMarks().size(), 4U);
    ASSERT_EQ(target.GetMarksOfSecondPolarity().size(), 4U);
    ExpectCorners(target.GetCalibMarks(), board.Square(1));
}

TEST(LxCCBCalibBodyLocate, SecondViewForgetsTheFirstOne)
{
    LxCCalibData data = ViewOf(Render(Turned(0.1), kWidth, kHeight));
    LxCCalibData empty = ViewOf(CCTImage(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 200.0F));
    CCheckerboardProbe target;
    for (int run = 0; run < 3; ++run) {
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        target.DetectAllRectsExtern();
        EXPECT_EQ(target.GetCalibMarks().size(), 48U);
        EXPECT_EQ(target.GetNumDetectedRects(), 12);
    }
    ASSERT_EQ(target.LocateCalibMarks(empty, false), eCalibOk);
    EXPECT_TRUE(target.GetCalibMarks().empty());
    EXPECT_TRUE(target.GetMarksOfSecondPolarity().empty());
    EXPECT_EQ(target.GetNumDetectedRects(), 0);
    EXPECT_TRUE(target.GetHorEdges().empty());
}

TEST(LxCCBCalibBodyLocate, OnlyTheFirstChannelCounts)
{
    CCTImage picture = Render(Turned(0.0), kWidth, kHeight);
    CCTImage others(picture);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        LxCFloat3& pixel = others.GetFloat3Fast(i % kWidth, i / kWidth);
        pixel.set(0, 100.0F);
    }
    LxCCalibData data = ViewOf(others);
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_TRUE(target.GetCalibMarks().empty());
    EXPECT_TRUE(target.GetHorEdges().empty());
}

TEST(LxCCBCalibBodyLocate, MaskedCornersAreNoCandidates)
{
    const SquareBoard board = Turned(0.0);
    LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
    CCTImage& mask = data.GetImage(LxCCalibData::eCamMask);
    const SPoint masked = board.Square(6)[3];
    const auto x = static_cast<int>(masked.x);
    const auto y = static_cast<int>(masked.y);
    for (int i = -4; i <= 4; ++i) {
        mask.DrawLine(x - 4, y + i, x + 4, y + i, LxCColorValueARGB8::eBlue);
    }
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_EQ(target.GetCalibMarks().size(), 48U) << "the mask is not in use";
    data.SetCamMaskInUse(true);
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_EQ(target.GetCalibMarks().size(), 47U);
    const LxCRectCornerCalibMark* const nearest = Nearest(target.GetCalibMarks(), masked);
    EXPECT_GT(std::hypot(nearest->GetXImg() - masked.x, nearest->GetYImg() - masked.y), 10.0);
}

TEST(LxCCBCalibBodyLocate, MasksOfOtherTypesAndSizesCountWhereTheyHavePixels)
{
    const SquareBoard board = Turned(0.0);
    LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
    data.SetCamMaskInUse(true);
    CCheckerboardProbe target;
    // A mask of the upper 50 rows, which no corner reaches, and one of the upper 70.
    for (const auto& [rows, corners] : {std::pair{50, 48U}, {70, 40U}}) {
        data.GetImage(LxCCalibData::eCamMask) = CCTImage(kWidth, rows, CCTImage::eIDT_FLOAT32_3, 1.0F);
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        EXPECT_EQ(target.GetCalibMarks().size(), corners);
    }
    data.GetImage(LxCCalibData::eCamMask) = CCTImage();
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_EQ(target.GetCalibMarks().size(), 48U);
}

TEST(LxCCBCalibBodyLocate, CornersInTheMarginAreNotUsed)
{
    SquareBoard board = Turned(0.0);
    board.origin.x = 8.3; // the left corners of the first column
    LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
    CCheckerboardProbe target;
    target.Thres().m_iImgMargin = 20;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    ASSERT_EQ(target.GetCalibMarks().size(), 48U);
    for (const LxCCalibMark* mark : target.GetCalibMarks()) {
        EXPECT_EQ(mark->UseForCalib(), mark->GetXImg() > 20.0) << mark->GetXImg();
    }
}

TEST(LxCCBCalibBodyLocate, PrincipalPointIsTheMiddleInWholePixels)
{
    LxCCalibData data = ViewOf(CCTImage(331, 259, CCTImage::eIDT_FLOAT32_3, 0.0F));
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_EQ(target.m_pIntrinsicParams->GetPrincipalPointX(), 165.0);
    EXPECT_EQ(target.m_pIntrinsicParams->GetPrincipalPointY(), 129.0);
}

TEST(LxCCBCalibBodyLocate, PolaritiesThatContradictFreeMarkAndEdges)
{
    // A grey square on bright ground leans against the left side of a darker, taller one. Their common side is an edge of
    // the darker square, bright to dark. Down that edge, the grey square's lower side meets it first: a lower right
    // corner with a minimum below and a maximum beside it, which contradict each other. The darker square's own lower
    // left corner comes later and wants the same end of the edge.
    CCTImage picture(180, 160, CCTImage::eIDT_FLOAT32_3, 200.0F);
    PaintQuad(picture, {SPoint{80.3, 40.2}, {140.3, 40.2}, {80.3, 110.2}, {140.3, 110.2}}, 20.0F);
    PaintQuad(picture, {SPoint{40.3, 60.7}, {80.3, 60.7}, {40.3, 96.7}, {80.3, 96.7}}, 110.0F);
    LxCCalibData data = ViewOf(picture);
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, true), eCalibOk);
    ExpectConsistentLinks(target);
    const SPoint contradicting{80.3, 96.7};
    const SPoint wanting{80.3, 110.2};
    const LxCRectCornerCalibMark* const corner = Nearest(target.GetCalibMarks(), wanting);
    ASSERT_NE(corner, nullptr);
    EXPECT_NEAR(corner->GetXImg(), wanting.x, 0.3);
    EXPECT_NEAR(corner->GetYImg(), wanting.y, 0.3);
    EXPECT_EQ(corner->GetType(), LxCRectCornerCalibMark::eLowerLeft);
    EXPECT_EQ(corner->GetVerEdge()->GetLowerCorner(), corner);
    for (const auto* marks : {&target.m_vMarks, &target.m_vSecondMarks}) {
        for (const LxCCalibMark* mark : *marks) {
            EXPECT_GT(std::hypot(mark->GetXImg() - contradicting.x, mark->GetYImg() - contradicting.y), 5.0);
        }
    }
    // Its candidate shows as a small yellow tick.
    const CCTImage& debug = data.GetImage(LxCCalibData::eCamDebugImage);
    int yellow = 0;
    for (int y = 93; y <= 100; ++y) {
        for (int x = 76; x <= 84; ++x) {
            yellow += debug.GetInt32PixelFast(x, y) == 0xFFFF00 ? 1 : 0;
        }
    }
    EXPECT_GE(yellow, 5);
}

TEST(LxCCBCalibBodyLocate, EdgesOfExactlyTheLargestLengthAreKept)
{
    SquareBoard board;
    board.columns = board.rows = 1;
    const CCTImage picture = Render(board, 160, 160);
    LxCCalibData data = ViewOf(picture);
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    int longest = 0;
    for (const auto* edges : {&target.GetHorEdges(), &target.GetVerEdges()}) {
        for (const auto& edge : *edges) {
            longest = std::max(longest, edge->GetLen());
        }
    }
    for (const auto& [limit, isKept] : {std::pair{longest, true}, {longest - 1, false}}) {
        target.Thres().m_iMaxEdgeLen = limit;
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        EXPECT_EQ(target.GetCalibMarks().size() == 4U, isKept);
    }
}

TEST(LxCCBCalibBodyLocate, DebugPictureShowsCornersInTheColourOfTheirPolarity)
{
    const SquareBoard board = Turned(0.0);
    LxCCalibData data = ViewOf(Render(board, kWidth, kHeight));
    CCheckerboardProbe target;
    CCTImage& picture = data.GetImage(LxCCalibData::eCamDebugImage);
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_EQ(picture.GetInt32PixelFast(5, 5), 0) << "no picture was asked for";
    ASSERT_EQ(target.LocateCalibMarks(data, true), eCalibOk);
    EXPECT_EQ(picture.GetInt32PixelFast(5, 5), 0xC8C8C8) << "200, as the ground";
    const auto count = [&](std::int32_t color) {
        const auto* begin = static_cast<const std::int32_t*>(picture.GetBuffer());
        return std::count(begin, begin + picture.GetSizeInPixels(), color);
    };
    // A tick has 41 pixels; a later one may cross it, and the position is drawn over one of them.
    EXPECT_GT(count(0x00FF00), 48 * 30);
    EXPECT_GT(count(0xFF0000), 4 * 30);
    const LxCRectCornerCalibMark& mark = *Nearest(target.GetCalibMarks(), board.Square(1)[0]);
    EXPECT_EQ(picture.GetInt32PixelFast(static_cast<int>(mark.GetXImg()), static_cast<int>(mark.GetYImg())),
              255);
}

TEST(LxCCBCalibBodyLocate, OtherPicturesAreRefused)
{
    CCheckerboardProbe target;
    for (const CCTImage& picture : {CCTImage(), CCTImage(64, 64, CCTImage::eIDT_ARGB8, 0.0F),
                                    CCTImage(64, 64, CCTImage::eIDT_FLOAT32, 0.0F)}) {
        LxCCalibData data;
        data.Init(64, 64);
        data.GetImage(LxCCalibData::eCamImage) = picture;
        target.AddCorner(1.0, 1.0, LxCRectCornerCalibMark::eUpperLeft);
        const Logging::CCapture log;
        EXPECT_EQ(target.LocateCalibMarks(data, true), 19);
        EXPECT_EQ(
            log.Count(Logging::ELevel::eError, kChannel, L"LocateCalibMarks: unsupported input image type\n"),
            1);
        EXPECT_TRUE(target.GetCalibMarks().empty()) << "earlier marks are gone nevertheless";
    }
    LxCCalibData uninitialized;
    EXPECT_EQ(target.LocateCalibMarks(uninitialized, true), 19);
}

TEST(LxCCBCalibBodyLocate, OtherThresholdsAreRefused)
{
    LxCCalibData data = ViewOf(CCTImage(64, 64, CCTImage::eIDT_FLOAT32_3, 0.0F));
    CCheckerboardProbe target(false);
    for (const bool hasThres : {false, true}) {
        target.m_pThres = hasThres ? std::make_unique<LxCCalibThres>() : nullptr;
        const Logging::CCapture log;
        EXPECT_EQ(target.LocateCalibMarks(data, false), 45);
        EXPECT_EQ(
            log.Count(Logging::ELevel::eError, kChannel,
                      L"LxCCBCalibBody::LocateCalibMarks: m_pThres is no instance of LxCCBCalibThres\n"),
            1);
        data.GetImage(LxCCalibData::eCamHorEdges).SetInt32PixelFast(3, 3, 5);
        target.CreateEdgeImgs(data, 6, true, true);
        EXPECT_EQ(data.GetImage(LxCCalibData::eCamHorEdges).GetInt32PixelFast(3, 3), 0);
        EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel,
                            L"LxCCBCalibBody::CreateEdgeImgs: m_pThres is no instance of LxCCBCalibThres\n"),
                  1);
    }
}

TEST(LxCCBCalibBodyLocate, ImagesThatDoNotFitTogetherYieldNothing)
{
    SquareBoard board;
    board.columns = board.rows = 1;
    constexpr int kSide = 140;
    const CCTImage picture = Render(board, kSide, kSide);
    const Logging::CCapture quiet;
    // The debug picture may have any type and size.
    for (int number = LxCCalibData::eCamImageSmoothed; number <= LxCCalibData::eCamHorIds; ++number) {
        if (number == LxCCalibData::eCamMask) {
            continue;
        }
        const auto image = static_cast<LxCCalibData::EImage>(number);
        for (const CCTImage& other : {CCTImage(), CCTImage(1, 1, CCTImage::eIDT_INT32, 0.0F),
                                      CCTImage(kSide, kSide - 1, CCTImage::eIDT_FLOAT32, 0.0F),
                                      CCTImage(kSide + 3, kSide, CCTImage::eIDT_FLOAT32_3, 0.0F),
                                      CCTImage(9, 900, CCTImage::eIDT_INT32, 0.0F),
                                      CCTImage(kSide, kSide, CCTImage::eIDT_FLOAT64, 0.0F)}) {
            LxCCalibData data = ViewOf(picture);
            data.GetImage(image) = other;
            CCheckerboardProbe target;
            EXPECT_EQ(target.LocateCalibMarks(data, true), eCalibOk) << number;
            EXPECT_EQ(target.GetCalibMarks().size(), image == LxCCalibData::eCamDebugImage ? 4U : 0U)
                << number;
            ExpectConsistentLinks(target);
        }
    }
}

TEST(LxCCBCalibBodyLocate, TinyAndFlatImagesHaveNoCorners)
{
    CCheckerboardProbe target;
    for (const auto& [width, height] :
         {std::pair{1, 1}, {1, 300}, {300, 1}, {2, 2}, {5, 5}, {7, 7}, {8, 400}}) {
        LxCCalibData data = ViewOf(CCTImage(width, height, CCTImage::eIDT_FLOAT32_3, 100.0F));
        data.SetCamMaskInUse(true);
        EXPECT_EQ(target.LocateCalibMarks(data, true), eCalibOk);
        EXPECT_TRUE(target.GetCalibMarks().empty());
        target.DetectAllRectsExtern();
    }
    LxCCalibData data;
    data.Init(0, 0);
    EXPECT_EQ(target.LocateCalibMarks(data, true), eCalibOk);
    EXPECT_TRUE(target.GetCalibMarks().empty());
}

TEST(LxCCBCalibBodyLocate, AnyThresholdsAndPixelsAreSurvived)
{
    std::mt19937 random(2);
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const auto odd = [&] {
        constexpr int kOdd[] = {0, -1, 1, 2, 3, 5, 40, 1000, kIntMax, kIntMin};
        return kOdd[random() % std::size(kOdd)];
    };
    for (int run = 0; run < 300; ++run) {
        const int width = 1 + static_cast<int>(random() % 60);
        const int height = 1 + static_cast<int>(random() % 60);
        CCTImage picture(width, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
        for (int i = 0; i < width * height; ++i) {
            const float level = random() % 200 == 0 ? (random() % 2 == 0 ? kNaN : kInfinity)
                                                    : static_cast<float>(random() % 256);
            picture.SetFloat3PixelFast(i % width, i / width, LxCFloat3(level));
        }
        CCheckerboardProbe target;
        LxCCBCalibThres& thres = target.Thres();
        for (int* value :
             {&thres.m_iMinLocExtAmount, &thres.m_iMinTotalExtAmount, &thres.m_iMinEdgeLen,
              &thres.m_iMaxEdgeLen, &thres.m_iNrOfSamples, &thres.m_iSkip, &thres.m_iNrOfCols,
              &thres.m_iNrOfRows, &thres.m_iMaxDistCornerToEdgeEnd, &thres.m_iMinDistCornerToOppEdgeEnd,
              &thres.m_iImgMargin, &thres.m_iImgMarginBottom}) {
            *value = random() % 2 == 0 ? odd() : *value;
        }
        thres.m_iKernelSizeX = thres.m_iKernelSizeY = random() % 4 == 0 ? odd() : 3;
        thres.m_bUseParabolaFit = random() % 2 == 0;
        thres.m_bUseEdgeDirCheck = random() % 2 == 0;
        thres.m_eTypeOfCB = static_cast<LxCCBCalibThres::ECheckerBoardType>(static_cast<int>(random() % 5));
        const Logging::CCapture quiet;
        LxCCalibData data = ViewOf(picture);
        EXPECT_EQ(target.LocateCalibMarks(data, random() % 2 == 0), eCalibOk);
        ExpectConsistentLinks(target);
        target.DetectAllRectsExtern();
        target.AssessMarkQual(&data.GetImage(LxCCalibData::eCamDebugImage));
        target.ImprovePositionByEstimatedCorner();
        target.ImprovePositionByPolyOverEntireImage(&data.GetImage(LxCCalibData::eCamDebugImage));
        target.FilterOutCalibMarks(&data.GetImage(LxCCalibData::eCamMask), odd());
        target.DrawMask(&data.GetImage(LxCCalibData::eCamMask), 5);
        target.DrawCalibMarks(&data.GetImage(LxCCalibData::eCamDebugImage));
    }
}

TEST(LxCCBCalibBodyLocate, SmoothingThatIsRefusedLeavesNoEarlierView)
{
    LxCCalibData data = ViewOf(Render(Turned(0.0), kWidth, kHeight));
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    ASSERT_EQ(target.GetCalibMarks().size(), 48U);
    target.Thres().m_iKernelSizeX = 4;
    const Logging::CCapture quiet;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    EXPECT_TRUE(target.GetCalibMarks().empty());
}

TEST(LxCCBCalibBodyLocate, WithoutMemoryNothingIsLeft)
{
    const CCTImage picture = Render(Turned(0.0), 160, 160);
    LxCCalibData data = ViewOf(picture);
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    const std::size_t corners = target.GetCalibMarks().size();
    ASSERT_GT(corners, 0U);
    int failures = 0;
    ECalibError error = eCalibNoMemory;
    for (std::size_t allowed = 0; error != eCalibOk && allowed < 2000; ++allowed) {
        const AllocationLimit limit(1, allowed);
        error = target.LocateCalibMarks(data, false);
        if (error != eCalibOk) {
            ++failures;
            ASSERT_EQ(error, eCalibNoMemory);
            ASSERT_TRUE(target.GetCalibMarks().empty());
            ASSERT_TRUE(target.GetHorEdges().empty());
        }
    }
    EXPECT_EQ(error, eCalibOk);
    EXPECT_EQ(target.GetCalibMarks().size(), corners);
    EXPECT_EQ(failures > 10, AllocationLimit::IsEffective());
}

/// One of the operations that make, use or remove edges, marks and squares.
void Operate(CCheckerboardProbe& target, LxCCalibData& data, std::mt19937& random)
{
    CCTImage& picture = data.GetImage(LxCCalibData::eCamDebugImage);
    std::vector<LxCCalibrationData*> records;
    switch (random() % 18) {
    case 0:
    case 16:
    case 17:
        target.LocateCalibMarks(data, random() % 2 == 0);
        break;
    case 1:
        target.Reset();
        break;
    case 2:
        target.RemoveRects();
        break;
    case 3:
        target.RemoveRectEdges();
        break;
    case 4:
    case 5:
        target.DetectAllRects();
        break;
    case 6:
        target.DetectAllRectsExtern();
        break;
    case 7:
        target.FilterRectsForValidRectangle(5.0);
        break;
    case 8:
        target.IdentifyCalibMarks();
        break;
    case 9:
        target.ImprovePositionByEstimatedCorner();
        target.ImprovePositionByPolyOverEntireImage(&picture);
        break;
    case 10:
        target.ExportCalibrationDataUsingWCDataFile(records);
        break;
    case 11:
        target.TraceRectEdgesHor(data.GetImage(LxCCalibData::eCamHorEdges),
                                 data.GetImage(LxCCalibData::eCamHorIds), 1, 1, 10, 1000);
        break;
    case 12:
        target.PropagateRectIds(4, 3);
        break;
    case 13:
        if (!target.GetCalibMarks().empty()) {
            LxCCalibMark& mark = *target.GetCalibMarks()[random() % target.GetCalibMarks().size()];
            mark.MakeInvalid();
        }
        break;
    case 14:
        target.DoubleCheckIds(4, 3);
        target.FilterOutCalibMarks(&data.GetImage(LxCCalibData::eCamMask), 2.0);
        break;
    default:
        target.AssessMarkQual(&picture);
        target.DrawMask(&data.GetImage(LxCCalibData::eCamMask), 5);
        target.DrawCalibMarks(&picture);
    }
    for (const LxCCalibrationData* record : records) {
        delete record;
    }
}

/// Whether marks, squares and edges point to what their target has, and to nothing else.
void ExpectLinksWithinTarget(const CCheckerboardProbe& target)
{
    std::set<const void*> owned{nullptr};
    for (const auto* marks : {&target.m_vMarks, &target.m_vSecondMarks}) {
        owned.insert(marks->begin(), marks->end());
    }
    for (const auto* rects : {&target.m_vRects, &target.m_vSecondRects}) {
        owned.insert(rects->begin(), rects->end());
        for (const LxCCBRect* rect : *rects) {
            for (const LxCCalibMark* corner : rect->GetCorners()) {
                ASSERT_TRUE(owned.contains(corner)) << "a square's corner that is gone";
            }
        }
    }
    for (const auto* edges : {&target.GetHorEdges(), &target.GetVerEdges()}) {
        for (const auto& edge : *edges) {
            owned.insert(edge.get());
            for (const LxCCalibMark* corner : {edge->GetCorner(true), edge->GetCorner(false)}) {
                ASSERT_TRUE(owned.contains(corner)) << "an edge's corner that is gone";
            }
        }
    }
    for (const auto* marks : {&target.m_vMarks, &target.m_vSecondMarks}) {
        for (const LxCCalibMark* mark : *marks) {
            const auto& corner = dynamic_cast<const LxCRectCornerCalibMark&>(*mark);
            ASSERT_TRUE(owned.contains(corner.GetRect())) << "a square that is gone";
            ASSERT_TRUE(owned.contains(corner.GetHorEdge()) && owned.contains(corner.GetVerEdge()))
                << "an edge that is gone";
        }
    }
}

TEST(LxCCBCalibBodyLocate, OperationsInAnyOrderLeaveNoLinkToWhatIsGone)
{
    SquareBoard board;
    board.origin = {20.3, 15.7};
    board.right = {40.0, 2.0};
    board.down = {-2.0, 41.0};
    board.embedded = 0.4;
    board.marked = {1, 3, 4, 7}; // the figure that tells the orientation
    const CCTImage picture = Render(board, 190, 150);
    std::mt19937 random(8);
    const Logging::CCapture quiet;
    int identified = 0; // steps that leave an identified target
    for (int run = 0; run < 12; ++run) {
        LxCCalibData data = ViewOf(picture);
        CCheckerboardProbe target;
        target.Thres().m_iIdOfFirstMarkedSquare = 1;
        target.Thres().m_iNrOfCols = 4;
        target.Thres().m_iNrOfRows = 3;
        target.LocateCalibMarks(data, true);
        for (int step = 0; step < 40; ++step) {
            Operate(target, data, random);
            ExpectLinksWithinTarget(target);
            ASSERT_FALSE(HasFatalFailure()) << "run " << run << " step " << step;
            identified += target.GetNrOfGoodMarks() > 40 ? 1 : 0;
        }
    }
    EXPECT_GT(identified, 5);
}

TEST(LxCCBCalibBodyEdges, EdgeImagesAreMadeStageByStage)
{
    LxCCalibData data = ViewOf(Render(Turned(0.1), kWidth, kHeight));
    CCheckerboardProbe target;
    const CCTImage& input = data.GetImage(LxCCalibData::eCamImage);
    CCTImage& smoothed = data.GetImage(LxCCalibData::eCamImageSmoothed);
    smoothed = input;
    for (const bool check : {false, true}) {
        target.CreateEdgeImgs(data, 6, check, check);
        CCTImage gradient(kWidth, kHeight, CCTImage::eIDT_FLOAT32, 0.0F);
        CCTImage edges(kWidth, kHeight, CCTImage::eIDT_INT32, 0.0F);
        const SExtremumThresholds thresholds{
            {LxCRoi(&input)}, {40}, {80}}; // 260 rows are too few for automatic ones
        ComputeSobelSumVer(smoothed, gradient, nullptr);
        NonLocExtSuppVer(gradient, edges, thresholds, 1, 6);
        if (check) {
            CheckGradientOfHorEdges(smoothed, edges);
        }
        const auto bytes = static_cast<std::size_t>(edges.GetSizeInBytes());
        EXPECT_EQ(
            std::memcmp(edges.GetBuffer(), data.GetImage(LxCCalibData::eCamHorEdges).GetBuffer(), bytes), 0);
        EXPECT_EQ(std::memcmp(gradient.GetBuffer(), data.GetImage(LxCCalibData::eCamGradientVer).GetBuffer(),
                              bytes),
                  0);
        edges.Clear();
        ComputeSobelSumHor(smoothed, gradient, nullptr);
        NonLocExtSuppHor(gradient, edges, thresholds, 1, 6);
        if (check) {
            CheckGradientOfVerEdges(smoothed, edges);
        }
        EXPECT_EQ(
            std::memcmp(edges.GetBuffer(), data.GetImage(LxCCalibData::eCamVerEdges).GetBuffer(), bytes), 0);
        EXPECT_EQ(std::memcmp(gradient.GetBuffer(), data.GetImage(LxCCalibData::eCamGradientHor).GetBuffer(),
                              bytes),
                  0);
    }
}

TEST(LxCCBCalibBodyEdges, AutomaticThresholdsFindFaintSquares)
{
    // A contrast of 12 grey levels: gradients up to about 14, far below the configured 40.
    SquareBoard board;
    board.columns = 9;
    board.rows = 7;
    board.origin = {20.3, 20.3};
    board.ground = 112.0F;
    board.square = 100.0F;
    LxCCalibData data = ViewOf(Render(board, 560, 440));
    for (const bool automatic : {true, false}) {
        CCheckerboardProbe target;
        target.Thres().m_bUseAutoThresholds = automatic;
        ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
        EXPECT_EQ(target.GetCalibMarks().size(), automatic ? 252U : 0U);
    }
}

TEST(LxCCBCalibBodyEdges, RegionsAndThresholdsAreDrawnWhereTheSettingAsksForIt)
{
    LxCCalibData data = ViewOf(CCTImage(400, 400, CCTImage::eIDT_FLOAT32_3, 100.0F));
    CCheckerboardProbe target;
    CCTImage& picture = data.GetImage(LxCCalibData::eCamDebugImage);
    target.CreateEdgeImgs(data, 6, true, true);
    EXPECT_EQ(picture.GetInt32PixelFast(200, 100), 0);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true);
    target.CreateEdgeImgs(data, 6, true, true);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    for (const auto& [x, y] : {std::pair{0, 0}, {200, 100}, {100, 200}, {300, 200}}) {
        EXPECT_EQ(picture.GetInt32PixelFast(x, y) & 0xFFFFFF, 0x00FF00) << x << ' ' << y;
    }
    const auto textPixels = [&](int left, int top) {
        int count = 0;
        for (int y = top + 5; y < top + 35; ++y) {
            for (int x = left + 5; x < left + 60; ++x) {
                count += (picture.GetInt32PixelFast(x, y) & 0xFFFFFF) == 0x00FF00 ? 1 : 0;
            }
        }
        return count;
    };
    EXPECT_GT(textPixels(0, 0), 10);
    EXPECT_GT(textPixels(200, 200), 10);
}

/// An edge with a polarity, without being traced.
class CPolarEdge : public LxCCBRectEdge
{
public:
    CPolarEdge(EOrientation orientation, bool isMax) : LxCCBRectEdge(orientation)
    {
        CCTImage image(12, 12, CCTImage::eIDT_INT32, 0.0F);
        image.SetInt32PixelFast(6, 6, isMax ? 0x40 : 0x80);
        Trace(image, 6, 6, 1);
    }
};

TEST(LxCCBCalibBodyPolarity, PolarityFollowsTheTable)
{
    CPolarEdge horMax(CStraightEdge::eHorizontal, true);
    CPolarEdge horMin(CStraightEdge::eHorizontal, false);
    CPolarEdge verMax(CStraightEdge::eVertical, true);
    CPolarEdge verMin(CStraightEdge::eVertical, false);
    struct SRow
    {
        int type;
        bool hor;
        bool ver;
        int result;
    };
    constexpr SRow kTable[] = {
        {1, true, true, 1},   {1, true, false, 3},  {1, false, true, 3}, {1, false, false, 2},
        {2, true, true, 3},   {2, true, false, 1},  {2, false, true, 2}, {2, false, false, 3},
        {3, true, true, 3},   {3, true, false, 2},  {3, false, true, 1}, {3, false, false, 3},
        {4, false, false, 1}, {4, false, true, 3},  {4, true, false, 3}, {4, true, true, 2},
        {0, true, true, 0},   {0, false, false, 0}, {5, true, true, 0},  {-1, true, false, 0}};
    for (const SRow& row : kTable) {
        LxCRectCornerCalibMark mark(false);
        mark.SetType(static_cast<EType>(row.type));
        mark.SetEdges(row.hor ? &horMax : &horMin, row.ver ? &verMax : &verMin);
        EXPECT_EQ(LxCCBCalibBody::DetPolarity(mark), row.result) << row.type << row.hor << row.ver;
    }
    LxCRectCornerCalibMark bare(false);
    bare.SetType(LxCRectCornerCalibMark::eUpperLeft);
    EXPECT_EQ(LxCCBCalibBody::DetPolarity(bare), 0) << "without edges";
}

} // namespace
} // namespace LxCV

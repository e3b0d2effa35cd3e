// Tests of the projector's slide as a target: whole slides, from images to world coordinates, and odd states.
#include "lxcprojslidecalibbody.h"

#include "calibbodytestsupport.h"
#include "lxccalibrationdata.h"
#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "slidetestsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

namespace LxCV {
namespace {

using TestSupport::CSlideScene;
using TestSupport::CSlideTarget;
using TestSupport::SmallScene;
using TestSupport::SSlide;
using EType = LxCRectCornerCalibMark::EType;

constexpr double c_dTolerance = 0.1; // pixels; sides on a grid of pixels, through eight rows
constexpr const wchar_t* c_pChannel = L"ORX.Lumorad.LxCProjSlideCalibBody";
constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr int c_iMin = std::numeric_limits<int>::min();

/// Checks every corner of a scene that was located and identified: position, id and world coordinates.
void ExpectSlide(SSlide& slide)
{
    const std::vector<int>& stripes = slide.target.Thres().m_viCalibMarkPos;
    const auto columns = static_cast<int>(stripes.size());
    constexpr std::array c_aCenters{5250.0, 3500.0, 1750.0}; // slide columns of the rows of marks
    for (std::size_t row = 0; row < slide.scene.centers.size(); ++row) {
        for (const int stripe : slide.scene.marked) {
            const auto index =
                static_cast<int>(std::find(stripes.begin(), stripes.end(), stripe) - stripes.begin());
            for (int type = 1; type <= 4; ++type) {
                const bool isLeft = type == 1 || type == 3;
                const bool isUpper = type <= 2;
                const LxCSensorCoordsCCT place =
                    slide.scene.Corner(row, isLeft, isUpper ? stripe : stripe + 1);
                const LxCRectCornerCalibMark* const mark = slide.target.Find(place, static_cast<EType>(type));
                ASSERT_NE(mark, nullptr) << "row " << row << " stripe " << stripe << " type " << type;
                EXPECT_NEAR(mark->GetXImg(), place.x, c_dTolerance);
                EXPECT_NEAR(mark->GetYImg(), place.y, c_dTolerance);
                EXPECT_TRUE(mark->UseForCalib());
                EXPECT_EQ(mark->GetId(), 4 * (static_cast<int>(row) * columns + index) + type);
                const LxC3DCoordsCCT world = slide.target.GetWorldCoords(*mark);
                EXPECT_EQ(world.x, c_aCenters.at(row) + (isLeft ? -50.0 : 50.0));
                EXPECT_EQ(world.y, 50.0 * (isUpper ? stripe - 1 : stripe));
            }
        }
    }
    EXPECT_EQ(slide.target.m_vMarks.size(), 4 * slide.scene.centers.size() * slide.scene.marked.size());
}

TEST(LxCProjSlideCalibBody, FindsBlackMarksWithTheirPlacesOnTheSlide)
{
    SSlide slide;
    ASSERT_EQ(slide.Locate(), eCalibOk);
    ASSERT_EQ(slide.Identify(), eCalibOk);
    EXPECT_EQ(slide.target.GetCalibOrientation(), eCO_QuarterTurn);
    ExpectSlide(slide);
}

TEST(LxCProjSlideCalibBody, FindsWhiteMarksWithTheirPlacesOnTheSlide)
{
    CSlideScene scene;
    scene.brightMarks = true;
    scene.firstStripe = 52;
    scene.marked = {56, 64, 72, 88, 96, 104};
    SSlide slide(scene, LxCCalibBody::sc_StandardParammsDiaC);
    ASSERT_EQ(slide.Locate(), eCalibOk);
    ASSERT_EQ(slide.Identify(), eCalibOk);
    ExpectSlide(slide);
}

TEST(LxCProjSlideCalibBody, FindsTheSameASecondTime)
{
    SSlide slide;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(slide.Locate(), eCalibOk);
        ASSERT_EQ(slide.Identify(), eCalibOk);
        slide.scene.Draw(slide.data);
    }
    ExpectSlide(slide);
    slide.target.Reset();
    EXPECT_TRUE(slide.target.m_vMarks.empty());
    EXPECT_TRUE(slide.target.m_vRects.empty());
    EXPECT_TRUE(slide.target.GetVerEdges().empty());
}

TEST(LxCProjSlideCalibBody, ExportsCornersWithTheirPlacesOnTheSlide)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    slide.Identify();
    // One edge on each side of a row is no row: a second one makes it one.
    for (LxCCalibMark* mark : slide.target.m_vMarks) {
        if (mark->IsInvalid()) {
            mark->ToggleValidity();
        }
    }
    const std::size_t marks = slide.target.m_vMarks.size();
    TestSupport::CRecords records;
    EXPECT_EQ(slide.target.ExportCalibrationDataUsingWCDataFile(records.list), eCalibOk);
    EXPECT_EQ(records.list.size(), marks);
    EXPECT_TRUE(slide.target.m_vMarks.empty());
}

TEST(LxCProjSlideCalibBody, HasNothingToIdentifyWithoutAnImage)
{
    CSlideTarget target;
    LxCCalibBody& base = target;
    EXPECT_EQ(base.IdentifyCalibMarks(), eCalibNotDone);
    EXPECT_EQ(target.GetCalibOrientation(), eCO_Unknown);
}

TEST(LxCProjSlideCalibBody, ReadsCoordinatesAsAnyTarget)
{
    LxCProjSlideCalibBody target;
    std::istringstream text("::Coords\n1 2 3\n4 5\n");
    EXPECT_EQ(target.Read3DCoordsFromStream(text), eCalibOk);
    EXPECT_EQ(target.GetCoordFile(), LxCCalibBody::sc_FilenameReadFromRegistry);
    EXPECT_NE(dynamic_cast<const LxCCProjSlideCalibThres*>(target.GetThres()), nullptr);
}

TEST(LxCProjSlideCalibBody, ReducesSquaresToMarks)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    slide.Identify();
    ASSERT_EQ(slide.target.m_vMarks.size(), 8U);
    for (std::size_t i = 0; i < 8; ++i) {
        slide.target.Corner(i).SetQuality(0.25 * static_cast<double>(i / 2)); // unlike within a square
    }
    slide.target.m_vRects.push_back(std::make_unique<LxCCBRect>().release()); // without corners: left out
    const LxCCBRect& rect = *slide.target.m_vRects.front();
    const double x = (rect.GetULCorner()->GetXImg() + rect.GetURCorner()->GetXImg() +
                      rect.GetLLCorner()->GetXImg() + rect.GetLRCorner()->GetXImg()) /
                     4.0;
    const double quality = (rect.GetULCorner()->GetQuality() + rect.GetURCorner()->GetQuality() +
                            rect.GetLLCorner()->GetQuality() + rect.GetLRCorner()->GetQuality()) /
                           4.0;
    const Logging::CCapture capture;
    slide.target.ReduceToRectID();
    ASSERT_EQ(slide.target.m_vMarks.size(), 10U);
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_FALSE(slide.target.m_vMarks[i]->UseForCalib());
    }
    const LxCCalibMark& mark = *slide.target.m_vMarks[8];
    EXPECT_EQ(mark.GetId(), rect.GetId());
    EXPECT_DOUBLE_EQ(mark.GetXImg(), x);
    EXPECT_DOUBLE_EQ(mark.GetQuality(), quality);
    EXPECT_TRUE(mark.UseForCalib());
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].level, Logging::ELevel::eInfo);
    EXPECT_EQ(records[0].channel, c_pChannel);
    const int id = rect.GetId();
    EXPECT_EQ(records[0].text,
              L"LxCProjSlideCalibBody::ReduceToRectID push_back RectId  " + std::to_wstring(id) + L"\n");
    EXPECT_EQ(records[1].level, Logging::ELevel::eInfo);
    std::wstring ids;
    for (int type = 1; type <= 4; ++type) {
        ids += L" " + std::to_wstring(4 * id - 4 + type);
    }
    EXPECT_EQ(records[1].text, L"LxCProjSlideCalibBody::ReduceToRectID Ids" + ids + L"\n");
}

/// A target with one square that belongs to it.
void AddSquare(CSlideTarget& target, double left, double top, double right, double bottom)
{
    auto rect = std::make_unique<LxCCBRect>();
    const auto corner = [&](double x, double y, bool isLeft, bool isUpper) {
        auto mark = std::make_unique<LxCRectCornerCalibMark>(x, y, nullptr, nullptr, isLeft, isUpper);
        mark->SetRect(rect.get());
        target.m_vMarks.push_back(mark.get());
        return mark.release();
    };
    rect->SetULCorner(corner(left, top, true, true));
    rect->SetURCorner(corner(right, top, false, true));
    rect->SetLLCorner(corner(left, bottom, true, false));
    rect->SetLRCorner(corner(right, bottom, false, false));
    target.m_vRects.push_back(rect.release());
}

TEST(LxCProjSlideCalibBody, FillsTheMaskOfItsSquares)
{
    CSlideTarget target;
    AddSquare(target, 10.0, 20.0, 14.0, 23.0);
    AddSquare(target, 30.0, 20.0, 34.0, 23.0);
    AddSquare(target, 50.0, 20.0, 54.0, 23.0);
    target.m_vMarks.back()->MakeInvalid();
    CCTImage mask(60, 40, CCTImage::eIDT_ARGB8, true, nullptr);
    mask.Clear();
    mask.SetInt32PixelFast(0, 0, 1);
    double x = 0.0;
    double y = 0.0;
    target.DrawCalibMarkMask(&mask, &x, &y);
    for (int row = 0; row < 40; ++row) {
        for (int column = 0; column < 60; ++column) {
            const bool isInside =
                row >= 20 && row <= 23 && column >= 10 && column <= 34 && (column <= 14 || column >= 30);
            ASSERT_EQ(mask.GetInt32PixelFast(column, row), isInside ? 0xFFFFFF : 0) << column << ' ' << row;
        }
    }
    EXPECT_EQ(x, 22.0);
    EXPECT_EQ(y, 21.5);
}

TEST(LxCProjSlideCalibBody, FillsLeaningSquares)
{
    CSlideTarget target;
    AddSquare(target, 20.0, 10.0, 30.0, 10.0);
    // A diamond around (20, 20) with half diagonals of 8.
    const std::array<LxCSensorCoordsCCT, 4> corners{{{20.0, 12.0}, {28.0, 20.0}, {12.0, 20.0}, {20.0, 28.0}}};
    for (std::size_t i = 0; i < 4; ++i) {
        target.m_vMarks[i]->SetXImg(corners.at(i).x);
        target.m_vMarks[i]->SetYImg(corners.at(i).y);
    }
    CCTImage mask(40, 40, CCTImage::eIDT_UINT8, true, nullptr);
    target.DrawCalibMarkMask(&mask, nullptr, nullptr);
    int filled = 0;
    for (int row = 0; row < 40; ++row) {
        for (int column = 0; column < 40; ++column) {
            const bool isInside = std::abs(column - 20) + std::abs(row - 20) <= 8;
            filled += mask.GetBytePixelFast(column, row) != 0 ? 1 : 0;
            ASSERT_EQ(mask.GetBytePixelFast(column, row) != 0, isInside) << column << ' ' << row;
        }
    }
    EXPECT_EQ(filled, 145); // 8² + 9²
}

TEST(LxCProjSlideCalibBody, SurvivesMasksAndPicturesOfAnyKind)
{
    CSlideTarget target;
    AddSquare(target, -1e300, std::nan(""), 1e300, 5.0);
    AddSquare(target, -1e9, -1e9, 1e9, 1e9);
    double x = 7.0;
    double y = 7.0;
    target.DrawCalibMarkMask(nullptr, &x, &y);
    CCTImage empty;
    target.DrawCalibMarkMask(&empty, &x, &y);
    target.DrawCalibMarks(&empty);
    EXPECT_EQ(x, 7.0);
    target.DrawCalibMarks(nullptr);
    for (const int size : {1, 2, 3, 5}) {
        CCTImage mask(size, size, CCTImage::eIDT_FLOAT32_3, 0.0F);
        target.DrawCalibMarkMask(&mask, &x, &y);
        target.DrawCalibMarks(&mask);
    }
}

TEST(LxCProjSlideCalibBody, DrawsTheOutlinesOfItsSquares)
{
    CSlideTarget target;
    AddSquare(target, 10.0, 20.0, 20.0, 30.0);
    CCTImage image(60, 40, CCTImage::eIDT_ARGB8, true, nullptr);
    image.Clear();
    target.DrawCalibMarks(&image);
    for (int i = 0; i <= 10; ++i) {
        EXPECT_EQ(image.GetInt32PixelFast(10 + i, 20), 0x00FF00);
        EXPECT_EQ(image.GetInt32PixelFast(10 + i, 30), 0x00FF00);
        EXPECT_EQ(image.GetInt32PixelFast(10, 20 + i), 0x00FF00);
        EXPECT_EQ(image.GetInt32PixelFast(20, 20 + i), 0x00FF00);
    }
    EXPECT_EQ(image.GetInt32PixelFast(15, 25), 0);
}

TEST(LxCProjSlideCalibBody, SurvivesTinyAndConstantImages)
{
    for (const int width : {1, 2, 3, 5, 30}) {
        for (const int height : {1, 2, 3, 5, 30}) {
            LxCProjSlideCalibBody target; // no data file
            LxCCalibData data;
            LxCCCLAlgoData algo;
            data.Init(width, height);
            for (const std::int32_t word : {0, -1, 0xC01040}) {
                CCTImage& words = data.GetImage(LxCCalibData::eProjHorEdges);
                for (int i = 0; i < width * height; ++i) {
                    words.SetInt32PixelFast(i % width, i / width, word);
                }
                data.SetProjMaskInUse(word != 0);
                target.LocateCalibMarks2(algo, data, true);
                target.IdentifyCalibMarks(&words, data, nullptr);
                target.ReduceToRectID();
            }
        }
    }
}

TEST(LxCProjSlideCalibBody, SurvivesDataThatWereNeverInitialised)
{
    LxCProjSlideCalibBody target;
    LxCCalibData data;
    LxCCCLAlgoData algo;
    EXPECT_EQ(target.LocateCalibMarks2(algo, data, true), eCalibImageUnsuitable);
    EXPECT_EQ(target.IdentifyCalibMarks(nullptr, data, nullptr), eCalibImageUnsuitable);
    EXPECT_EQ(target.ImprovePositionEstimate(nullptr), eCalibTooFewVerticalFits);
    EXPECT_EQ(target.FilterOutByMedian(), eCalibOk);
    CCTImage empty;
    target.EnforceVerEdgeConsistency(empty);
    target.CreateEdgeImgs(algo, data, 6, true);
    target.ReduceToRectID();
    EXPECT_TRUE(target.GetVerEdgePartners().empty());
}

TEST(LxCProjSlideCalibBody, SurvivesHostileThresholds)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    for (const int value : {c_iMin, -1, 0, 1, c_iMax}) {
        slide.target.Thres().m_iNrOfCols = value;
        slide.target.Thres().m_iNrOfRows = value;
        slide.target.Thres().m_iFixedNrVisibleRows = value;
        slide.target.Thres().m_viMarkerMaskRow.clear();
        slide.Identify();
        slide.target.Thres().m_viMarkerMaskRow.resize(2);
        slide.target.Thres().m_viMarkerMaskTolerance.clear();
        slide.Identify();
    }
    for (const int value : {c_iMin, -1, 0, c_iMax}) {
        slide.target.Thres().m_iMinLocExtAmount = value;
        slide.target.Thres().m_iMinTotalExtAmount = value;
        slide.Locate();
        slide.target.Thres().m_iImgMargin = value;
        slide.target.Thres().m_iImgMarginBottom = value;
        slide.target.Thres().m_iKernelSizeX = value;
        slide.target.Thres().m_iKernelSizeY = value;
        slide.Locate();
        EXPECT_TRUE(slide.target.m_vMarks.empty()); // no image without smoothing
    }
}

} // namespace
} // namespace LxCV

#include "lxccalibbody.h"

#include "lxccprojslidecalibthres.h"
#include "tests/lxcvlib/calibbodytestsupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

/// Keeps the text that it reads.
class CListeningTarget : public TestSupport::CPlainTarget
{
public:
    CListeningTarget() : CPlainTarget(false) { m_pThres = std::make_unique<LxCCProjSlideCalibThres>(); }

    ECalibError Read3DCoordsFromStream(std::istream& stream) override
    {
        std::ostringstream text;
        text << stream.rdbuf();
        m_sText = text.str();
        std::istringstream again(m_sText);
        return CPlainTarget::Read3DCoordsFromStream(again);
    }

    const LxCCProjSlideCalibThres& GetSlideThres() const
    {
        return dynamic_cast<const LxCCProjSlideCalibThres&>(*m_pThres);
    }

    std::string m_sText;
};

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// What stands before the coordinates, typed in full but for what differs.
std::vector<std::string> HeadWith(const std::string& columns, const std::string& stripes,
                                  const std::string& type)
{
    return {"",
            "",
            "#----------------------------------",
            "::Thres",
            "",
            "MinLocExtAmount=50",
            "MinTotalExtAmount=80",
            "NrOfRows=3",
            "NrOfCols=" + columns,
            "CalibMarkPos=" + stripes,
            "BlankOutMarkerPos=1750,3500,5250",
            "BlankOutMarkerWidth=100",
            "MaxPolyFitQuad=0.00005000000000000000",
            "MaxDiffFitLinear=0.02500000000000000100",
            "FixedNrVisibleRows=3",
            "MarkerTyp=" + type,
            "",
            "",
            "#----------------------------------",
            "::Thres::Base",
            "",
            "ImgMargin=3",
            "SmoothingMode=1",
            "KernelSizeX=3",
            "KernelSizeY=3",
            "MarginPercent=0.01499999999999999900",
            "FishEyeLens=0",
            "PseudoKappa2Tsai=0.00000000000000000000",
            "RequestedType=CProjISlideCalibBody",
            "FixedOrienation=0",
            "",
            "",
            "#----------------------------------",
            "::Coords",
            ""};
}

/// All coordinates are whole numbers; `decimals` is what stands behind them.
std::string PointText(int u, int v, const std::string& decimals)
{
    return std::to_string(u) + decimals + '\t' + std::to_string(v) + decimals;
}

std::vector<std::string> CoordLines(const std::vector<int>& stripes, const std::string& decimals)
{
    std::vector<std::string> lines;
    for (const int center : {5250, 3500, 1750}) {
        for (const int s : stripes) {
            lines.push_back(PointText(center + 50, 50 * s - 50, decimals));
            lines.push_back(PointText(center + 50, 50 * s, decimals));
            lines.push_back(PointText(center - 50, 50 * s - 50, decimals));
            lines.push_back(PointText(center - 50, 50 * s, decimals));
        }
    }
    return lines;
}

void ExpectLines(const std::string& name, std::vector<std::string> head,
                 const std::vector<std::string>& coords)
{
    CListeningTarget target;
    target.SetCoordFile(name);
    EXPECT_EQ(target.LoadDataFile(), 0);
    head.insert(head.end(), coords.begin(), coords.end());
    EXPECT_EQ(LinesOf(target.m_sText), head);
    EXPECT_EQ(target.m_sText.back(), '\n');
    EXPECT_EQ(target.m_vWorldCoords.size(), coords.size());
}

const std::vector<int> c_viStripesA2{10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138};
const std::vector<int> c_viStripesC{8, 24, 32, 40, 56, 64, 72, 88, 96, 104, 120};

TEST(StandardSlides, A2Has156LinesWithSixDecimals)
{
    const std::vector<std::string> coords = CoordLines(c_viStripesA2, ".000000");
    ASSERT_EQ(coords.size(), 156U);
    ASSERT_EQ(coords[0], "5300.000000\t450.000000");
    ExpectLines("StandardParamsDiaA2", HeadWith("13", "10,20,28,38,50,58,74,84,92,102,114,122,138", "1"),
                coords);
}

TEST(StandardSlides, CHas132LinesOfIntegers)
{
    const std::vector<std::string> coords = CoordLines(c_viStripesC, "");
    ASSERT_EQ(coords.size(), 132U);
    ASSERT_EQ(coords[131], "1700\t6000");
    ExpectLines("StandardParamsDiaC", HeadWith("11", "8,24,32,40,56,64,72,88,96,104,120", "2"), coords);
}

TEST(StandardSlides, LoadIntoThresholdsAndCoordinates)
{
    CListeningTarget target;
    target.SetCoordFile(LxCCalibBody::sc_StandardParammsDiaC);
    ASSERT_EQ(target.LoadDataFile(), 0);
    const LxCCProjSlideCalibThres& thres = target.GetSlideThres();
    EXPECT_EQ(thres.m_iMinLocExtAmount, 50);
    EXPECT_EQ(thres.m_iMinTotalExtAmount, 80);
    EXPECT_EQ(thres.m_iNrOfRows, 3);
    EXPECT_EQ(thres.m_iNrOfCols, 11);
    EXPECT_EQ(thres.m_viCalibMarkPos, c_viStripesC);
    EXPECT_EQ(thres.m_viBlankOutMarkerPos, (std::vector<int>{1750, 3500, 5250}));
    EXPECT_EQ(thres.m_iBlankOutMarkerWidth, 100);
    EXPECT_EQ(thres.m_dMaxPolyFitQuad, 0.00005);
    EXPECT_EQ(thres.m_dMaxDiffFitLinear, 0.025);
    EXPECT_EQ(thres.m_iFixedNrVisibleRows, 3);
    EXPECT_EQ(thres.m_eMarkerTyp, LxCCProjSlideCalibThres::eMT_WhiteInBlack);
    EXPECT_EQ(thres.m_iImgMargin, 3);
    EXPECT_EQ(thres.m_iKernelSizeX, 3);
    EXPECT_EQ(thres.m_iKernelSizeY, 3);
    EXPECT_EQ(thres.m_dMarginPercent, 0.015);
    EXPECT_EQ(thres.m_dPseudoKappa2Tsai, 0.0);
    // Lines of two values on a plane: the last corner of the first mark of the second row.
    const LxC3DCoordsCCT& corner = target.m_vWorldCoords.at(47);
    EXPECT_EQ(corner.x, 3450.0);
    EXPECT_EQ(corner.y, 400.0);
    EXPECT_EQ(corner.z, 0.0);
}

TEST(StandardSlides, ReplaceEachOtherInOneTarget)
{
    CListeningTarget target;
    target.SetCoordFile("StandardParamsDiaA2");
    ASSERT_EQ(target.LoadDataFile(), 0);
    EXPECT_EQ(target.m_vWorldCoords.size(), 156U);
    target.SetCoordFile("StandardParamsDiaC");
    ASSERT_EQ(target.LoadDataFile(), 0);
    EXPECT_EQ(target.m_vWorldCoords.size(), 132U);
    EXPECT_EQ(target.GetSlideThres().m_eMarkerTyp, LxCCProjSlideCalibThres::eMT_WhiteInBlack);
}

} // namespace
} // namespace LxCV

// Images of a slide with marks as calibration sees it, made by hand, and a target that reads them.
#pragma once

#include "cctimage.h"
#include "lxccalibdata.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxccclalgodata.h"
#include "lxccprojslidecalibthres.h"
#include "lxclightstripeedgesinglepixel.h"
#include "lxcprojslidecalibbody.h"
#include "lxcrectcornercalibmark.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace LxCV::TestSupport {

/// Stripes 7 pixels high that fall by 1/100 from left to right, and marks 10 pixels wide whose sides lean by as much.
struct CSlideScene
{
    static constexpr int c_iWidth = 658;
    static constexpr int c_iHeight = 494;
    static constexpr double c_dStripe = 7.0;    ///< pixels
    static constexpr double c_dHalfMark = 5.0;  ///< pixels
    static constexpr double c_dTilt = 0.01;     ///< of stripes and of sides
    static constexpr double c_dMiddleX = 329.0; ///< where stripes are told
    static constexpr double c_dMiddleY = 249.0; ///< where sides are told

    static constexpr int c_iReach = 16; ///< pixels from a row's column that marks do not exceed

    int firstStripe = 48; ///< the stripe whose upper edge is the first one in the image
    int numStripes = 66;
    std::vector<int> marked{50, 58, 74, 84, 92, 102}; ///< stripes with marks
    std::vector<double> centers{580.0, 350.0, 115.0}; ///< columns of the rows of marks
    bool brightMarks = false;
    float dark = 40.0F;
    float bright = 200.0F;

    /// Row of a stripe edge at a column. The stripe s lies between the edges s and s + 1.
    double EdgeY(int edge, double x) const
    {
        return 12.0 + c_dStripe * (edge - firstStripe) + c_dTilt * (x - c_dMiddleX);
    }

    /// Column of a side of the marks of a row at an image row.
    double SideX(std::size_t row, bool isLeft, double y) const
    {
        return centers.at(row) + (isLeft ? -c_dHalfMark : c_dHalfMark) - c_dTilt * (y - c_dMiddleY);
    }

    /// Where a side meets a stripe edge.
    LxCSensorCoordsCCT Corner(std::size_t row, bool isLeft, int edge) const
    {
        double x = centers.at(row);
        double y = 0.0;
        for (int i = 0; i < 50; ++i) { // contracts by 1e-4 a step
            y = EdgeY(edge, x);
            x = SideX(row, isLeft, y);
        }
        return {x, y};
    }

    /// The share of a pixel that lies in a mark, exact for sides that do not lean.
    double Coverage(int x, int y) const
    {
        const auto overlap = [](double low, double high, int pixel) {
            return std::max(0.0, std::min(high, pixel + 0.5) - std::max(low, pixel - 0.5));
        };
        double sum = 0.0;
        for (std::size_t row = 0; row < centers.size(); ++row) {
            if (std::abs(x - centers[row]) > c_iReach) {
                continue;
            }
            for (const int stripe : marked) {
                sum += overlap(SideX(row, true, y), SideX(row, false, y), x) *
                       overlap(EdgeY(stripe, x), EdgeY(stripe + 1, x), y);
            }
        }
        return sum;
    }

    /// Images `eProjImage` and `eProjHorEdges`.
    void Draw(LxCCalibData& data) const
    {
        data.Init(c_iWidth, c_iHeight);
        CCTImage& image = data.GetImage(LxCCalibData::eProjImage);
        CCTImage& words = data.GetImage(LxCCalibData::eProjHorEdges);
        const float ground = brightMarks ? dark : bright;
        const float mark = brightMarks ? bright : dark;
        image = CCTImage(c_iWidth, c_iHeight, CCTImage::eIDT_FLOAT32_3, ground);
        for (const double center : centers) {
            const int left = std::max(0, static_cast<int>(center) - c_iReach);
            const int right = std::min(c_iWidth - 1, static_cast<int>(center) + c_iReach);
            for (int y = 0; y < c_iHeight; ++y) {
                for (int x = left; x <= right; ++x) {
                    const auto share = static_cast<float>(Coverage(x, y));
                    image.SetFloat3PixelFast(x, y, LxCFloat3(ground + (mark - ground) * share));
                }
            }
        }
        for (int edge = firstStripe; edge <= firstStripe + numStripes; ++edge) {
            DrawStripeEdge(words, edge);
        }
    }

    void DrawStripeEdge(CCTImage& words, int edge) const
    {
        for (int x = 0; x < c_iWidth; ++x) {
            const int fixed = static_cast<int>(std::floor(EdgeY(edge, x) * 64.0));
            if (fixed >= 0 && fixed / 64 < c_iHeight) {
                LxCLightStripeEdgeSinglePixel word;
                word.EncodeTracedLSEdgeInfo(edge, fixed & 63);
                words.SetInt32PixelFast(x, fixed >> 6, static_cast<int>(word.GetWord()));
            }
        }
    }
};

/// A slide target whose thresholds and parts tests may set.
class CSlideTarget : public LxCProjSlideCalibBody
{
public:
    using LxCProjSlideCalibBody::AuxUpdatePosHor;
    using LxCProjSlideCalibBody::m_pThres;
    using LxCProjSlideCalibBody::m_vMarks;
    using LxCProjSlideCalibBody::m_vRects;

    explicit CSlideTarget(const char* slide = sc_StandardParammsDiaA2)
    {
        SetCoordFile(slide);
        LoadDataFile();
    }

    LxCCProjSlideCalibThres& Thres() { return *GetSlideThres(); }

    LxCRectCornerCalibMark& Corner(std::size_t index)
    {
        return dynamic_cast<LxCRectCornerCalibMark&>(*m_vMarks.at(index));
    }

    /// The mark of a type nearest to a place.
    LxCRectCornerCalibMark* Find(const LxCSensorCoordsCCT& place, LxCRectCornerCalibMark::EType type)
    {
        LxCRectCornerCalibMark* nearest = nullptr;
        double least = 10.0; // pixels
        for (LxCCalibMark* mark : m_vMarks) {
            auto* const corner = dynamic_cast<LxCRectCornerCalibMark*>(mark);
            if (corner == nullptr || corner->GetType() != type) {
                continue;
            }
            const double distance = (corner->GetImageCoords() - place).GetLength();
            if (distance < least) {
                least = distance;
                nearest = corner;
            }
        }
        return nearest;
    }
};

/// A target and the images of a scene.
struct SSlide
{
    explicit SSlide(const CSlideScene& drawn = {}, const char* slide = LxCCalibBody::sc_StandardParammsDiaA2)
        : scene(drawn), target(slide)
    {
        scene.Draw(data);
    }

    ECalibError Locate(bool debug = false) { return target.LocateCalibMarks2(algo, data, debug); }
    CCTImage& Image() { return data.GetImage(LxCCalibData::eProjImage); }
    CCTImage& Words() { return data.GetImage(LxCCalibData::eProjHorEdges); }
    ECalibError Identify(LxCPinholeFramework* framework = nullptr)
    {
        return target.IdentifyCalibMarks(&Words(), data, framework);
    }

    CSlideScene scene;
    CSlideTarget target;
    LxCCalibData data;
    LxCCCLAlgoData algo;
};

/// Two rows of one mark each, for what does not need a whole slide: quicker to draw.
inline CSlideScene SmallScene()
{
    CSlideScene scene;
    scene.marked = {58};
    scene.centers = {580.0, 115.0};
    return scene;
}

} // namespace LxCV::TestSupport

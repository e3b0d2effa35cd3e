// Squares of a checkerboard target and the quality of their corners.
#include "cctimage.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"

#include <cstddef>
#include <memory>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCBCalibBody");

constexpr int c_iOversatLimit = 250;     // grey levels
constexpr double c_dFullScale = 255.0;   // grey levels
constexpr double c_dOversatWeight = 5.0; // percent of samples that weigh as much as no contrast at all
constexpr double c_dWorstQuality = 10.0;

/// Builds squares of the corners among the marks. Virtual corners join the marks.
void BuildRects(std::vector<LxCCalibMark*>& marks, std::vector<LxCCBRect*>& rects)
{
    auto rect = std::make_unique<LxCCBRect>();
    // Virtual corners that join are no seeds: the square that lacked them was tried with them already.
    const std::size_t seeds = marks.size();
    // Room for all first, so that nothing that edges and marks point to can get lost.
    marks.reserve(2 * seeds);
    rects.reserve(rects.size() + seeds);
    for (std::size_t i = 0; i < seeds; ++i) {
        auto* const seed = dynamic_cast<LxCRectCornerCalibMark*>(marks[i]);
        if (seed == nullptr || seed->IsInvalid() || seed->IsPartOfRect()) {
            continue;
        }
        std::unique_ptr<LxCRectCornerCalibMark> virtualCorner;
        const bool isComplete = rect->DetRemCorners(seed, virtualCorner, true);
        if (virtualCorner != nullptr) {
            marks.push_back(virtualCorner.release());
        }
        if (isComplete) {
            rect->SetId(rect->GetManAssignedId());
            rects.push_back(rect.release());
            rect = std::make_unique<LxCCBRect>();
        }
    }
    for (LxCCalibMark* mark : marks) {
        const auto* const corner = dynamic_cast<const LxCRectCornerCalibMark*>(mark);
        if (corner != nullptr && !corner->IsPartOfRect()) {
            mark->MakeInvalid();
        }
    }
}

/// Contrast and share of oversaturated samples along one edge of a corner.
struct SSharpness
{
    int contrast = 0;
    int overSat = 0;
};

bool MeasureEdge(const CCTImage& image, const LxCCBRectEdge* edge, bool fromStart,
                 const LxCCBCalibThres& thres, SSharpness& sharpness)
{
    return edge != nullptr &&
           edge->GetContrastAndOversat(image, thres.m_iNrOfSamples, thres.m_iSkip, fromStart, c_iOversatLimit,
                                       sharpness.contrast, sharpness.overSat);
}

} // namespace

void LxCCBCalibBody::DetectAllRectsExtern()
{
    RemoveRects();
    DetectAllRects();
}

void LxCCBCalibBody::DetectAllRects()
{
    BuildRects(m_vMarks, m_vRects);
    BuildRects(m_vSecondMarks, m_vSecondRects);
}

void LxCCBCalibBody::AssessCornerQual(const CCTImage& image, LxCRectCornerCalibMark& corner,
                                      const LxCCBCalibThres& thres)
{
    const LxCRectCornerCalibMark::EType type = corner.GetType();
    const bool atHorStart =
        type == LxCRectCornerCalibMark::eUpperLeft || type == LxCRectCornerCalibMark::eLowerLeft;
    const bool atVerStart =
        type == LxCRectCornerCalibMark::eUpperLeft || type == LxCRectCornerCalibMark::eUpperRight;
    SSharpness hor;
    SSharpness ver;
    if (!MeasureEdge(image, corner.GetHorEdge(), atHorStart, thres, hor) ||
        !MeasureEdge(image, corner.GetVerEdge(), atVerStart, thres, ver)) {
        corner.SetQuality(c_dWorstQuality);
        return;
    }
    const int contrast = (hor.contrast + ver.contrast) / 2;
    const int overSat = (hor.overSat + ver.overSat) / 2;
    corner.SetQuality((c_dFullScale - contrast) / c_dFullScale + overSat / c_dOversatWeight);
}

ECalibError LxCCBCalibBody::AssessMarkQual(const CCTImage* image)
{
    const LxCCBCalibThres* const thres = GetCBThres();
    if (thres == nullptr) {
        s_Logger.Error(L"LxCCBCalibBody::AssessMarkQual: m_pThres is no instance of LxCCBCalibThres\n");
        return eCalibWrongThresholds;
    }
    if (image == nullptr) {
        return eCalibNotDone;
    }
    for (LxCCalibMark* mark : m_vMarks) {
        if (auto* const corner = dynamic_cast<LxCRectCornerCalibMark*>(mark); corner != nullptr) {
            AssessCornerQual(*image, *corner, *thres);
        }
    }
    return eCalibOk;
}

} // namespace LxCV

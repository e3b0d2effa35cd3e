// Location of the corners of a checkerboard target.
#include "calibedgedrawing.h"
#include "calibedgeimages.h"
#include "cctimage.h"
#include "edgecrossings.h"
#include "floattointeger.h"
#include "lxccalibdata.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccolorvalueargb8.h"
#include "lxclxcvlibsettings.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCBCalibBody");

constexpr int c_iFractionBits = 6;
constexpr int c_iEdgeBorder = 1;      // pixels without extrema, at each side of the image
constexpr int c_iTraceMethod = 1;     // looks two pixels to either side, and bridges no gap
constexpr int c_iWideDrawing = 6;     // pixels beyond the ends of an edge; entries at corners were deleted
constexpr int c_iNarrowDrawing = 1;   // pixels
constexpr int c_iCandidateMargin = 3; // pixels
constexpr int c_iCornerTick = 10;     // pixels
constexpr int c_iCandidateTick = 1;   // pixels

using Corner = LxCRectCornerCalibMark;
using Corners = std::vector<std::unique_ptr<Corner>>;

bool IsOfType(const CCTImage& image, CCTImage::EImageDataType type, const CCTImage& sizeOf)
{
    return image.IsValid() && image.GetDataType() == type && image.DoDimMatchWith(sizeOf);
}

/// Whether a mask in use has a pixel that is not 0 there.
bool IsMasked(const LxCCalibData& data, int x, int y)
{
    const CCTImage& mask = data.GetImage(LxCCalibData::eCamMask);
    std::array<std::byte, 16> pixel{}; // the largest pixel takes 12 bytes
    if (!data.IsCamMaskInUse() || static_cast<std::size_t>(mask.GetBytesPerPixel()) > pixel.size()) {
        return false;
    }
    return mask.GetPixel(x, y, pixel.data()) == CCTImage::eRC_OK &&
           std::any_of(pixel.begin(), pixel.end(), [](std::byte b) { return b != std::byte{0}; });
}

/// Looks for corners in the id images, and keeps them sorted by polarity.
class CCornerScan
{
public:
    CCornerScan(LxCCalibData& data, const LxCRectEdgeLocator& edges, const LxCCBCalibThres& thres, bool debug)
        : m_Data(data), m_Edges(edges), m_Thres(thres),
          m_pDebugImage(debug ? &data.GetImage(LxCCalibData::eCamDebugImage) : nullptr),
          m_pCorner(std::make_unique<Corner>(false))
    {}

    /// Corners that nobody took leave their edges.
    ~CCornerScan()
    {
        for (const Corners* corners : {&m_vFirst, &m_vSecond}) {
            for (const std::unique_ptr<Corner>& corner : *corners) {
                corner->ResetCorner();
            }
        }
        if (m_pCorner != nullptr) {
            m_pCorner->ResetCorner();
        }
    }
    CCornerScan(const CCornerScan&) = delete;
    CCornerScan& operator=(const CCornerScan&) = delete;

    /// Visits the pixels that lie on a vertical and on a horizontal edge, row by row.
    void Run()
    {
        ForEachCrossing(m_Edges, m_Data.GetImage(LxCCalibData::eCamHorIds),
                        m_Data.GetImage(LxCCalibData::eCamVerIds), c_iCandidateMargin, c_iCandidateMargin,
                        [this](LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge, int x, int y) {
                            if (!IsMasked(m_Data, x, y)) {
                                Try(horEdge, verEdge, x, y);
                            }
                        });
    }

    /// The corners of a polarity, handed over. Without a split by polarity all of them are of the first one.
    Corners TakeCorners(LxCCBCalibBody::EPolarity polarity)
    {
        return std::move(polarity == LxCCBCalibBody::eP_First ? m_vFirst : m_vSecond);
    }

    std::size_t Count(LxCCBCalibBody::EPolarity polarity) const
    {
        return polarity == LxCCBCalibBody::eP_First ? m_vFirst.size() : m_vSecond.size();
    }

private:
    void Try(LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge, int x, int y)
    {
        if (!m_pCorner->DetPosByIntersec(horEdge, verEdge, x, y, m_Thres)) {
            Reject(x, y);
            return;
        }
        const LxCCBCalibBody::EPolarity polarity = m_Thres.m_eTypeOfCB == LxCCBCalibThres::eCBT_NoPolarity
                                                       ? LxCCBCalibBody::eP_First
                                                       : LxCCBCalibBody::DetPolarity(*m_pCorner);
        if (polarity == LxCCBCalibBody::eP_First || polarity == LxCCBCalibBody::eP_Second) {
            Accept(polarity, x, y);
        } else {
            Reject(x, y);
        }
    }

    /// The corner in hand leaves its edges, and serves the next candidate.
    void Reject(int x, int y)
    {
        m_pCorner->ResetCorner();
        if (m_pDebugImage != nullptr) {
            m_pDebugImage->DrawTick(x, y, c_iCandidateTick, LxCColorValueARGB8::eYellow);
        }
    }

    void Accept(LxCCBCalibBody::EPolarity polarity, int x, int y)
    {
        const bool isFirst = polarity == LxCCBCalibBody::eP_First;
        if (m_pDebugImage != nullptr) {
            constexpr unsigned long c_uiPlace = 255;
            m_pDebugImage->DrawTick(x, y, c_iCornerTick,
                                    isFirst ? LxCColorValueARGB8::eGreen : LxCColorValueARGB8::eRed);
            m_pDebugImage->SetPixel(TruncateTo<int>(m_pCorner->GetXImg()),
                                    TruncateTo<int>(m_pCorner->GetYImg()), c_uiPlace);
        }
        auto next = std::make_unique<Corner>(false);
        (isFirst ? m_vFirst : m_vSecond).push_back(std::move(m_pCorner));
        m_pCorner = std::move(next);
    }

    LxCCalibData& m_Data;
    const LxCRectEdgeLocator& m_Edges;
    const LxCCBCalibThres& m_Thres;
    CCTImage* m_pDebugImage;
    std::unique_ptr<Corner> m_pCorner; ///< in hand, never null
    Corners m_vFirst;
    Corners m_vSecond;
};

/// Gives the corners to a list that owns its marks.
void HandOver(Corners corners, std::vector<LxCCalibMark*>& marks)
{
    marks.reserve(marks.size() + corners.size());
    for (std::unique_ptr<Corner>& corner : corners) {
        marks.push_back(corner.release());
    }
}

/// Which polarity the marks of the target have; none for a type that tells of none.
LxCCBCalibBody::EPolarity PolarityOfMarks(const CCornerScan& scan, LxCCBCalibThres::ECheckerBoardType type)
{
    switch (type) {
    case LxCCBCalibThres::eCBT_FirstPolarity:
    case LxCCBCalibThres::eCBT_NoPolarity:
        return LxCCBCalibBody::eP_First;
    case LxCCBCalibThres::eCBT_SecondPolarity:
        return LxCCBCalibBody::eP_Second;
    case LxCCBCalibThres::eCBT_MoreCorners:
        return scan.Count(LxCCBCalibBody::eP_Second) > scan.Count(LxCCBCalibBody::eP_First)
                   ? LxCCBCalibBody::eP_Second
                   : LxCCBCalibBody::eP_First;
    }
    return LxCCBCalibBody::eP_NoCorner;
}

/// The gradient sum in all rows but the first and the last one, which become 0; nothing but 0 where it cannot be.
void MakeVerticalGradient(const CCTImage& image, CCTImage& gradient)
{
    if (!ComputeSobelSumVer(image, gradient, nullptr)) {
        gradient.Clear();
        return;
    }
    for (const int y : {0, gradient.GetHeight() - 1}) {
        std::fill_n(&gradient.GetFloatPixelFast(0, y), gradient.GetWidth(), 0.0F);
    }
}

} // namespace

LxCCBCalibBody::EPolarity LxCCBCalibBody::DetPolarity(const LxCRectCornerCalibMark& mark)
{
    // A first-polarity square runs from bright to dark at its upper and left edges, and back at the others.
    struct SPolarities
    {
        bool horIsMax;
        bool verIsMax;
    };
    constexpr std::array<SPolarities, 4> c_aFirst{
        {{true, true}, {true, false}, {false, true}, {false, false}}};
    const auto type = static_cast<std::size_t>(mark.GetType());
    if (type < Corner::eUpperLeft || type > Corner::eLowerRight || mark.GetHorEdge() == nullptr ||
        mark.GetVerEdge() == nullptr) {
        return eP_NoCorner;
    }
    const SPolarities& first = c_aFirst[type - 1];
    const bool horIsFirst = mark.GetHorEdge()->GetTypeIsLocalMax() == first.horIsMax;
    const bool verIsFirst = mark.GetVerEdge()->GetTypeIsLocalMax() == first.verIsMax;
    return horIsFirst != verIsFirst ? eP_Contradiction : horIsFirst ? eP_First : eP_Second;
}

ECalibError LxCCBCalibBody::LocateCalibMarks(LxCCalibData& data, bool debug)
{
    Reset();
    const LxCCBCalibThres* const thres = GetCBThres();
    const CCTImage& input = data.GetImage(LxCCalibData::eCamImage);
    if (input.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        s_Logger.Error(L"LocateCalibMarks: unsupported input image type\n");
        return eCalibImageUnsuitable;
    }
    if (thres == nullptr) {
        s_Logger.Error(L"LxCCBCalibBody::LocateCalibMarks: m_pThres is no instance of LxCCBCalibThres\n");
        return eCalibWrongThresholds;
    }
    try {
        const ECalibError error = FindCorners(data, *thres, debug);
        if (error != eCalibOk) {
            Reset();
            return error;
        }
    } catch (const std::bad_alloc&) {
        Reset();
        return eCalibNoMemory;
    }
    const CCTImage& smoothed = data.GetImage(LxCCalibData::eCamImageSmoothed);
    FilterOutMarksInImgMargin(smoothed.GetWidth(), smoothed.GetHeight());
    return eCalibOk;
}

ECalibError LxCCBCalibBody::FindCorners(LxCCalibData& data, const LxCCBCalibThres& thres, bool debug)
{
    if (!PrepareImages(data, thres, debug)) {
        return eCalibNoMemory;
    }
    Reset();
    const bool check = thres.m_bUseEdgeDirCheck;
    CreateEdgeImgs(data, c_iFractionBits, check, check);
    const int drawWidth = check ? c_iWideDrawing : c_iNarrowDrawing;
    CCTImage& horIds = data.GetImage(LxCCalibData::eCamHorIds);
    CCTImage& verIds = data.GetImage(LxCCalibData::eCamVerIds);
    ECalibError error = TraceRectEdgesHor(data.GetImage(LxCCalibData::eCamHorEdges), horIds, drawWidth,
                                          c_iTraceMethod, thres.m_iMinEdgeLen, thres.m_iMaxEdgeLen);
    if (error == eCalibOk) {
        error = TraceRectEdgesVer(data.GetImage(LxCCalibData::eCamVerEdges), verIds, drawWidth,
                                  c_iTraceMethod, thres.m_iMinEdgeLen, thres.m_iMaxEdgeLen);
    }
    const CCTImage& smoothed = data.GetImage(LxCCalibData::eCamImageSmoothed);
    if (error != eCalibOk || !IsOfType(horIds, CCTImage::eIDT_INT32, smoothed) ||
        !IsOfType(verIds, CCTImage::eIDT_INT32, smoothed)) {
        return error;
    }
    CCornerScan scan(data, *this, thres, debug);
    scan.Run();
    const EPolarity polarity = PolarityOfMarks(scan, thres.m_eTypeOfCB);
    if (polarity != eP_NoCorner) {
        HandOver(scan.TakeCorners(polarity), m_vMarks);
        HandOver(scan.TakeCorners(polarity == eP_First ? eP_Second : eP_First), m_vSecondMarks);
    }
    return eCalibOk;
}

bool LxCCBCalibBody::PrepareImages(LxCCalibData& data, const LxCCBCalibThres& thres, bool debug)
{
    const CCTImage& input = data.GetImage(LxCCalibData::eCamImage);
    CCTImage& smoothed = data.GetImage(LxCCalibData::eCamImageSmoothed);
    const int width = smoothed.GetWidth();
    const int height = smoothed.GetHeight();
    if (m_pIntrinsicParams != nullptr) {
        m_pIntrinsicParams->SetPrincipalPoint(width / 2, height / 2);
    }
    CCTImage::EReturnCode result = CCTImage::eRC_SizeMismatch;
    if (smoothed.GetDataType() == CCTImage::eIDT_FLOAT32_3 && smoothed.DoDimMatchWith(input)) {
        result = input.Smooth(&smoothed, thres.m_eSmoothingMode, thres.m_iKernelSizeX, thres.m_iKernelSizeY);
    }
    if (result != CCTImage::eRC_OK) {
        // What an earlier view left there is no image of this one.
        smoothed.Clear();
    }
    if (debug && result != CCTImage::eRC_OutOfMemory) {
        CCTImage& picture = data.GetImage(LxCCalibData::eCamDebugImage);
        result = input.ConvertToARGB8(&picture, !IsOfType(picture, CCTImage::eIDT_ARGB8, input));
    }
    return result != CCTImage::eRC_OutOfMemory;
}

void LxCCBCalibBody::CreateEdgeImgs(LxCCalibData& data, int range, bool checkHor, bool checkVer)
{
    CCTImage& gradientVer = data.GetImage(LxCCalibData::eCamGradientVer);
    CCTImage& gradientHor = data.GetImage(LxCCalibData::eCamGradientHor);
    CCTImage& horEdges = data.GetImage(LxCCalibData::eCamHorEdges);
    CCTImage& verEdges = data.GetImage(LxCCalibData::eCamVerEdges);
    horEdges.Clear();
    verEdges.Clear();
    const LxCCBCalibThres* const thres = GetCBThres();
    const CCTImage& image = data.GetImage(LxCCalibData::eCamImageSmoothed);
    if (thres == nullptr || image.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        gradientVer.Clear();
        gradientHor.Clear();
        if (thres == nullptr) {
            s_Logger.Error(L"LxCCBCalibBody::CreateEdgeImgs: m_pThres is no instance of LxCCBCalibThres\n");
        }
        return;
    }
    SExtremumThresholds thresholds{
        {LxCRoi(&image)}, {thres->m_iMinLocExtAmount}, {thres->m_iMinTotalExtAmount}};
    MakeVerticalGradient(image, gradientVer);
    if (thres->m_bUseAutoThresholds) {
        DecideForBestSettings(gradientVer, thresholds);
    }
    if (LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
        DrawThresholdRegions(data.GetImage(LxCCalibData::eCamDebugImage), thresholds);
    }
    NonLocExtSuppVer(gradientVer, horEdges, thresholds, c_iEdgeBorder, range);
    if (checkHor) {
        CheckGradientOfHorEdges(image, horEdges);
    }
    if (!ComputeSobelSumHor(image, gradientHor, nullptr)) {
        gradientHor.Clear();
    }
    NonLocExtSuppHor(gradientHor, verEdges, thresholds, c_iEdgeBorder, range);
    if (checkVer) {
        CheckGradientOfVerEdges(image, verEdges);
    }
}

} // namespace LxCV

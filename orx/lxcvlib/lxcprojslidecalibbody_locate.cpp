// Location of the marks on the projector's slide.
#include "c2dstraightline.h"
#include "calibedgedrawing.h"
#include "calibedgeimages.h"
#include "cctimage.h"
#include "curvefamily.h"
#include "edgecrossings.h"
#include "floattointeger.h"
#include "lxccalibdata.h"
#include "lxccalibid.h"
#include "lxccclalgodata.h"
#include "lxccolorvalueargb8.h"
#include "lxcimagedata.h"
#include "lxclxcvlibsettings.h"
#include "lxcprojslidecalibbody.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCProjSlideCalibBody");

constexpr int c_iFractionBits = 6;
constexpr int c_iEdgeBorder = 1; // pixels without extrema, at each side of the image
constexpr int c_iVerDrawing = 3; // pixels beyond the ends of a vertical edge
constexpr int c_iVerMethod = 0;  // looks one pixel to either side, and bridges no gap
constexpr int c_iHorDrawing = 2; // pixels beyond the ends of a stripe edge
constexpr int c_iMinStripeEntries = 20;
constexpr int c_iMarginX = 10;          // pixels; no corners nearer to the left and right border
constexpr int c_iMarginY = 5;           // pixels; nor to the upper and lower one
constexpr int c_iInside = 5;            // pixels from a mark's side to a place inside it
constexpr float c_fMaxDarkness = 120;   // grey levels; the inside of a dark mark is no brighter
constexpr int c_iCornerTick = 3;        // pixels
constexpr int c_iMaxScore = 30;         // edges with this score are no pair
constexpr double c_dMarkWidth = 10.0;   // pixels; what marks are expected to be
constexpr double c_dWidthRatio = 1.5;   // of a mark's width to its height, twice the expected one
constexpr double c_dFreeRatio = 0.5;    // difference from it that costs nothing
constexpr double c_dShapeWeight = 20.0; // pixels that a difference of 1 in ratio, or slope, costs

// Thresholds of the sixths of an image.
constexpr int c_iRegionColumns = 3;
constexpr int c_iRegionRows = 2;
constexpr SRankRule c_SixthRule{200, 600, 0.2};

bool IsKnown(LxCCProjSlideCalibThres::EMarkerTyp type)
{
    return type == LxCCProjSlideCalibThres::eMT_BlackInWhite ||
           type == LxCCProjSlideCalibThres::eMT_WhiteInBlack;
}

/// A vertical edge as one of the two sides of a mark.
struct SSide
{
    explicit SSide(const LxCCBRectEdge& edge)
        : first(edge.First()), last(edge.Last()), length(edge.GetLen()), isMax(edge.GetTypeIsLocalMax())
    {
        C2DStraightLine line;
        double residual = 0.0;
        hasLine = edge.FitToStrLine(&line, length, 0, true, residual, true);
        if (hasLine) {
            line.Invert(); // x as a function of y
            x = (line.f(first) + line.f(last)) / 2.0;
            slope = line.GetSlope();
        }
    }

    int first;
    int last;
    int length;
    bool isMax;
    bool hasLine = false;
    double x = 0.0;
    double slope = 0.0;
};

/// Whether a left and a right side have the polarities of a mark.
bool IsMark(const SSide& left, const SSide& right, LxCCProjSlideCalibThres::EMarkerTyp type)
{
    // Bright turns dark at the left side of a dark mark.
    const bool leftIsMax = type == LxCCProjSlideCalibThres::eMT_BlackInWhite;
    return left.isMax == leftIsMax && right.isMax != leftIsMax;
}

int ScoreOfPair(const SSide& a, const SSide& b, LxCCProjSlideCalibThres::EMarkerTyp type)
{
    if (!a.hasLine || !b.hasLine || (a.x > b.x && !IsMark(b, a, type)) ||
        (b.x > a.x && !IsMark(a, b, type))) {
        return LxCProjSlideCalibBody::sc_iNoPair;
    }
    const double distance = std::abs(a.x - b.x);
    const double lengths = static_cast<double>(a.length) + b.length;
    const double ratioError = std::abs(2.0 * distance / lengths - c_dWidthRatio);
    const double score =
        std::abs(static_cast<double>(a.last) - b.last) + std::abs(static_cast<double>(a.first) - b.first) +
        std::abs(distance - c_dMarkWidth) + c_dShapeWeight * (ratioError < c_dFreeRatio ? 0.0 : ratioError) +
        c_dShapeWeight * std::abs(a.slope - b.slope);
    return TruncateTo<int>(score);
}

/// Of each side 1 + the index of the one that it fits best, 0 without one.
std::vector<std::uint32_t> FindPartners(const std::vector<SSide>& sides,
                                        LxCCProjSlideCalibThres::EMarkerTyp type)
{
    std::vector<std::uint32_t> partners(sides.size());
    for (std::size_t i = 0; i < sides.size(); ++i) {
        int best = c_iMaxScore;
        for (std::size_t k = 0; k < sides.size(); ++k) {
            // The starts alone decide about most of them.
            if (k == i || std::abs(sides[i].first - sides[k].first) >= best) {
                continue;
            }
            const int score = ScoreOfPair(sides[i], sides[k], type);
            if (score < best) {
                best = score;
                partners[i] = static_cast<std::uint32_t>(k + 1);
            }
        }
    }
    return partners;
}

/// Whether two images have words of one size.
bool AreWordImages(const CCTImage& a, const CCTImage& b)
{
    return a.IsValid() && a.GetDataType() == CCTImage::eIDT_INT32 && b.DoTypeAndDimMatchWith(a) &&
           b.IsValid();
}

/// A place between the sides of a mark, beside the middle of one of its sides.
/// @return false for an edge without entries
bool FindInside(const LxCCBRectEdge& side, bool isLeft, int& x, int& y)
{
    if (side.GetLen() == 0) {
        return false;
    }
    y = (side.First() + side.Last() + 1) / 2;
    const LxCDataBufferEntry entry = side.GetElementAtSubsection(y);
    x = static_cast<int>(entry.GetWord() >> LxCSubpixel::m_sciNrSubpixBits) +
        (isLeft ? c_iInside : -c_iInside);
    return !entry.IsContorGap();
}

/// Whether all channels of a pixel are dark; not for one outside the image.
bool IsDark(const CCTImage& image, int x, int y)
{
    if (image.GetDataType() != CCTImage::eIDT_FLOAT32_3 || !image.IsValid() || !image.CoordsAreValid(x, y)) {
        return false;
    }
    const LxCFloat3& pixel = image.GetFloat3Fast(x, y);
    return std::max({pixel.get(0), pixel.get(1), pixel.get(2)}) <= c_fMaxDarkness;
}

} // namespace

ECalibError LxCProjSlideCalibBody::LocateCalibMarks2(LxCCCLAlgoData& algo, LxCCalibData& data, bool debug)
{
    const CCTImage& input = data.GetImage(LxCCalibData::eProjImage);
    if (input.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        return eCalibImageUnsuitable;
    }
    Reset();
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return eCalibWrongThresholds;
    }
    if (!IsKnown(thres->m_eMarkerTyp)) {
        s_Logger.Error(L"LocateCalibMarks2 only works with marker type eMT_BlackInWhite or eMT_WhiteInBlack");
        return eCalibNotDone;
    }
    CCurveFamily stripeEdges;
    try {
        const ECalibError error = FindCorners(algo, data, *thres, debug, stripeEdges);
        if (error != eCalibOk) {
            Reset();
            return error;
        }
    } catch (const std::bad_alloc&) {
        Reset();
        return eCalibNoMemory;
    }
    const CCTImage& smoothed = data.GetImage(LxCCalibData::eProjImageSmoothed);
    FilterOutMarksInImgMargin(smoothed.GetWidth(), smoothed.GetHeight());
    const bool areStraight = stripeEdges.GetCount() > 0 && !stripeEdges.IsBent(thres->m_dMaxPolyFitQuad) &&
                             !stripeEdges.IsSpread(thres->m_dMaxDiffFitLinear);
    return areStraight ? eCalibOk : eCalibHorizontalFitPoor;
}

ECalibError LxCProjSlideCalibBody::FindCorners(LxCCCLAlgoData& algo, LxCCalibData& data,
                                               const LxCCProjSlideCalibThres& thres, bool debug,
                                               CCurveFamily& stripeEdges)
{
    const CCTImage& input = data.GetImage(LxCCalibData::eProjImage);
    CCTImage& smoothed = data.GetImage(LxCCalibData::eProjImageSmoothed);
    if (m_pIntrinsicParams != nullptr) {
        m_pIntrinsicParams->SetPrincipalPoint(smoothed.GetWidth() / 2, smoothed.GetHeight() / 2);
    }
    if (!smoothed.DoTypeAndDimMatchWith(input) ||
        input.Smooth(&smoothed, thres.m_eSmoothingMode, thres.m_iKernelSizeX, thres.m_iKernelSizeY) !=
            CCTImage::eRC_OK) {
        // What an earlier view left there is no image of this one.
        smoothed.Clear();
    }
    if (debug) {
        input.ConvertToARGB8(&data.GetImage(LxCCalibData::eProjDebugImage), true);
    }
    Reset();
    CreateEdgeImgs(algo, data, c_iFractionBits, false);
    if (const ECalibError error = TraceEdges(data, smoothed.GetWidth() / 2); error != eCalibOk) {
        return error;
    }
    FitStripeEdges(data, debug, stripeEdges);
    FindCornersOnEdges(data, thres, debug);
    return eCalibOk;
}

/// Traces the sides of marks, of which pairs remain, and the stripe edges.
ECalibError LxCProjSlideCalibBody::TraceEdges(LxCCalibData& data, int minStripeLen)
{
    constexpr int c_iAnyLength = std::numeric_limits<int>::max();
    CCTImage& verEdges = data.GetImage(LxCCalibData::eProjVerEdges);
    if (data.IsProjMaskInUse()) {
        verEdges.ApplyMask(&data.GetImage(LxCCalibData::eProjMask), true);
    }
    CCTImage& verIds = data.GetImage(LxCCalibData::eProjVerIds);
    const ECalibError error =
        TraceRectEdgesVer(verEdges, verIds, c_iVerDrawing, c_iVerMethod, 0, c_iAnyLength);
    if (error != eCalibOk) {
        return error;
    }
    EnforceVerEdgeConsistency(verIds);
    return TraceRectEdgesHor(data.GetImage(LxCCalibData::eProjHorEdges),
                             data.GetImage(LxCCalibData::eProjHorIds), c_iHorDrawing,
                             CStraightEdge::sc_iBridgeGaps, minStripeLen, c_iAnyLength);
}

/// Replaces the stripe edges by parabolas, in their entries and in the id image.
void LxCProjSlideCalibBody::FitStripeEdges(LxCCalibData& data, bool debug, CCurveFamily& stripeEdges)
{
    CCTImage& ids = data.GetImage(LxCCalibData::eProjHorIds);
    ids.Clear();
    int id = 0;
    for (const auto& edge : GetHorEdges()) {
        ++id;
        Parabola parabola{};
        if (edge->CountEntries() < c_iMinStripeEntries ||
            !edge->FitToPoly(parabola, edge->GetLen(), 0, true)) {
            continue;
        }
        stripeEdges.Add(parabola);
        if (debug) {
            data.GetImage(LxCCalibData::eProjDebugImage)
                .DrawPolynomial(parabola, true, edge->First(), edge->Last(), LxCColorValueARGB8::eYellow);
        }
        edge->ReplaceByPolynomial(parabola);
        edge->Draw(ids, LxCCalibId().Encode(id), c_iHorDrawing, true);
    }
}

/// Visits the pixels that lie on a vertical edge and on a stripe edge, row by row.
void LxCProjSlideCalibBody::FindCornersOnEdges(LxCCalibData& data, const LxCCProjSlideCalibThres& thres,
                                               bool debug)
{
    const CCTImage& verIds = data.GetImage(LxCCalibData::eProjVerIds);
    const CCTImage& horIds = data.GetImage(LxCCalibData::eProjHorIds);
    if (!AreWordImages(verIds, horIds)) {
        return;
    }
    const CCTImage& image = data.GetImage(LxCCalibData::eProjImageSmoothed);
    ForEachCrossing(*this, horIds, verIds, c_iMarginX, c_iMarginY,
                    [&](LxCCBRectEdge* horEdge, LxCCBRectEdge* verEdge, int x, int y) {
                        if (horEdge != nullptr && verEdge != nullptr &&
                            TryCorner(x, y, *horEdge, *verEdge, image, thres) && debug) {
                            data.GetImage(LxCCalibData::eProjDebugImage)
                                .DrawTick(x, y, c_iCornerTick, LxCColorValueARGB8::eGreen);
                        }
                    });
}

/// Adds a corner where two edges meet, unless the vertical one has it already, or no mark lies beside that.
bool LxCProjSlideCalibBody::TryCorner(int x, int y, LxCCBRectEdge& hor, LxCCBRectEdge& ver,
                                      const CCTImage& image, const LxCCProjSlideCalibThres& thres)
{
    const bool isDarkMark = thres.m_eMarkerTyp == LxCCProjSlideCalibThres::eMT_BlackInWhite;
    const bool isLeft = ver.GetTypeIsLocalMax() == isDarkMark;
    const bool isUpper = !hor.GetTypeIsLocalMax();
    int insideX = 0;
    int insideY = 0;
    if (ver.GetCorner(isUpper) != nullptr || !FindInside(ver, isLeft, insideX, insideY) ||
        (isDarkMark && !IsDark(image, insideX, insideY))) {
        return false;
    }
    auto mark = std::make_unique<LxCRectCornerCalibMark>(x, y, &hor, &ver, isLeft, isUpper);
    m_vMarks.push_back(mark.get());
    ver.SetCorner(isUpper, mark.release());
    return true;
}

int LxCProjSlideCalibBody::CompareVerEdges(const LxCCBRectEdge& a, const LxCCBRectEdge& b) const
{
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return 1;
    }
    if (!IsKnown(thres->m_eMarkerTyp)) {
        s_Logger.Error(L"CompareVerEdges only works with marker type eMT_BlackInWhite or eMT_WhiteInBlack");
        return 1;
    }
    return ScoreOfPair(SSide(a), SSide(b), thres->m_eMarkerTyp);
}

void LxCProjSlideCalibBody::EnforceVerEdgeConsistency(CCTImage& idImage)
{
    const Edges& edges = GetVerEdges();
    m_vuiVerEdgePartners.assign(edges.size(), 0);
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (edges.empty()) {
        return;
    }
    if (thres == nullptr || !IsKnown(thres->m_eMarkerTyp)) {
        CompareVerEdges(*edges.front(), *edges.front()); // for its line in the log
        return;
    }
    std::vector<SSide> sides;
    sides.reserve(edges.size());
    for (const auto& edge : edges) {
        sides.emplace_back(*edge);
    }
    const std::vector<std::uint32_t> partners = FindPartners(sides, thres->m_eMarkerTyp);
    for (std::size_t i = 0; i < partners.size(); ++i) {
        const bool isMutual = partners[i] != 0 && partners[partners[i] - 1] == i + 1;
        m_vuiVerEdgePartners[i] = isMutual ? partners[i] : 0;
    }
    if (!idImage.IsValid() || idImage.GetDataType() != CCTImage::eIDT_INT32) {
        return;
    }
    auto* const words = static_cast<std::int32_t*>(idImage.GetBuffer());
    for (std::int32_t& word : std::span(words, static_cast<std::size_t>(idImage.GetSizeInPixels()))) {
        const auto id = static_cast<std::size_t>(LxCCalibId(word).GetId());
        if (id >= 1 && id <= edges.size() && m_vuiVerEdgePartners[id - 1] == 0) {
            word = 0;
        }
    }
}

void LxCProjSlideCalibBody::CreateEdgeImgs(LxCCCLAlgoData& algo, LxCCalibData& data, int range, bool check)
{
    CCTImage& gradient = data.GetImage(LxCCalibData::eProjGradient);
    CCTImage& edges = data.GetImage(LxCCalibData::eProjVerEdges);
    gradient.Clear();
    edges.Clear();
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return;
    }
    const CCTImage& image = data.GetImage(LxCCalibData::eProjImageSmoothed);
    if (image.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        return;
    }
    SExtremumThresholds thresholds{
        {LxCRoi(&image)}, {thres->m_iMinLocExtAmount}, {thres->m_iMinTotalExtAmount}};
    const auto measurement = algo.GetImageData();
    const CCTImage* const pattern = measurement == nullptr ? nullptr : measurement->GetPatImg();
    if (thres->m_bUseAutoThresholds && pattern != nullptr) {
        DecideForBestSettings(*pattern, thresholds);
    }
    if (LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
        DrawThresholdRegions(data.GetImage(LxCCalibData::eProjDebugImage), thresholds);
    }
    ComputeSobelSumHor(image, gradient, nullptr);
    NonLocExtSuppHor(gradient, edges, thresholds, c_iEdgeBorder, range);
    if (check) {
        CheckGradientOfVerEdges(image, edges);
    }
}

bool LxCProjSlideCalibBody::DecideForBestSettings(const CCTImage& image, SExtremumThresholds& thresholds)
{
    const int width = (image.GetWidth() + c_iRegionColumns - 1) / c_iRegionColumns;
    const int height = image.GetHeight() / c_iRegionRows;
    std::vector<LxCRoi> regions;
    for (int row = 0; row < c_iRegionRows; ++row) {
        for (int column = 0; column < c_iRegionColumns; ++column) {
            regions.emplace_back(column * width, row * height, width, height);
        }
    }
    if (image.GetDataType() != CCTImage::eIDT_FLOAT32_3 ||
        !ThresholdsOfRegions(image, regions, c_SixthRule, thresholds.minLocal, thresholds.minTotal)) {
        return false;
    }
    thresholds.regions = std::move(regions);
    return true;
}

} // namespace LxCV

#include "scanner/calibration/slidelocator.h"

#include "lxccprojslidecalibthres.h"
#include "lxcimagedata.h"
#include "lxclightstripeedgesinglepixel.h"
#include "lxcpinholeframework.h"
#include "lxcprojslidecalibbody.h"
#include "scanner/calibration/exportedrecords.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace calibration {

using LxCV::CCTImage;
using LxCV::ECalibError;
using LxCV::LxCCalibData;

namespace {

/// How far the slopes of two rows of marks may differ. Where the axes of camera and projector converge, so do the rows:
/// by the tangent of that angle times the rows' distance over the camera's focal length, both in pixels. Twelve degrees,
/// 330 and 1280 pixels make 0.055; the rest is the lenses' and the plane's.
constexpr double c_maxSpreadOfRows = 0.1;

std::string ToProblem(ECalibError error)
{
    switch (error) {
    case LxCV::eCalibOk:
        return "";
    case LxCV::eCalibHorizontalFitPoor:
        return "the stripes with marks are not visible over half the image's width, bent, or not parallel";
    case LxCV::eCalibTooFewVerticalFits:
        return "fewer than four sides of rows of marks were found";
    case LxCV::eCalibVerticalFitPoor:
        return "the rows of marks are bent or not parallel";
    case LxCV::eCalibImageUnsuitable:
        return "the image's pixels are of a type that is not supported";
    case LxCV::eCalibNoMemory:
        return "the memory does not suffice";
    default:
        return "calibration error " + std::to_string(static_cast<int>(error));
    }
}

/// Whether an error leaves marks behind that have names.
bool HasNames(ECalibError error)
{
    return error == LxCV::eCalibOk || error == LxCV::eCalibTooFewVerticalFits ||
           error == LxCV::eCalibVerticalFitPoor;
}

void RequireType(const CCTImage& image)
{
    if (!image.IsValid() || image.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        throw std::invalid_argument("marks of a slide are looked for in colour images of grey levels");
    }
}

} // namespace

/// A slide that tells which stripes bear marks.
class SlideLocator::Target : public LxCV::LxCProjSlideCalibBody
{
public:
    explicit Target(MarkedSlide slide)
    {
        SetCoordFile(slide == MarkedSlide::eDarkMarks ? sc_StandardParammsDiaA2 : sc_StandardParammsDiaC);
        if (LoadDataFile() != LxCV::eCalibOk) {
            throw std::bad_alloc(); // the data are built in
        }
        Thresholds().m_dMaxDiffFitLinear = c_maxSpreadOfRows;
    }

    LxCV::LxCCProjSlideCalibThres& Thresholds() { return *GetSlideThres(); }

    /// Whether a stripe edge is the upper or lower side of marks.
    bool BoundsMarks(int edge) const
    {
        return GetSlideThres()->LSHasMarker(edge) || GetSlideThres()->LSHasMarker(edge - 1);
    }
};

SlideLocator::SlideLocator(MarkedSlide slide, LxCV::LxCPinholeFramework& model)
    : m_target(std::make_unique<Target>(slide)), m_model(model), m_decoder(model),
      m_measurement(std::make_shared<LxCV::LxCImageData>())
{
    m_algo.SetImageData(m_measurement);
}

SlideLocator::~SlideLocator() = default;

/// Sizes the working images and takes the pattern image.
void SlideLocator::Prepare(const CCTImage& pattern)
{
    const int width = pattern.GetWidth(), height = pattern.GetHeight();
    CCTImage& input = m_images.GetImage(LxCCalibData::eProjImage);
    if (!m_images.IsInitialized() || !input.DoTypeAndDimMatchWith(pattern)) {
        m_images.Init(width, height);
        if (!m_measurement->Init(width, height, width, height, nullptr, CCTImage::eIDT_FLOAT32_3)) {
            throw std::bad_alloc();
        }
    }
    input.CopyFrom(&pattern, false);
    m_measurement->GetPatImg()->CopyFrom(&pattern, false);
}

/// Only edges that bound stripes with marks: the others lie within the reach of the marks' sides, which end at the
/// edges that they meet.
void SlideLocator::WriteStripeEdges()
{
    CCTImage& words = m_images.GetImage(LxCCalibData::eProjHorEdges);
    words.Clear();
    constexpr double fractions = 1 << LxCV::LxCSubpixel::m_sciNrSubpixBits;
    for (const decoder::EdgePixel& edge : m_decoder.GetEdgePixels()) {
        if (!m_target->BoundsMarks(edge.stripeEdge)) {
            continue;
        }
        const auto row = static_cast<int>(edge.row);
        const auto fraction = static_cast<int>((edge.row - row) * fractions);
        LxCV::LxCLightStripeEdgeSinglePixel word;
        word.EncodeTracedLSEdgeInfo(edge.stripeEdge, fraction);
        words.SetInt32PixelFast(edge.column, row, static_cast<int>(word.GetWord()));
    }
}

ECalibError SlideLocator::Find(StageTimes& times)
{
    ECalibError error = LxCV::eCalibOk;
    times.Run("locate", [&] { error = m_target->LocateCalibMarks2(m_algo, m_images, false); });
    if (error != LxCV::eCalibOk) {
        return error;
    }
    times.Run("identify", [&] {
        error = m_target->IdentifyCalibMarks(&m_images.GetImage(LxCCalibData::eProjHorEdges), m_images,
                                             m_rowSource == RowSource::eModel ? &m_model : nullptr);
    });
    return error;
}

std::vector<SlideMark> SlideLocator::NamedMarks() const
{
    std::vector<SlideMark> marks;
    for (const LxCV::LxCCalibMark* found : m_target->GetCalibMarks()) {
        if (found->GetId() == 0) {
            continue;
        }
        const LxCV::LxC3DCoordsCCT slide = m_target->GetWorldCoords(*found);
        marks.push_back({found->GetId(),
                         {found->GetXImg(), found->GetYImg()},
                         {slide.x, slide.y},
                         found->GetQuality(),
                         found->UseForCalib(),
                         found->IsInvalid()});
    }
    std::stable_sort(marks.begin(), marks.end(),
                     [](const SlideMark& a, const SlideMark& b) { return a.id < b.id; });
    return marks;
}

LocatedSlide SlideLocator::Locate(const CCTImage& reference, const CCTImage& pattern)
{
    RequireType(reference);
    RequireType(pattern);
    LocatedSlide result;
    result.times.Run("decode", [&] {
        m_decoder.ComputeSignal(reference, pattern);
        m_decoder.FindEdges();
        m_decoder.ReadCodeWords();
        m_decoder.TraceEdges();
    });
    Prepare(pattern);
    WriteStripeEdges();
    result.error = Find(result.times);
    result.problem = ToProblem(result.error);
    result.corners = m_target->GetCalibMarks().size();
    if (HasNames(result.error)) {
        result.marks = NamedMarks();
    }
    if (result.error == LxCV::eCalibOk) {
        result.records = ExportRecords(*m_target);
    }
    return result;
}

} // namespace calibration

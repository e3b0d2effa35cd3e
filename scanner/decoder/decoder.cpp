// Runs the steps of the decoding stage.
#include "scanner/decoder/decoder.h"

#include "lxclxcvlibsettings.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "scanner/decoder/recordquality.h"
#include "scanner/decoder/scanrecord.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxC3DCoordsCCT;

namespace {

constexpr double kHalfPixel = 0.5; ///< from the lower border of a pixel to its centre

const LxCV::LxCAlgorithmConfig& ActivePreset(const DecoderConfig& config)
{
    return config.algorithm.GetActiveAlgorithmConfig();
}

int CountEdges(const LxCV::LxCPinholeFramework& model)
{
    return std::max(model.GetCLPattern()->GetNrOfStripeEdges(), 0);
}

} // namespace

Decoder::Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
    : m_model(model), m_config(config), m_unmixing(UnmixingOf(config)), m_shift(m_config.algorithm),
      m_greyScene(config, m_unmixing), m_finder(config), m_reader(model, config), m_tracer(model, config),
      m_culling(m_config.algorithm), m_cleaning(m_config.algorithm),
      m_isReduced(LxCV::LxCLxCVLibSettings::IsReduced(ActivePreset(m_config).m_eReduceData)), m_repair(config)
{}

void Decoder::Init(int width, int height)
{
    if (width < 1 || height < 1) {
        throw std::invalid_argument("there are no images of this size to decode");
    }
    m_signal.Init(width, height);
    if (m_shift.IsWanted()) {
        m_shift.Init(width, height);
    }
    if (m_greyScene.IsWanted()) {
        m_greyScene.Init(width, height);
    }
    FitWords(width, height);
    m_finder.Init(width, height);
    m_columns.Reserve(width, ExpectedEdgePixels(width, height));
    m_reader.Init(height);
    m_tracer.Init(width, height);
    const std::size_t edges = ExpectedEdgePixels(width, height);
    m_edges.resize(edges); // so that their memory is not only reserved
    m_edges.clear();
    if (m_repair.IsWanted()) {
        m_repair.Init(width, height);
    }
    m_order.Init(width, height, edges);
    m_points.resize(edges);
    m_points.clear();
    if (m_config.useTable) {
        m_table.Init(m_model, width, height);
    }
    if (m_cleaning.IsWanted()) {
        m_cleaning.Init(width, height, CountEdges(m_model));
    }
    FitRecord(width, height);
    // Nothing is found in black images, but the library's kernels then have their working memory as well.
    const CCTImage black(width, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
    ComputeSignal(black, black);
    Deliver(black);
}

int Decoder::RecordWidth(int width) const
{
    return m_isReduced ? width / kReduction : width;
}

bool Decoder::DoesRecordFit(int width, int height) const
{
    const LxCV::LxSScanDataCCT& record = m_record;
    const auto fits = [](const CCTImage* image, int columns, int rows) {
        return image != nullptr && image->GetWidth() == columns && image->GetHeight() == rows;
    };
    const int edges = CountEdges(m_model);
    return fits(record.GetFull3DPoints(), width, edges) && fits(record.GetARGBImage(), width, height) &&
           fits(record.Get3DPoints(), RecordWidth(width), edges) &&
           record.GetQualities().empty() == !m_config.withQualities;
}

/// Gives the record the sizes for images of so many pixels, if they are not its own.
void Decoder::FitRecord(int width, int height)
{
    if (DoesRecordFit(width, height)) {
        return;
    }
    LxCV::LxSScanDataCCT& record = m_record;
    const int edges = CountEdges(m_model);
    // The record reduces as the settings tell, which need not be what the preset tells.
    if (!record.Initialize(width, edges, width, height, m_config.withQualities) ||
        (record.Get3DPoints()->GetWidth() != RecordWidth(width) &&
         !record.LxSScanData::Initialize(RecordWidth(width), edges, width, height, m_config.withQualities))) {
        throw std::bad_alloc();
    }
}

/// Gives the edge words a size, if it is not theirs.
void Decoder::FitWords(int width, int height)
{
    if ((m_words.GetWidth() != width || m_words.GetHeight() != height || !m_words.IsValid()) &&
        m_words.Resize(width, height, CCTImage::eIDT_INT32) != LxCV::CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
}

void Decoder::ComputeSignal(const CCTImage& reference, const CCTImage& pattern)
{
    const CCTImage& aligned = m_shift.IsWanted() ? m_shift.Align(reference, pattern) : reference;
    const CCTImage& scene = m_greyScene.IsWanted() ? m_greyScene.Of(aligned) : aligned;
    m_signal.Compute(scene, pattern, m_config, m_unmixing);
}

void Decoder::FindEdges()
{
    m_finder.Find(m_signal, m_columns);
}

void Decoder::ReadCodeWords()
{
    FitWords(m_signal.GetWidth(), m_signal.GetHeight());
    m_reader.Read(m_columns, m_words);
}

void Decoder::TraceEdges()
{
    m_edges.clear();
    m_tracer.Trace(m_words, m_edges);
    if (m_repair.IsWanted()) {
        m_repair.Repair(m_words, m_edges);
    }
    if (m_config.algorithm.GetActiveAlgorithmConfig().m_bOrderingConstraint) {
        m_order.Apply(m_words.GetWidth(), m_edges);
    }
}

LxCV::LxCRoi Decoder::GetRegion() const
{
    return MeasuredRegion(ActivePreset(m_config).m_Roi, m_words.GetWidth(), m_words.GetHeight());
}

LxC3DCoordsCCT Decoder::ComputePoint(const EdgePixel& edge) const
{
    LxC3DCoordsCCT position;
    m_model.ComputeEdgeXYZ(edge.column, edge.row, edge.stripeEdge, true, &position.x, &position.y,
                           &position.z, false);
    return position;
}

void Decoder::Triangulate()
{
    if (m_config.useTable && !m_table.IsFilled()) {
        throw std::logic_error("there is no table of points to look up");
    }
    FindPoints();
    if (m_cleaning.IsWanted()) {
        m_cleaning.Clean(m_words.GetWidth(), m_words.GetHeight(), CountEdges(m_model), m_points);
    }
}

void Decoder::FindPoints()
{
    m_points.clear();
    m_points.reserve(m_edges.size());
    const LxCV::LxCRoi region = GetRegion();
    const int firstColumn = region.GetLeftCol();
    const int endColumn = region.GetEndCol();
    const double topRow = region.GetTopRow();
    const double endRow = region.GetEndRow();
    const double nearest = m_model.GetMinZc();
    const double farthest = m_model.GetMaxZc();
    constexpr std::size_t kAhead = 8;           // edges; until then memory is near
    std::array<PointTable::Cell, kAhead> cells; // of the next edges
    for (std::size_t i = 0; m_config.useTable && i < std::min(kAhead, m_edges.size()); ++i) {
        cells[i] = m_table.Find(m_edges[i]);
    }
    for (std::size_t i = 0; i < m_edges.size(); ++i) {
        const EdgePixel& edge = m_edges[i];
        const PointTable::Cell cell = cells[i % kAhead];
        if (m_config.useTable && i + kAhead < m_edges.size()) {
            cells[i % kAhead] = m_table.Find(m_edges[i + kAhead]);
        }
        const double border = edge.row + kHalfPixel; // as a pixel's row reaches from one border to the next
        if (edge.column < firstColumn || edge.column >= endColumn || !(border >= topRow && border < endRow)) {
            continue;
        }
        LxC3DCoordsCCT position;
        if (!m_config.useTable || !m_table.LookUp(cell, position)) {
            position = ComputePoint(edge);
        }
        // Where there is no point the depth is 0, whatever the model's working range says.
        if (position.z > 0.0 && position.z >= nearest && position.z <= farthest &&
            m_culling.IsKept(position)) {
            m_points.push_back({edge, position});
        }
    }
}

void Decoder::Deliver(const CCTImage& reference)
{
    if (!reference.IsValid() || reference.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        throw std::invalid_argument("colours are delivered from a float colour image");
    }
    FitRecord(m_signal.GetWidth(), m_signal.GetHeight());
    const bool isSmoothed = ActivePreset(m_config).m_bSmoothReducedData;
    FillRecord(m_points, m_shift.Aligned(reference), isSmoothed, m_record);
    if (m_config.withQualities) {
        FillQualities(m_points, m_signal, isSmoothed, m_record);
    }
}

} // namespace decoder

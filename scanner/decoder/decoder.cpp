// Runs the steps of the decoding stage.
#include "scanner/decoder/decoder.h"

#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "lxctriangulationlut.h"
#include "scanner/decoder/scanrecord.h"
#include "scanner/decoder/tablelookup.h"

#include <memory>
#include <new>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxC3DCoordsCCT;

namespace {

constexpr double kHalfPixel = 0.5; ///< from the lower border of a pixel to its centre

int CountEdges(const LxCV::LxCPinholeFramework& model)
{
    return model.GetCLPattern()->GetNrOfStripeEdges();
}

} // namespace

Decoder::Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
    : m_model(model), m_config(config), m_writer(config), m_reader(model, config), m_tracer(model, config),
      m_culling(m_config.algorithm)
{}

void Decoder::Init(int width, int height)
{
    if (width < 1 || height < 1) {
        throw std::invalid_argument("there are no images of this size to decode");
    }
    m_signal.Init(width, height);
    FitWords(width, height);
    m_writer.Init(height);
    m_reader.Init(width, height);
    m_tracer.Init(width, height);
    const std::size_t edges = ExpectedEdgePixels(width, height);
    m_edges.resize(edges); // so that their memory is not only reserved
    m_edges.clear();
    m_points.resize(edges);
    m_points.clear();
    if (m_config.useTable && !m_data.Init(width, height, width, height, width, CountEdges(m_model),
                                          CCTImage::eIDT_BGRU8, &m_model, nullptr)) {
        throw std::runtime_error("the model's points cannot be tabulated");
    }
    FitRecord(width, height);
    // Nothing is found in black images, but the library's kernels then have their working memory as well.
    const CCTImage black(width, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
    ComputeSignal(black, black);
    Deliver(black);
}

/// Gives the record a size, if it is not its own.
void Decoder::FitRecord(int width, int height)
{
    LxCV::LxSScanDataCCT& record = m_data.GetScanData();
    const int edges = CountEdges(m_model);
    const CCTImage* const points = record.GetFull3DPoints();
    if ((points == nullptr || points->GetWidth() != width || points->GetHeight() != edges) &&
        !record.Initialize(width, edges, width, height, false)) {
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
    m_signal.Compute(reference, pattern, m_config);
}

void Decoder::FindEdges()
{
    FitWords(m_signal.GetWidth(), m_signal.GetHeight());
    m_writer.Write(m_signal, m_words);
}

void Decoder::ReadCodeWords()
{
    m_reader.Read(m_words);
}

void Decoder::TraceEdges()
{
    m_edges.clear();
    m_tracer.Trace(m_words, m_edges);
}

LxCV::LxCRoi Decoder::GetRegion() const
{
    return MeasuredRegion(m_config.algorithm.GetActiveAlgorithmConfig().m_Roi, m_words.GetWidth(),
                          m_words.GetHeight());
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
    if (m_config.useTable && m_data.GetTriangulationLUT() == nullptr) {
        throw std::logic_error("there is no table of points to look up");
    }
    m_points.clear();
    m_points.reserve(m_edges.size());
    const std::shared_ptr<const LxCV::LxCTriangulationLUT> table =
        m_config.useTable ? m_data.GetTriangulationLUT() : nullptr;
    const LxCV::LxCRoi region = GetRegion();
    const double nearest = m_model.GetMinZc();
    const double farthest = m_model.GetMaxZc();
    for (const EdgePixel& edge : m_edges) {
        if (!region.Contains(edge.column, edge.row + kHalfPixel)) {
            continue;
        }
        LxC3DCoordsCCT position;
        if (table == nullptr || !LookUpPoint(*table, edge, position)) {
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
    FitRecord(m_signal.GetWidth(), m_signal.GetHeight());
    FillRecord(m_points, reference, m_data.GetScanData());
}

} // namespace decoder

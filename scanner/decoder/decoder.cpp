// Runs the steps of the decoding stage.
#include "scanner/decoder/decoder.h"

#include "lxcpinholeframework.h"

#include <new>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxC3DCoordsCCT;

Decoder::Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
    : m_model(model), m_config(config), m_writer(config), m_reader(model, config), m_tracer(model, config)
{}

void Decoder::Init(int width, int height)
{
    if (width < 1 || height < 1) {
        throw std::invalid_argument("there are no images of this size to decode");
    }
    m_signal.Init(width, height);
    FitWords(width, height);
    m_reader.Init(width, height);
    m_tracer.Init(width, height);
    const std::size_t edges = ExpectedEdgePixels(width, height);
    m_edges.resize(edges); // so that their memory is not only reserved
    m_edges.clear();
    m_points.resize(edges);
    m_points.clear();
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

void Decoder::Triangulate()
{
    m_points.clear();
    m_points.reserve(m_edges.size());
    const double nearest = m_model.GetMinZc();
    const double farthest = m_model.GetMaxZc();
    for (const EdgePixel& edge : m_edges) {
        LxC3DCoordsCCT position;
        m_model.ComputeEdgeXYZ(edge.column, edge.row, edge.stripeEdge, true, &position.x, &position.y,
                               &position.z, false);
        // Depth 0 is the model's answer where there is no point, whatever its working range says.
        if (position.z > 0.0 && position.z >= nearest && position.z <= farthest) {
            m_points.push_back({edge, position});
        }
    }
}

} // namespace decoder

// Runs the steps of the decoding stage.
#include "scanner/decoder/decoder.h"

#include "lxcpinholeframework.h"

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxC3DCoordsCCT;

Decoder::Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
    : m_model(model), m_config(config), m_writer(config), m_reader(model, config), m_tracer(model, config)
{}

void Decoder::ComputeSignal(const CCTImage& reference, const CCTImage& pattern)
{
    m_signal.Compute(reference, pattern, m_config);
}

void Decoder::FindEdges()
{
    m_words.Resize(m_signal.GetWidth(), m_signal.GetHeight(), LxCV::CCTImage::eIDT_INT32);
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

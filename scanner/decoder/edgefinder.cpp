// Clusters channel steps of a column.
#include "scanner/decoder/edgefinder.h"

#include <algorithm>

namespace decoder {

using LxCV::LxCSymbol;

namespace {

/// The symbol of what stands before the first edge of a column: no step is added to it.
constexpr std::uint32_t kAllChannels = 0x3F;

} // namespace

void EdgeFinder::Init(int width, int height)
{
    // Each difference of each channel may be an extremum, of one sign after the other.
    m_room = kChannels * static_cast<std::size_t>(std::max(height, 0)) + 1;
    const int columns = std::clamp(width, 0, StepFinder::kColumns);
    m_edges.resize(std::max(m_edges.size(), m_room * static_cast<std::size_t>(columns)));
}

void EdgeFinder::Find(const StripeSignal& signal, EdgeColumns& columns)
{
    Init(signal.GetWidth(), signal.GetHeight());
    columns.Clear();
    for (int first = 0; first < signal.GetWidth(); first += StepFinder::kColumns) {
        m_finder.Start(signal.Values(), signal.GetWidth(), first, signal.GetNumBlankRows(), m_minGradient);
        m_counts.fill(0);
        for (int column = 0; column < m_finder.GetNumColumns(); ++column) {
            m_edges[static_cast<std::size_t>(column) * m_room].symbol = kAllChannels;
        }
        while (m_finder.Next()) {
            AddSteps(m_finder.GetSteps());
        }
        for (int column = 0; column < m_finder.GetNumColumns(); ++column) {
            columns.BeginColumn();
            for (const Edge& edge : EdgesOf(static_cast<std::size_t>(column))) {
                columns.Add({PositionOf(edge), LxCSymbol(edge.symbol)});
            }
        }
    }
}

/// Adds each step to the lowest edge of its column, or begins a new one.
void EdgeFinder::AddSteps(const StepBatch& steps)
{
    for (std::size_t i = 0; i < steps.GetCount(); ++i) {
        const std::int32_t position = steps.PositionAt(i);
        const float amplitude = steps.AmplitudeAt(i);
        const std::size_t column = steps.ColumnAt(i);
        Edge* const lowest = &m_edges[column * m_room + m_counts[column]];
        if (position - lowest->last > m_channelSpread || (lowest->symbol & steps.ChannelAt(i)) != 0) {
            ++m_counts[column];
            lowest[1] = {position, position, 0.0F, amplitude, steps.SymbolAt(i)};
        } else {
            lowest->last = position;
            lowest->weighted += amplitude * static_cast<float>(position - lowest->first);
            lowest->weight += amplitude;
            lowest->symbol |= steps.SymbolAt(i);
        }
    }
}

std::span<const EdgeFinder::Edge> EdgeFinder::EdgesOf(std::size_t column) const
{
    return std::span(m_edges).subspan(column * m_room + 1, m_counts[column]);
}

/// The mean of the steps' positions, weighted by amplitude, rounded to 1/64 row, halves down the image.
std::int32_t EdgeFinder::PositionOf(const Edge& edge)
{
    return edge.first + static_cast<std::int32_t>(edge.weighted / edge.weight + 0.5F);
}

} // namespace decoder

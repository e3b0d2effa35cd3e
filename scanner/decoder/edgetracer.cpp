// Seeds, votes and drawing of stripe edges.
#include "scanner/decoder/edgetracer.h"

#include "lxcpatternposition.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "scanner/decoder/flags.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCDataBufferEntry;
using LxCV::LxCLightStripeEdge;
using LxCV::LxCLightStripeEdgeSinglePixel;
using LxCV::LxCSymbol;

namespace {

constexpr int kMargin = 2;      ///< columns at either side of an image that edges are not traced into
constexpr int kNoEdge = 0;      ///< no stripe edge has this number
constexpr int kLargestId = 255; ///< what the 8 bits of a traced id hold

} // namespace

LxCLightStripeEdgeSinglePixel* EdgeTracer::Pixels()
{
    return static_cast<LxCLightStripeEdgeSinglePixel*>(m_image.GetImageDataRaw());
}

void EdgeTracer::Init(int width, int height)
{
    if (m_image.GetHeight() != height || m_image.GetWidth() != width + 2 * kMargin) {
        if (m_image.Resize(width + 2 * kMargin, height, CCTImage::eIDT_INT32) != LxCV::CCTImage::eRC_OK) {
            throw std::bad_alloc();
        }
        m_entries.resize(static_cast<std::size_t>(m_image.GetWidth()));
    }
}

void EdgeTracer::Trace(CCTImage& words, std::vector<EdgePixel>& edges)
{
    if (!words.IsValid()) {
        return;
    }
    if (words.GetDataType() != LxCV::CCTImage::eIDT_INT32) {
        throw std::invalid_argument("stripe edges are traced in an image of edge words");
    }
    const int width = words.GetWidth();
    Init(width, words.GetHeight());
    m_image.CopyFrom(&words, false);
    m_drawn = 0;
    const int increment = std::max(m_limits.m_iIncrement, 1);
    for (int row = 0; row < m_image.GetHeight(); ++row) {
        for (std::int64_t column = kMargin; column < width + kMargin; column += increment) {
            TraceFrom(static_cast<int>(column), row);
        }
    }
    // Ends that are not drawn are traced again from their own seeds, so the sum may exceed what an image holds.
    edges.reserve(edges.size() + std::min(m_drawn, static_cast<std::size_t>(words.GetSizeInPixels())));
    for (int row = 0; row < m_image.GetHeight(); ++row) {
        const std::span line(Pixels() + std::ptrdiff_t{row} * m_image.GetWidth() + kMargin,
                             static_cast<std::size_t>(width));
        TakeTraced(line, row, &words.GetInt32PixelFast(0, row), edges);
    }
}

/// Appends the pixels of traced edges in a row, and writes their words to the image that they were traced in.
void EdgeTracer::TakeTraced(std::span<const LxCLightStripeEdgeSinglePixel> line, int row, int* words,
                            std::vector<EdgePixel>& edges)
{
    constexpr std::size_t kBlock = 64;
    for (std::size_t first = 0; first < line.size(); first += kBlock) {
        const std::span block = line.subspan(first, std::min(kBlock, line.size() - first));
        std::array<std::uint8_t, kBlock> isTraced{};
        for (std::size_t i = 0; i < block.size(); ++i) {
            isTraced[i] = block[i].IsPartOfATracedLightStripeEdge() ? 1 : 0;
        }
        ForEachFlag(std::span<const std::uint8_t, kBlock>(isTraced), [&](std::size_t i) {
            words[first + i] = static_cast<int>(block[i].GetWord());
            edges.push_back({static_cast<int>(first + i),
                             row + static_cast<double>(block[i].GetSubpixelFloat()),
                             block[i].GetLSEdgeIDTraced()});
        });
    }
}

/// Traces the edge of a pixel and draws it, if the pixel is named and the edge is valid.
void EdgeTracer::TraceFrom(int column, int row)
{
    const LxCLightStripeEdgeSinglePixel seed =
        Pixels()[static_cast<std::ptrdiff_t>(row) * m_image.GetWidth() + column];
    const int cyclicId = seed.GetLSEdgeIdUntraced();
    if (seed.IsPartOfATracedLightStripeEdge() || cyclicId == 0) {
        return;
    }
    const std::vector<LxCSymbol>& symbols = m_model.GetCLPattern()->GetStripeEdgeNrToExtLUT();
    const auto stripeEdge = static_cast<std::size_t>(m_model.UnwrapStripeId(cyclicId, row));
    m_entries[0] =
        LxCDataBufferEntry((static_cast<std::uint32_t>(row) << LxCDataBufferEntry::m_sciNrSubpixBits) +
                           static_cast<std::uint32_t>(seed.GetSubpixelInt()));
    LxCLightStripeEdge edge;
    edge.SetExtDataBuffer(m_entries.data());
    edge.SetId(cyclicId);
    edge.SetSymbol(stripeEdge < symbols.size() ? symbols[stripeEdge] : seed.GetSymbolFromExt());
    edge.Trace(Pixels(), column, m_image.GetWidth(), m_image.GetHeight(),
               m_limits.m_iMaxGapWithinStripeBoundary, m_radius, &m_limits);
    const int number = VoteOnNumber(edge);
    if (number == kNoEdge || !m_limits.IsLightStripeEdgeValid(&edge, false)) {
        return;
    }
    LxCLightStripeEdgeSinglePixel pattern;
    pattern.EncodeTracedLSEdgeInfo(number, 0);
    m_drawn += static_cast<std::size_t>(edge.GetLen());
    edge.DrawWInterpol(Pixels(), pattern, m_image.GetWidth(), m_limits.m_iThrowAwayPixAtStripeBegEnd);
}

/// The number that most confirmed pixels of an edge have, the smallest of several; 0 if none has one.
int EdgeTracer::VoteOnNumber(const LxCLightStripeEdge& edge)
{
    std::array<int, kLargestId + 1> votes{};
    std::uint32_t numberedRow = ~0U; // for which the model was asked last
    int number = kNoEdge;
    const int first = edge.First();
    const int length = edge.GetLen();
    for (int i = 0; i < length; ++i) {
        const LxCDataBufferEntry entry = edge.GetElement(i);
        if (entry.IsContorGap()) {
            continue;
        }
        const std::uint32_t row = entry.GetWord() >> LxCDataBufferEntry::m_sciNrSubpixBits;
        const LxCLightStripeEdgeSinglePixel pixel =
            Pixels()[static_cast<std::ptrdiff_t>(row) * m_image.GetWidth() + first + i];
        if (pixel.GetLSEdgeIdUntraced() != edge.GetId()) {
            continue;
        }
        if (row != numberedRow) {
            number = m_model.UnwrapStripeId(edge.GetId(), row);
            numberedRow = row;
        }
        if (number > kNoEdge && number <= kLargestId) {
            ++votes[static_cast<std::size_t>(number)];
        }
    }
    const auto most = std::max_element(votes.begin(), votes.end());
    return *most == 0 ? kNoEdge : static_cast<int>(most - votes.begin());
}

} // namespace decoder

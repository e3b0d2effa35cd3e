// Small extrema images and edges in them, for the tests of tracing.
#pragma once

#include "lxcedgedetectionconfig.h"
#include "lxclightstripeedge.h"
#include "lxclxcvlibsettings.h"

#include <cstdint>
#include <vector>

namespace LxCV::TestSupport {

/// Sets `ExtendedTrace` for the time of a test.
class CExtendedTrace
{
public:
    explicit CExtendedTrace(bool on) { LxCLxCVLibSettings::SetExtendedTrace(on); }
    ~CExtendedTrace() { LxCLxCVLibSettings::SetExtendedTrace(m_bBefore); }
    CExtendedTrace(const CExtendedTrace&) = delete;
    CExtendedTrace& operator=(const CExtendedTrace&) = delete;

private:
    bool m_bBefore = LxCLxCVLibSettings::GetExtendedTrace();
};

/// The word of an untraced pixel, put together bit by bit.
constexpr std::uint32_t ExtremumWord(unsigned id, unsigned symbol, unsigned fraction, bool cont = false,
                                     bool cont2 = false)
{
    return id << 14 | (cont2 ? 1U << 13 : 0U) | (cont ? 1U << 12 : 0U) | symbol << 6 | fraction;
}

/// An image of words, all zero at first.
struct CEdgeImage
{
    CEdgeImage(int imageWidth, int imageHeight)
        : width(imageWidth), height(imageHeight),
          pixels(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight))
    {}

    LxCLightStripeEdgeSinglePixel& At(int col, int row)
    {
        return pixels.at(static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(col));
    }
    void Put(int col, int row, std::uint32_t word) { At(col, row) = LxCLightStripeEdgeSinglePixel(word); }

    int width;
    int height;
    std::vector<LxCLightStripeEdgeSinglePixel> pixels;
};

constexpr int c_iOwnId = 7;
constexpr unsigned c_uiOwnSymbol = 6; // blue rises, green falls

/// An edge with a buffer that is watched for entries beyond those that tracing may write.
class CTracedEdge : public LxCLightStripeEdge
{
public:
    using LxCLightStripeEdge::DetNextEdgel;

    explicit CTracedEdge(int stride)
        : m_vEntries(static_cast<std::size_t>(stride) + 1, LxCDataBufferEntry(c_uiUntouched))
    {
        SetExtDataBuffer(m_vEntries.data());
        SetId(c_iOwnId);
        SetSymbol(LxCSymbol(c_uiOwnSymbol));
    }
    CTracedEdge(const CTracedEdge&) = delete;
    CTracedEdge& operator=(const CTracedEdge&) = delete;

    /// Traces from a seed whose fraction is 5/64.
    void TraceFrom(CEdgeImage& image, int col, int row, int maxGaps, int radius,
                   const LxCEdgeDetectionConfig& config)
    {
        m_vEntries.at(0) = LxCDataBufferEntry(static_cast<std::uint32_t>(row) * 64 + 5);
        Trace(image.pixels.data(), col, image.width, image.height, maxGaps, radius, &config);
    }

    /// Whether nothing was written behind the first `stride` entries.
    bool IsWithinBuffer() const { return m_vEntries.back().GetWord() == c_uiUntouched; }

    std::vector<LxCDataBufferEntry>& Entries() { return m_vEntries; }

    /// The words by column, from left to right.
    std::vector<std::uint32_t> Words() const
    {
        std::vector<std::uint32_t> words;
        for (int i = 0; i < GetLen(); ++i) {
            words.push_back(GetElement(i).GetWord());
        }
        return words;
    }

private:
    static constexpr std::uint32_t c_uiUntouched = 0xABCD1234;

    std::vector<LxCDataBufferEntry> m_vEntries;
};

} // namespace LxCV::TestSupport

// Clusters channel steps of a column.
#include "scanner/decoder/edgewords.h"

#include "cctimage.h"
#include "lxcextremum.h"

#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCEdgePosition;
using LxCV::LxCExtremum;
using LxCV::LxCSymbol;

namespace {

constexpr unsigned int kBlueBits = LxCSymbol::m_scaiIncBlue | LxCSymbol::m_scaiDecBlue;
constexpr unsigned int kGreenBits = LxCSymbol::m_scaiIncGreen | LxCSymbol::m_scaiDecGreen;
constexpr unsigned int kRedBits = LxCSymbol::m_scaiIncRed | LxCSymbol::m_scaiDecRed;

/// The two bits of the colour channel that a single-channel symbol belongs to.
unsigned int ChannelBits(unsigned int symbol)
{
    const auto bitsOf = [symbol](unsigned int bits) { return (symbol & bits) != 0 ? bits : 0; };
    return bitsOf(kBlueBits) | bitsOf(kGreenBits) | bitsOf(kRedBits);
}

/// The steps at the begin of a list that make one edge: close together, at most one a channel.
class EdgeOfSteps
{
public:
    /// @param maxSpread 1/64 rows from one step to the next
    EdgeOfSteps(std::span<const ChannelStep> steps, int maxSpread)
        : m_symbol(steps[0].symbol.GetValue()), m_base(steps[0].position), m_weight(steps[0].amplitude)
    {
        while (m_count < steps.size()) {
            const ChannelStep& step = steps[m_count];
            const unsigned int channel = ChannelBits(step.symbol.GetValue());
            if (step.position.Subtract(steps[m_count - 1].position) > maxSpread ||
                (m_symbol & channel) != 0) {
                return;
            }
            m_symbol |= step.symbol.GetValue();
            m_weighted += step.amplitude * static_cast<float>(step.position.Subtract(m_base));
            m_weight += step.amplitude;
            ++m_count;
        }
    }

    std::size_t GetCount() const { return m_count; }
    LxCSymbol GetSymbol() const { return LxCSymbol(m_symbol); }

    /// The mean of the positions, weighted by amplitude, rounded to 1/64 row, halves down the image.
    LxCEdgePosition GetPosition() const
    {
        const auto offset = static_cast<unsigned int>(m_weighted / m_weight + 0.5F);
        return LxCEdgePosition(m_base.GetPixelAndSubpixelPos() + offset);
    }

private:
    unsigned int m_symbol;
    LxCEdgePosition m_base;
    float m_weighted = 0.0F; ///< distances from the base
    float m_weight;
    std::size_t m_count = 1;
};

} // namespace

void EdgeWordWriter::Write(const StripeSignal& signal, CCTImage& words)
{
    const bool fits = words.GetDataType() == LxCV::CCTImage::eIDT_INT32 &&
                      words.GetWidth() == signal.GetWidth() && words.GetHeight() == signal.GetHeight() &&
                      (words.IsValid() || words.GetSizeInPixels() == 0);
    if (!fits) {
        throw std::invalid_argument("the image of edge words does not fit the stripe signal");
    }
    words.Clear();
    for (int first = 0; first < signal.GetWidth(); first += StepFinder::kColumns) {
        m_finder.Find(signal.Values(), signal.GetWidth(), first, m_minGradient);
        for (int column = 0; column < m_finder.GetNumColumns(); ++column) {
            WriteColumn(m_finder.StepsOf(column), first + column, words);
        }
    }
}

void EdgeWordWriter::WriteColumn(std::span<const ChannelStep> steps, int column, CCTImage& words) const
{
    while (!steps.empty()) {
        const EdgeOfSteps edge(steps, m_channelSpread);
        const LxCEdgePosition position = edge.GetPosition();
        LxCExtremum word(0);
        word.EncodeExtremum(0, false, false, edge.GetSymbol(), position.GetSubpixelInt());
        words.GetInt32PixelFast(column, static_cast<int>(position.GetPixelPos())) =
            static_cast<int>(word.GetWord());
        steps = steps.subspan(edge.GetCount());
    }
}

} // namespace decoder

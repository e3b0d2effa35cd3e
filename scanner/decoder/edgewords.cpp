// Clusters channel steps of a column.
#include "scanner/decoder/edgewords.h"

#include "cctimage.h"
#include "lxcextremum.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCColorValueFloat;
using LxCV::LxCEdgePosition;
using LxCV::LxCExtremum;
using LxCV::LxCSubpixel;
using LxCV::LxCSymbol;

namespace {

constexpr unsigned int kBlueBits = LxCSymbol::m_scaiIncBlue | LxCSymbol::m_scaiDecBlue;
constexpr unsigned int kGreenBits = LxCSymbol::m_scaiIncGreen | LxCSymbol::m_scaiDecGreen;
constexpr unsigned int kRedBits = LxCSymbol::m_scaiIncRed | LxCSymbol::m_scaiDecRed;

/// The two bits of the colour channel that a single-channel symbol belongs to.
unsigned int ChannelBits(LxCSymbol symbol)
{
    for (const unsigned int bits : {kBlueBits, kGreenBits, kRedBits}) {
        if ((symbol.GetValue() & bits) != 0) {
            return bits;
        }
    }
    return 0;
}

/// Number of steps from the front of `steps` that make one edge: close together, at most one a channel.
std::size_t CountStepsOfOneEdge(std::span<const ChannelStep> steps, float maxSpread)
{
    const int limit = LxCV::TruncateTo<int>(maxSpread * LxCSubpixel::m_scfSubpixFactor);
    unsigned int channels = ChannelBits(steps[0].symbol);
    std::size_t count = 1;
    while (count < steps.size() && steps[count].position.Subtract(steps[count - 1].position) <= limit &&
           (channels & ChannelBits(steps[count].symbol)) == 0) {
        channels |= ChannelBits(steps[count].symbol);
        ++count;
    }
    return count;
}

/// Mean position of one edge's steps, weighted by amplitude, rounded to 1/64 row.
LxCEdgePosition MeanPosition(std::span<const ChannelStep> steps)
{
    const unsigned int base = steps[0].position.GetPixelAndSubpixelPos();
    float weighted = 0.0F;
    float weight = 0.0F;
    for (const ChannelStep& step : steps) {
        weighted += step.amplitude * static_cast<float>(step.position.GetPixelAndSubpixelPos() - base);
        weight += step.amplitude;
    }
    return LxCEdgePosition(base + static_cast<unsigned int>(std::lround(weighted / weight)));
}

LxCSymbol SumOfSymbols(std::span<const ChannelStep> steps)
{
    LxCSymbol sum(0);
    for (const ChannelStep& step : steps) {
        sum.CombineWith(step.symbol);
    }
    return sum;
}

} // namespace

void EdgeWordWriter::Init(int height)
{
    const auto rows = static_cast<std::size_t>(height);
    for (std::vector<ChannelStep>& steps : m_channelSteps) {
        steps.reserve(rows);
    }
    m_twoChannels.reserve(2 * rows);
    m_steps.reserve(kChannels * rows);
}

void EdgeWordWriter::Write(const StripeSignal& signal, CCTImage& words)
{
    const bool fits = words.GetDataType() == LxCV::CCTImage::eIDT_INT32 &&
                      words.GetWidth() == signal.GetWidth() && words.GetHeight() == signal.GetHeight() &&
                      (words.IsValid() || words.GetSizeInPixels() == 0);
    if (!fits) {
        throw std::invalid_argument("the image of edge words does not fit the stripe signal");
    }
    words.Clear();
    for (int column = 0; column < signal.GetWidth(); ++column) {
        FindSteps(signal, column);
        WriteColumn(column, words);
    }
}

/// Finds the steps of a column and brings those of the three channels, each in order already, into one order.
void EdgeWordWriter::FindSteps(const StripeSignal& signal, int column)
{
    for (std::size_t i = 0; i < kChannels; ++i) {
        const auto channel = static_cast<LxCColorValueFloat::EColor>(i);
        m_channelSteps[i].clear();
        decoder::FindSteps(signal.Column(channel, column), channel, m_minGradient, m_channelSteps[i]);
    }
    const auto isAbove = [](const ChannelStep& a, const ChannelStep& b) {
        return a.position.IsSmallerThan(b.position);
    };
    const auto& [blue, green, red] = m_channelSteps;
    m_twoChannels.clear();
    std::merge(blue.begin(), blue.end(), green.begin(), green.end(), std::back_inserter(m_twoChannels),
               isAbove);
    m_steps.clear();
    std::merge(m_twoChannels.begin(), m_twoChannels.end(), red.begin(), red.end(),
               std::back_inserter(m_steps), isAbove);
}

void EdgeWordWriter::WriteColumn(int column, CCTImage& words) const
{
    std::span<const ChannelStep> rest(m_steps);
    while (!rest.empty()) {
        const std::size_t count = CountStepsOfOneEdge(rest, m_maxChannelSpread);
        const std::span<const ChannelStep> edge = rest.first(count);
        const LxCEdgePosition position = MeanPosition(edge);
        LxCExtremum word(0);
        word.EncodeExtremum(0, false, false, SumOfSymbols(edge), position.GetSubpixelInt());
        words.GetInt32PixelFast(column, static_cast<int>(position.GetPixelPos())) =
            static_cast<int>(word.GetWord());
        rest = rest.subspan(count);
    }
}

} // namespace decoder

// Windows of three edges, confirmed by their neighbours.
#include "scanner/decoder/codewords.h"

#include "cctimage.h"
#include "lxcextremum.h"
#include "lxcpatternposition.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"

#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCExtremum;
using LxCV::LxCPatternPosition;
using LxCV::LxCSymbol;

namespace {

constexpr std::size_t kWindow = 3;      ///< edges of a code word
constexpr int kUnnamed = 0;             ///< as the code word table marks unknown code words
constexpr int kContradicted = -1;       ///< two code words disagree
constexpr int kLargestUntracedId = 255; ///< what the word's 8 bits hold

/// Whether a code word table is one for code words of four digits, which is what three edges make: its size is the
/// largest code word, a number of as many digits, plus one.
bool IsForFourDigits(const std::vector<int>& table)
{
    constexpr std::size_t kLeast = 1000;
    constexpr std::size_t kMost = 10000;
    return table.size() > kLeast && table.size() <= kMost;
}

} // namespace

void CodeWordReader::Read(CCTImage& words, std::vector<EdgePixel>& edges)
{
    if (words.IsValid() && words.GetDataType() != LxCV::CCTImage::eIDT_INT32) {
        throw std::invalid_argument("code words are read from an image of edge words");
    }
    const LxCV::LxCStripePattern& pattern = *m_model.GetCLPattern();
    m_cycle = pattern.GetNrOfUniqueStripeIds();
    if (!words.IsValid() || m_cycle < 1 || !IsForFourDigits(pattern.GetCWToStripeEdgeNrLUT())) {
        return;
    }
    for (int column = 0; column < words.GetWidth(); ++column) {
        CollectColumn(words, column);
        ReadCodeWords();
        NameEdges();
        for (const ColumnEdge& edge : m_column) {
            if (edge.cyclicId <= kUnnamed) {
                continue;
            }
            const int stripeEdge = m_model.UnwrapStripeId(edge.cyclicId, edge.row);
            if (stripeEdge >= static_cast<int>(LxCPatternPosition::ms_uiInvalidPosition)) {
                continue;
            }
            if (stripeEdge <= kLargestUntracedId) {
                LxCExtremum word(static_cast<unsigned int>(words.GetInt32PixelFast(column, edge.pixelRow)));
                word.SetUntracedId(stripeEdge);
                words.GetInt32PixelFast(column, edge.pixelRow) = static_cast<int>(word.GetWord());
            }
            edges.push_back({column, edge.row, stripeEdge});
        }
    }
}

void CodeWordReader::CollectColumn(const CCTImage& words, int column)
{
    m_column.clear();
    for (int row = 0; row < words.GetHeight(); ++row) {
        const LxCExtremum word(static_cast<unsigned int>(words.GetInt32PixelFast(column, row)));
        if (word.HasEntry()) {
            const double exactRow = row + static_cast<double>(word.GetSubpixelFloat());
            m_column.push_back({row, exactRow, word.GetSymbolFromExt(), kUnnamed});
        }
    }
}

/// Cyclic id of the edge at `last` by the code word of it and the two edges above it; 0 if there is none.
int CodeWordReader::CodeWordAt(std::size_t last) const
{
    for (std::size_t i = last; i > last - 2; --i) {
        if (m_column[i].row - m_column[i - 1].row > static_cast<double>(m_config.maxStripeHeight)) {
            return kUnnamed;
        }
    }
    const LxCSymbol symbols[kWindow] = {m_column[last].symbol, m_column[last - 1].symbol,
                                        m_column[last - 2].symbol};
    const std::vector<int>& table = m_model.GetCLPattern()->GetCWToStripeEdgeNrLUT();
    const auto codeWord = static_cast<std::size_t>(LxCSymbol::DetCodeWord(symbols));
    return codeWord < table.size() ? table[codeWord] : kUnnamed;
}

void CodeWordReader::ReadCodeWords()
{
    m_lastIds.assign(m_column.size(), kUnnamed);
    for (std::size_t last = kWindow - 1; last < m_column.size(); ++last) {
        m_lastIds[last] = CodeWordAt(last);
    }
}

void CodeWordReader::NameEdges()
{
    const auto agree = [this](std::size_t upper) {
        return upper + 1 < m_lastIds.size() && m_lastIds[upper] != kUnnamed &&
               m_lastIds[upper + 1] == m_lastIds[upper] % m_cycle + 1;
    };
    for (std::size_t last = kWindow - 1; last < m_column.size(); ++last) {
        if (m_lastIds[last] == kUnnamed || !(agree(last) || agree(last - 1))) {
            continue;
        }
        for (std::size_t back = 0; back < kWindow; ++back) {
            const int id = (m_lastIds[last] - static_cast<int>(back) + m_cycle - 1) % m_cycle + 1;
            int& named = m_column[last - back].cyclicId;
            named = named == kUnnamed || named == id ? id : kContradicted;
        }
    }
}

} // namespace decoder

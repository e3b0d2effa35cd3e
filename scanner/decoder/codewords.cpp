// Windows of three edges, confirmed by their neighbours.
#include "scanner/decoder/codewords.h"

#include "cctimage.h"
#include "lxcextremum.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "scanner/decoder/flags.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace decoder {

using LxCV::CCTImage;
using LxCV::LxCExtremum;
using LxCV::LxCSymbol;

namespace {

constexpr std::size_t kWindow = 3; ///< edges of a code word
constexpr int kUnnamed = 0;        ///< as the code word table marks unknown code words
constexpr int kContradicted = -1;  ///< two code words disagree

/// Whether a code word table is one for code words of four digits, which is what three edges make: its size is the
/// largest code word, a number of as many digits, plus one.
bool IsForFourDigits(const std::vector<int>& table)
{
    constexpr std::size_t kLeast = 1000;
    constexpr std::size_t kMost = 10000;
    return table.size() > kLeast && table.size() <= kMost;
}

LxCExtremum WordAt(const CCTImage& words, int column, int row)
{
    return LxCExtremum(static_cast<std::uint32_t>(words.GetInt32PixelFast(column, row)));
}

} // namespace

void CodeWordReader::Init(int height)
{
    m_edges.resize(kColumns * static_cast<std::size_t>(height));
    m_lastIds.reserve(static_cast<std::size_t>(height));
}

void CodeWordReader::Read(CCTImage& words)
{
    if (words.IsValid() && words.GetDataType() != LxCV::CCTImage::eIDT_INT32) {
        throw std::invalid_argument("code words are read from an image of edge words");
    }
    const LxCV::LxCStripePattern& pattern = *m_model.GetCLPattern();
    m_cycle = pattern.GetNrOfUniqueStripeIds();
    if (!words.IsValid() || m_cycle < 1 || !IsForFourDigits(pattern.GetCWToStripeEdgeNrLUT())) {
        return;
    }
    Init(words.GetHeight());
    const auto width = static_cast<std::size_t>(words.GetWidth());
    const auto height = static_cast<std::size_t>(words.GetHeight());
    for (std::size_t first = 0; first < width; first += kColumns) {
        const std::size_t columns = std::min(kColumns, width - first);
        CollectColumns(words, first, columns);
        for (std::size_t index = 0; index < columns; ++index) {
            const Column column = Column(m_edges).subspan(index * height, m_counts[index]);
            ReadCodeWords(column);
            NameEdges(column);
            WriteNames(column, static_cast<int>(first + index), words);
        }
    }
}

/// Puts the edges of some columns into their places, row by row, as the words lie in memory.
void CodeWordReader::CollectColumns(const CCTImage& words, std::size_t first, std::size_t columns)
{
    const auto width = static_cast<std::size_t>(words.GetWidth());
    const auto height = static_cast<std::size_t>(words.GetHeight());
    const auto* line = static_cast<const std::uint32_t*>(words.GetImageDataRaw()) + first;
    std::array<std::uint8_t, kColumns> isEdge{};
    m_counts.fill(0);
    for (std::size_t row = 0; row < height; ++row, line += width) {
        for (std::size_t column = 0; column < columns; ++column) {
            isEdge[column] = line[column] != 0 ? 1 : 0;
        }
        ForEachFlag(std::span<const std::uint8_t, kColumns>(isEdge), [&](std::size_t column) {
            const LxCExtremum word(line[column]);
            const int position =
                (static_cast<int>(row) << LxCExtremum::m_sciNrSubpixBits) + word.GetSubpixelInt();
            m_edges[column * height + m_counts[column]++] = {static_cast<int>(row), position,
                                                             word.GetSymbolFromExt(), kUnnamed, 0};
        });
    }
}

/// Cyclic id of the edge at `last` by the code word of it and the two edges above it; 0 if there is none.
int CodeWordReader::CodeWordAt(Column column, std::size_t last) const
{
    for (std::size_t i = last; i > last - 2; --i) {
        const std::int64_t distance = column[i].position - column[i - 1].position;
        if (distance > std::int64_t{m_maxDistance} << LxCExtremum::m_sciNrSubpixBits) {
            return kUnnamed;
        }
    }
    const LxCSymbol symbols[kWindow] = {column[last].symbol, column[last - 1].symbol,
                                        column[last - 2].symbol};
    const std::vector<int>& table = m_model.GetCLPattern()->GetCWToStripeEdgeNrLUT();
    const auto codeWord = static_cast<std::size_t>(LxCSymbol::DetCodeWord(symbols));
    return codeWord < table.size() ? table[codeWord] : kUnnamed;
}

void CodeWordReader::ReadCodeWords(Column column)
{
    m_lastIds.assign(column.size(), kUnnamed);
    for (std::size_t last = kWindow - 1; last < column.size(); ++last) {
        m_lastIds[last] = CodeWordAt(column, last);
    }
}

/// How many successive code words, the first of which ends at the edge `first`, agree.
std::size_t CodeWordReader::RunFrom(std::size_t first) const
{
    std::size_t end = first + 1;
    while (end < m_lastIds.size() && m_lastIds[end] == m_lastIds[end - 1] % m_cycle + 1) {
        ++end;
    }
    return end - first;
}

void CodeWordReader::NameEdges(Column column) const
{
    std::size_t last = kWindow - 1;
    while (last < column.size()) {
        if (m_lastIds[last] == kUnnamed) {
            ++last;
            continue;
        }
        const std::size_t end = last + RunFrom(last);
        const bool counts = std::cmp_greater_equal(end - last, m_minRun);
        for (; last < end; ++last) {
            if (counts) {
                NameEdgesOf(last, column);
            }
        }
    }
}

/// Names the edges of the code word that ends at the edge `last`.
void CodeWordReader::NameEdgesOf(std::size_t last, Column column) const
{
    for (std::size_t back = 0; back < (m_namesOthers ? kWindow : 1); ++back) {
        const int id = (m_lastIds[last] - static_cast<int>(back) + m_cycle - 1) % m_cycle + 1;
        ColumnEdge& edge = column[last - back];
        edge.cyclicId = edge.cyclicId == kUnnamed || edge.cyclicId == id ? id : kContradicted;
        ++edge.codeWords;
    }
}

void CodeWordReader::WriteNames(Column column, int index, CCTImage& words)
{
    for (const ColumnEdge& edge : column) {
        if (edge.cyclicId <= kUnnamed || edge.cyclicId > LxCExtremum::m_sciUint8Max) {
            continue;
        }
        LxCExtremum word = WordAt(words, index, edge.row);
        word.SetUntracedId(edge.cyclicId);
        word.AddContFlag();
        if (edge.codeWords == static_cast<int>(kWindow)) {
            word.AddContFlag2();
        }
        words.GetInt32PixelFast(index, edge.row) = static_cast<int>(word.GetWord());
    }
}

} // namespace decoder

// Windows of three edges, confirmed by their neighbours.
#include "scanner/decoder/codewords.h"

#include "cctimage.h"
#include "lxcextremum.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"

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
bool IsForFourDigits(std::span<const int> table)
{
    constexpr std::size_t kLeast = 1000;
    constexpr std::size_t kMost = 10000;
    return table.size() > kLeast && table.size() <= kMost;
}

} // namespace

void CodeWordReader::Init(int height)
{
    m_lastIds.reserve(static_cast<std::size_t>(height));
    m_names.reserve(static_cast<std::size_t>(height));
}

void CodeWordReader::Read(const EdgeColumns& columns, CCTImage& words)
{
    if (!words.IsValid()) {
        return;
    }
    if (words.GetDataType() != LxCV::CCTImage::eIDT_INT32) {
        throw std::invalid_argument("edge words are written to an image of integers");
    }
    words.Clear();
    const LxCV::LxCStripePattern& pattern = *m_model.GetCLPattern();
    m_cycle = pattern.GetNrOfUniqueStripeIds();
    m_table = pattern.GetCWToStripeEdgeNrLUT();
    const bool isReadable = m_cycle >= 1 && IsForFourDigits(m_table);
    const int width = std::min(words.GetWidth(), columns.CountColumns());
    for (int index = 0; index < width; ++index) {
        const Column column = columns.At(index);
        m_lastIds.assign(column.size(), kUnnamed);
        if (isReadable) {
            ReadCodeWords(column);
        }
        NameEdges();
        WriteWords(column, index, words);
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
    const auto codeWord = static_cast<std::size_t>(LxCSymbol::DetCodeWord(symbols));
    return codeWord < m_table.size() ? m_table[codeWord] : kUnnamed;
}

void CodeWordReader::ReadCodeWords(Column column)
{
    for (std::size_t last = kWindow - 1; last < column.size(); ++last) {
        m_lastIds[last] = CodeWordAt(column, last);
    }
}

/// How many successive code words, the first of which ends at the edge `first`, agree.
std::size_t CodeWordReader::RunFrom(std::size_t first) const
{
    std::size_t end = first + 1;
    while (end < m_lastIds.size() && m_lastIds[end] == NextOf(m_lastIds[end - 1])) {
        ++end;
    }
    return end - first;
}

void CodeWordReader::NameEdges()
{
    m_names.assign(m_lastIds.size(), Name());
    std::size_t last = kWindow - 1;
    while (last < m_lastIds.size()) {
        if (m_lastIds[last] == kUnnamed) {
            ++last;
            continue;
        }
        const std::size_t end = last + RunFrom(last);
        const bool counts = std::cmp_greater_equal(end - last, m_minRun);
        for (; last < end; ++last) {
            if (counts) {
                NameEdgesOf(last);
            }
        }
    }
}

/// Names the edges of the code word that ends at the edge `last`.
void CodeWordReader::NameEdgesOf(std::size_t last)
{
    int id = m_lastIds[last];
    for (std::size_t back = 0; back < (m_namesOthers ? kWindow : 1); ++back) {
        Name& name = m_names[last - back];
        name.cyclicId = name.cyclicId == kUnnamed || name.cyclicId == id ? id : kContradicted;
        ++name.codeWords;
        id = id > 1 ? id - 1 : m_cycle;
    }
}

void CodeWordReader::WriteWords(Column column, int index, CCTImage& words) const
{
    for (std::size_t i = 0; i < column.size(); ++i) {
        const int row = EdgeColumns::RowOf(column[i]);
        if (row < 0 || row >= words.GetHeight()) {
            continue;
        }
        const auto [cyclicId, codeWords] = m_names[i];
        const bool isNamed = cyclicId > kUnnamed && cyclicId <= LxCExtremum::m_sciUint8Max;
        const bool isSure = isNamed && codeWords == static_cast<int>(kWindow);
        LxCExtremum word(0);
        word.EncodeExtremum(isNamed ? cyclicId : kUnnamed, isNamed, isSure, column[i].symbol,
                            column[i].position & LxCExtremum::m_sciSubpixMask);
        words.GetInt32PixelFast(index, row) = static_cast<int>(word.GetWord());
    }
}

} // namespace decoder

// Access to the entries of an edge.
#include "lxcedge.h"

#include "saturate.h"

#include <stdexcept>

namespace LxCV {

namespace {

constexpr double c_dGap = -1.0; // row that stands for a gap

double RowOf(const LxCDataBufferEntry& entry)
{
    return entry.IsContorGap() ? c_dGap
                               : entry.GetWord() * static_cast<double>(LxCSubpixel::m_scfSubPixFactorInv);
}

} // namespace

LxCEdge::LxCEdge(bool ownBuffer) : m_bOwnBuffer(ownBuffer)
{
    if (ownBuffer) {
        m_pOwnBuffer = std::make_unique<std::vector<LxCDataBufferEntry>>();
    }
}

LxCEdge::LxCEdge(const LxCEdge& source)
    : m_bOwnBuffer(source.m_bOwnBuffer), m_pExtBuffer(source.m_pExtBuffer), m_iSeedCol(source.m_iSeedCol),
      m_iLeftCount(source.m_iLeftCount), m_iRightCount(source.m_iRightCount)
{
    if (source.m_pOwnBuffer) {
        m_pOwnBuffer = std::make_unique<std::vector<LxCDataBufferEntry>>(*source.m_pOwnBuffer);
    }
}

LxCEdge& LxCEdge::operator=(const LxCEdge& source)
{
    if (this != &source) {
        LxCEdge copy(source);
        m_bOwnBuffer = copy.m_bOwnBuffer;
        m_pOwnBuffer = std::move(copy.m_pOwnBuffer);
        m_pExtBuffer = copy.m_pExtBuffer;
        m_iSeedCol = copy.m_iSeedCol;
        m_iLeftCount = copy.m_iLeftCount;
        m_iRightCount = copy.m_iRightCount;
    }
    return *this;
}

int LxCEdge::First() const
{
    return SaturateToInt(std::int64_t{m_iSeedCol} - m_iLeftCount + 1);
}

int LxCEdge::Last() const
{
    return SaturateToInt(std::int64_t{m_iSeedCol} + m_iRightCount);
}

int LxCEdge::GetLen() const
{
    return SaturateToInt(std::int64_t{m_iLeftCount} + m_iRightCount);
}

LxCDataBufferEntry* LxCEdge::GetEntries()
{
    return m_bOwnBuffer ? m_pOwnBuffer->data() : m_pExtBuffer;
}

const LxCDataBufferEntry* LxCEdge::GetEntries() const
{
    return m_bOwnBuffer ? m_pOwnBuffer->data() : m_pExtBuffer;
}

/// The entry at public index i, null where there is none.
const LxCDataBufferEntry* LxCEdge::FindElement(std::int64_t i) const
{
    if (i < 0 || i >= GetLen() || GetEntries() == nullptr) {
        return nullptr;
    }
    const std::int64_t entry = i < m_iLeftCount ? m_iLeftCount - i - 1 : i;
    if (m_bOwnBuffer && entry >= static_cast<std::int64_t>(m_pOwnBuffer->size())) {
        return nullptr;
    }
    return GetEntries() + entry;
}

std::int64_t LxCEdge::IndexOfColumn(int col) const
{
    return std::int64_t{col} - 1 + m_iLeftCount - m_iSeedCol;
}

LxCDataBufferEntry LxCEdge::GetElement(int i) const
{
    const LxCDataBufferEntry* const element = FindElement(i);
    if (element == nullptr) {
        throw std::out_of_range(" LxCEdge::GetElement: invalid index");
    }
    return *element;
}

bool LxCEdge::SetElement(int i, const LxCDataBufferEntry& value)
{
    const LxCDataBufferEntry* const element = FindElement(i);
    if (element == nullptr) {
        return false;
    }
    GetEntries()[element - GetEntries()] = value;
    return true;
}

LxCDataBufferEntry LxCEdge::GetElementAtSubsection(int col) const
{
    return GetElement(SaturateToInt(IndexOfColumn(col)));
}

double LxCEdge::GetElementWSubpixelAcc(int i) const
{
    return RowOf(GetElement(i));
}

double LxCEdge::GetElementAtSubsectionWSubpixelAcc(int col) const
{
    return RowOf(GetElementAtSubsection(col));
}

} // namespace LxCV

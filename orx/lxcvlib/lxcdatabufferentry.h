// One element of the column buffer of a stripe edge.
#pragma once

#include "lxcextremum.h"

namespace LxCV {

/// A position as `LxCEdgePosition` holds it, except that the whole word 60000 marks a gap in the edge.
class ORX_EXPORT LxCDataBufferEntry : public LxCExtremum
{
public:
    static constexpr int m_sciCountourGap = 0xEA60;

    constexpr LxCDataBufferEntry() = default;
    constexpr explicit LxCDataBufferEntry(std::uint32_t word) : LxCExtremum(word) {}

    void SetContourGap() { m_uiWord = m_sciCountourGap; }
    bool IsContorGap() const { return m_uiWord == m_sciCountourGap; }

    /// The mean of both positions, rounded down; a gap if either is one.
    static LxCDataBufferEntry GetMean(const LxCDataBufferEntry& a, const LxCDataBufferEntry& b)
    {
        return LxCDataBufferEntry(a.IsContorGap() || b.IsContorGap() ? std::uint32_t{m_sciCountourGap}
                                                                     : (a.m_uiWord + b.m_uiWord) >> 1);
    }
};

static_assert(sizeof(LxCDataBufferEntry) == 4 && std::is_trivially_copyable_v<LxCDataBufferEntry>);

} // namespace LxCV

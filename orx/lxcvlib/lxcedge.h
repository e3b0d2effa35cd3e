// An edge in an image: one position a column, or a row, held in a buffer of entries.
#pragma once

#include "lxcdatabufferentry.h"
#include "orx/base/export.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace LxCV {

/// An edge that was followed from a seed to the left and then to the right. It has one entry a column: the row
/// in 1/64 pixel, or the gap value. The entries lie in the order in which they were found:
///
///     entry 0                 the seed
///     entries 1 ... L - 1     left of the seed, going left
///     entries L ... L + R - 1 right of the seed, going right
///
/// with the left count L, which includes the seed, and the right count R. The public index i of the accessors
/// goes by column from left to right instead: it means entry L - i - 1 where i is below L, and entry i elsewhere.
///
/// The entries lie in a buffer of the edge's own, which derived classes let grow, or in an external one, which
/// its owner keeps alive and large enough. A copy has a buffer of its own with the same entries, or shares the
/// external one. An edge that runs along the rows of an image uses the same fields with rows for columns.
class ORX_EXPORT LxCEdge
{
public:
    explicit LxCEdge(bool ownBuffer);
    LxCEdge(const LxCEdge& source);
    LxCEdge& operator=(const LxCEdge& source);
    virtual ~LxCEdge() = default;

    /// Entries to work on if the edge has no buffer of its own; they must outlive it. Null takes them away.
    void SetExtDataBuffer(LxCDataBufferEntry* entries) { m_pExtBuffer = entries; }

    int First() const; ///< the leftmost column
    int Last() const;  ///< the rightmost column

    int GetLen() const; ///< columns, gaps included

    /// The entry at public index i. Throws std::exception " LxCEdge::GetElement: invalid index" for an index
    /// outside 0 to length - 1, and where no buffer holds the entry; so do the accessors below that read one.
    LxCDataBufferEntry GetElement(int i) const;

    /// Stores an entry at public index i. Returns false where `GetElement` would throw.
    bool SetElement(int i, const LxCDataBufferEntry& value);

    /// The entry of an image column.
    LxCDataBufferEntry GetElementAtSubsection(int col) const;

    /// The row in pixels; -1.0 for a gap.
    double GetElementWSubpixelAcc(int i) const;
    double GetElementAtSubsectionWSubpixelAcc(int col) const;

protected:
    /// The entries in the order in which they were found; null if there are none.
    LxCDataBufferEntry* GetEntries();
    const LxCDataBufferEntry* GetEntries() const;

    bool m_bOwnBuffer;
    std::unique_ptr<std::vector<LxCDataBufferEntry>> m_pOwnBuffer;
    LxCDataBufferEntry* m_pExtBuffer = nullptr; ///< not owned
    std::int32_t m_iSeedCol = 0;                ///< column of the first entry
    std::int32_t m_iLeftCount = 0;              ///< entries from the seed on to the left, the seed included
    std::int32_t m_iRightCount = 0;             ///< entries right of the seed

private:
    const LxCDataBufferEntry* FindElement(std::int64_t i) const;
    std::int64_t IndexOfColumn(int col) const;
};

} // namespace LxCV

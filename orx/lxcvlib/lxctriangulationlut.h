// Tabulated triangulation: points of all stripe edges on a coarse grid of image positions.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace LxCV {

/// For every stripe edge e a grid of points P(e, i, j), those of the edge at the pixels (8 i, 4 j), and bilinear lookup
/// between them: with fx = col/8, fy = row/4, i and j their truncations, a = fx - i and b = fy - j,
///
///     P = ((1 - a) P(e, i, j) + a P(e, i + 1, j)) (1 - b) + ((1 - a) P(e, i, j + 1) + a P(e, i + 1, j + 1)) b
///
/// in float, in this order. The grid has width/8 + 2 columns and height/4 + 2 rows, so that the last pixel still has
/// four neighbours. A point whose Z is exactly 0 is none, and a cell with such a corner has no points.
///
/// The error of a lookup is at most (8² max|∂²P/∂col²| + 4² max|∂²P/∂row²|) / 8 over the cell, and some rounding of
/// float.
///
/// Points are in mm, in the frame of the one who fills the entries. They lie in one block: entry after entry, row after
/// row, X, Y, Z. The object owns block and entries, which live until `Reset`, the next `Init` or its end; the entries
/// wrap their part of the block and are not to be resized.
///
/// Once it is filled, any number of threads may look up. A lookup takes no memory.
class ORX_EXPORT LxCTriangulationLUT
{
public:
    static constexpr int sc_iGridStepX = 8; ///< columns
    static constexpr int sc_iGridStepY = 4; ///< rows

    /// Without entries.
    LxCTriangulationLUT() = default;
    LxCTriangulationLUT(const LxCTriangulationLUT&) = delete;
    LxCTriangulationLUT& operator=(const LxCTriangulationLUT&) = delete;

    /// Makes entries without points, in place of those that there were.
    /// @param numEdges      number of entries; none is a table too
    /// @param width, height pixels of the image
    /// @return false, with a line in the log and no entries, for a negative number, and for a table that the memory
    ///         does not hold or whose number of floats is beyond an int
    bool Init(int numEdges, int width, int height);

    /// Drops entries and block.
    void Reset();

    /// The points of an entry, `eIDT_FLOAT32_3`; null for an index that is negative or beyond them.
    CCTImage* GetLUTEntry(int index);
    const CCTImage* GetLUTEntry(int index) const;

    /// All floats, those of the entry 0 first; null without a table.
    const float* GetBlock() const { return m_pBlock.get(); }

    /// Number of floats in the block.
    int GetNrElements() const { return m_iNumEntries * m_iFloatsPerEntry; }

    int GetNrEntries() const { return m_iNumEntries; }
    int GetPaddedWidth() const { return m_iPaddedWidth; }   ///< width, rounded up to whole grid steps
    int GetPaddedHeight() const { return m_iPaddedHeight; } ///< height, rounded up to whole grid steps

    /// Z at an image position of a stripe edge that is counted from 1: that of entry `edge` - 1. Deliberately unlike
    /// `LookUpXYZ`: the callers of the two count edges differently.
    /// @param col, row pixels, distorted image
    /// @return 0 for a cell without points, for a position outside the grid, negative ones and what is no number
    ///         among them, and for an edge that the table does not have
    float LookUpZ(float col, float row, int edge) const;

    /// The point at an image position of a stripe edge that is counted from 0: that of entry `edge`.
    /// @param col, row as in `LookUpZ`
    /// @param xyz   receives three floats: the point, or zeros. If it or `valid` is null, neither is written
    /// @param valid receives 1, or 0 where `LookUpZ` of the entry gives 0 for want of a point
    void LookUpXYZ(float col, float row, int edge, float* xyz, unsigned char* valid) const;

private:
    struct SCell;

    bool CreateBlock();
    bool CreateEntries();
    bool FindCell(float col, float row, std::uint32_t entry, SCell& cell) const;

    std::unique_ptr<float[]> m_pBlock;
    std::vector<std::unique_ptr<CCTImage>> m_vEntries;
    std::int32_t m_iPaddedWidth = 0;  ///< pixels
    std::int32_t m_iPaddedHeight = 0; ///< pixels
    std::int32_t m_iNumEntries = 0;
    std::int32_t m_iFloatsPerEntry = 0;
    std::int32_t m_iGridStepX = sc_iGridStepX; ///< columns
    std::int32_t m_iGridStepY = sc_iGridStepY; ///< rows
    float m_fInverseStepX = 0.0F;
    float m_fInverseStepY = 0.0F;
    std::int32_t m_iGridWidth = 0;
    std::int32_t m_iGridHeight = 0;
};

} // namespace LxCV

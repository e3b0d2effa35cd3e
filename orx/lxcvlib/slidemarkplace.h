// Where on the projector's slide a corner lies.
#pragma once

#include "lxccprojslidecalibthres.h"
#include "lxcrectcornercalibmark.h"

#include <cstdint>

namespace LxCV {

/// The row and the side of the mark that a corner belongs to.
struct SSlideMarkPlace
{
    std::int64_t row; ///< from 0
    bool isLeft;      ///< whether the corner lies on the left side of the mark

    /// @param id that of a corner, above 0
    /// @param columns marks a row, above 0
    SSlideMarkPlace(int id, int columns)
        : row((std::int64_t{id} - 1) / (std::int64_t{sc_iCorners} * columns)), isLeft(id % 2 != 0)
    {}

    /// Whether a corner has a place at all.
    static bool IsKnown(const LxCRectCornerCalibMark& mark, const LxCCProjSlideCalibThres& thres)
    {
        return thres.m_iNrOfCols > 0 && !mark.IsInvalid() && mark.GetId() > 0;
    }

    bool operator==(const SSlideMarkPlace&) const = default;

    static constexpr int sc_iCorners = 4; ///< of a mark; their ids follow each other, the left ones being odd
};

/// Rows of the slide that lie right of an image which shows only the middle ones.
inline int HiddenSlideRows(const LxCCProjSlideCalibThres& thres)
{
    constexpr int c_iVisible = 3;
    constexpr int c_iAll = 5;
    return thres.m_iFixedNrVisibleRows == c_iVisible && thres.m_iNrOfRows == c_iAll ? 1 : 0;
}

} // namespace LxCV

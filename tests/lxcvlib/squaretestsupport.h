// Squares with corners and edges made by hand, for the tests of squares and of the targets that are built from them.
#pragma once

#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxcrectcornercalibmark.h"
#include "lxcsensorcoordscct.h"

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace LxCV::TestSupport {

using Point = LxCSensorCoordsCCT;

/// Upper left, upper right, lower left, lower right, pixels.
using Quad = std::array<Point, 4>;

inline Quad AxisParallel(double left, double top, double width, double height)
{
    return {Point(left, top), Point(left + width, top), Point(left, top + height),
            Point(left + width, top + height)};
}

/// An edge along the straight line from one point to another, with an entry at every whole position between them. The
/// values across are rounded down to 1/64 pixel, as those of traced edges.
class CHandMadeEdge : public LxCCBRectEdge
{
public:
    CHandMadeEdge(EOrientation orientation, const Point& from, const Point& to) : LxCCBRectEdge(orientation)
    {
        const bool vertical = orientation == eVertical;
        const double first = std::ceil(vertical ? from.y : from.x);
        const double last = std::floor(vertical ? to.y : to.x);
        for (double position = first; position <= last; ++position) {
            const double across = vertical ? from.x + (to.x - from.x) * (position - from.y) / (to.y - from.y)
                                           : from.y + (to.y - from.y) * (position - from.x) / (to.x - from.x);
            m_pOwnBuffer->push_back(
                LxCDataBufferEntry(static_cast<std::uint32_t>(std::max(0.0, std::floor(across * 64.0)))));
        }
        if (!m_pOwnBuffer->empty()) { // where a position is no number it is empty
            m_iSeedCol = static_cast<int>(first);
            m_iLeftCount = 1;
            m_iRightCount = static_cast<int>(m_pOwnBuffer->size()) - 1;
        }
    }
};

/// The four corners of a square and the four edges that they share, all linked, and not yet of a square.
struct HandMadeSquare
{
    explicit HandMadeSquare(const Quad& quad)
    {
        using Corner = LxCRectCornerCalibMark;
        top = std::make_unique<CHandMadeEdge>(CStraightEdge::eHorizontal, quad[0], quad[1]);
        bottom = std::make_unique<CHandMadeEdge>(CStraightEdge::eHorizontal, quad[2], quad[3]);
        left = std::make_unique<CHandMadeEdge>(CStraightEdge::eVertical, quad[0], quad[2]);
        right = std::make_unique<CHandMadeEdge>(CStraightEdge::eVertical, quad[1], quad[3]);
        for (std::size_t place = 0; place < corners.size(); ++place) {
            const bool isLeft = place % 2 == 0;
            const bool isUpper = place < 2;
            LxCCBRectEdge* const horEdge = isUpper ? top.get() : bottom.get();
            LxCCBRectEdge* const verEdge = isLeft ? left.get() : right.get();
            corners[place] =
                std::make_unique<Corner>(quad[place].x, quad[place].y, horEdge, verEdge, isLeft, isUpper);
            horEdge->SetCorner(isLeft, corners[place].get());
            verEdge->SetCorner(isUpper, corners[place].get());
        }
    }

    /// Takes a corner away, as if it had not been found.
    void LoseCorner(std::size_t place)
    {
        corners[place]->ResetCorner();
        corners[place].reset();
    }

    /// Makes `rect` the square of all corners that are there.
    void AssignTo(LxCCBRect& rect)
    {
        rect.SetULCorner(corners[0].get());
        rect.SetURCorner(corners[1].get());
        rect.SetLLCorner(corners[2].get());
        rect.SetLRCorner(corners[3].get());
        for (const auto& corner : corners) {
            if (corner) {
                corner->SetRect(&rect);
            }
        }
    }

    std::unique_ptr<LxCCBRectEdge> top;
    std::unique_ptr<LxCCBRectEdge> bottom;
    std::unique_ptr<LxCCBRectEdge> left;
    std::unique_ptr<LxCCBRectEdge> right;
    std::array<std::unique_ptr<LxCRectCornerCalibMark>, 4> corners; ///< in the order of a quad
};

/// Squares in a list, each with its corners and edges.
class CSquareList
{
public:
    LxCCBRect& Add(const Quad& quad)
    {
        m_squares.push_back(std::make_unique<HandMadeSquare>(quad));
        m_owned.push_back(std::make_unique<LxCCBRect>());
        m_squares.back()->AssignTo(*m_owned.back());
        m_list.push_back(m_owned.back().get());
        return *m_owned.back();
    }

    HandMadeSquare& GetSquare(std::size_t i) { return *m_squares[i]; }
    const std::vector<LxCCBRect*>& GetList() const { return m_list; }

private:
    std::vector<std::unique_ptr<HandMadeSquare>> m_squares;
    std::vector<std::unique_ptr<LxCCBRect>> m_owned;
    std::vector<LxCCBRect*> m_list;
};

} // namespace LxCV::TestSupport

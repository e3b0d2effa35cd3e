// Checkerboard targets as they were found in an image, made by hand: corners and edges of squares on a grid.
#pragma once

#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "squaretestsupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <set>
#include <vector>

namespace LxCV::TestSupport {

/// A target whose marks, squares and thresholds tests can set. Edges are kept beside the target's own.
class CBoardProbe : public LxCCBCalibBody
{
public:
    CBoardProbe() : LxCCBCalibBody(true) {}

    LxCCBCalibThres& Thres() { return *GetCBThres(); }
    void SetThres(std::unique_ptr<LxCCalibThres> thres) { m_pThres = std::move(thres); }
    std::vector<LxC3DCoordsCCT>& WorldCoords() { return m_vWorldCoords; }

    /// Adds the four corners of a square to the marks, or to those of the second polarity.
    const std::array<LxCRectCornerCalibMark*, 4>& AddCorners(const Quad& quad, bool second = false)
    {
        m_squares.push_back(std::make_unique<HandMadeSquare>(quad));
        std::vector<LxCCalibMark*>& marks = second ? m_vSecondMarks : m_vMarks;
        std::array<LxCRectCornerCalibMark*, 4> corners{};
        for (std::size_t place = 0; place < corners.size(); ++place) {
            corners[place] = m_squares.back()->corners[place].get();
            marks.push_back(m_squares.back()->corners[place].release());
        }
        return m_corners.emplace_back(corners);
    }

    /// Adds a square with its corners to the first list.
    LxCCBRect& AddRect(const Quad& quad, int id = 0, double horUnit = 0.0, double verUnit = 0.0)
    {
        const auto corners = AddCorners(quad);
        m_vRects.push_back(new LxCCBRect);
        LxCCBRect& rect = *m_vRects.back();
        rect.SetULCorner(corners[0]);
        rect.SetURCorner(corners[1]);
        rect.SetLLCorner(corners[2]);
        rect.SetLRCorner(corners[3]);
        for (auto* const corner : corners) {
            corner->SetRect(&rect);
        }
        rect.SetId(id);
        rect.SetDistUnits(horUnit, verUnit);
        return rect;
    }

private:
    std::vector<std::unique_ptr<HandMadeSquare>> m_squares;
    std::vector<std::array<LxCRectCornerCalibMark*, 4>> m_corners;
};

/// How the target lies in the image. A point (u, v) of the target, in pitches to the right and downwards from the
/// centre of its first square, is moved to the target's middle, turned by quarter turns, mirrored, tilted, and scaled.
struct BoardPose
{
    int quarterTurns = 0;        ///< that take the image's right to the target's up
    bool mirrored = false;       ///< left and right exchanged in the image
    double angle = 0.0;          ///< radians, from the image's right to its down
    double pitch = 60.0;         ///< pixels
    double stretch = 1.0;        ///< of the image's x
    Point perspective{0.0, 0.0}; ///< part by which a pixel to the right, or downwards, makes things smaller
    Point middle{400.0, 400.0};  ///< of the target in the image, pixels
    Point middleOnTarget{3.5, 3.0}; ///< pitches

    Point ToImage(double u, double v) const
    {
        double x = u - middleOnTarget.x;
        double y = v - middleOnTarget.y;
        for (int i = 0; i < quarterTurns; ++i) {
            // The target's right becomes the image's down; the target's down becomes the image's left.
            const double turned = x;
            x = -y;
            y = turned;
        }
        x *= mirrored ? -pitch : pitch;
        y *= pitch;
        const double turnedX = (std::cos(angle) * x - std::sin(angle) * y) * stretch;
        const double turnedY = std::sin(angle) * x + std::cos(angle) * y;
        const double size = 1.0 / (1.0 + perspective.x * turnedX + perspective.y * turnedY);
        return {middle.x + turnedX * size, middle.y + turnedY * size};
    }
};

/// A board of squares, numbered row by row from 1, of which the bright ones are as told.
struct BoardShape
{
    int columns = 8;
    int rows = 7;
    int firstMarked = 27;
    double side = 0.4;      ///< pitches
    double embedded = 0.16; ///< pitches

    Point CentreOf(int id) const
    {
        return Point(static_cast<double>((id - 1) % columns), static_cast<double>((id - 1) / columns));
    }

    std::array<int, 4> MarkedIds() const
    {
        return {firstMarked, firstMarked + 2, firstMarked + 3, firstMarked + 2 + columns};
    }
};

/// A corner in the image and where on the target it is.
struct SeenCorner
{
    Point image;
    Point onTarget;
};

/// The corners of a square of the target in the order upper left, upper right, lower left, lower right in the image.
inline std::array<SeenCorner, 4> SeeSquare(const BoardPose& pose, const Point& centre, double side)
{
    std::array<SeenCorner, 4> seen;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const Point onTarget = centre + Point(i % 2 == 0 ? -0.5 : 0.5, i < 2 ? -0.5 : 0.5) * side;
        seen[i] = {pose.ToImage(onTarget.x, onTarget.y), onTarget};
    }
    const auto by = [&seen](double x, double y) {
        return *std::min_element(seen.begin(), seen.end(), [x, y](const SeenCorner& a, const SeenCorner& b) {
            return a.image.x * x + a.image.y * y < b.image.x * x + b.image.y * y;
        });
    };
    return {by(1.0, 1.0), by(-1.0, 1.0), by(1.0, -1.0), by(-1.0, -1.0)};
}

inline Quad QuadOf(const std::array<SeenCorner, 4>& seen)
{
    return {seen[0].image, seen[1].image, seen[2].image, seen[3].image};
}

/// A board that was located, and what is known of it.
class CSeenBoard
{
public:
    /// @param missing ids of squares that are not seen
    /// @param unmarked ids of marked squares whose bright square is not seen
    CSeenBoard(const BoardPose& pose, const BoardShape& shape, const std::set<int>& missing = {},
               const std::set<int>& unmarked = {})
        : m_shape(shape)
    {
        for (int id = 1; id <= shape.columns * shape.rows; ++id) {
            if (missing.contains(id)) {
                continue;
            }
            const auto seen = SeeSquare(pose, shape.CentreOf(id), shape.side);
            const auto& corners = body.AddCorners(QuadOf(seen));
            for (std::size_t i = 0; i < corners.size(); ++i) {
                m_truth[corners[i]] = {id, seen[i].onTarget};
            }
            const auto marked = shape.MarkedIds();
            if (std::find(marked.begin(), marked.end(), id) != marked.end() && !unmarked.contains(id)) {
                body.AddCorners(QuadOf(SeeSquare(pose, shape.CentreOf(id), shape.embedded)), true);
            }
        }
        body.Thres().m_iNrOfCols = shape.columns;
        body.Thres().m_iNrOfRows = shape.rows;
        body.Thres().m_iIdOfFirstMarkedSquare = shape.firstMarked;
    }

    /// World coordinates: the target's pitches, four corners a square.
    void SetWorldCoords()
    {
        for (int id = 1; id <= m_shape.columns * m_shape.rows; ++id) {
            for (const auto& corner : SeeSquare(IdentityPose(), m_shape.CentreOf(id), m_shape.side)) {
                body.WorldCoords().emplace_back(corner.onTarget.x, corner.onTarget.y, 0.0);
            }
        }
    }

    int TrueId(const LxCCalibMark* corner) const { return m_truth.at(corner).id; }
    Point TruePlace(const LxCCalibMark* corner) const { return m_truth.at(corner).onTarget; }

    int TrueId(const LxCCBRect& rect) const { return TrueId(rect.GetULCorner()); }

    /// Squares with their true id, with another id, and with none.
    struct Count
    {
        int right = 0;
        int wrong = 0;
        int none = 0;
    };

    Count CountIds() const
    {
        Count count;
        for (const LxCCBRect* const rect : body.GetRects()) {
            const int id = rect->GetId();
            ++(id == 0 ? count.none : id == TrueId(*rect) ? count.right : count.wrong);
        }
        return count;
    }

    CBoardProbe body;

private:
    struct Truth
    {
        int id;
        Point onTarget;
    };

    static BoardPose IdentityPose()
    {
        BoardPose pose;
        pose.pitch = 1.0;
        return pose;
    }

    BoardShape m_shape;
    std::map<const LxCCalibMark*, Truth> m_truth;
};

} // namespace LxCV::TestSupport

// How ids spread from square to square of a checkerboard target.
#include "checkerboardorientation.h"
#include "floattointeger.h"
#include "lxccbcalibbody.h"
#include "lxccbrect.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace LxCV {

namespace {

// How far a search reaches, in units of a square, in the first half of the passes and in the second one, and how far
// (pixels) corners lie from the grid line.
constexpr double c_dReach = 1.3;
constexpr double c_dLateReach = 2.3;
constexpr double c_dDeviation = 5.0;
constexpr double c_dReachFishEye = 1.1;
constexpr double c_dLateReachFishEye = 1.2;
constexpr double c_dDeviationFishEye = 15.0;

// Passes after which a phase ends even if it does not repeat itself. A valid square gets an id once and, if it loses it,
// is invalid from then on, so that there are at most two passes a square in which this happens. What still changes are
// squares that were undone, most often in cycles of two passes; only cycles of different lengths side by side can last
// longer than this.
constexpr std::size_t c_MinPassLimit = 1000;
constexpr std::size_t c_PassLimitPerSquare = 8;

/// Whether an id is one that a square can have.
bool IsId(std::int64_t id)
{
    return id >= std::numeric_limits<int>::min() && id <= std::numeric_limits<int>::max();
}

/// The geometry of the target that ids spread over.
struct SGrid
{
    int columns;
    int rows;
    ECalibOrientation orientation;

    bool GoesOn(int id, EDirection direction) const
    {
        return LxCCBCalibBody::IsSpace(id, columns, rows, orientation, direction);
    }

    /// What an id changes by for one square in a direction of the image.
    std::int64_t Step(EDirection direction) const
    {
        const CheckerboardIdSteps steps = GetCheckerboardIdSteps(orientation, columns);
        switch (direction) {
        case eD_Left:
            return -steps.x;
        case eD_Right:
            return steps.x;
        case eD_Up:
            return -steps.y;
        case eD_Down:
            break;
        }
        return steps.y;
    }
};

/// How neighbours are searched.
struct SSearch
{
    double reach;     ///< units of a square
    double deviation; ///< pixels
    bool relaxed;
};

/// Gives the next square in one direction its id and its units, if there is one. `horUnit` and `verUnit` are those that
/// the square had before the pass came to it.
void SpreadTowards(const LxCCBRect& from, EDirection direction, double horUnit, double verUnit,
                   const std::vector<LxCCBRect*>& squares, const SGrid& grid, const SSearch& search)
{
    const int id = from.GetId();
    if (!grid.GoesOn(id, direction)) {
        return;
    }
    const bool inRow = direction == eD_Left || direction == eD_Right;
    const bool backward = direction == eD_Left || direction == eD_Up;
    const double unit = inRow ? horUnit : verUnit;
    const double limit = unit * search.reach;
    const int index = inRow
                          ? from.FindHorNeighbor(&squares, !backward, limit, search.deviation, search.relaxed)
                          : from.FindVerNeighbor(&squares, backward, limit, search.deviation, search.relaxed);
    if (index < 0) {
        return;
    }
    LxCCBRect& hit = *squares[static_cast<std::size_t>(index)];
    const double toSquare = inRow ? hit.GetXDist(&from) : hit.GetYDist(&from);
    const double distance = backward ? toSquare : -toSquare;
    const int squaresAway = std::max(1, TruncateTo<int>(distance / unit + 0.5));
    const std::int64_t hitId = id + grid.Step(direction) * squaresAway;
    if (!IsId(hitId)) {
        return;
    }
    hit.SetId(static_cast<int>(hitId));
    const double hitUnit = distance / squaresAway;
    hit.SetDistUnits(inRow ? hitUnit : horUnit, inRow ? verUnit : hitUnit);
}

/// Goes once through all squares. Squares that get an id spread it in the same pass if they stand further on.
void SpreadOnce(const std::vector<LxCCBRect*>& squares, const SGrid& grid, const SSearch& search)
{
    for (const LxCCBRect* const square : squares) {
        if (square->GetId() == 0 || square->IsInvalid()) {
            continue;
        }
        const double horUnit = square->GetHorDistUnit();
        const double verUnit = square->GetVerDistUnit();
        for (const EDirection direction : {eD_Left, eD_Right, eD_Up, eD_Down}) {
            SpreadTowards(*square, direction, horUnit, verUnit, squares, grid, search);
        }
    }
}

/// What a pass makes of a square, bit by bit, so that what is no number compares equal too.
struct SSquareState
{
    int id;
    bool isInvalid;
    std::uint64_t horUnit;
    std::uint64_t verUnit;

    bool operator==(const SSquareState&) const = default;
};

std::vector<SSquareState> StateOf(const std::vector<LxCCBRect*>& squares)
{
    std::vector<SSquareState> state;
    state.reserve(squares.size());
    for (const LxCCBRect* const square : squares) {
        state.push_back({square->GetId(), square->IsInvalid(),
                         std::bit_cast<std::uint64_t>(square->GetHorDistUnit()),
                         std::bit_cast<std::uint64_t>(square->GetVerDistUnit())});
    }
    return state;
}

/// Runs a number of equal passes, with their result but without running those that only repeat earlier ones.
///
/// A pass depends on the squares' state alone (squares become invalid but never valid again). So once a state comes
/// back, of the passes that are left only the remainder by the length of the cycle counts, which is most often one
/// pass: nothing changes any more. The state that is waited for is replaced after 1, 2, 4, ... passes.
template <typename Pass>
void RunPasses(std::size_t passes, const std::vector<LxCCBRect*>& squares, const Pass& pass)
{
    std::size_t left = std::min(passes, c_MinPassLimit + c_PassLimitPerSquare * squares.size());
    std::vector<SSquareState> awaited = StateOf(squares);
    std::size_t sinceAwaited = 0;
    std::size_t renewal = 1;
    bool isCycle = false;
    while (left > 0) {
        pass();
        --left;
        --passes;
        ++sinceAwaited;
        if (isCycle) {
            continue;
        }
        std::vector<SSquareState> state = StateOf(squares);
        if (state == awaited) {
            isCycle = true;
            left = passes % sinceAwaited;
        } else if (sinceAwaited == renewal) {
            awaited = std::move(state);
            sinceAwaited = 0;
            renewal *= 2;
        }
    }
}

/// The mean of the distances to the neighbours that are there; `unit` without any.
double UnitFromNeighbors(const LxCCBRect* before, const LxCCBRect& rect, const LxCCBRect* behind,
                         double (LxCCBRect::*distance)(const LxCCBRect*) const, double unit)
{
    const double toBefore = before == nullptr ? 0.0 : (before->*distance)(&rect);
    const double toBehind = behind == nullptr ? 0.0 : (rect.*distance)(behind);
    if (before == nullptr && behind == nullptr) {
        return unit;
    }
    return before != nullptr && behind != nullptr ? (toBefore + toBehind) / 2.0 : toBefore + toBehind;
}

} // namespace

bool LxCCBCalibBody::IsSpace(int id, int columns, int rows, ECalibOrientation orientation,
                             EDirection direction)
{
    return HasNeighborInImage(id, columns, rows, orientation, direction);
}

ECalibError LxCCBCalibBody::PropagateRectIds(int columns, int rows)
{
    const LxCCalibThres& thres = GetThresOrDefaults();
    const bool fishEye = thres.m_bFishEyeLens;
    const double deviation = fishEye ? c_dDeviationFishEye : c_dDeviation;
    const SSearch early{fishEye ? c_dReachFishEye : c_dReach, deviation, fishEye};
    const SSearch late{fishEye ? c_dLateReachFishEye : c_dLateReach, deviation, fishEye};
    const SGrid grid{columns, rows, m_eOrientation};
    const auto passWith = [&](const SSearch& search) {
        return [this, &grid, &search] {
            SpreadOnce(m_vRects, grid, search);
            DoubleCheckIds(grid.columns, grid.rows);
            for (LxCCBRect* const rect : m_vRects) {
                UpdateDistUnits(*rect, m_vRects, grid.columns, grid.rows, grid.orientation);
            }
        };
    };
    const auto passes = static_cast<std::size_t>(std::max(0, thres.m_iMaxIterationsPropIDs));
    RunPasses(passes / 2, m_vRects, passWith(early));
    RunPasses(passes - passes / 2, m_vRects, passWith(late));
    return eCalibOk;
}

ECalibError LxCCBCalibBody::DoubleCheckIds(int columns, int rows)
{
    const std::int64_t last = std::int64_t{columns} * rows;
    std::vector<int> ids;
    for (const LxCCBRect* const rect : m_vRects) {
        if (rect->GetId() != 0) {
            ids.push_back(rect->GetId());
        }
    }
    std::sort(ids.begin(), ids.end());
    for (LxCCBRect* const rect : m_vRects) {
        const int id = rect->GetId();
        const auto [first, end] = std::equal_range(ids.begin(), ids.end(), id);
        if (id != 0 && (id < 0 || id > last || end - first > 1)) {
            rect->SetId(0);
            rect->MakeInvalid();
        }
    }
    return eCalibOk;
}

void LxCCBCalibBody::UpdateDistUnits(LxCCBRect& rect, const std::vector<LxCCBRect*>& list, int columns,
                                     int rows, ECalibOrientation orientation)
{
    const int id = rect.GetId();
    if (id < 1) {
        return;
    }
    const SGrid grid{columns, rows, orientation};
    const auto neighbor = [&](EDirection direction) -> const LxCCBRect* {
        const std::int64_t neighborId = id + grid.Step(direction);
        // Squares without an id all have the id 0.
        return grid.GoesOn(id, direction) && neighborId > 0 && IsId(neighborId)
                   ? FindRect(list, static_cast<int>(neighborId))
                   : nullptr;
    };
    rect.SetHorDistUnit(UnitFromNeighbors(neighbor(eD_Left), rect, neighbor(eD_Right), &LxCCBRect::GetXDist,
                                          rect.GetHorDistUnit()));
    rect.SetVerDistUnit(UnitFromNeighbors(neighbor(eD_Up), rect, neighbor(eD_Down), &LxCCBRect::GetYDist,
                                          rect.GetVerDistUnit()));
}

} // namespace LxCV

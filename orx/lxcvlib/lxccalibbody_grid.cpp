// Ids that spread from identified marks over a grid of marks.
#include "lxccalibbody.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

namespace LxCV {

namespace {

constexpr double c_dSafetyFactor =
    2.0; // of the inverse distortion table: marks lie about the image's border too

constexpr bool FitsInt(std::int64_t id)
{
    return id >= std::numeric_limits<int>::min() && id <= std::numeric_limits<int>::max();
}

/// A grid that is numbered row by row from 1, in 64 bits, so that no id overflows.
class CGrid
{
public:
    CGrid(int columns, int rows)
        : m_iColumns(std::abs(std::int64_t{columns})),
          m_iLast(std::min<std::int64_t>(std::int64_t{columns} * rows, std::numeric_limits<int>::max()))
    {}

    bool Contains(std::int64_t id) const { return id >= 1 && id <= m_iLast; }
    std::int64_t ColumnOf(std::int64_t id) const { return (id - 1) % m_iColumns + 1; }

    /// How many steps from `id` to `next`, both on the grid, go on in one direction of columns without reaching the
    /// column `border`, and stay on the grid; all of them pass the test of columns if the first does.
    std::int64_t CountSureSteps(std::int64_t id, std::int64_t step, std::int64_t border) const
    {
        const std::int64_t toEnd = (step > 0 ? m_iLast - id : id - 1) / std::abs(step);
        const std::int64_t stride = ColumnOf(id + step) - ColumnOf(id);
        if (stride == 0 || border < 1) { // a column that is none bars nothing
            return toEnd;
        }
        const std::int64_t column = ColumnOf(id);
        std::int64_t room = stride > 0 ? m_iColumns - column : column - 1;
        if ((stride > 0) == (border > column)) {
            room = std::min(room, std::abs(border - column) - 1);
        }
        return std::min(toEnd, room / std::abs(stride));
    }

private:
    std::int64_t m_iColumns;
    std::int64_t m_iLast;
};

/// Where to look for a neighbour of an identified mark.
struct SDirection
{
    std::int64_t columns; ///< -1, 0 or 1
    std::int64_t rows;    ///< -1, 0 or 1
    std::size_t flag;     ///< which says that the line through mark and neighbour was followed
};

constexpr std::array<SDirection, 8> c_aDirections{
    {{-1, 0, 0}, {1, 0, 0}, {0, 1, 1}, {0, -1, 1}, {-1, -1, 2}, {1, 1, 2}, {1, -1, 3}, {-1, 1, 3}}};

/// Whether a mark in column `column` and row `row`, from 0, may have a neighbour there. Steps back are deliberately not
/// taken from the second column or row, and steps forward also from the last: identification has always gone so.
constexpr bool HasNeighbor(const SDirection& direction, std::int64_t column, std::int64_t row, int columns,
                           int rows)
{
    const auto isAllowed = [](std::int64_t step, std::int64_t place, int count) {
        return step == 0 || (step < 0 ? place >= 2 : place < count);
    };
    return isAllowed(direction.columns, column, columns) && isAllowed(direction.rows, row, rows);
}

} // namespace

void LxCCalibBody::EstimateNewPosition(LxCCalibMark* const marks[2], double* x, double* y)
{
    if (marks == nullptr || marks[0] == nullptr || marks[1] == nullptr || x == nullptr || y == nullptr) {
        return;
    }
    LxCSensorCoordsCCT a(marks[0]->GetXImg(), marks[0]->GetYImg());
    LxCSensorCoordsCCT b(marks[1]->GetXImg(), marks[1]->GetYImg());
    const double kappa2 = GetThresOrDefaults().m_dPseudoKappa2Tsai;
    if (kappa2 == 0.0 || m_pIntrinsicParams == nullptr) {
        *x = 2 * b.x - a.x;
        *y = 2 * b.y - a.y;
        return;
    }
    LxCIntrinsicParams& lens = *m_pIntrinsicParams;
    if (lens.GetKappa2() != kappa2) {
        lens.SetKappas(lens.GetKappa1(), kappa2, lens.GetKappa3(), lens.GetKappa4());
        lens.ComputeInverseDistLUT(c_dSafetyFactor);
    }
    lens.DisImageToUndisImageCoords(a.x, a.y, &a.x, &a.y);
    lens.DisImageToUndisImageCoords(b.x, b.y, &b.x, &b.y);
    lens.UndisImageToDisImageCoords(2 * b.x - a.x, 2 * b.y - a.y, x, y);
}

int LxCCalibBody::CompPropLimit(int from, int to, int columns, int rows)
{
    if (from == to || columns == 0) {
        return 0;
    }
    const CGrid grid(columns, rows);
    const std::int64_t step = std::int64_t{to} - from;
    const std::int64_t border = grid.ColumnOf(from);
    const std::int64_t d = grid.ColumnOf(to) - border;
    const auto goesOn = [&](std::int64_t id) {
        const std::int64_t column = grid.ColumnOf(id);
        return grid.Contains(id) && !(d < 0 && column >= border) && !(d > 0 && column <= border);
    };
    std::int64_t id = to;
    while (goesOn(id + step)) {
        // On a huge grid single steps would take minutes.
        id += step;
        if (goesOn(id + step)) {
            id += step * std::max<std::int64_t>(grid.CountSureSteps(id, step, border), 0);
        }
    }
    return static_cast<int>(id);
}

ECalibError LxCCalibBody::PropagateIdsFromSeeds(LxCCalibMark* const seeds[2], double tolerance, int lowest,
                                                int highest)
{
    if (seeds == nullptr || seeds[0] == nullptr || seeds[1] == nullptr || seeds[0]->GetId() == 0 ||
        seeds[1]->GetId() == 0 || seeds[0]->GetId() == seeds[1]->GetId()) {
        return eCalibNotDone;
    }
    const std::int64_t step = std::int64_t{seeds[1]->GetId()} - seeds[0]->GetId();
    ExtendLine(seeds[0], seeds[1], step, tolerance, lowest, highest);
    ExtendLine(seeds[1], seeds[0], -step, tolerance, lowest, highest);
    return eCalibOk;
}

void LxCCalibBody::ExtendLine(LxCCalibMark* previous, LxCCalibMark* current, std::int64_t step,
                              double tolerance, int lowest, int highest)
{
    // Each mark gets one id at most; the bound is for classes of marks that keep to ids of their own.
    for (std::size_t i = 0; i < m_vMarks.size(); ++i) {
        const std::int64_t next = current->GetId() + step;
        if (next < lowest || next > highest || FindCalibMarkIndex(static_cast<int>(next)) >= 0) {
            return;
        }
        LxCCalibMark* const lastTwo[2] = {previous, current};
        double x = 0.0;
        double y = 0.0;
        EstimateNewPosition(lastTwo, &x, &y);
        LxCCalibMark* const found = FindCalibMark(x, y, tolerance);
        if (found == nullptr || (found->GetId() != 0 && found->GetId() != next)) {
            return;
        }
        found->SetId(static_cast<int>(next));
        previous = current;
        current = found;
    }
}

ECalibError LxCCalibBody::PropagateIdsOverGrid(int columns, int rows, double tolerance, int passes)
{
    if (columns < 1 || rows < 1) {
        return eCalibNotDone;
    }
    try {
        std::vector<LineFlags> followed(m_vMarks.size(), LineFlags{});
        // A pass that follows no line leaves nothing for the next.
        for (int pass = 0; pass < passes && FollowLines(columns, rows, tolerance, followed); ++pass) {
        }
    } catch (const std::bad_alloc&) {
        return eCalibNoMemory;
    }
    return eCalibOk;
}

bool LxCCalibBody::FollowLines(int columns, int rows, double tolerance, std::vector<LineFlags>& followed)
{
    bool anyFollowed = false;
    for (std::size_t i = 0; i < m_vMarks.size(); ++i) {
        LxCCalibMark* const mark = m_vMarks[i];
        if (mark->GetId() == 0 || mark->IsInvalid()) {
            continue;
        }
        const std::int64_t id = mark->GetId();
        const std::int64_t row = (id - 1) / columns;
        const std::int64_t column = (id - 1) % columns;
        for (const SDirection& direction : c_aDirections) {
            const std::int64_t neighborId = id + direction.columns + direction.rows * columns;
            if (!HasNeighbor(direction, column, row, columns, rows) || followed[i][direction.flag] ||
                !FitsInt(neighborId)) {
                continue;
            }
            const int index = FindCalibMarkIndex(static_cast<int>(neighborId));
            if (index < 0 || followed[static_cast<std::size_t>(index)][direction.flag]) {
                continue;
            }
            LxCCalibMark* const seeds[2] = {mark, m_vMarks[static_cast<std::size_t>(index)]};
            const int limits[2] = {CompPropLimit(seeds[0]->GetId(), seeds[1]->GetId(), columns, rows),
                                   CompPropLimit(seeds[1]->GetId(), seeds[0]->GetId(), columns, rows)};
            PropagateIdsFromSeeds(seeds, tolerance, std::min(limits[0], limits[1]),
                                  std::max(limits[0], limits[1]));
            followed[i][direction.flag] = true;
            followed[static_cast<std::size_t>(index)][direction.flag] = true;
            anyFollowed = true;
        }
    }
    return anyFollowed;
}

} // namespace LxCV

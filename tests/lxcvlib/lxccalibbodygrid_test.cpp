#include "lxccalibbody.h"

#include "tests/lxcvlib/calibbodytestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CPlainTarget;

constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The end of a line of ids

TEST(LxCCalibBodyCompPropLimit, EndsAtTheEndOfTheRow)
{
    EXPECT_EQ(LxCCalibBody::CompPropLimit(5, 6, 8, 7), 8);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(6, 5, 8, 7), 1);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(9, 10, 8, 7), 16);
}

TEST(LxCCalibBodyCompPropLimit, EndsAtTheEndOfTheColumn)
{
    EXPECT_EQ(LxCCalibBody::CompPropLimit(5, 13, 8, 7), 53);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(53, 45, 8, 7), 5);
}

TEST(LxCCalibBodyCompPropLimit, EndsADiagonalAtEitherBorder)
{
    EXPECT_EQ(LxCCalibBody::CompPropLimit(1, 10, 8, 7), 55); // seven rows down, column 7
    EXPECT_EQ(LxCCalibBody::CompPropLimit(3, 12, 8, 7), 48); // column 8
    EXPECT_EQ(LxCCalibBody::CompPropLimit(3, 10, 8, 7), 17); // column 1, then 24 would be column 8
}

TEST(LxCCalibBodyCompPropLimit, IsTheSecondIdWhereTheLineEndsThere)
{
    EXPECT_EQ(LxCCalibBody::CompPropLimit(7, 8, 8, 7), 8);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(1, 9, 8, 2), 9);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(1, 100, 8, 7), 100);
}

TEST(LxCCalibBodyCompPropLimit, GoesRoundARowAsLongAsItStaysOffTheFirstColumn)
{
    // Columns 2, 5, 8, then 11 in column 3: still beyond column 2. 14 is in column 6, 17 in column 1.
    EXPECT_EQ(LxCCalibBody::CompPropLimit(2, 5, 8, 7), 14);
}

TEST(LxCCalibBodyCompPropLimit, OfNoLineIs0)
{
    EXPECT_EQ(LxCCalibBody::CompPropLimit(5, 5, 8, 7), 0);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(5, 6, 0, 7), 0);
}

/// Step by step, as the definition tells.
int WalkToLimit(int from, int to, int columns, int rows)
{
    if (from == to) {
        return 0;
    }
    const auto columnOf = [columns](std::int64_t id) { return (id - 1) % columns + 1; };
    const std::int64_t step = std::int64_t{to} - from;
    const std::int64_t d = columnOf(to) - columnOf(from);
    std::int64_t id = to;
    for (;;) {
        const std::int64_t next = id + step;
        if (next < 1 || next > std::int64_t{columns} * rows || (d < 0 && columnOf(next) >= columnOf(from)) ||
            (d > 0 && columnOf(next) <= columnOf(from))) {
            return static_cast<int>(id);
        }
        id = next;
    }
}

TEST(LxCCalibBodyCompPropLimit, EqualsAWalkStepByStepForAllPairsOfSmallGrids)
{
    for (int columns = 1; columns <= 9; ++columns) {
        for (int rows = 1; rows <= 5; ++rows) {
            const int last = columns * rows;
            for (int from = -2; from <= last + 3; ++from) {
                for (int to = -2; to <= last + 3; ++to) {
                    if (from != to) {
                        ASSERT_EQ(LxCCalibBody::CompPropLimit(from, to, columns, rows),
                                  WalkToLimit(from, to, columns, rows))
                            << from << " to " << to << " on " << columns << " x " << rows;
                    }
                }
            }
        }
    }
}

TEST(LxCCalibBodyCompPropLimit, EqualsAWalkStepByStepForRandomPairsOfLargeGrids)
{
    std::mt19937 random(11);
    for (int trial = 0; trial < 5000; ++trial) {
        const int columns = 1 + static_cast<int>(random() % 300);
        const int rows = 1 + static_cast<int>(random() % 300);
        const auto last = static_cast<unsigned>(columns * rows);
        const int from = 1 + static_cast<int>(random() % last);
        const int to = 1 + static_cast<int>(random() % last);
        if (from != to) {
            ASSERT_EQ(LxCCalibBody::CompPropLimit(from, to, columns, rows),
                      WalkToLimit(from, to, columns, rows))
                << from << " to " << to << " on " << columns << " x " << rows;
        }
    }
}

TEST(LxCCalibBodyCompPropLimit, ComesToAnEndForAnyNumbers)
{
    const std::vector<int> numbers{c_iMin, c_iMin + 1, -46341,        -2,         -1,    0, 1, 2, 3, 46340,
                                   46341,  1 << 30,    (1 << 30) + 1, c_iMax - 1, c_iMax};
    for (const int from : numbers) {
        for (const int to : numbers) {
            for (const int columns : numbers) {
                for (const int rows : {c_iMin, -1, 0, 1, 46341, c_iMax}) {
                    LxCCalibBody::CompPropLimit(from, to, columns, rows);
                }
            }
        }
    }
    EXPECT_EQ(LxCCalibBody::CompPropLimit(1, 2, c_iMax, c_iMax), c_iMax);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(c_iMax, c_iMax - 1, c_iMax, 1), 1);
    EXPECT_EQ(LxCCalibBody::CompPropLimit(1, 3, 2, c_iMax), c_iMax);
}

// The next position on a line

TEST(LxCCalibBodyEstimate, GoesOnInAStraightLineWithoutDistortion)
{
    CPlainTarget target;
    LxCCalibMark* const marks[2] = {target.AddMark(10.0, 20.0), target.AddMark(13.0, 18.5)};
    double x = 0.0;
    double y = 0.0;
    target.EstimateNewPosition(marks, &x, &y);
    EXPECT_EQ(x, 16.0);
    EXPECT_EQ(y, 17.0);
}

TEST(LxCCalibBodyEstimate, GoesOnInAStraightLineWithoutALens)
{
    CPlainTarget target;
    target.m_pThres->m_dPseudoKappa2Tsai = 0.01;
    target.m_pIntrinsicParams.reset();
    LxCCalibMark* const marks[2] = {target.AddMark(0.0, 0.0), target.AddMark(1.0, 2.0)};
    double x = 0.0;
    double y = 0.0;
    target.EstimateNewPosition(marks, &x, &y);
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 4.0);
}

TEST(LxCCalibBodyEstimate, GoesOnInAStraightLineWithoutThresholds)
{
    CPlainTarget target(false);
    LxCCalibMark* const marks[2] = {target.AddMark(0.0, 0.0), target.AddMark(1.0, 2.0)};
    double x = 0.0;
    double y = 0.0;
    target.EstimateNewPosition(marks, &x, &y);
    EXPECT_EQ(x, 2.0);
}

TEST(LxCCalibBodyEstimate, WithoutAMarkOrAPlaceChangesNothing)
{
    CPlainTarget target;
    LxCCalibMark* const mark = target.AddMark(1.0, 2.0);
    LxCCalibMark* const first[2] = {nullptr, mark};
    LxCCalibMark* const second[2] = {mark, nullptr};
    LxCCalibMark* const both[2] = {mark, mark};
    double x = -1.0;
    target.EstimateNewPosition(nullptr, &x, &x);
    target.EstimateNewPosition(first, &x, &x);
    target.EstimateNewPosition(second, &x, &x);
    target.EstimateNewPosition(both, nullptr, &x);
    target.EstimateNewPosition(both, &x, nullptr);
    EXPECT_EQ(x, -1.0);
}

constexpr double c_dCenterX = 329.0;
constexpr double c_dCenterY = 247.0;
constexpr double c_dPitch = 0.01;  // mm per pixel
constexpr double c_dKappa2 = 0.03; // 1/mm^2: a third of a radius of 3.3 mm

/// A pixel of the undistorted image where the lens images it: undistorted = distorted (1 + kappa2 r^2) in mm, solved by
/// Newton's method.
void Distort(double& x, double& y)
{
    const double xu = (x - c_dCenterX) * c_dPitch;
    const double yu = (y - c_dCenterY) * c_dPitch;
    const double undistorted = std::hypot(xu, yu);
    double r = undistorted;
    for (int i = 0; i < 50; ++i) {
        r -= (r * (1.0 + c_dKappa2 * r * r) - undistorted) / (1.0 + 3.0 * c_dKappa2 * r * r);
    }
    const double ratio = undistorted == 0.0 ? 1.0 : r / undistorted;
    x = c_dCenterX + xu * ratio / c_dPitch;
    y = c_dCenterY + yu * ratio / c_dPitch;
}

void SetLens(CPlainTarget& target)
{
    target.m_pThres->m_dPseudoKappa2Tsai = c_dKappa2;
    target.m_pIntrinsicParams->SetPrincipalPoint(c_dCenterX, c_dCenterY);
}

/// The table of inverse distortion interpolates: its error is well below a hundredth of a pixel.
constexpr double kTableTolerance = 0.01;

TEST(LxCCalibBodyEstimate, GoesOnInAStraightLineOfTheUndistortedImage)
{
    CPlainTarget target;
    SetLens(target);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> start(-150.0, 150.0);
    std::uniform_real_distribution<double> stride(-60.0, 60.0);
    for (int trial = 0; trial < 500; ++trial) {
        target.Reset();
        const double x0 = c_dCenterX + start(random);
        const double y0 = c_dCenterY + start(random);
        const double dx = stride(random);
        const double dy = stride(random);
        std::vector<std::pair<double, double>> line;
        for (int i = 0; i < 3; ++i) {
            line.emplace_back(x0 + i * dx, y0 + i * dy);
            Distort(line.back().first, line.back().second);
        }
        LxCCalibMark* const marks[2] = {target.AddMark(line[0].first, line[0].second),
                                        target.AddMark(line[1].first, line[1].second)};
        double x = kNaN;
        double y = kNaN;
        target.EstimateNewPosition(marks, &x, &y);
        ASSERT_NEAR(x, line[2].first, kTableTolerance) << trial;
        ASSERT_NEAR(y, line[2].second, kTableTolerance) << trial;
    }
}

TEST(LxCCalibBodyEstimate, TakesTheDistortionOfTheThresholdsAndKeepsTheOtherCoefficients)
{
    CPlainTarget target;
    SetLens(target);
    target.m_pIntrinsicParams->SetKappas(0.0, 0.5, 0.0, 1e-5);
    LxCCalibMark* const marks[2] = {target.AddMark(300.0, 200.0), target.AddMark(310.0, 200.0)};
    double x = 0.0;
    double y = 0.0;
    target.EstimateNewPosition(marks, &x, &y);
    EXPECT_EQ(target.m_pIntrinsicParams->GetKappa2(), c_dKappa2);
    EXPECT_EQ(target.m_pIntrinsicParams->GetKappa4(), 1e-5);
    EXPECT_TRUE(target.m_pIntrinsicParams->HasInverseDistLUT());
}

// Lines of marks

/// Marks in a row, 10 pixels apart, the first at x = 0.
std::vector<LxCCalibMark*> AddRow(CPlainTarget& target, int count)
{
    std::vector<LxCCalibMark*> row;
    for (int i = 0; i < count; ++i) {
        row.push_back(target.AddMark(10.0 * i, 0.0));
    }
    return row;
}

std::vector<int> IdsOf(const CPlainTarget& target)
{
    std::vector<int> ids;
    for (const LxCCalibMark* mark : target.GetCalibMarks()) {
        ids.push_back(mark->GetId());
    }
    return ids;
}

int Propagate(CPlainTarget& target, LxCCalibMark* a, LxCCalibMark* b, double tolerance, int lowest,
              int highest)
{
    LxCCalibMark* const seeds[2] = {a, b};
    return target.PropagateIdsFromSeeds(seeds, tolerance, lowest, highest);
}

TEST(LxCCalibBodySeeds, GoToBothSides)
{
    CPlainTarget target;
    const auto row = AddRow(target, 6);
    row[2]->SetId(20);
    row[3]->SetId(22);
    EXPECT_EQ(Propagate(target, row[2], row[3], 3.0, 1, 100), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{16, 18, 20, 22, 24, 26}));
}

TEST(LxCCalibBodySeeds, KeepToTheLimitsIncluded)
{
    CPlainTarget target;
    const auto row = AddRow(target, 6);
    row[2]->SetId(20);
    row[3]->SetId(21);
    EXPECT_EQ(Propagate(target, row[2], row[3], 3.0, 19, 22), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{0, 19, 20, 21, 22, 0}));
}

TEST(LxCCalibBodySeeds, StopAtAHole)
{
    CPlainTarget target;
    const auto row = AddRow(target, 6);
    row[4]->SetXImg(1000.0);
    row[1]->SetId(2);
    row[2]->SetId(3);
    EXPECT_EQ(Propagate(target, row[1], row[2], 3.0, 1, 100), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 3, 4, 0, 0}));
}

TEST(LxCCalibBodySeeds, StopWhereTheIdIsTaken)
{
    CPlainTarget target;
    const auto row = AddRow(target, 4);
    target.AddMark(500.0, 500.0, 3);
    row[0]->SetId(1);
    row[1]->SetId(2);
    EXPECT_EQ(Propagate(target, row[0], row[1], 3.0, 1, 100), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 0, 0, 3}));
}

TEST(LxCCalibBodySeeds, StopAtAMarkWithAnotherId)
{
    CPlainTarget target;
    const auto row = AddRow(target, 4);
    row[0]->SetId(1);
    row[1]->SetId(2);
    row[2]->SetId(9);
    EXPECT_EQ(Propagate(target, row[0], row[1], 3.0, 1, 100), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 9, 0}));
}

TEST(LxCCalibBodySeeds, FollowALineThatBendsWithinTheTolerance)
{
    CPlainTarget target;
    for (int i = 0; i < 12; ++i) {
        target.AddMark(20.0 * i, 0.5 * i * i); // second differences of 1 pixel
    }
    target.m_vMarks[0]->SetId(1);
    target.m_vMarks[1]->SetId(2);
    EXPECT_EQ(Propagate(target, target.m_vMarks[0], target.m_vMarks[1], 1.5, 1, 100), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(LxCCalibBodySeeds, NeedTwoDifferentIds)
{
    CPlainTarget target;
    const auto row = AddRow(target, 3);
    EXPECT_EQ(Propagate(target, row[0], row[1], 3.0, 1, 9), 1);
    row[0]->SetId(4);
    EXPECT_EQ(Propagate(target, row[0], row[1], 3.0, 1, 9), 1);
    EXPECT_EQ(Propagate(target, row[1], row[0], 3.0, 1, 9), 1);
    row[1]->SetId(4);
    EXPECT_EQ(Propagate(target, row[0], row[1], 3.0, 1, 9), 1);
    EXPECT_EQ(Propagate(target, nullptr, row[1], 3.0, 1, 9), 1);
    EXPECT_EQ(Propagate(target, row[1], nullptr, 3.0, 1, 9), 1);
    EXPECT_EQ(target.PropagateIdsFromSeeds(nullptr, 3.0, 1, 9), 1);
    EXPECT_EQ(row[2]->GetId(), 0);
}

TEST(LxCCalibBodySeeds, WithExtremeIdsComeToAnEnd)
{
    CPlainTarget target;
    const auto row = AddRow(target, 4);
    row[1]->SetId(c_iMin);
    row[2]->SetId(c_iMax);
    EXPECT_EQ(Propagate(target, row[1], row[2], 3.0, c_iMin, c_iMax), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{0, c_iMin, c_iMax, 0}));
}

TEST(LxCCalibBodySeeds, OfMarksThatKeepTheirIdsComeToAnEnd)
{
    /// Its id follows from elsewhere.
    class CStubbornMark : public LxCCalibMark
    {
    public:
        explicit CStubbornMark(int id) : m_iFixedId(id) {}
        std::unique_ptr<LxCCalibMark> Clone() const override
        {
            return std::make_unique<CStubbornMark>(*this);
        }
        int GetId() const override { return m_iFixedId; }

    private:
        int m_iFixedId;
    };
    CPlainTarget target;
    for (const int id : {1, 2, 0}) {
        target.m_vMarks.push_back(new CStubbornMark(id));
    }
    // All at one place, so that each estimate hits: the search would go on as far as the limit.
    target.m_vMarks[0]->SetXImg(1.0);
    target.m_vMarks[1]->SetXImg(0.5);
    EXPECT_EQ(Propagate(target, target.m_vMarks[0], target.m_vMarks[1], 5.0, c_iMin, c_iMax), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 0}));
}

// Grids

constexpr int c_iColumns = 8;
constexpr int c_iRows = 7;
constexpr double c_dGridPitch = 40.0; // pixels

/// A grid of marks with holes, turned a little; identified are those in `seeds`.
class CGridTarget : public CPlainTarget
{
public:
    CGridTarget(const std::set<int>& holes, const std::set<int>& seeds, bool isDistorted = false)
    {
        for (int id = 1; id <= c_iColumns * c_iRows; ++id) {
            if (holes.contains(id)) {
                continue;
            }
            const double column = (id - 1) % c_iColumns - 3.5;
            const double row = (id - 1) / c_iColumns - 3.0;
            double x = c_dCenterX + c_dGridPitch * column - 3.0 * row;
            double y = c_dCenterY + c_dGridPitch * row + 3.0 * column;
            if (isDistorted) {
                Distort(x, y);
            }
            m_Truth[AddMark(x, y, seeds.contains(id) ? id : 0)] = id;
        }
    }

    int GetTruth(const LxCCalibMark* mark) const { return m_Truth.at(mark); }

    /// The ids of marks that none was given to.
    std::set<int> GetUnreached() const
    {
        std::set<int> unreached;
        for (const LxCCalibMark* mark : m_vMarks) {
            if (mark->GetId() == 0) {
                unreached.insert(GetTruth(mark));
            }
        }
        return unreached;
    }

    void ExpectNoWrongId() const
    {
        for (const LxCCalibMark* mark : m_vMarks) {
            if (mark->GetId() != 0) {
                EXPECT_EQ(mark->GetId(), GetTruth(mark));
            }
        }
    }

private:
    std::map<const LxCCalibMark*, int> m_Truth;
};

TEST(LxCCalibBodyGrid, IsIdentifiedFromFourNeighbours)
{
    CGridTarget target({}, {28, 29, 36, 37});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
    EXPECT_EQ(target.GetUnreached(), std::set<int>{});
    target.ExpectNoWrongId();
}

TEST(LxCCalibBodyGrid, HasPlacesThatThreeNeighboursDoNotReach)
{
    // Lines end at identified marks, and each mark follows one line a direction: every second mark of some rows stays
    // between identified ones. The set comes from a model that was written apart.
    CGridTarget target({}, {28, 29, 36});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
    EXPECT_EQ(target.GetUnreached(),
              (std::set<int>{1, 3, 5, 7, 14, 16, 17, 19, 21, 23, 33, 35, 37, 39, 49, 51, 53, 55}));
    target.ExpectNoWrongId();
}

/// The rules told again, for marks at whole positions of a grid of cells, where a position is that of a mark or none.
class CLatticeModel
{
public:
    CLatticeModel(int columns, int rows, const std::set<int>& present, const std::set<int>& seeds)
        : m_iColumns(columns), m_iRows(rows)
    {
        for (const int id : present) {
            m_Ids[CellOf(id)] = seeds.contains(id) ? id : 0;
            m_vOrder.push_back(CellOf(id));
        }
    }

    void Run(int passes)
    {
        struct SNeighbor
        {
            bool isAsked;
            int id;
            int flag;
        };
        const int columns = m_iColumns;
        for (int pass = 0; pass < passes; ++pass) {
            for (const Cell& cell : m_vOrder) {
                const int id = m_Ids[cell];
                if (id == 0) {
                    continue;
                }
                const int r = (id - 1) / columns;
                const int c = (id - 1) % columns;
                const std::vector<SNeighbor> neighbors{{c >= 2, id - 1, 0},
                                                       {c < columns, id + 1, 0},
                                                       {r < m_iRows, id + columns, 1},
                                                       {r >= 2, id - columns, 1},
                                                       {c >= 2 && r >= 2, id - columns - 1, 2},
                                                       {c < columns && r < m_iRows, id + columns + 1, 2},
                                                       {c < columns && r >= 2, id - columns + 1, 3},
                                                       {c >= 2 && r < m_iRows, id + columns - 1, 3}};
                for (const SNeighbor& neighbor : neighbors) {
                    Cell other;
                    if (!neighbor.isAsked || m_Flags.contains({cell, neighbor.flag}) ||
                        !Find(neighbor.id, other) || m_Flags.contains({other, neighbor.flag})) {
                        continue;
                    }
                    const int ends[2] = {WalkToLimit(id, neighbor.id, columns, m_iRows),
                                         WalkToLimit(neighbor.id, id, columns, m_iRows)};
                    const int lowest = std::min(ends[0], ends[1]);
                    const int highest = std::max(ends[0], ends[1]);
                    Extend(cell, other, neighbor.id - id, lowest, highest);
                    Extend(other, cell, id - neighbor.id, lowest, highest);
                    m_Flags.insert({cell, neighbor.flag});
                    m_Flags.insert({other, neighbor.flag});
                }
            }
        }
    }

    std::vector<int> GetIds() const
    {
        std::vector<int> ids;
        for (const Cell& cell : m_vOrder) {
            ids.push_back(m_Ids.at(cell));
        }
        return ids;
    }

private:
    using Cell = std::pair<int, int>;

    Cell CellOf(int id) const { return {(id - 1) % m_iColumns, (id - 1) / m_iColumns}; }

    bool Find(int id, Cell& cell) const
    {
        for (const auto& [place, known] : m_Ids) {
            if (id != 0 && known == id) {
                cell = place;
                return true;
            }
        }
        return false;
    }

    void Extend(Cell a, Cell b, int step, int lowest, int highest)
    {
        for (;;) {
            const int next = m_Ids[b] + step;
            const Cell cell{2 * b.first - a.first, 2 * b.second - a.second};
            Cell ignored;
            const auto found = m_Ids.find(cell);
            if (next < lowest || next > highest || Find(next, ignored) || found == m_Ids.end() ||
                found->second != 0) {
                return;
            }
            found->second = next;
            a = b;
            b = cell;
        }
    }

    int m_iColumns;
    int m_iRows;
    std::map<Cell, int> m_Ids;
    std::vector<Cell> m_vOrder;
    std::set<std::pair<Cell, int>> m_Flags;
};

TEST(LxCCalibBodyGrid, IsIdentifiedAsTheRulesTellForRandomGridsHolesAndSeeds)
{
    std::mt19937 random(13);
    for (int trial = 0; trial < 400; ++trial) {
        const int columns = 1 + static_cast<int>(random() % 9);
        const int rows = 1 + static_cast<int>(random() % 8);
        std::set<int> present;
        std::set<int> seeds;
        for (int id = 1; id <= columns * rows; ++id) {
            if (random() % 8 != 0) {
                present.insert(id);
                if (random() % 6 == 0) {
                    seeds.insert(id);
                }
            }
        }
        CPlainTarget target;
        for (const int id : present) {
            target.AddMark(20.0 * ((id - 1) % columns), 20.0 * ((id - 1) / columns),
                           seeds.contains(id) ? id : 0);
        }
        const int passes = static_cast<int>(random() % 5);
        ASSERT_EQ(target.PropagateIdsOverGrid(columns, rows, 5.0, passes), 0);
        CLatticeModel model(columns, rows, present, seeds);
        model.Run(passes);
        ASSERT_EQ(IdsOf(target), model.GetIds()) << columns << " x " << rows << ", trial " << trial;
    }
}

TEST(LxCCalibBodyGrid, OfOnePairIsOneLine)
{
    CGridTarget target({}, {28, 29});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
    target.ExpectNoWrongId();
    EXPECT_EQ(target.GetUnreached().size(), 48U); // all but row 4: 25 to 32
    EXPECT_NE(target.FindCalibMark(25), nullptr);
    EXPECT_NE(target.FindCalibMark(32), nullptr);
}

TEST(LxCCalibBodyGrid, WithHolesIsIdentifiedAroundThem)
{
    CGridTarget target({11, 20, 22, 30, 37, 44, 45}, {27, 28, 29, 35, 36});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
    target.ExpectNoWrongId();
    EXPECT_EQ(target.GetUnreached(), std::set<int>{});
}

TEST(LxCCalibBodyGrid, HasNoWrongIdWhateverHolesItHas)
{
    std::mt19937 random(2);
    for (int trial = 0; trial < 200; ++trial) {
        std::set<int> holes;
        for (int i = 0; i < 20; ++i) {
            const int hole = 1 + static_cast<int>(random() % (c_iColumns * c_iRows));
            if (hole != 28 && hole != 29 && hole != 36) {
                holes.insert(hole);
            }
        }
        CGridTarget target(holes, {28, 29, 36});
        ASSERT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
        target.ExpectNoWrongId();
        ASSERT_FALSE(HasFailure()) << trial;
    }
}

TEST(LxCCalibBodyGrid, GoesNoFartherThanItsPasses)
{
    CGridTarget target({}, {28, 29, 36, 37});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 0), 0);
    EXPECT_EQ(target.GetUnreached().size(), 52U);
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, c_iMax), 0);
    EXPECT_EQ(target.GetUnreached().size(), 0U);
}

TEST(LxCCalibBodyGrid, InvalidMarksSpreadNoIds)
{
    CGridTarget target({}, {28, 29});
    target.FindCalibMark(28)->MakeInvalid();
    target.FindCalibMark(29)->MakeInvalid();
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 10), 0);
    EXPECT_EQ(target.GetUnreached().size(), 54U);
}

TEST(LxCCalibBodyGrid, LooksNotBackFromTheSecondColumn)
{
    // A row of three columns; 1 and 2 are identified. 2 lies in the second column: its neighbour to the left is not
    // asked for. 1 is in the first and finds 2 to the right. Where 1 is invalid, nothing is found.
    CPlainTarget target;
    const auto row = AddRow(target, 3);
    row[0]->SetId(1);
    row[1]->SetId(2);
    row[0]->MakeInvalid();
    EXPECT_EQ(target.PropagateIdsOverGrid(3, 1, 3.0, 5), 0);
    EXPECT_EQ(row[2]->GetId(), 0);
    row[0]->ToggleValidity();
    EXPECT_EQ(target.PropagateIdsOverGrid(3, 1, 3.0, 5), 0);
    EXPECT_EQ(row[2]->GetId(), 3);
}

TEST(LxCCalibBodyGrid, LooksBackFromTheThirdColumn)
{
    CPlainTarget target;
    const auto row = AddRow(target, 4);
    row[1]->SetId(2);
    row[2]->SetId(3);
    row[1]->MakeInvalid();
    EXPECT_EQ(target.PropagateIdsOverGrid(4, 1, 3.0, 5), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{1, 2, 3, 4}));
}

TEST(LxCCalibBodyGrid, LooksNotBackFromTheSecondRowButFromTheThird)
{
    CPlainTarget second;
    const auto marks = AddRow(second, 3); // the direction in the image does not matter
    marks[0]->SetId(1);
    marks[1]->SetId(3); // the second row of two columns
    marks[0]->MakeInvalid();
    EXPECT_EQ(second.PropagateIdsOverGrid(2, 3, 3.0, 5), 0);
    EXPECT_EQ(IdsOf(second), (std::vector<int>{1, 3, 0}));

    CPlainTarget third;
    const auto more = AddRow(third, 4);
    more[1]->SetId(3);
    more[2]->SetId(5); // the third row
    more[1]->MakeInvalid();
    EXPECT_EQ(third.PropagateIdsOverGrid(2, 4, 3.0, 5), 0);
    EXPECT_EQ(IdsOf(third), (std::vector<int>{1, 3, 5, 7}));
}

TEST(LxCCalibBodyGrid, LooksOverTheEndOfARow)
{
    // The step to the right is tried from the last column too: 4 and 5 of four columns count as neighbours. From column
    // 4 through column 1 the line may go on to column 3, from 5 through 4 back to column 2.
    CPlainTarget target;
    const auto row = AddRow(target, 6);
    row[3]->SetId(4);
    row[4]->SetId(5);
    EXPECT_EQ(target.PropagateIdsOverGrid(4, 3, 3.0, 1), 0);
    EXPECT_EQ(IdsOf(target), (std::vector<int>{0, 2, 3, 4, 5, 6}));
}

TEST(LxCCalibBodyGrid, DiagonalsSpreadIdsToo)
{
    CGridTarget target({}, {28, 37});
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 1), 0);
    target.ExpectNoWrongId();
    for (const int id : {1, 10, 19, 28, 37, 46, 55}) {
        EXPECT_NE(target.FindCalibMark(id), nullptr) << id;
    }
    CGridTarget other({}, {28, 35});
    EXPECT_EQ(other.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, 1), 0);
    other.ExpectNoWrongId();
    for (const int id : {7, 14, 21, 28, 35, 42, 49}) {
        EXPECT_NE(other.FindCalibMark(id), nullptr) << id;
    }
}

TEST(LxCCalibBodyGrid, OfADistortedImageIsIdentifiedWithTheDistortionAndNotWithoutIt)
{
    // Coarse cells near the border, where lines bend most, and a tolerance that holds for straight ones alone.
    constexpr double c_dTight = 0.5; // pixels
    CGridTarget straight({}, {28, 29, 36, 37}, true);
    EXPECT_EQ(straight.PropagateIdsOverGrid(c_iColumns, c_iRows, c_dTight, 10), 0);
    EXPECT_GT(straight.GetUnreached().size(), 0U);

    CGridTarget target({}, {28, 29, 36, 37}, true);
    SetLens(target);
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, c_dTight, 10), 0);
    EXPECT_EQ(target.GetUnreached(), std::set<int>{});
    target.ExpectNoWrongId();
}

TEST(LxCCalibBodyGrid, WithoutColumnsOrRowsIs1)
{
    CGridTarget target({}, {28, 29});
    for (const int none : {0, -1, c_iMin}) {
        EXPECT_EQ(target.PropagateIdsOverGrid(none, c_iRows, 5.0, 1), 1);
        EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, none, 5.0, 1), 1);
    }
}

TEST(LxCCalibBodyGrid, WithoutMarksIs0)
{
    CPlainTarget target;
    EXPECT_EQ(target.PropagateIdsOverGrid(c_iColumns, c_iRows, 5.0, c_iMax), 0);
}

TEST(LxCCalibBodyGrid, ExtremeIdsAndSizesComeToAnEnd)
{
    for (const int columns : {1, 2, 46341, c_iMax}) {
        for (const int rows : {1, 46341, c_iMax}) {
            CPlainTarget target;
            const auto row = AddRow(target, 6);
            row[0]->SetId(c_iMin);
            row[1]->SetId(c_iMin + 1);
            row[2]->SetId(-1);
            row[3]->SetId(c_iMax - 1);
            row[4]->SetId(c_iMax);
            row[5]->SetXImg(kNaN);
            EXPECT_EQ(target.PropagateIdsOverGrid(columns, rows, 15.0, c_iMax), 0);
        }
    }
}

} // namespace
} // namespace LxCV

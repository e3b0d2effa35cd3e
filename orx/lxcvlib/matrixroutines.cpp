// Gauss-Jordan elimination and closed-form roots.
#include "matrixroutines.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

namespace LxCV {

namespace {

/// Up to this size the bookkeeping of the elimination stays on the stack: rigid transforms are inverted often.
constexpr std::size_t c_uiStackSize = 6;

/// Where each pivot was found, and which columns have had theirs.
struct PivotRecord
{
    std::size_t* rows;
    std::size_t* columns;
    bool* used;
};

/// The element of largest magnitude in the rows and columns without a pivot. A NaN is never picked.
double FindPivot(const double* matrix, std::size_t n, const bool* used, std::size_t& row, std::size_t& column)
{
    double largest = 0.0;
    for (std::size_t r = 0; r < n; ++r) {
        if (used[r]) {
            continue;
        }
        for (std::size_t c = 0; c < n; ++c) {
            const double magnitude = std::abs(matrix[r * n + c]);
            if (!used[c] && magnitude > largest) {
                largest = magnitude;
                row = r;
                column = c;
            }
        }
    }
    return largest;
}

/// Subtracts `factor` times row `source` from row `target`.
void SubtractRow(double* values, std::size_t width, std::size_t target, std::size_t source, double factor)
{
    for (std::size_t c = 0; c < width; ++c) {
        values[target * width + c] -= values[source * width + c] * factor;
    }
}

void ScaleRow(double* values, std::size_t width, std::size_t row, double factor)
{
    for (std::size_t c = 0; c < width; ++c) {
        values[row * width + c] *= factor;
    }
}

/// Eliminates column `pivot` from all other rows; the column of the inverse grows in its place.
void EliminateColumn(double* matrix, std::size_t n, double* rightSides, std::size_t count, std::size_t pivot,
                     double reciprocal)
{
    matrix[pivot * n + pivot] = 1.0;
    ScaleRow(matrix, n, pivot, reciprocal);
    ScaleRow(rightSides, count, pivot, reciprocal);
    for (std::size_t r = 0; r < n; ++r) {
        if (r != pivot) {
            const double factor = std::exchange(matrix[r * n + pivot], 0.0);
            SubtractRow(matrix, n, r, pivot, factor);
            SubtractRow(rightSides, count, r, pivot, factor);
        }
    }
}

bool Eliminate(double* matrix, std::size_t n, double* rightSides, std::size_t count,
               const PivotRecord& record)
{
    std::fill_n(record.used, n, false);
    for (std::size_t step = 0; step < n; ++step) {
        std::size_t row = 0;
        std::size_t column = 0;
        const double magnitude = FindPivot(matrix, n, record.used, row, column);
        if (!(magnitude > 0.0) || !std::isfinite(magnitude)) {
            return false;
        }
        record.used[column] = true;
        record.rows[step] = row;
        record.columns[step] = column;
        if (row != column) {
            std::swap_ranges(matrix + row * n, matrix + (row + 1) * n, matrix + column * n);
            std::swap_ranges(rightSides + row * count, rightSides + (row + 1) * count,
                             rightSides + column * count);
        }
        const double reciprocal = 1.0 / matrix[column * n + column];
        if (!std::isfinite(reciprocal)) {
            return false;
        }
        EliminateColumn(matrix, n, rightSides, count, column, reciprocal);
    }
    // The rows were exchanged on the way, so the columns of the inverse are, in reverse order.
    for (std::size_t step = n; step-- > 0;) {
        for (std::size_t r = 0; r < n && record.rows[step] != record.columns[step]; ++r) {
            std::swap(matrix[r * n + record.rows[step]], matrix[r * n + record.columns[step]]);
        }
    }
    return true;
}

/// A polynomial of degree 3 and its derivative, coefficients in ascending order.
using Cubic = std::array<double, 4>;

double Evaluate(const Cubic& c, double x)
{
    return ((c[3] * x + c[2]) * x + c[1]) * x + c[0];
}
double EvaluateDerivative(const Cubic& c, double x)
{
    return (3.0 * c[3] * x + 2.0 * c[2]) * x + c[1];
}

/// One Newton step. Next to a double root both values are rounding noise; a step that leads away is not taken.
double Polish(const Cubic& c, double x)
{
    const double residual = Evaluate(c, x);
    const double polished = x - residual / EvaluateDerivative(c, x);
    return std::abs(Evaluate(c, polished)) <= std::abs(residual) ? polished : x;
}

/// Roots of a polynomial whose c[3] is not zero, in no special order.
int SolveProperCubic(const Cubic& c, double* roots)
{
    const double a = c[2] / c[3];
    const double b = c[1] / c[3];
    const double shift = a / 3.0;
    const double q = (a * a - 3.0 * b) / 9.0;
    const double r = (2.0 * a * a * a - 9.0 * a * b + 27.0 * (c[0] / c[3])) / 54.0;
    const double q3 = q * q * q;
    if (q > 0.0 && r * r <= q3) {
        const double angle = std::acos(std::clamp(r / std::sqrt(q3), -1.0, 1.0));
        for (int i = 0; i < 3; ++i) {
            roots[i] = -2.0 * std::sqrt(q) * std::cos((angle + 2.0 * i * std::numbers::pi) / 3.0) - shift;
        }
        return 3;
    }
    const double larger = -std::copysign(std::cbrt(std::abs(r) + std::sqrt(r * r - q3)), r);
    const double smaller = larger == 0.0 ? 0.0 : q / larger;
    roots[0] = larger + smaller - shift;
    return 1;
}

/// The closed form loses the roots that are small against the largest one. So a polynomial with a small leading
/// coefficient, where one root is about to leave for infinity, is solved for 1/x.
int SolveScaledCubic(const Cubic& c, double* roots)
{
    if (std::abs(c[3]) >= std::abs(c[0])) {
        const int count = SolveProperCubic(c, roots);
        std::transform(roots, roots + count, roots, [&c](double x) { return Polish(c, x); });
        return count;
    }
    const Cubic reversed = {c[3], c[2], c[1], c[0]};
    const int count = SolveProperCubic(reversed, roots);
    std::transform(roots, roots + count, roots, [&reversed](double y) { return 1.0 / Polish(reversed, y); });
    return count;
}

int SolveQuadratic(const Cubic& c, double* roots)
{
    const double discriminant = c[1] * c[1] - 4.0 * c[2] * c[0];
    if (!(discriminant > 0.0)) {
        return 0;
    }
    const double q = -0.5 * (c[1] + std::copysign(std::sqrt(discriminant), c[1]));
    roots[0] = Polish(c, q / c[2]);
    roots[1] = Polish(c, c[0] / q);
    return 2;
}

int SolveLinear(const Cubic& c, double* roots)
{
    if (c[1] == 0.0) {
        return 0;
    }
    roots[0] = Polish(c, -c[0] / c[1]);
    return 1;
}

} // namespace

bool SolveGaussJordan(double* matrix, int n, double* rightSides, int count)
{
    if (matrix == nullptr || n < 1 || count < 0 || (rightSides == nullptr && count > 0)) {
        return false;
    }
    const auto size = static_cast<std::size_t>(n);
    const auto width = static_cast<std::size_t>(count);
    double none = 0.0;
    double* const sides = rightSides != nullptr ? rightSides : &none;
    if (size <= c_uiStackSize) {
        std::size_t rows[c_uiStackSize];
        std::size_t columns[c_uiStackSize];
        bool used[c_uiStackSize];
        return Eliminate(matrix, size, sides, width, {rows, columns, used});
    }
    std::vector<std::size_t> rows(size);
    std::vector<std::size_t> columns(size);
    const auto used = std::make_unique<bool[]>(size);
    return Eliminate(matrix, size, sides, width, {rows.data(), columns.data(), used.get()});
}

bool InvertGaussJordan(double* matrix, int n)
{
    return SolveGaussJordan(matrix, n, nullptr, 0);
}

int SolveCubic(const double coefficients[4], double roots[3])
{
    if (coefficients == nullptr || roots == nullptr) {
        return 0;
    }
    Cubic c;
    std::copy_n(coefficients, c.size(), c.begin());
    if (!std::all_of(c.begin(), c.end(), [](double value) { return std::isfinite(value); })) {
        return 0;
    }
    double found[3] = {};
    const int count = c[3] != 0.0   ? SolveScaledCubic(c, found)
                      : c[2] != 0.0 ? SolveQuadratic(c, found)
                                    : SolveLinear(c, found);
    int kept = 0;
    for (int i = 0; i < count; ++i) {
        // Coefficients of extreme ratio overflow on the way; what came out of that is no root.
        if (std::isfinite(found[i])) {
            int place = kept++;
            for (; place > 0 && roots[place - 1] < found[i]; --place) {
                roots[place] = roots[place - 1];
            }
            roots[place] = found[i];
        }
    }
    return kept;
}

} // namespace LxCV

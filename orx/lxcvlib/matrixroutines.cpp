// Gauss-Jordan elimination, decompositions of symmetric matrices, linear least squares, and closed-form
// roots.
#include "matrixroutines.h"

#include "orx/btservices/btcriticalsection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <numbers>
#include <span>
#include <utility>
#include <vector>

namespace LxCV {

namespace {

/// Up to this size the bookkeeping of the elimination stays on the stack: rigid transforms are inverted
/// often.
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

/// Jacobi rotations converge quadratically after a few sweeps; this many never happen.
constexpr int c_iJacobiSweeps = 60;

/// The rotation in the plane (p, q) that makes element (p, q) zero.
struct JacobiRotation
{
    JacobiRotation(double pp, double pq, double qq)
    {
        const double theta = 0.5 * (qq - pp) / pq;
        const double magnitude = std::abs(theta);
        // Where the square would overflow, the one under the root has no digits left in it.
        const double root = magnitude < 1e150 ? std::sqrt(theta * theta + 1.0) : magnitude;
        tangent = std::copysign(1.0 / (magnitude + root), theta);
        const double cosine = 1.0 / std::sqrt(tangent * tangent + 1.0);
        sine = tangent * cosine;
        tau = sine / (1.0 + cosine);
    }

    void Apply(double& first, double& second) const
    {
        const double old = first;
        first -= sine * (second + old * tau);
        second += sine * (old - second * tau);
    }

    double tangent = 0.0;
    double sine = 0.0;
    double tau = 0.0; ///< tangent of half the angle
};

/// Rotates element (p, q) of the upper triangle to zero and takes the eigenvectors along.
void RotateToZero(double* matrix, std::size_t n, std::size_t p, std::size_t q, double* vectors)
{
    double& element = matrix[p * n + q];
    const JacobiRotation rotation(matrix[p * n + p], element, matrix[q * n + q]);
    matrix[p * n + p] -= rotation.tangent * element;
    matrix[q * n + q] += rotation.tangent * element;
    element = 0.0;
    const auto upper = [matrix, n](std::size_t r, std::size_t c) -> double& {
        return matrix[std::min(r, c) * n + std::max(r, c)];
    };
    for (std::size_t i = 0; i < n; ++i) {
        if (i != p && i != q) {
            rotation.Apply(upper(i, p), upper(i, q));
        }
        rotation.Apply(vectors[i * n + p], vectors[i * n + q]);
    }
}

/// One pass over the upper triangle. An element below the last digits of both its diagonal elements becomes
/// zero as it is.
/// @return whether there was anything to rotate
bool JacobiSweep(double* matrix, std::size_t n, double* vectors)
{
    bool rotated = false;
    for (std::size_t p = 0; p + 1 < n; ++p) {
        for (std::size_t q = p + 1; q < n; ++q) {
            double& element = matrix[p * n + q];
            const double first = std::abs(matrix[p * n + p]);
            const double second = std::abs(matrix[q * n + q]);
            const double hundredfold = 100.0 * std::abs(element);
            if (first + hundredfold == first && second + hundredfold == second) {
                element = 0.0;
            } else {
                RotateToZero(matrix, n, p, q, vectors);
                rotated = true;
            }
        }
    }
    return rotated;
}

/// Brings the eigenvalues, and the columns of the eigenvectors with them, into descending order.
void SortEigen(std::size_t n, double* values, double* vectors)
{
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const auto largest = static_cast<std::size_t>(std::max_element(values + i, values + n) - values);
        if (largest != i) {
            std::swap(values[i], values[largest]);
            for (std::size_t r = 0; r < n; ++r) {
                std::swap(vectors[r * n + i], vectors[r * n + largest]);
            }
        }
    }
}

/// Memory of one fit, taken and given back under one lock of the process, so that fits may run in concurrent
/// loops whatever allocator the host has put in place.
class FitScratch
{
public:
    explicit FitScratch(std::size_t size)
    {
        const std::lock_guard lock(Section());
        m_Values.reset(new (std::nothrow) double[size]());
    }
    ~FitScratch()
    {
        const std::lock_guard lock(Section());
        m_Values.reset();
    }
    FitScratch(const FitScratch&) = delete;
    FitScratch& operator=(const FitScratch&) = delete;

    /// Null if there was no memory.
    double* Get() const { return m_Values.get(); }

private:
    static BtCriticalSection& Section()
    {
        static BtCriticalSection s_section;
        return s_section;
    }

    std::unique_ptr<double[]> m_Values;
};

/// The map x -> (x - center) / halfWidth of the abscissae's range to -1 ... 1, where powers keep their
/// digits.
struct UnitRange
{
    double center;
    double halfWidth;
};

UnitRange FindUnitRange(std::span<const double> x)
{
    const auto [lowest, highest] = std::minmax_element(x.begin(), x.end());
    const double halfWidth = 0.5 * *highest - 0.5 * *lowest;
    return {0.5 * *lowest + 0.5 * *highest, halfWidth > 0.0 ? halfWidth : 1.0};
}

bool AllFinite(std::span<const double> values)
{
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

/// Whether `x` has as many different values as `needed` holds; `needed` is overwritten.
bool HasDistinct(std::span<const double> x, std::span<double> needed)
{
    std::size_t found = 0;
    for (std::size_t i = 0; i < x.size() && found < needed.size(); ++i) {
        const auto end = needed.begin() + static_cast<std::ptrdiff_t>(found);
        if (std::find(needed.begin(), end, x[i]) == end) {
            needed[found++] = x[i];
        }
    }
    return found == needed.size();
}

/// Adds `factor` times `addend` to `sum`, element by element.
void AddMultiple(std::span<double> sum, double factor, std::span<const double> addend)
{
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] += factor * addend[i];
    }
}

/// Fits by polynomials that are orthogonal over the abscissae t (Forsythe): p[k + 1] = (t - alpha) p[k] -
/// beta p[k - 1]. Each coefficient then is a quotient of two sums, and no ill-conditioned system is solved.
class OrthogonalFit
{
public:
    /// @param values 2 * count doubles of scratch, zero
    /// @param terms  2 * n doubles of scratch, zero, for n coefficients
    OrthogonalFit(std::span<const double> t, std::span<double> values, std::span<double> terms)
        : m_T(t), m_Values(values.first(t.size())), m_LastValues(values.last(t.size())),
          m_Terms(terms.first(terms.size() / 2)), m_LastTerms(terms.last(terms.size() / 2))
    {
        std::fill(m_Values.begin(), m_Values.end(), 1.0);
        m_Terms[0] = 1.0;
        m_dNorm = static_cast<double>(t.size());
    }

    /// Takes the present polynomial's part out of `residuals` and adds it to `coefficients`, in powers of t.
    void Project(std::span<double> residuals, std::span<double> coefficients) const
    {
        double product = 0.0;
        for (std::size_t i = 0; i < residuals.size(); ++i) {
            product += residuals[i] * m_Values[i];
        }
        const double factor = product / m_dNorm;
        AddMultiple(residuals, -factor, m_Values);
        AddMultiple(coefficients, factor, m_Terms);
    }

    /// Goes on to the polynomial of the next degree.
    void Advance()
    {
        double moment = 0.0;
        for (std::size_t i = 0; i < m_T.size(); ++i) {
            moment += m_T[i] * m_Values[i] * m_Values[i];
        }
        const double alpha = moment / m_dNorm;
        const double beta = m_dLastNorm > 0.0 ? m_dNorm / m_dLastNorm : 0.0;
        m_dLastNorm = std::exchange(m_dNorm, 0.0);
        for (std::size_t i = 0; i < m_T.size(); ++i) {
            m_LastValues[i] = (m_T[i] - alpha) * m_Values[i] - beta * m_LastValues[i];
            m_dNorm += m_LastValues[i] * m_LastValues[i];
        }
        for (std::size_t k = m_Terms.size(); k-- > 0;) {
            const double shifted = k > 0 ? m_Terms[k - 1] : 0.0;
            m_LastTerms[k] = shifted - alpha * m_Terms[k] - beta * m_LastTerms[k];
        }
        std::swap(m_Values, m_LastValues);
        std::swap(m_Terms, m_LastTerms);
    }

private:
    std::span<const double> m_T;
    std::span<double> m_Values; ///< the polynomial at each abscissa
    std::span<double> m_LastValues;
    std::span<double> m_Terms; ///< the polynomial's coefficients, in powers of t
    std::span<double> m_LastTerms;
    double m_dNorm = 0.0; ///< sum of squares of the values
    double m_dLastNorm = 0.0;
};

/// Turns coefficients in (x - center) / halfWidth into coefficients in x, by Horner's scheme on polynomials.
void ExpandUnitRange(const UnitRange& range, std::span<const double> inUnitRange, double* inX)
{
    const std::size_t n = inUnitRange.size();
    std::fill_n(inX, n, 0.0);
    for (std::size_t k = n; k-- > 0;) {
        for (std::size_t i = n - 1; i > 0; --i) {
            inX[i] = (inX[i - 1] - inX[i] * range.center) / range.halfWidth;
        }
        inX[0] = -inX[0] * range.center / range.halfWidth + inUnitRange[k];
    }
}

/// Fits where the arguments are sound, in `memory` of 4 doubles a sample and 4 a coefficient, zero at first.
/// @param result the last n doubles of `memory`
bool FitPolynomialIn(std::span<double> memory, std::span<const double> x, const double* y,
                     std::span<double> result)
{
    const std::size_t samples = x.size();
    const std::size_t n = result.size();
    const std::span<double> t = memory.first(samples);
    const std::span<double> residuals = memory.subspan(samples, samples);
    const std::span<double> inUnitRange = memory.last(2 * n).first(n);
    if (!HasDistinct(x, result)) {
        return false;
    }
    const UnitRange range = FindUnitRange(x);
    std::transform(x.begin(), x.end(), t.begin(),
                   [&range](double value) { return (value - range.center) / range.halfWidth; });
    std::copy_n(y, samples, residuals.begin());
    OrthogonalFit fit(t, memory.subspan(2 * samples, 2 * samples), memory.subspan(4 * samples, 2 * n));
    fit.Project(residuals, inUnitRange);
    for (std::size_t k = 1; k < n; ++k) {
        fit.Advance();
        fit.Project(residuals, inUnitRange);
    }
    ExpandUnitRange(range, inUnitRange, result.data());
    return AllFinite(result);
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

/// One Newton step. Next to a double root both values are rounding noise; a step that leads away is not
/// taken.
double Polish(const Cubic& c, double x)
{
    const double residual = Evaluate(c, x);
    const double polished = x - residual / EvaluateDerivative(c, x);
    return std::abs(Evaluate(c, polished)) <= std::abs(residual) ? polished : x;
}

/// Roots of x³ + a·x² + b·x + d, in no special order, where the powers of a, b and d do not overflow.
int SolveMonicCubic(double a, double b, double d, double* roots)
{
    const double shift = a / 3.0;
    const double q = (a * a - 3.0 * b) / 9.0;
    const double r = (2.0 * a * a * a - 9.0 * a * b + 27.0 * d) / 54.0;
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

/// The exponent e of the unit 2^e for x in which no coefficient of x³ + a·x² + b·x + d is above 1 and one of
/// them is near it.
int UnitExponent(double a, double b, double d)
{
    const double coefficients[3] = {a, b, d};
    int unit = std::numeric_limits<double>::min_exponent - std::numeric_limits<double>::digits;
    for (int power = 1; power <= 3; ++power) {
        int exponent = 0;
        if (std::frexp(coefficients[power - 1], &exponent) != 0.0) {
            unit = std::max(unit, exponent > 0 ? (exponent + power - 1) / power : exponent / power);
        }
    }
    return unit;
}

/// Roots of a polynomial whose c[3] is not zero, in no special order.
int SolveProperCubic(const Cubic& c, double* roots)
{
    const double a = c[2] / c[3];
    const double b = c[1] / c[3];
    const double d = c[0] / c[3];
    // A power of two costs no digits, and keeps the powers from overflowing.
    const int unit = UnitExponent(a, b, d);
    const int count =
        SolveMonicCubic(std::ldexp(a, -unit), std::ldexp(b, -2 * unit), std::ldexp(d, -3 * unit), roots);
    std::transform(roots, roots + count, roots, [unit](double x) { return std::ldexp(x, unit); });
    return count;
}

/// The closed form loses the roots that are small against the largest one. So a polynomial with a small
/// leading coefficient, where one root is about to leave for infinity, is solved for 1/x.
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

bool DecomposeCholesky(const double* matrix, int n, double* lower)
{
    if (matrix == nullptr || lower == nullptr || n < 1) {
        return false;
    }
    const auto size = static_cast<std::size_t>(n);
    const double noise = static_cast<double>(n) * std::numeric_limits<double>::epsilon();
    for (std::size_t r = 0; r < size; ++r) {
        const double* const row = lower + r * size;
        for (std::size_t c = 0; c <= r; ++c) {
            const double element = matrix[r * size + c];
            double rest = element;
            for (std::size_t k = 0; k < c; ++k) {
                rest -= row[k] * lower[c * size + k];
            }
            if (c < r) {
                lower[r * size + c] = rest / lower[c * size + c];
            } else if (rest > noise * element && std::isfinite(rest)) {
                lower[r * size + r] = std::sqrt(rest);
            } else {
                return false;
            }
        }
    }
    // Only now: the matrix may be in the same place, and its lower triangle is all that was read.
    for (std::size_t r = 0; r < size; ++r) {
        std::fill(lower + r * size + r + 1, lower + (r + 1) * size, 0.0);
    }
    return true;
}

bool InvertLowerTriangle(double* lower, int n)
{
    if (lower == nullptr || n < 1) {
        return false;
    }
    const auto size = static_cast<std::size_t>(n);
    for (std::size_t r = 0; r < size; ++r) {
        double* const row = lower + r * size;
        const double reciprocal = 1.0 / row[r];
        if (!std::isfinite(row[r]) || !std::isfinite(reciprocal)) {
            return false;
        }
        // Row r of the inverse from the rows above it, which are inverted already.
        for (std::size_t c = 0; c < r; ++c) {
            double sum = 0.0;
            for (std::size_t k = c; k < r; ++k) {
                sum += row[k] * lower[k * size + c];
            }
            row[c] = -sum * reciprocal;
        }
        row[r] = reciprocal;
    }
    return true;
}

bool ComputeJacobiEigen(double* matrix, int n, double* eigenvalues, double* eigenvectors)
{
    if (matrix == nullptr || eigenvalues == nullptr || eigenvectors == nullptr || n < 1) {
        return false;
    }
    const auto size = static_cast<std::size_t>(n);
    for (std::size_t r = 0; r < size; ++r) {
        if (!AllFinite({matrix + r * size + r, size - r})) {
            return false;
        }
        std::fill_n(eigenvectors + r * size, size, 0.0);
        eigenvectors[r * size + r] = 1.0;
    }
    int sweeps = 0;
    while (JacobiSweep(matrix, size, eigenvectors)) {
        if (++sweeps == c_iJacobiSweeps) {
            return false;
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        eigenvalues[i] = matrix[i * size + i];
    }
    SortEigen(size, eigenvalues, eigenvectors);
    return AllFinite({eigenvalues, size});
}

double FitLineLeastSquares(const double* x, const double* y, int count, double& slope, double& intercept)
{
    if (x == nullptr || y == nullptr || count < 2) {
        return -1.0;
    }
    const auto n = static_cast<double>(count);
    // From the first point, which takes the offset out of the products and leaves integers integer.
    double sumX = 0.0;
    double sumY = 0.0;
    double sumXX = 0.0;
    double sumXY = 0.0;
    for (int i = 0; i < count; ++i) {
        const double dx = x[i] - x[0];
        const double dy = y[i] - y[0];
        sumX += dx;
        sumY += dy;
        sumXX += dx * dx;
        sumXY += dx * dy;
    }
    const double denominator = n * sumXX - sumX * sumX;
    if (!(denominator > 0.0) || !std::isfinite(denominator)) {
        return -1.0;
    }
    const double b = (n * sumXY - sumX * sumY) / denominator;
    const double a = y[0] + (sumY - b * sumX) / n - b * x[0];
    double squares = 0.0;
    for (int i = 0; i < count; ++i) {
        const double residual = y[i] - (b * x[i] + a);
        squares += residual * residual;
    }
    if (!std::isfinite(squares)) {
        return -1.0;
    }
    slope = b;
    intercept = a;
    return std::sqrt(squares / (n - 1.0));
}

bool FitPolynomial(const double* x, const double* y, int count, int degree, double* coefficients)
{
    if (x == nullptr || y == nullptr || coefficients == nullptr || degree < 0 ||
        degree > c_iMaxPolynomialDegree || count <= degree) {
        return false;
    }
    const std::span<const double> abscissae(x, static_cast<std::size_t>(count));
    if (!AllFinite(abscissae) || !AllFinite({y, abscissae.size()})) {
        return false;
    }
    const auto n = static_cast<std::size_t>(degree) + 1;
    const std::size_t size = 4 * (abscissae.size() + n);
    const FitScratch scratch(size);
    if (scratch.Get() == nullptr) {
        return false;
    }
    const std::span<double> memory(scratch.Get(), size);
    const std::span<double> result = memory.last(n);
    if (!FitPolynomialIn(memory, abscissae, y, result)) {
        return false;
    }
    std::copy(result.begin(), result.end(), coefficients);
    return true;
}

int SolveCubic(const double coefficients[4], double roots[3])
{
    if (coefficients == nullptr || roots == nullptr) {
        return 0;
    }
    Cubic c;
    std::copy_n(coefficients, c.size(), c.begin());
    if (!AllFinite(c)) {
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

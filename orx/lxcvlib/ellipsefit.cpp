// Direct least-squares fit of an ellipse.
#include "ellipsefit.h"

#include "matrixroutines.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>

namespace LxCV {

namespace {

constexpr std::size_t c_uiTerms = 6;
constexpr int c_iTerms = 6;

/// An eigenvalue nearer to zero than this, for coordinates in the caller's unit, is rounding.
constexpr double c_dSmallestEigenvalue = 1e-19;

/// Relative size of what the sums of hundreds of products lose in rounding.
constexpr double c_dSumNoise = 1e-12;

using Vector6 = std::array<double, c_uiTerms>;
using Matrix6 = std::array<double, c_uiTerms * c_uiTerms>; ///< by rows

/// The map x -> (x - centerX) / scale, y -> (y - centerY) / scale to coordinates about the centre of gravity
/// whose root mean square distance from it is 1.
struct Frame
{
    double centerX = 0.0;
    double centerY = 0.0;
    double scale = 1.0;
};

/// None for points that are not finite or all in one place.
std::optional<Frame> FindFrame(const double* xs, const double* ys, int count)
{
    const auto n = static_cast<double>(count);
    Frame frame;
    for (int i = 0; i < count; ++i) {
        frame.centerX += xs[i] / n;
        frame.centerY += ys[i] / n;
    }
    double squares = 0.0;
    for (int i = 0; i < count; ++i) {
        const double dx = xs[i] - frame.centerX;
        const double dy = ys[i] - frame.centerY;
        squares += dx * dx + dy * dy;
    }
    frame.scale = std::sqrt(squares / n);
    if (!(frame.scale > 0.0) || !std::isfinite(frame.scale)) {
        return std::nullopt;
    }
    return frame;
}

/// The sum of the products of the design rows x², x·y, y², x, y, 1.
Matrix6 BuildScatter(const double* xs, const double* ys, int count, const Frame& frame)
{
    Matrix6 scatter{};
    for (int i = 0; i < count; ++i) {
        const double x = (xs[i] - frame.centerX) / frame.scale;
        const double y = (ys[i] - frame.centerY) / frame.scale;
        const Vector6 row = {x * x, x * y, y * y, x, y, 1.0};
        for (std::size_t r = 0; r < c_uiTerms; ++r) {
            for (std::size_t c = 0; c <= r; ++c) {
                scatter[r * c_uiTerms + c] += row[r] * row[c];
            }
        }
    }
    return scatter;
}

/// Whether at most one conic goes through all points, up to rounding: whether at most one eigenvalue of the
/// scatter matrix vanishes. Its Cholesky pivots do not tell, since a small one magnifies the rounding of those
/// behind it.
bool DeterminesConic(const Matrix6& scatter)
{
    Matrix6 upper{};
    for (std::size_t r = 0; r < c_uiTerms; ++r) {
        for (std::size_t c = 0; c <= r; ++c) {
            upper[c * c_uiTerms + r] = scatter[r * c_uiTerms + c];
        }
    }
    Matrix6 eigenvectors;
    Vector6 eigenvalues;
    return ComputeJacobiEigen(upper.data(), c_iTerms, eigenvalues.data(), eigenvectors.data()) &&
           eigenvalues[c_uiTerms - 2] > c_dSumNoise * eigenvalues[0];
}

/// The inverse L⁻¹ of the scatter matrix's triangular factor.
std::optional<Matrix6> InvertFactor(Matrix6 scatter)
{
    // The last pivot vanishes where all points lie exactly on one conic, and rounding takes it below zero.
    // Raised by what rounding can take, it is positive, and moves no other solution.
    scatter.back() *= 1.0 + c_dSumNoise;
    Matrix6 factor;
    if (!DecomposeCholesky(scatter.data(), c_iTerms, factor.data())) {
        return std::nullopt;
    }
    return InvertLowerTriangle(factor.data(), c_iTerms) ? std::optional(factor) : std::nullopt;
}

/// L⁻¹·C·L⁻ᵀ for the constraint matrix C, which holds b² - 4·a·c of a conic: 1 at (1, 1), -2 at (0, 2) and
/// (2, 0).
Matrix6 TransformConstraint(const Matrix6& inverse)
{
    Matrix6 product;
    for (std::size_t r = 0; r < c_uiTerms; ++r) {
        const double* const left = inverse.data() + r * c_uiTerms;
        for (std::size_t c = 0; c < c_uiTerms; ++c) {
            const double* const right = inverse.data() + c * c_uiTerms;
            // What stands above the diagonal of the inverse is zero, so these few products are all.
            product[r * c_uiTerms + c] =
                left[1] * right[1] - 2.0 * left[0] * right[2] - 2.0 * left[2] * right[0];
        }
    }
    return product;
}

/// Column `index` of `eigenvectors`, turned back by L⁻ᵀ and of length 1; none for a zero vector.
std::optional<Vector6> TurnBack(const Matrix6& inverse, const Matrix6& eigenvectors, std::size_t index)
{
    Vector6 conic{};
    double squares = 0.0;
    for (std::size_t r = 0; r < c_uiTerms; ++r) {
        for (std::size_t k = r; k < c_uiTerms; ++k) {
            conic[r] += inverse[k * c_uiTerms + r] * eigenvectors[k * c_uiTerms + index];
        }
        squares += conic[r] * conic[r];
    }
    const double length = std::sqrt(squares);
    if (!(length > 0.0) || !std::isfinite(length)) {
        return std::nullopt;
    }
    std::for_each(conic.begin(), conic.end(), [length](double& value) { value /= length; });
    return conic;
}

/// The conic of the points in the coordinates of `frame`: the eigenvector of the last negative eigenvalue. As
/// they descend, that is the most negative one, and the noise around the zero eigenvalues cannot take its
/// place.
std::optional<Vector6> FindConic(const Matrix6& scatter, const Frame& frame)
{
    const std::optional<Matrix6> inverse = DeterminesConic(scatter) ? InvertFactor(scatter) : std::nullopt;
    if (!inverse) {
        return std::nullopt;
    }
    Matrix6 constraint = TransformConstraint(*inverse);
    Matrix6 eigenvectors;
    Vector6 eigenvalues;
    if (!ComputeJacobiEigen(constraint.data(), c_iTerms, eigenvalues.data(), eigenvectors.data())) {
        return std::nullopt;
    }
    // The eigenvalues grow with the fourth power of the scale.
    const double scaleSq = frame.scale * frame.scale;
    if (!(eigenvalues.back() / scaleSq / scaleSq < -c_dSmallestEigenvalue)) {
        return std::nullopt;
    }
    return TurnBack(*inverse, eigenvectors, c_uiTerms - 1);
}

/// The ellipse of a conic; none for any other conic, and for an imaginary ellipse.
std::optional<LxCEllipse> EllipseOf(const Vector6& conic, const Frame& frame)
{
    const auto [A, B, C, D, E, F] = conic;
    const double q = A * C - B * B / 4.0;
    if (!(q > 0.0)) {
        return std::nullopt;
    }
    const double alpha = A == C ? 0.0 : std::atan(B / (A - C)) / 2.0;
    const double co = std::cos(alpha);
    const double si = std::sin(alpha);
    const double P = co * co * A + co * si * B + si * si * C;
    const double Q = si * si * A - co * si * B + co * co * C;
    if (P == 0.0 || Q == 0.0) {
        return std::nullopt;
    }
    const double R = co * D + si * E;
    const double T = co * E - si * D;
    const double W = T * T / (4.0 * Q) + R * R / (4.0 * P) - F;
    const double a = std::sqrt(W / P) * frame.scale;
    const double b = std::sqrt(W / Q) * frame.scale;
    const double x = (B * E / 4.0 - C * D / 2.0) / q * frame.scale + frame.centerX;
    const double y = (B * D / 4.0 - A * E / 2.0) / q * frame.scale + frame.centerY;
    if (!std::isfinite(a) || !std::isfinite(b) || !std::isfinite(x) || !std::isfinite(y)) {
        return std::nullopt;
    }
    return LxCEllipse(x, y, a, b, alpha);
}

} // namespace

bool FitEllipseDirect(const double* xs, const double* ys, int count, LxCEllipse* ellipse)
{
    if (xs == nullptr || ys == nullptr || ellipse == nullptr || count < c_iTerms) {
        return false;
    }
    const std::optional<Frame> frame = FindFrame(xs, ys, count);
    if (!frame) {
        return false;
    }
    const std::optional<Vector6> conic = FindConic(BuildScatter(xs, ys, count, *frame), *frame);
    const std::optional<LxCEllipse> fitted = conic ? EllipseOf(*conic, *frame) : std::nullopt;
    if (!fitted) {
        return false;
    }
    *ellipse = *fitted;
    return true;
}

} // namespace LxCV

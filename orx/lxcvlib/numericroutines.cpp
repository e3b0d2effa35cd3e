// Selection, splines and the line of least absolute deviation.
#include "numericroutines.h"

#include "matrixroutines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>

namespace LxCV {

namespace {

/// Puts the median of the first, the middle and the last value first, the smallest second and the largest
/// last, where they end the scans of the partition.
template <typename T>
void PlacePivot(T* values, int low, int high)
{
    const int middle = low + (high - low) / 2;
    if (values[middle] > values[high]) {
        ELEM_SWAP(values[middle], values[high]);
    }
    if (values[low] > values[high]) {
        ELEM_SWAP(values[low], values[high]);
    }
    if (values[middle] > values[low]) {
        ELEM_SWAP(values[middle], values[low]);
    }
    ELEM_SWAP(values[middle], values[low + 1]);
}

/// Parts low + 2 ... high - 1 by the pivot at `low` and puts that between the parts. No value, NaN included,
/// is above itself, and `PlacePivot` leaves none at `high` that the pivot is above, so both scans end inside
/// the array.
/// @return the pivot's place
template <typename T>
int Partition(T* values, int low, int high)
{
    const T pivot = values[low];
    int left = low + 1;
    int right = high;
    while (true) {
        do {
            ++left;
        } while (pivot > values[left]);
        do {
            --right;
        } while (values[right] > pivot);
        if (right < left) {
            break;
        }
        ELEM_SWAP(values[left], values[right]);
    }
    ELEM_SWAP(values[low], values[right]);
    return right;
}

/// The median, as `FitLineMinAbsDev` needs it: for an even count the mean of the two in the middle. Reorders
/// `values`, which must be free of NaN.
double MedianOf(double* values, std::size_t count)
{
    double* const middle = values + count / 2;
    std::nth_element(values, middle, values + count);
    return count % 2 != 0 ? *middle : 0.5 * (*std::max_element(values, middle) + *middle);
}

/// The sum of absolute deviations of the best line of a given slope, and its derivative by the slope up to
/// sign.
class AbsoluteDeviation
{
public:
    AbsoluteDeviation(const double* x, const double* y, int count)
        : m_pX(x), m_pY(y), m_Count(static_cast<std::size_t>(count)),
          m_Scratch(new (std::nothrow) double[m_Count])
    {}

    bool HasMemory() const { return m_Scratch != nullptr; }

    /// Moves to the slope. @return the derivative; not a number where the deviations overflow
    double Evaluate(double slope)
    {
        m_dSlope = slope;
        m_dIntercept = FindIntercept();
        m_dSum = 0.0;
        double derivative = 0.0;
        for (std::size_t i = 0; i < m_Count; ++i) {
            double d = m_pY[i] - (slope * m_pX[i] + m_dIntercept);
            m_dSum += std::abs(d);
            if (m_pY[i] != 0.0) {
                d /= std::abs(m_pY[i]);
            }
            if (std::abs(d) > std::numeric_limits<double>::epsilon()) {
                derivative += d >= 0.0 ? m_pX[i] : -m_pX[i];
            }
        }
        return std::isfinite(m_dSum) ? derivative : std::numeric_limits<double>::quiet_NaN();
    }

    double GetSlope() const { return m_dSlope; }
    double GetIntercept() const { return m_dIntercept; }
    double GetSum() const { return m_dSum; }

private:
    /// The median of y - slope * x; not a number unless all of them are finite.
    double FindIntercept()
    {
        bool finite = true;
        for (std::size_t i = 0; i < m_Count; ++i) {
            m_Scratch[i] = m_pY[i] - m_dSlope * m_pX[i];
            finite = finite && std::isfinite(m_Scratch[i]);
        }
        return finite ? MedianOf(m_Scratch.get(), m_Count) : std::numeric_limits<double>::quiet_NaN();
    }

    const double* m_pX;
    const double* m_pY;
    std::size_t m_Count;
    std::unique_ptr<double[]> m_Scratch;
    double m_dSlope = 0.0;
    double m_dIntercept = 0.0;
    double m_dSum = 0.0;
};

/// Goes from slope `b1`, with derivative `f1`, over the derivative's sign change and closes in on it. Both
/// loops end where a comparison with NaN fails, which a slope that leaves the range of double leads to.
void SearchSlope(AbsoluteDeviation& deviation, double b1, double f1, double s)
{
    double b2 = b1 + std::copysign(3.0 * s, f1);
    double f2 = deviation.Evaluate(b2);
    if (b2 == b1 || f1 == 0.0 || f2 == 0.0) {
        return;
    }
    while (f1 * f2 > 0.0) {
        const double next = b2 + 1.6 * (b2 - b1);
        b1 = b2;
        f1 = f2;
        b2 = next;
        f2 = deviation.Evaluate(b2);
    }
    while (std::abs(b2 - b1) > 0.01 * s) {
        const double middle = b1 + 0.5 * (b2 - b1);
        if (middle == b1 || middle == b2) {
            break;
        }
        const double f = deviation.Evaluate(middle);
        if (f * f1 >= 0.0) {
            f1 = f;
            b1 = middle;
        } else {
            b2 = middle;
        }
    }
}

} // namespace

template <typename T>
T QuickSelectMedian(T* const values, int count, bool averageEven)
{
    if (values == nullptr || count < 0) {
        return T{0};
    }
    const int k = (count - 1) / 2;
    int low = 0;
    int high = count - 1;
    while (high > low) {
        if (high == low + 1) {
            if (values[low] > values[high]) {
                ELEM_SWAP(values[low], values[high]);
            }
            return averageEven ? (values[k] + values[k + 1]) * T{0.5} : values[k];
        }
        PlacePivot(values, low, high);
        const int place = Partition(values, low, high);
        if (place <= k) {
            low = place + 1;
        }
        if (place >= k) {
            high = place - 1;
        }
    }
    return values[k];
}

template float QuickSelectMedian<float>(float* const values, int count, bool averageEven);
template double QuickSelectMedian<double>(double* const values, int count, bool averageEven);

double CalcStandardDeviation(const double* values, int count)
{
    if (values == nullptr || count < 2) {
        return 0.0;
    }
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < count; ++i) {
        sum += values[i];
        squares += values[i] * values[i];
    }
    const auto n = static_cast<double>(count);
    const double d = n * squares - sum * sum;
    return d < 0.0 ? 0.0 : std::sqrt(d / ((n - 1.0) * n));
}

bool Compute2ndSplineDerivative(const double* x, const double* y, int count, double* secondDerivatives)
{
    if (x == nullptr || y == nullptr || secondDerivatives == nullptr || count < 3) {
        return false;
    }
    const auto last = static_cast<std::size_t>(count) - 1;
    const std::unique_ptr<double[]> u(new (std::nothrow) double[last]);
    if (u == nullptr) {
        return false;
    }
    double* const y2 = secondDerivatives;
    y2[0] = 0.0;
    u[0] = 0.0;
    for (std::size_t i = 1; i < last; ++i) {
        const double sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
        const double p = sig * y2[i - 1] + 2.0;
        y2[i] = (sig - 1.0) / p;
        const double bend = (y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1]);
        u[i] = (bend * 6.0 / (x[i + 1] - x[i - 1]) - sig * u[i - 1]) / p;
    }
    y2[last] = 0.0;
    for (std::size_t i = last - 1; i > 0; --i) {
        y2[i] = y2[i] * y2[i + 1] + u[i];
    }
    return true;
}

bool CubicSplineInterpolation(const double* x, const double* y, const double* secondDerivatives, int count,
                              double at, double* result)
{
    if (x == nullptr || y == nullptr || result == nullptr || count < 2) {
        return false;
    }
    const double* y2 = secondDerivatives;
    std::unique_ptr<double[]> computed;
    if (y2 == nullptr) {
        computed.reset(new (std::nothrow) double[static_cast<std::size_t>(count)]);
        if (!Compute2ndSplineDerivative(x, y, count, computed.get())) {
            return false;
        }
        y2 = computed.get();
    }
    int lo = 0;
    int hi = count - 1;
    while (hi - lo > 1) {
        const int mid = lo + (hi - lo) / 2;
        (x[mid] > at ? hi : lo) = mid;
    }
    const double h = x[hi] - x[lo];
    if (h == 0.0) {
        return false;
    }
    const double a = (x[hi] - at) / h;
    const double b = (at - x[lo]) / h;
    *result = a * y[lo] + b * y[hi] + ((a * a * a - a) * y2[lo] + (b * b * b - b) * y2[hi]) * (h * h) / 6.0;
    return true;
}

double FitLineMinAbsDev(const double* x, const double* y, int count, double& slope, double& intercept)
{
    double leastSquaresSlope = 0.0;
    double leastSquaresIntercept = 0.0;
    const double s = FitLineLeastSquares(x, y, count, leastSquaresSlope, leastSquaresIntercept);
    if (s < 0.0) {
        return -1.0;
    }
    if (s == 0.0) {
        slope = leastSquaresSlope;
        intercept = leastSquaresIntercept;
        return 0.0;
    }
    AbsoluteDeviation deviation(x, y, count);
    if (!deviation.HasMemory()) {
        return -1.0;
    }
    const double f1 = deviation.Evaluate(leastSquaresSlope);
    const double firstSum = deviation.GetSum();
    if (!std::isfinite(firstSum)) {
        return -1.0;
    }
    slope = leastSquaresSlope;
    intercept = deviation.GetIntercept();
    SearchSlope(deviation, leastSquaresSlope, f1, s);
    if (firstSum > deviation.GetSum()) {
        slope = deviation.GetSlope();
        intercept = deviation.GetIntercept();
        return deviation.GetSum() / count;
    }
    return firstSum / count;
}

} // namespace LxCV

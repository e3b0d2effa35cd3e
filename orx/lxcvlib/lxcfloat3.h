// A triple of single-precision floats.
#pragma once

#include "orx/base/export.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

namespace LxCV {

/// Three floats without further meaning; a pixel of a three-channel float image is exactly one of these.
/// Arithmetic is componentwise and in single precision.
class ORX_EXPORT LxCFloat3
{
public:
    constexpr LxCFloat3() = default;
    constexpr LxCFloat3(const LxCFloat3&) = default;
    explicit constexpr LxCFloat3(float value) : m_afValue{value, value, value} {}
    constexpr LxCFloat3(float x, float y, float z) : m_afValue{x, y, z} {}

    LxCFloat3& operator=(const LxCFloat3&) = default;

    /// All three elements take the value.
    LxCFloat3& operator=(float value)
    {
        set(value, value, value);
        return *this;
    }
    LxCFloat3& operator=(double value) { return *this = static_cast<float>(value); }

    /// Element 0, 1 or 2. Another index reads 0 and writes nothing.
    float get(int index) const { return IsElement(index) ? m_afValue[index] : 0.0F; }
    void set(int index, float value)
    {
        if (IsElement(index)) {
            m_afValue[index] = value;
        }
    }
    void set(float x, float y, float z)
    {
        m_afValue[0] = x;
        m_afValue[1] = y;
        m_afValue[2] = z;
    }
    void set(double x, double y, double z)
    {
        set(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
    }

    LxCFloat3 operator+(const LxCFloat3& o) const { return {E(0) + o.E(0), E(1) + o.E(1), E(2) + o.E(2)}; }
    LxCFloat3 operator-(const LxCFloat3& o) const { return {E(0) - o.E(0), E(1) - o.E(1), E(2) - o.E(2)}; }
    LxCFloat3 operator-() const { return {-E(0), -E(1), -E(2)}; }

    /// Element products and quotients.
    LxCFloat3 operator*(const LxCFloat3& o) const { return {E(0) * o.E(0), E(1) * o.E(1), E(2) * o.E(2)}; }
    LxCFloat3 operator/(const LxCFloat3& o) const { return {E(0) / o.E(0), E(1) / o.E(1), E(2) / o.E(2)}; }
    LxCFloat3 operator*(float factor) const { return *this * LxCFloat3(factor); }
    LxCFloat3 operator/(float divisor) const { return *this / LxCFloat3(divisor); }

    LxCFloat3& operator+=(const LxCFloat3& o) { return *this = *this + o; }
    LxCFloat3& operator-=(const LxCFloat3& o) { return *this = *this - o; }
    LxCFloat3& operator*=(const LxCFloat3& o) { return *this = *this * o; }
    LxCFloat3& operator/=(const LxCFloat3& o) { return *this = *this / o; }
    LxCFloat3& operator*=(float factor) { return *this = *this * factor; }
    LxCFloat3& operator/=(float divisor) { return *this = *this / divisor; }

    float getMax() const { return std::max(std::max(E(0), E(1)), E(2)); }
    float getMin() const { return std::min(std::min(E(0), E(1)), E(2)); }
    float getMaxAbs() const { return absolute().getMax(); }
    float getMinAbs() const { return absolute().getMin(); }
    float getSum() const { return E(0) + E(1) + E(2); }
    float getSumAbs() const { return absolute().getSum(); }
    float GetMean() const { return getSum() / 3.0F; }

    /// The Euclidean length.
    float getModulus() const { return std::sqrt((*this * *this).getSum()); }

    LxCFloat3 absolute() const { return {std::abs(E(0)), std::abs(E(1)), std::abs(E(2))}; }

    /// Each element divided by the largest absolute element, not by the length; zero for an all-zero triple.
    LxCFloat3 normalized() const
    {
        const float largest = getMaxAbs();
        return largest == 0.0F ? LxCFloat3() : *this / largest;
    }

    bool isNonNegative() const { return E(0) >= 0.0F && E(1) >= 0.0F && E(2) >= 0.0F; }

    /// Sets negative elements to 0.
    void makeNonNegative()
    {
        for (float& element : m_afValue) {
            element = element < 0.0F ? 0.0F : element;
        }
    }

    /// Sets every element whose absolute value is below `limit` to 0.
    void threshold(float limit)
    {
        for (float& element : m_afValue) {
            element = std::abs(element) < limit ? 0.0F : element;
        }
    }

    /// The largest, respectively the sum, of the absolute element differences.
    double maxDiffTo(const LxCFloat3& o) const { return (*this - o).getMaxAbs(); }
    double totalDiffTo(const LxCFloat3& o) const { return (*this - o).getSumAbs(); }

    /// The cosine of the angle between the triples as vectors; not a number if one of them is zero.
    double angularDifferenceCos(const LxCFloat3& o) const
    {
        return (*this * o).getSum() / (getModulus() * o.getModulus());
    }

    /// Six hexadecimal digits, two for each of element 0, 1, 2, with nothing before them. The elements are
    /// multiplied by the smaller of `scale` and 255 / largest element; a negative one, and one that is not a
    /// number, counts as 0. A colour holds blue first, so it comes out as blue, green, red.
    std::string toHTML(float scale) const;

private:
    static constexpr bool IsElement(int index) { return static_cast<unsigned>(index) < 3U; }
    constexpr float E(int index) const { return m_afValue[index]; }

    float m_afValue[3] = {0.0F, 0.0F, 0.0F};
};

static_assert(sizeof(LxCFloat3) == 3 * sizeof(float) && std::is_trivially_copyable_v<LxCFloat3>);

} // namespace LxCV

// Curves that should all run the same way.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace LxCV {

/// The slopes and bends of parabolas c[0] + c[1] t + c[2] t² that were fitted to stripes or rows of marks, which are
/// about straight and parallel.
class CCurveFamily
{
public:
    void Add(const std::array<double, 3>& parabola)
    {
        m_vdLinear.push_back(parabola[1]);
        m_vdQuadratic.push_back(parabola[2]);
    }

    std::size_t GetCount() const { return m_vdLinear.size(); }

    /// Whether a coefficient c[2] is larger than the limit, whatever the signs; writes a line to the log where it is.
    bool IsBent(double limit) const;

    /// Whether the coefficients c[1] differ by more than the limit, whatever its sign.
    bool IsSpread(double limit) const;

private:
    std::vector<double> m_vdLinear;
    std::vector<double> m_vdQuadratic;
};

} // namespace LxCV

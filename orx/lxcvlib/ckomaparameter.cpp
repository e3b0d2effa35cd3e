// Evaluation and persistence of the coma polynomial.
#include "ckomaparameter.h"

#include "lxcpropertybag.h"

#include <cstddef>

namespace LxCV {

namespace {

// The point about which the polynomials are set up, in the middle of the measuring volume. mm, camera frame.
constexpr double c_dShiftY = 3.5;
constexpr double c_dShiftZ = -33.0;

/// Two doubles that are computed side by side.
using Pair = double __attribute__((vector_size(2 * sizeof(double))));

/// A value that is not a number becomes the lower limit.
double Limit(double value, double limit)
{
    if (!(value > -limit)) {
        return -limit;
    }
    return value < limit ? value : limit;
}

} // namespace

void CKomaParameter::ClearPolynomials()
{
    m_dP = {};
}

void CKomaParameter::CorrectPoint(double* x, double* y, double* z) const
{
    if (!m_bUse) {
        return;
    }
    const double sx = *x;
    const double sy = *y + c_dShiftY;
    const double sz = *z + c_dShiftZ;
    // c gives the coefficients of one axis, or of two axes that are computed side by side.
    const auto sum = [&]<typename Coefficients>(const Coefficients& c) {
        return c(0) + c(1) * sz + c(2) * (sz * sz) + c(3) * sy + c(4) * sy * sz + c(5) * (sy * sy) +
               c(6) * sx + c(7) * sx * sz + c(8) * sx * sy + c(9) * (sx * sx);
    };
    const Pair sumXY = sum([this](std::size_t i) { return Pair{m_dP[eAxisX][i], m_dP[eAxisY][i]}; });
    const double sumZ = sum([this](std::size_t i) { return m_dP[eAxisZ][i]; });
    *x -= Limit(sumXY[0], m_dMaxDelta);
    *y -= Limit(sumXY[1], m_dMaxDelta);
    *z -= Limit(sumZ, m_dMaxDelta);
}

void CKomaParameter::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    for (std::size_t axis = 0; axis < sc_uiNumAxes; ++axis) {
        for (std::size_t index = 0; index < sc_uiNumCoefficients; ++index) {
            bag.addScalar(m_dP[axis][index], "P" + std::to_string(axis) + std::to_string(index));
        }
    }
    bag.addScalar(m_dMaxDelta, "MaxDelta");
    bag.addScalar(m_bUse, "Use");
    bag.serialize(serializer, section, true);
}

} // namespace LxCV

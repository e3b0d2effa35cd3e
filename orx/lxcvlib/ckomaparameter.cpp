// Evaluation and persistence of the coma polynomial.
#include "ckomaparameter.h"

#include "lxcpropertybag.h"

namespace LxCV {

namespace {

// The point about which the polynomials are set up, in the middle of the measuring volume. mm, camera frame.
constexpr double c_dShiftY = 3.5;
constexpr double c_dShiftZ = -33.0;

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
    const auto correction = [&](const Polynomial& c) {
        const double sum = c[0] + c[1] * sz + c[2] * (sz * sz) + c[3] * sy + c[4] * sy * sz +
                           c[5] * (sy * sy) + c[6] * sx + c[7] * sx * sz + c[8] * sx * sy + c[9] * (sx * sx);
        return Limit(sum, m_dMaxDelta);
    };
    *x -= correction(m_dP[eAxisX]);
    *y -= correction(m_dP[eAxisY]);
    *z -= correction(m_dP[eAxisZ]);
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

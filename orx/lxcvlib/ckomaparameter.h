// The polynomial that corrects measured points for the coma of the optics.
#pragma once

#include "lxccalibstate.h"
#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <string>

namespace LxCV {

/// A quadratic correction of measured points: with (x, y, z) = (X, Y + 3.5, Z - 33) of a point (X, Y, Z) in
/// camera coordinates, in millimetres, each axis has
///
///   d = c0 + c1 z + c2 z^2 + c3 y + c4 y z + c5 y^2 + c6 x + c7 x z + c8 x y + c9 x^2,
///
/// which is limited to [-MaxDelta, MaxDelta] and subtracted from that axis. The limit bounds the harm of bad
/// coefficients. Const operations may run on many threads.
class ORX_EXPORT CKomaParameter : public LxCCalibState
{
public:
    /// The axes in camera coordinates, in the order in which the coefficients are stored.
    enum EAxis
    {
        eAxisX = 0,
        eAxisY = 1,
        eAxisZ = 2
    };

    static constexpr std::size_t sc_uiNumAxes = 3;
    static constexpr std::size_t sc_uiNumCoefficients = 10; ///< of one axis

    /// No correction: all coefficients 0, switched off, with a limit of 0.025 mm.
    CKomaParameter() = default;
    CKomaParameter(const CKomaParameter&) = default;
    CKomaParameter& operator=(const CKomaParameter&) = default;
    ~CKomaParameter() override = default;

    /// Sets all coefficients to 0; the limit and the switch stay.
    void ClearPolynomials();

    /// Corrects a point in camera coordinates, millimetres, in place; leaves it bit for bit while switched off.
    /// A correction that is not a number counts as -MaxDelta. The pointers must not be null.
    void CorrectPoint(double* x, double* y, double* z) const;

    /// Coefficient c0 to c9 of an axis. The term of x^i y^j z^k gives mm^(1-i-j-k).
    /// @throws std::out_of_range for an index that is not below `sc_uiNumCoefficients`
    double GetCoefficient(EAxis axis, std::size_t index) const { return m_dP.at(axis).at(index); }
    void SetCoefficient(EAxis axis, std::size_t index, double value) { m_dP.at(axis).at(index) = value; }

    /// The largest correction on any axis, mm.
    double GetMaxDelta() const { return m_dMaxDelta; }
    void SetMaxDelta(double maxDelta) { m_dMaxDelta = maxDelta; }

    /// Whether `CorrectPoint` does anything.
    bool GetUse() const { return m_bUse; }
    void SetUse(bool use) { m_bUse = use; }

    /// Keys: P00 to P29 (axis, then coefficient), MaxDelta, Use. A missing key keeps its value. The state of the
    /// base is not stored.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

private:
    using Polynomial = std::array<double, sc_uiNumCoefficients>;

    std::array<Polynomial, sc_uiNumAxes> m_dP{};
    double m_dMaxDelta = 0.025; ///< mm
    bool m_bUse = false;
};

} // namespace LxCV

// Building, composing and storing rigid transforms.
#include "lxccoordsystrans.h"

#include "lxccctserializer.h"
#include "lxcpropertybag.h"
#include "matrixroutines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <locale>
#include <numbers>
#include <sstream>
#include <utility>

namespace LxCV {

namespace {

/// |cos(Ry)| up to which Rx and Rz turn about the same line, so that only their sum (or difference) is known.
constexpr double c_dGimbalLockCosine = 1e-6;

constexpr int c_iPrintWidth = 10;

double ToDegrees(double radians)
{
    return radians * 180.0 / std::numbers::pi;
}

} // namespace

LxCCoordSysTrans::LxCCoordSysTrans(const double* forward)
{
    if (forward != nullptr) {
        std::copy_n(forward, m_dvForward.size(), m_dvForward.begin());
        Update();
    }
}

void LxCCoordSysTrans::CopyFrom(const LxCCoordSysTrans* other)
{
    if (other != nullptr) {
        LxCCoordSysTrans::operator=(*other);
    }
}

void LxCCoordSysTrans::Reset()
{
    m_dvForward = c_dvIdentity;
    m_dvBackward = c_dvIdentity;
    m_dRx = 0.0;
    m_dRy = 0.0;
    m_dRz = 0.0;
}

bool LxCCoordSysTrans::Update()
{
    SolveRPYTransform();
    return SolveBackward();
}

bool LxCCoordSysTrans::ReadFromEulerAnglesAndVector(double rx, double ry, double rz, double tx, double ty,
                                                    double tz)
{
    const double translation[3] = {tx, ty, tz};
    SetRotationFromAngles(rx, ry, rz);
    SetTranslationPart(translation);
    return Update();
}

bool LxCCoordSysTrans::ReadFromEulerAnglesAndVector(const double* angles, const double* vector)
{
    constexpr double zeros[3] = {};
    const double* const a = angles != nullptr ? angles : zeros;
    const double* const t = vector != nullptr ? vector : zeros;
    return ReadFromEulerAnglesAndVector(a[0], a[1], a[2], t[0], t[1], t[2]);
}

bool LxCCoordSysTrans::ReadFromEulerAnglesAndVector(const double* sixValues)
{
    return ReadFromEulerAnglesAndVector(sixValues, sixValues != nullptr ? sixValues + 3 : nullptr);
}

bool LxCCoordSysTrans::ReadFromMatrixAndVector(const double* matrix, const double* vector)
{
    Reset();
    SetRotationPart(matrix);
    SetTranslationPart(vector);
    return Update();
}

bool LxCCoordSysTrans::ReadFromMatrixAndVector(const double* matrix, double tx, double ty, double tz)
{
    const double translation[3] = {tx, ty, tz};
    return ReadFromMatrixAndVector(matrix, translation);
}

bool LxCCoordSysTrans::ReadFromMatrixAndVector(const float* matrix, float tx, float ty, float tz)
{
    const double translation[3] = {tx, ty, tz};
    if (matrix == nullptr) {
        return ReadFromMatrixAndVector(static_cast<const double*>(nullptr), translation);
    }
    double widened[9];
    std::copy_n(matrix, 9, widened);
    return ReadFromMatrixAndVector(widened, translation);
}

bool LxCCoordSysTrans::ReadFromMatrixAndVector(const LxC3DCoordsCCT& a, const LxC3DCoordsCCT& b,
                                               const LxC3DCoordsCCT& c, const LxC3DCoordsCCT& t)
{
    const double rows[9] = {a.x, b.x, c.x, a.y, b.y, c.y, a.z, b.z, c.z};
    return ReadFromMatrixAndVector(rows, t.x, t.y, t.z);
}

bool LxCCoordSysTrans::MakeTranslation(const LxC3DCoordsCCT& translation)
{
    return ReadFromMatrixAndVector(static_cast<const double*>(nullptr), translation.x, translation.y,
                                   translation.z);
}

bool LxCCoordSysTrans::MakeRotation(const LxC3DCoordsCCT& axis, double angle)
{
    LxC3DCoordsCCT unit = axis;
    unit.Normalize();
    const double skew[9] = {0.0, -unit.z, unit.y, unit.z, 0.0, -unit.x, -unit.y, unit.x, 0.0};
    const double sine = std::sin(angle);
    const double versine = 1.0 - std::cos(angle);
    double rotation[9];
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            const double square =
                skew[3 * r] * skew[c] + skew[3 * r + 1] * skew[3 + c] + skew[3 * r + 2] * skew[6 + c];
            rotation[3 * r + c] = (r == c ? 1.0 : 0.0) + sine * skew[3 * r + c] + versine * square;
        }
    }
    return ReadFromMatrixAndVector(rotation, static_cast<const double*>(nullptr));
}

void LxCCoordSysTrans::MakePerspectiveProjection(double f)
{
    Reset();
    m_dvForward[10] = 0.0;
    m_dvForward[14] = 1.0 / f;
    m_dvForward[15] = 0.0;
}

void LxCCoordSysTrans::SetRotationPart(const double* matrix)
{
    for (std::size_t i = 0; matrix != nullptr && i < std::size(ms_uivRIdx); ++i) {
        m_dvForward[ms_uivRIdx[i]] = matrix[i];
    }
}

void LxCCoordSysTrans::SetTranslationPart(const double* vector)
{
    for (std::size_t i = 0; vector != nullptr && i < std::size(ms_uivTIdx); ++i) {
        m_dvForward[ms_uivTIdx[i]] = vector[i];
    }
}

void LxCCoordSysTrans::WriteToEulerAnglesAndVector(double* sixValues) const
{
    if (sixValues != nullptr) {
        const double values[6] = {m_dRx, m_dRy, m_dRz, GetT(0), GetT(1), GetT(2)};
        std::copy_n(values, 6, sixValues);
    }
}

void LxCCoordSysTrans::WriteToMatrixAndVector(double* matrix, double* vector) const
{
    for (std::size_t i = 0; matrix != nullptr && i < std::size(ms_uivRIdx); ++i) {
        matrix[i] = m_dvForward[ms_uivRIdx[i]];
    }
    for (std::size_t i = 0; vector != nullptr && i < std::size(ms_uivTIdx); ++i) {
        vector[i] = m_dvForward[ms_uivTIdx[i]];
    }
}

bool LxCCoordSysTrans::IsIdentity() const
{
    return m_dvForward == c_dvIdentity;
}

bool LxCCoordSysTrans::Concatenate(const LxCCoordSysTrans& a, const LxCCoordSysTrans& b, bool invertA,
                                   bool invertB)
{
    m_dvForward =
        Multiply(invertA ? a.m_dvBackward : a.m_dvForward, invertB ? b.m_dvBackward : b.m_dvForward);
    return Update();
}

bool LxCCoordSysTrans::LeftMultiply(const LxCCoordSysTrans* other, bool invert)
{
    if (other != nullptr) {
        m_dvForward = Multiply(invert ? other->m_dvBackward : other->m_dvForward, m_dvForward);
    }
    return Update();
}

bool LxCCoordSysTrans::Invert()
{
    std::swap(m_dvForward, m_dvBackward);
    m_dRx *= -1.0;
    m_dRy *= -1.0;
    m_dRz *= -1.0;
    return true;
}

void LxCCoordSysTrans::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    if (!serializer.IsStoring()) {
        Reset();
    }
    LxCPropertyBag bag;
    bag.addScalar(m_dvForward[ms_uivTIdx[0]], "Tx");
    bag.addScalar(m_dvForward[ms_uivTIdx[1]], "Ty");
    bag.addScalar(m_dvForward[ms_uivTIdx[2]], "Tz");
    bag.addScalar(m_dRx, "Rx");
    bag.addScalar(m_dRy, "Ry");
    bag.addScalar(m_dRz, "Rz");
    bag.serialize(serializer, section, true);
    if (!serializer.IsStoring()) {
        SetRotationFromAngles(m_dRx, m_dRy, m_dRz);
        SolveBackward();
    }
}

void LxCCoordSysTrans::PrettyPrint(std::string& out) const
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed;
    const auto put = [&text](double value) -> std::ostream& {
        return text << std::setw(c_iPrintWidth) << value;
    };
    const auto putRow = [&put, this](std::uint64_t first) {
        put(GetR(first)) << ' ';
        put(GetR(first + 1)) << ' ';
        put(GetR(first + 2)) << '\n';
    };
    text << "Tx = ";
    put(GetT(0)) << " Ty = ";
    put(GetT(1)) << " Tz = ";
    put(GetT(2)) << " [mm]\nRx = ";
    put(ToDegrees(m_dRx)) << " Ry = ";
    put(ToDegrees(m_dRy)) << " Rz = ";
    put(ToDegrees(m_dRz)) << " [deg]\n\t";
    putRow(0);
    text << "R =\t";
    putRow(3);
    text << '\t';
    putRow(6);
    out = text.str();
}

LxCCoordSysTrans::Matrix LxCCoordSysTrans::Multiply(const Matrix& a, const Matrix& b)
{
    Matrix product;
    for (std::size_t r = 0; r < 16; r += 4) {
        for (std::size_t c = 0; c < 4; ++c) {
            product[r + c] = a[r] * b[c] + a[r + 1] * b[4 + c] + a[r + 2] * b[8 + c] + a[r + 3] * b[12 + c];
        }
    }
    return product;
}

void LxCCoordSysTrans::SetRotationFromAngles(double rx, double ry, double rz)
{
    const double cx = std::cos(rx);
    const double sx = std::sin(rx);
    const double cy = std::cos(ry);
    const double sy = std::sin(ry);
    const double cz = std::cos(rz);
    const double sz = std::sin(rz);
    const double rotation[9] = {cy * cz,
                                -cy * sz,
                                sy,
                                cx * sz + sx * sy * cz,
                                cx * cz - sx * sy * sz,
                                -sx * cy,
                                sx * sz - cx * sy * cz,
                                sx * cz + cx * sy * sz,
                                cx * cy};
    SetRotationPart(rotation);
}

void LxCCoordSysTrans::SolveRPYTransform()
{
    // Rounding of a product of rotations may leave element (0,2) a bit above 1.
    m_dRy = std::asin(std::clamp(m_dvForward[2], -1.0, 1.0));
    const double c = std::cos(m_dRy);
    if (std::abs(c) > c_dGimbalLockCosine) {
        m_dRx = std::atan2(-m_dvForward[6] / c, m_dvForward[10] / c);
        m_dRz = std::atan2(-m_dvForward[1] / c, m_dvForward[0] / c);
    } else {
        m_dRx = 0.0;
        m_dRz = std::atan2(m_dvForward[4], m_dvForward[5]);
    }
}

bool LxCCoordSysTrans::SolveBackward()
{
    m_dvBackward = m_dvForward;
    return InvertGaussJordan(m_dvBackward.data(), 4);
}

} // namespace LxCV

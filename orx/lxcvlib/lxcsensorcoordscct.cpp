// Angles and text of image-plane coordinates.
#include "lxcsensorcoordscct.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace LxCV {

namespace {

constexpr double c_dPi = 3.14159265358979323846;
constexpr double c_dHalfPi = 1.5707963267948966;
constexpr double c_dThreeHalfPi = 4.71238898038469;

/// No double has more significant decimal digits. Streams take time and memory for what is asked beyond them.
constexpr int c_iMostDigits = 767;

/// The direction of a vector in radians. A vertical one is a constant between 0 and 2 pi, the others lie
/// between -pi and pi.
double Direction(const LxCSensorCoordsCCT& vector)
{
    if (vector.x == 0.0) {
        return vector.y < 0.0 ? c_dThreeHalfPi : c_dHalfPi;
    }
    return std::atan2(vector.y, vector.x);
}

/// The wrapped angle in degrees from one direction to another.
double TurnInDegrees(const LxCSensorCoordsCCT& from, const LxCSensorCoordsCCT& to)
{
    double angle = Direction(to) - Direction(from);
    if (angle > c_dPi) {
        angle -= 2.0 * c_dPi;
    }
    if (angle < -c_dPi) {
        angle += 2.0 * c_dPi;
    }
    return angle * 180.0 / c_dPi;
}

} // namespace

int LxCSensorCoordsCCT::GetQuadrant() const
{
    if (y >= 0.0 && x > 0.0) {
        return 0;
    }
    if (y > 0.0 && x <= 0.0) {
        return 1;
    }
    if (y <= 0.0 && x < 0.0) {
        return 2;
    }
    if (y < 0.0 && x >= 0.0) {
        return 3;
    }
    return -1;
}

double LxCSensorCoordsCCT::ComputeSubtendedAngle(const LxCSensorCoordsCCT& p1,
                                                 const LxCSensorCoordsCCT& p2) const
{
    return TurnInDegrees(p1 - *this, p2 - *this);
}

double LxCSensorCoordsCCT::ComputeSubtendedAngle2(const LxCSensorCoordsCCT& p1,
                                                  const LxCSensorCoordsCCT& p2) const
{
    return TurnInDegrees(*this - p1, p2 - *this);
}

std::string LxCSensorCoordsCCT::ToString(int precision) const
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(std::min(precision, c_iMostDigits));
    stream << "(" << x << ", " << y << ")";
    return stream.str();
}

} // namespace LxCV

#include "scanner/device/geometry.h"

namespace device {

namespace {

Mat3 Transposed(const Mat3& m)
{
    return {Vec3{m[0].x, m[1].x, m[2].x}, Vec3{m[0].y, m[1].y, m[2].y}, Vec3{m[0].z, m[1].z, m[2].z}};
}

Mat3 Product(const Mat3& a, const Mat3& b)
{
    const Mat3 columns = Transposed(b);
    Mat3 result;
    for (std::size_t row = 0; row < 3; ++row) {
        result[row] = {Dot(a[row], columns[0]), Dot(a[row], columns[1]), Dot(a[row], columns[2])};
    }
    return result;
}

} // namespace

Mat3 RotationOf(const Placement& placement)
{
    const double sx = std::sin(placement.rx), cx = std::cos(placement.rx);
    const double sy = std::sin(placement.ry), cy = std::cos(placement.ry);
    const double sz = std::sin(placement.rz), cz = std::cos(placement.rz);
    const Mat3 aboutX{Vec3{1, 0, 0}, Vec3{0, cx, -sx}, Vec3{0, sx, cx}};
    const Mat3 aboutY{Vec3{cy, 0, sy}, Vec3{0, 1, 0}, Vec3{-sy, 0, cy}};
    const Mat3 aboutZ{Vec3{cz, -sz, 0}, Vec3{sz, cz, 0}, Vec3{0, 0, 1}};
    return Product(Product(aboutX, aboutY), aboutZ);
}

Placement PlacementAt(const Vec3& centre, double rx, double ry, double rz)
{
    Placement placement{rx, ry, rz, 0.0, 0.0, 0.0};
    const Vec3 translation = -1.0 * (RotationOf(placement) * centre);
    placement.tx = translation.x;
    placement.ty = translation.y;
    placement.tz = translation.z;
    return placement;
}

RigidMotion::RigidMotion(const Placement& placement)
    : m_rotation(RotationOf(placement)),
      m_transposed(Transposed(m_rotation)), m_translation{placement.tx, placement.ty, placement.tz}
{}

} // namespace device

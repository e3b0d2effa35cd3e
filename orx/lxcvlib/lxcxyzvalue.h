// A colour in the XYZ colour space.
#pragma once

#include "lxcfloat3.h"

namespace LxCV {

/// A float triple whose element 0 is X, 1 is Y, 2 is Z.
class ORX_EXPORT LxCXYZValue : public LxCFloat3
{
public:
    using LxCFloat3::LxCFloat3;
    using LxCFloat3::operator=;
    LxCXYZValue() = default;
    LxCXYZValue(const LxCFloat3& o) : LxCFloat3(o) {}

    float GetX() const { return get(0); }
    float GetY() const { return get(1); }
    float GetZ() const { return get(2); }
    void SetX(float value) { set(0, value); }
    void SetY(float value) { set(1, value); }
    void SetZ(float value) { set(2, value); }
};

static_assert(sizeof(LxCXYZValue) == sizeof(LxCFloat3));

} // namespace LxCV

// Chains of placed frames.
#include "lxcobjectinspace.h"

namespace LxCV {

void LxCObjectInSpace::GetWorldToLocalTrafo(LxCCoordSysTrans* out) const
{
    if (out == nullptr) {
        return;
    }
    if (m_pMaster == nullptr) {
        out->CopyFrom(this);
        return;
    }
    // A chain may be asked for in place, so `out` is written last.
    LxCCoordSysTrans localFromWorld;
    m_pMaster->GetWorldToLocalTrafo(&localFromWorld);
    localFromWorld.LeftMultiply(this, false);
    out->CopyFrom(&localFromWorld);
}

void LxCObjectInSpace::GetLocalToWorldTrafo(LxCCoordSysTrans* out) const
{
    if (out != nullptr) {
        GetWorldToLocalTrafo(out);
        out->Invert();
    }
}

void LxCObjectInSpace::GetLocalToLocalTrafo(const LxCObjectInSpace* other, LxCCoordSysTrans* out) const
{
    if (out == nullptr) {
        return;
    }
    LxCCoordSysTrans worldFromThis;
    GetLocalToWorldTrafo(&worldFromThis);
    LxCCoordSysTrans otherFromWorld;
    if (other != nullptr) {
        other->GetWorldToLocalTrafo(&otherFromWorld);
    }
    out->Concatenate(otherFromWorld, worldFromThis, false, false);
}

void LxCObjectInSpace::LocalToLocalCoords(const LxCObjectInSpace* other, double x, double y, double z,
                                          double* ox, double* oy, double* oz) const
{
    if (other == m_pMaster) {
        TransformInverse(x, y, z, ox, oy, oz);
        return;
    }
    if (other != nullptr && m_pMaster != nullptr && other->m_pMaster == m_pMaster) {
        TransformInverse(x, y, z, ox, oy, oz);
        other->Transform(*ox, *oy, *oz, ox, oy, oz);
        return;
    }
    LocalToWorldCoords(x, y, z, ox, oy, oz);
    if (other != nullptr) {
        other->WorldToLocalCoords(*ox, *oy, *oz, ox, oy, oz);
    }
}

} // namespace LxCV

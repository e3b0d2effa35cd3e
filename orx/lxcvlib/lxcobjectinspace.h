// A frame that is placed relative to another frame.
#pragma once

#include "lxccoordsystrans.h"
#include "orx/base/export.h"

namespace LxCV {

/// A transform whose parent frame is that of another object, its master; a root's parent frame is the world.
///
/// The object's own matrices relate it to its master only. Positions in the world follow the chain of masters:
/// pointInLocal = F(object)·F(master)·...·F(root)·pointInWorld.
///
/// The master is not owned and is followed at every call: it must outlive this object's use, and moving it moves
/// this object. Copies have the same master. Chains must be free of cycles; nothing tests that.
///
/// Coordinates are mm. Output pointers must not be null; they may point to the inputs' own variables.
class ORX_EXPORT LxCObjectInSpace : public LxCCoordSysTrans
{
public:
    LxCObjectInSpace() = default;

    /// Null makes this object a root.
    void SetMasterCoordSystem(const LxCObjectInSpace* master) { m_pMaster = master; }
    const LxCObjectInSpace* GetMasterCoordSystem() const { return m_pMaster; }
    bool IsRootObject() const { return m_pMaster == nullptr; }

    /// `out` becomes the transform whose forward matrix leads from the world to this object's frame. A null
    /// `out` is ignored. `out` may be this object or one of its masters; only its transform is written.
    void GetWorldToLocalTrafo(LxCCoordSysTrans* out) const;

    /// The same chain, inverted by `Invert`, so that forward leads to the world.
    void GetLocalToWorldTrafo(LxCCoordSysTrans* out) const;

    /// `out` becomes the transform whose forward matrix leads from this object's frame to that of `other`; a
    /// null `other` stands for the world.
    void GetLocalToLocalTrafo(const LxCObjectInSpace* other, LxCCoordSysTrans* out) const;

    /// From this object's frame to the world. Hides the transform's operation of this name on purpose: that one
    /// takes one step to the parent, this one walks to the root.
    void LocalToWorldCoords(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        TransformInverse(x, y, z, ox, oy, oz);
        if (m_pMaster != nullptr) {
            m_pMaster->LocalToWorldCoords(*ox, *oy, *oz, ox, oy, oz);
        }
    }

    /// From the world to this object's frame.
    void WorldToLocalCoords(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        if (m_pMaster == nullptr) {
            Transform(x, y, z, ox, oy, oz);
            return;
        }
        m_pMaster->WorldToLocalCoords(x, y, z, ox, oy, oz);
        Transform(*ox, *oy, *oz, ox, oy, oz);
    }

    /// From this object's frame to that of `other`, by the shortest way: directly to its own master, over a
    /// common master, else over the world. A null `other` stands for the world.
    void LocalToLocalCoords(const LxCObjectInSpace* other, double x, double y, double z, double* ox,
                            double* oy, double* oz) const;

private:
    const LxCObjectInSpace* m_pMaster = nullptr; ///< not owned; null for a root
};

} // namespace LxCV

// Work on the point cloud of a finished scan.
#pragma once

#include "orx/base/export.h"
#include "orx/base/ireferencecounted.h"

#include <atomic>

namespace LxCV {

class LxSScanData;

/// Operations on an organised point cloud, in place. Without a state but for the number of its owners, so that one
/// object serves any number of threads, each with a record of its own.
class ORX_EXPORT LxCORXIPAlgorithm : public Base::IReferenceCounted
{
public:
    LxCORXIPAlgorithm() = default;

    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    ~LxCORXIPAlgorithm() override;
    std::atomic<long>& getReferenceCounter() override;

    /// Computes a unit normal for each valid point of a record from its four neighbours; `NormalKernels::ComputeNormals`
    /// tells how.
    ///
    /// For images of width W and height H the neighbours of element k in memory are k - 1, k + 1, k - H and k + H: memory
    /// is taken as W lines of H points each. In square images the lines are the rows. In others the two further
    /// neighbours lie aside in the rows above and below; on smooth surfaces that gives a normal too, at steps a worse
    /// one. Deliberately so: callers rely on the order.
    ///
    /// Reads points and validity mask; writes normals, the bytes of the normal mask where a point is not valid, and the
    /// number of valid points.
    /// @param scan must not be in use elsewhere; left as it is if null or without pixels, and, with a line in the log, if
    ///             its images do not have the types and the one size that they were made with
    /// @return true
    bool ComputeNormals(const LxSScanData* scan) const;
};

} // namespace LxCV

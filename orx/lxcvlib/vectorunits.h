// Which vector units of the processor the pixel kernels use.
#pragma once

#include "orx/base/export.h"

namespace LxCV::VectorUnits {

/// Whether kernels run what is compiled for AVX2: where the processor has it, unless a `CBasicOnly` lives. Either way
/// their results are the same bit for bit. May be called on many threads.
ORX_EXPORT bool AreWide();

/// Keeps all kernels of the process to the basic vectors of the platform as long as it lives, so that results and
/// times can be compared. Several may live at once, on any threads.
class ORX_EXPORT CBasicOnly
{
public:
    CBasicOnly();
    ~CBasicOnly();
    CBasicOnly(const CBasicOnly&) = delete;
    CBasicOnly& operator=(const CBasicOnly&) = delete;
};

} // namespace LxCV::VectorUnits

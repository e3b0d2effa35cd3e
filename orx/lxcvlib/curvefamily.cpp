// Curves that should all run the same way.
#include "curvefamily.h"

#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCProjSlideCalibBody");

} // namespace

bool CCurveFamily::IsBent(double limit) const
{
    for (const double quadratic : m_vdQuadratic) {
        if (std::abs(quadratic) > std::abs(limit)) {
            s_Logger.Error(L"The square part of the polynom fit (%2.10f) is above the threshold value.\n",
                           quadratic);
            return true;
        }
    }
    return false;
}

bool CCurveFamily::IsSpread(double limit) const
{
    if (m_vdLinear.empty()) {
        return false;
    }
    const auto [least, greatest] = std::minmax_element(m_vdLinear.begin(), m_vdLinear.end());
    return *greatest - *least > std::abs(limit);
}

} // namespace LxCV

// The plane of light that one stripe edge of the projector sweeps.
#include "clightplane.h"

#include "orx/logging/logger.h"

namespace LxCV {
namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CLightPlane");

} // namespace

CLightPlane::CLightPlane(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3)
{
    Set(p1, p2, p3);
}

void CLightPlane::Set(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3)
{
    m_dA = 0.0;
    m_dB = 0.0;
    m_BasePoint = p1;
    m_Span1 = p2 - p1;
    m_Span2 = p3 - p1;
    ComputeNormalVectorAndConst(p1, p2, p3);
}

bool CLightPlane::OptimizeEquation(double scale)
{
    const LxC3DCoordsCCT& a = m_Span1;
    const LxC3DCoordsCCT& b = m_Span2;
    const double factor = a.X() * b.Z() - a.Z() * b.X();
    if (factor == 0.0) {
        s_Logger.Error(L"CLightPlane::OptimizeEquation: Error: Factor dF == 0, should never happen.\n");
        return false;
    }
    const double alpha = (a.Y() * b.Z() - b.Y() * a.Z()) / factor;
    const double beta = -(a.Y() * b.X() - b.Y() * a.X()) / factor;

    m_Span1.Set(1.0, alpha, 0.0);
    m_Span2.Set(1.0, beta, 1.0);
    m_dB = beta * scale;
    m_dA = (m_BasePoint.Y() - alpha * m_BasePoint.X() - beta * m_BasePoint.Z()) * scale;
    return true;
}

} // namespace LxCV

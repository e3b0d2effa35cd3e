// Merging of channel extrema.
#include "lxcccllocextremum.h"

namespace LxCV {

void LxCCCLLocExtremum::Combine(const LxCCCLLocExtremum& a, const LxCCCLLocExtremum& b,
                                const LxCCCLLocExtremum& c, LxCEdgePosition& outPosition,
                                LxCSymbol& outSymbol)
{
    outPosition = LxCEdgePosition::Combine3(a.m_fWeight, a.m_Position, b.m_fWeight, b.m_Position, c.m_fWeight,
                                            c.m_Position);
    outSymbol = LxCSymbol(a.m_Symbol.GetValue() + b.m_Symbol.GetValue() + c.m_Symbol.GetValue());
}

void LxCCCLLocExtremum::Combine(const LxCCCLLocExtremum& a, const LxCCCLLocExtremum& b,
                                LxCEdgePosition& outPosition, LxCSymbol& outSymbol)
{
    outPosition = LxCEdgePosition::Combine2(a.m_fWeight, a.m_Position, b.m_fWeight, b.m_Position);
    outSymbol = LxCSymbol(a.m_Symbol.GetValue() + b.m_Symbol.GetValue());
}

} // namespace LxCV

// A local extremum of one colour channel.
#pragma once

#include "lxccolorvaluefloat.h"
#include "lxcedgeposition.h"
#include "lxcsymbol.h"
#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// What is known of one extremum while the three channels of an image row are combined.
class ORX_EXPORT LxCCCLLocExtremum
{
public:
    explicit LxCCCLLocExtremum(LxCColorValueFloat::EColor color) : m_eColor(color) {}

    /// Merges the extrema of two or three channels. The outputs may be fields of one of the records.
    /// @param outPosition mean position, with the records' weights as weights
    /// @param outSymbol integer sum of the records' symbols, whose bits are to be disjoint
    static void Combine(const LxCCCLLocExtremum& a, const LxCCCLLocExtremum& b, const LxCCCLLocExtremum& c,
                        LxCEdgePosition& outPosition, LxCSymbol& outSymbol);
    static void Combine(const LxCCCLLocExtremum& a, const LxCCCLLocExtremum& b, LxCEdgePosition& outPosition,
                        LxCSymbol& outSymbol);

    /// The position of `a` minus that of `b`, in 1/64 pixel.
    static int SubtractExtremas(const LxCCCLLocExtremum& a, const LxCCCLLocExtremum& b)
    {
        return a.m_Position.Subtract(b.m_Position);
    }

    bool m_bValid = true;
    std::int32_t m_iCounter = 0;         ///< free for the decoding stage
    LxCEdgePosition m_Position;          ///< along the image row
    LxCSymbol m_Symbol;                  ///< the transition of this channel
    std::int32_t m_iValue = 0;           ///< free for the decoding stage
    float m_fWeight = 0.0F;              ///< amplitude of the extremum
    LxCColorValueFloat::EColor m_eColor; ///< the channel
};

} // namespace LxCV

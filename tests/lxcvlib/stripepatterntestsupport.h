// Stripe patterns for tests.
#pragma once

#include "lxcstripepattern.h"

#include <string>

namespace LxCV::TestSupport {

/// A stripe pattern whose protected operations can be called.
class OpenStripePattern : public LxCStripePattern
{
public:
    using LxCStripePattern::Reset;
    using LxCStripePattern::SetBaseShiftToStandard;
    using LxCStripePattern::SetBaseShiftToZero;
};

/// A pattern with stripes of 50 slide units and this many stripe edges, with its tables.
inline OpenStripePattern MakeStripePattern(const std::string& digits, int numEdges)
{
    OpenStripePattern pattern;
    pattern.SetPatternString(digits);
    pattern.SetPrimitiveSize(50);
    pattern.SetHeight(50 * numEdges);
    pattern.SetWidth(6000);
    pattern.ConstructLUTs();
    return pattern;
}

} // namespace LxCV::TestSupport

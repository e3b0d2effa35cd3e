// A stripe edge of the cyclic pattern.
#pragma once

#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// The number of a stripe edge, or the mark of an unknown one. Numbers from 4095 on are not valid; arithmetic
/// wraps in 64 bits.
class ORX_EXPORT LxCPatternPosition
{
public:
    static constexpr std::uint64_t ms_uiInvalidPosition = 0xFFF;

    constexpr LxCPatternPosition() = default;
    constexpr LxCPatternPosition(std::uint64_t value) : m_uiValue(value) {}

    void set(std::uint64_t value) { m_uiValue = value; }
    std::uint64_t get() const { return m_uiValue; }

    bool isValid() const { return m_uiValue < ms_uiInvalidPosition; }

    friend bool operator==(const LxCPatternPosition& a, const LxCPatternPosition& b)
    {
        return a.m_uiValue == b.m_uiValue;
    }
    friend bool operator!=(const LxCPatternPosition& a, const LxCPatternPosition& b) { return !(a == b); }
    friend bool operator<(const LxCPatternPosition& a, const LxCPatternPosition& b)
    {
        return a.m_uiValue < b.m_uiValue;
    }
    friend LxCPatternPosition operator+(const LxCPatternPosition& a, const LxCPatternPosition& b)
    {
        return {a.m_uiValue + b.m_uiValue};
    }
    friend LxCPatternPosition operator-(const LxCPatternPosition& a, const LxCPatternPosition& b)
    {
        return {a.m_uiValue - b.m_uiValue};
    }

private:
    std::uint64_t m_uiValue = ms_uiInvalidPosition;
};

} // namespace LxCV

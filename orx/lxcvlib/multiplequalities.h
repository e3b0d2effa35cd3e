// The quality of one point of a scan.
#pragma once

#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// Two measures of one point: how many symbols of its stripe edge were read, and a free float quality.
class ORX_EXPORT MultipleQualities
{
public:
    MultipleQualities() = default;
    explicit MultipleQualities(std::uint8_t symbols) : m_uiSymbols(symbols) {}
    explicit MultipleQualities(float quality) : m_fQuality(quality) {}
    MultipleQualities(const MultipleQualities&) = default;
    MultipleQualities& operator=(const MultipleQualities&) = default;
    virtual ~MultipleQualities() = default;

    std::uint8_t GetSymbols() const { return m_uiSymbols; }
    float GetFloatQuality() const { return m_fQuality; }

private:
    std::uint8_t m_uiSymbols = 5;
    float m_fQuality = 1.0F;
};

} // namespace LxCV

// What every projected pattern has.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace LxCV {

class LxCCCTSerializer;
class LxCPatternStorage;

/// A pattern on the projector's slide. The stripes follow each other along the pattern height. Sizes and
/// positions are in slide units, whose meaning the parameter set of the device fixes.
class ORX_EXPORT LxAProjectionPatternBase
{
public:
    LxAProjectionPatternBase() = default;
    LxAProjectionPatternBase(const LxAProjectionPatternBase&) = default;
    LxAProjectionPatternBase& operator=(const LxAProjectionPatternBase&) = default;
    virtual ~LxAProjectionPatternBase() = default;

    /// Writes the section's header and the keys PatternHeight and PatternWidth, or reads the keys; a missing
    /// one reads 0.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    virtual int GetWidth() const { return m_iPatternWidth; }
    virtual int GetHeight() const { return m_iPatternHeight; }
    virtual bool IsValid() const = 0;

    /// Fills `out` with the nominal positions of the edges; null is allowed. Returns whether there are any.
    virtual bool FillEdgePositionArray(std::vector<double>* out, const LxCPatternStorage& storage) const = 0;

    void SetWidth(int width) { m_iPatternWidth = width; }
    void SetHeight(int height) { m_iPatternHeight = height; }

private:
    std::int32_t m_iPatternWidth = 0;  ///< slide units, along the stripes
    std::int32_t m_iPatternHeight = 0; ///< slide units, across the stripes
};

} // namespace LxCV

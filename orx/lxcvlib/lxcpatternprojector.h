// The projector as an inverse camera with a stripe pattern.
#pragma once

#include "lxcpinholecamera.h"
#include "lxcstripepattern.h"
#include "orx/base/export.h"

#include <string>

namespace LxCV {

/// A pinhole device whose image is the slide: image coordinates of the base are slide coordinates, in slide
/// units, the column along a stripe and the row across the stripes. A ray leads from the projection centre
/// through a slide position into the scene. Holds the pattern on the slide by value; the usual master is the
/// camera, not owned.
class ORX_EXPORT LxCPatternProjector : public LxCPinholeCamera
{
public:
    /// Larger than a camera's, since marks on the slide are seen through the camera.
    static constexpr double sc_dDefaultQualityThreshold = 20.0; ///< slide units

    LxCPatternProjector();
    LxCPatternProjector(const LxCPatternProjector&) = default;
    LxCPatternProjector& operator=(const LxCPatternProjector&) = default;
    ~LxCPatternProjector() override = default;

    LxCStripePattern* GetCLPattern() { return &m_Pattern; }
    const LxCStripePattern* GetCLPattern() const { return &m_Pattern; }

    /// The base in the section followed by "::PinholeProjector::PinholeCamera", the pattern in the section
    /// followed by "::CLPattern".
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

private:
    LxCStripePattern m_Pattern;
};

} // namespace LxCV

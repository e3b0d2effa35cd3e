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

    /// Draws into an image of `camera` how far this model misses each mark: a diamond where the camera sees the mark,
    /// and a line towards where its slide position meets the target plane z = 0. Misses above 0.2 pixels give lines
    /// of 20 pixels, smaller ones are enlarged a hundredfold. With a master, world points of marks stand in the
    /// master's frame. Null marks are passed over; a null argument draws nothing.
    void DrawCalibResults(CCTImage* image, const LxCPinholeCamera* camera,
                          const std::vector<LxCCalibrationData*>* marks) const;

private:
    LxCStripePattern m_Pattern;
};

} // namespace LxCV

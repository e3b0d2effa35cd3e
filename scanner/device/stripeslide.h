// The light that the slide lets through.
#pragma once

#include "scanner/device/scene.h"

#include <vector>

namespace device {

struct SlideParameters;

/// The transmission of the slide along v, blurred by the projector's optics.
///
/// An ideal edge between transmissions a and b at v0 becomes a + (b - a) F((v - v0) / sigma), with F the normal
/// distribution. What is kept is the integral of that profile from the left, in closed form on a fine raster, with
/// the profile itself as derivative, so that means over any interval come out unbiased, however narrow it is.
class StripeSlide
{
public:
    /// `height`: of the slide, slide units.
    StripeSlide(const SlideParameters& slide, int height);

    /// The mean transmission over v - halfWidth .. v + halfWidth, blue, green, red.
    Colour Mean(double v, double halfWidth) const;

private:
    struct Node
    {
        Colour integral{};
        Colour profile{};
    };

    Colour Integral(double v) const;

    double m_begin = 0.0; ///< v of the first node
    std::vector<Node> m_nodes;
};

} // namespace device

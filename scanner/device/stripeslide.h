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

    /// The mean transmission of the stripes alone over v - halfWidth .. v + halfWidth, blue, green, red.
    Colour Mean(double v, double halfWidth) const;

    bool HasMarks() const { return !m_marks.empty(); }

    /// The mean transmission over a rectangle around `centre` (u, v) that reaches by `reach` to each side.
    ///
    /// The slide is the stripes plus, for each mark, a rectangle that changes its stripe to the mark's transmission. The
    /// blur of a rectangle is the product of a profile along u and one along v, so that its mean is a product, too.
    Colour Mean(const Vec2& centre, const Vec2& reach) const
    {
        Colour mean = Mean(centre.y, reach.y);
        if (HasMarks()) {
            AddMarks(centre, reach, mean);
        }
        return mean;
    }

private:
    struct Node
    {
        Colour integral{};
        Colour profile{};
    };

    /// All marks of one stripe.
    struct StripeMarks
    {
        double begin = 0.0; ///< v
        double end = 0.0;   ///< v
        Colour change{};    ///< of the transmission, from the stripe to its marks
    };

    Colour Integral(double v) const;
    void AddMarks(const Vec2& centre, const Vec2& reach, Colour& mean) const;
    void PlaceMarks(const SlideParameters& slide, int height);

    /// The mean of the blurred profile of 1 on begin..end, 0 elsewhere, over at - reach .. at + reach.
    double MeanOfWindow(double begin, double end, double at, double reach) const;

    double m_blur;        ///< sigma, slide units
    double m_begin = 0.0; ///< v of the first node
    std::vector<Node> m_nodes;
    std::vector<StripeMarks> m_marks;  ///< by rising v
    std::vector<double> m_markCentres; ///< u
    double m_markHalfLength = 0.0;
};

} // namespace device

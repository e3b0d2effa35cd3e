#include "scanner/device/stripeslide.h"

#include "scanner/device/virtualdevice.h"

#include <algorithm>
#include <numbers>

namespace device {

namespace {

constexpr double c_reach = 9.0;   ///< in sigma; beyond it a blurred edge has ended to within 1e-18
constexpr double c_spacing = 0.5; ///< of the nodes, slide units: a twelfth of the usual blur

double NormalDistribution(double t)
{
    return 0.5 * std::erfc(-t / std::numbers::sqrt2);
}

double NormalDensity(double t)
{
    return std::exp(-0.5 * t * t) / std::sqrt(2.0 * std::numbers::pi);
}

constexpr double c_narrowest = 1e-3; ///< slide units; keeps the difference of integrals above rounding

/// The integral of the normal distribution from the left, in units of its sigma.
double NormalIntegral(double t)
{
    return t * NormalDistribution(t) + NormalDensity(t);
}

/// What the stripe with the index `stripe`, from 0, lets through.
Colour StripeLevel(const SlideParameters& slide, int stripe)
{
    Colour level{};
    const int digit = slide.digits[static_cast<std::size_t>(stripe) % slide.digits.size()] - '0';
    for (std::size_t channel = 0; channel < level.size(); ++channel) {
        level[channel] = ((digit >> channel) & 1) != 0 ? 1.0 : slide.darkLevel;
    }
    return level;
}

/// A change of transmission at one v.
struct Jump
{
    double v = 0.0;
    Colour by{};
};

/// The changes of transmission along the slide, which is dark outside 0..height.
std::vector<Jump> Jumps(const SlideParameters& slide, int height)
{
    std::vector<Jump> jumps;
    Colour before{};
    const int stripes = (height + slide.stripeWidth - 1) / slide.stripeWidth;
    for (int stripe = 0; stripe <= stripes; ++stripe) {
        const Colour level = stripe < stripes ? StripeLevel(slide, stripe) : Colour{};
        Jump jump{static_cast<double>(std::min(stripe * slide.stripeWidth, height)), {}};
        for (std::size_t channel = 0; channel < level.size(); ++channel) {
            jump.by[channel] = level[channel] - before[channel];
        }
        jumps.push_back(jump);
        before = level;
    }
    return jumps;
}

} // namespace

StripeSlide::StripeSlide(const SlideParameters& slide, int height) : m_blur(slide.blur)
{
    PlaceMarks(slide, height);
    const double sigma = m_blur;
    const double margin = 2.0 * slide.stripeWidth + c_reach * sigma;
    m_begin = -margin;
    m_nodes.resize(static_cast<std::size_t>(std::ceil((height + 2.0 * margin) / c_spacing)) + 2);

    const std::vector<Jump> jumps = Jumps(slide, height);
    Colour passed{};       // sum of the jumps that lie wholly to the left
    Colour passedMoment{}; // sum of jump times its v
    std::size_t firstNear = 0;
    for (std::size_t index = 0; index < m_nodes.size(); ++index) {
        const double v = m_begin + static_cast<double>(index) * c_spacing;
        for (; firstNear < jumps.size() && v - jumps[firstNear].v > c_reach * sigma; ++firstNear) {
            for (std::size_t channel = 0; channel < passed.size(); ++channel) {
                passed[channel] += jumps[firstNear].by[channel];
                passedMoment[channel] += jumps[firstNear].by[channel] * jumps[firstNear].v;
            }
        }
        Node& node = m_nodes[index];
        for (std::size_t channel = 0; channel < passed.size(); ++channel) {
            node.profile[channel] = passed[channel];
            node.integral[channel] = passed[channel] * v - passedMoment[channel];
        }
        for (std::size_t j = firstNear; j < jumps.size() && jumps[j].v - v < c_reach * sigma; ++j) {
            const double t = (v - jumps[j].v) / sigma;
            const double risen = NormalDistribution(t);
            const double integral = sigma * (t * risen + NormalDensity(t));
            for (std::size_t channel = 0; channel < passed.size(); ++channel) {
                node.profile[channel] += jumps[j].by[channel] * risen;
                node.integral[channel] += jumps[j].by[channel] * integral;
            }
        }
    }
}

void StripeSlide::PlaceMarks(const SlideParameters& slide, int height)
{
    m_markCentres = slide.markCentres;
    m_markHalfLength = slide.markHalfLength;
    for (const int number : slide.markStripes) {
        StripeMarks marks;
        marks.begin = static_cast<double>((number - 1) * slide.stripeWidth);
        marks.end = static_cast<double>(std::min(number * slide.stripeWidth, height));
        const Colour stripe = StripeLevel(slide, number - 1);
        for (std::size_t channel = 0; channel < stripe.size(); ++channel) {
            marks.change[channel] = (slide.brightMarks ? 1.0 : slide.darkLevel) - stripe[channel];
        }
        m_marks.push_back(marks);
    }
    std::sort(m_marks.begin(), m_marks.end(),
              [](const StripeMarks& a, const StripeMarks& b) { return a.begin < b.begin; });
}

Colour StripeSlide::Integral(double v) const
{
    const double at = std::clamp((v - m_begin) / c_spacing, 0.0, static_cast<double>(m_nodes.size() - 2));
    const auto index = static_cast<std::size_t>(at);
    const double t = at - static_cast<double>(index);
    const double s = 1.0 - t;
    const Node& left = m_nodes[index];
    const Node& right = m_nodes[index + 1];
    // Cubic Hermite interpolation.
    const double ofLeft = s * s * (1.0 + 2.0 * t), ofRight = t * t * (1.0 + 2.0 * s);
    const double slopeLeft = c_spacing * s * s * t, slopeRight = -c_spacing * t * t * s;
    Colour result{};
    for (std::size_t channel = 0; channel < result.size(); ++channel) {
        result[channel] = ofLeft * left.integral[channel] + ofRight * right.integral[channel] +
                          slopeLeft * left.profile[channel] + slopeRight * right.profile[channel];
    }
    return result;
}

Colour StripeSlide::Mean(double v, double halfWidth) const
{
    const double reach = std::max(halfWidth, c_narrowest);
    const Colour left = Integral(v - reach);
    const Colour right = Integral(v + reach);
    Colour mean{};
    for (std::size_t channel = 0; channel < mean.size(); ++channel) {
        mean[channel] = (right[channel] - left[channel]) / (2.0 * reach);
    }
    return mean;
}

double StripeSlide::MeanOfWindow(double begin, double end, double at, double reach) const
{
    const double half = std::max(reach, c_narrowest);
    const auto meanOfEdge = [&](double edge) {
        return m_blur *
               (NormalIntegral((at + half - edge) / m_blur) - NormalIntegral((at - half - edge) / m_blur)) /
               (2.0 * half);
    };
    return meanOfEdge(begin) - meanOfEdge(end);
}

void StripeSlide::AddMarks(const Vec2& centre, const Vec2& reach, Colour& mean) const
{
    const Vec2 far{reach.x + c_reach * m_blur, reach.y + c_reach * m_blur};
    double alongU = 0.0;
    for (const double mark : m_markCentres) {
        if (std::abs(centre.x - mark) < m_markHalfLength + far.x) {
            alongU += MeanOfWindow(mark - m_markHalfLength, mark + m_markHalfLength, centre.x, reach.x);
        }
    }
    if (alongU == 0.0) {
        return;
    }
    auto marks = std::lower_bound(m_marks.begin(), m_marks.end(), centre.y - far.y,
                                  [](const StripeMarks& stripe, double v) { return stripe.end < v; });
    for (; marks != m_marks.end() && marks->begin < centre.y + far.y; ++marks) {
        const double weight = alongU * MeanOfWindow(marks->begin, marks->end, centre.y, reach.y);
        for (std::size_t channel = 0; channel < mean.size(); ++channel) {
            mean[channel] += weight * marks->change[channel];
        }
    }
}

} // namespace device

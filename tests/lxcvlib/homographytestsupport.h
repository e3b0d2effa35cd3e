// Maps, pairs of points and derivatives for the tests of homographies.
#pragma once

#include "lxchomography.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace LxCV::TestSupport::Homography {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr double kWidth = 658.0;  // pixels
inline constexpr double kHeight = 494.0; // pixels
inline constexpr double kScale = 1000.0; // of the two perspective parameters
inline constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCHomography";

using Params = std::array<double, 8>;
using Features = std::vector<SHomographyFeature>;

struct SPoint
{
    double x;
    double y;
};

/// Opens what derived classes may call.
class CProbe : public LxCHomography
{
public:
    using LxCHomography::applyHomography;
    using LxCHomography::applyHomographyInverse;
    using LxCHomography::calcDifferenceForOneFeature;
    using LxCHomography::init;
    using LxCHomography::jacobian;

    Params GetParams()
    {
        Params params;
        std::copy_n(DebugGetHomograpy(), 8, params.begin());
        return params;
    }
    void SetParams(const Params& params) { std::copy(params.begin(), params.end(), DebugGetHomograpy()); }
    SPoint Map(Params params, double x, double y)
    {
        SPoint out{};
        applyHomography(params.data(), x, y, out.x, out.y);
        return out;
    }
};

/// The map of the class comment, in long double and with scaled perspective terms.
inline SPoint TrueMap(const Params& h, double x, double y)
{
    const long double d = h[6] / 1000.0L * x + h[7] / 1000.0L * y + 1.0L;
    return {static_cast<double>(
                (static_cast<long double>(h[0]) * x + static_cast<long double>(h[1]) * y + h[2]) / d),
            static_cast<double>(
                (static_cast<long double>(h[3]) * x + static_cast<long double>(h[4]) * y + h[5]) / d)};
}

/// A view of a tilted, turned plane: near a similarity, with up to 30 % perspective across the image.
inline Params RandomParams(std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const double size = 1.0 + 0.3 * unit(random);
    const double angle = 0.7 * unit(random); // radians
    return {size * std::cos(angle) + 0.1 * unit(random),
            -size * std::sin(angle),
            80.0 * unit(random),
            size * std::sin(angle),
            size * std::cos(angle) + 0.1 * unit(random),
            80.0 * unit(random),
            0.25 * unit(random),
            0.25 * unit(random)};
}

/// Pairs all over the camera image with noise of the given standard deviation on the targets.
inline Features MakeFeatures(const Params& params, int count, double noise, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> error(0.0, 1.0);
    Features features;
    for (int i = 0; i < count; ++i) {
        const double x = kWidth * unit(random);
        const double y = kHeight * unit(random);
        const SPoint target = TrueMap(params, x, y);
        features.push_back(
            {target.x + noise * error(random), target.y + noise * error(random), 1.0, 1.0, x, y});
    }
    return features;
}

/// The largest distance of the mapped image corners from the true ones, pixels; not a number if any is.
inline double CornerError(CProbe& homography, const Params& truth)
{
    double worst = 0.0;
    for (const SPoint corner :
         {SPoint{0, 0}, SPoint{kWidth, 0}, SPoint{0, kHeight}, SPoint{kWidth, kHeight}}) {
        const SPoint mapped = homography.Map(homography.GetParams(), corner.x, corner.y);
        const SPoint expected = TrueMap(truth, corner.x, corner.y);
        const double error = std::hypot(mapped.x - expected.x, mapped.y - expected.y);
        worst = error <= worst ? worst : error;
    }
    return worst;
}

inline long SizeOf(const Features& features)
{
    return static_cast<long>(features.size());
}

/// Analytic derivatives of the mapped position by the eight parameters, x and y.
inline std::array<Params, 2> Derivatives(const Params& h, double x, double y)
{
    const double d = h[6] / kScale * x + h[7] / kScale * y + 1.0;
    const SPoint m = TrueMap(h, x, y);
    return {Params{x / d, y / d, 1 / d, 0, 0, 0, -m.x * x / d / kScale, -m.x * y / d / kScale},
            Params{0, 0, 0, x / d, y / d, 1 / d, -m.y * x / d / kScale, -m.y * y / d / kScale}};
}

/// The sum of squared algebraic errors of a unit vector a0 ... a8.
inline double AlgebraicError(const Features& features, const std::array<double, 9>& a)
{
    double sum = 0.0;
    for (const SHomographyFeature& f : features) {
        const double d = a[6] * f.dSourceX + a[7] * f.dSourceY + a[8];
        const double ex = d * f.dTargetX - (a[0] * f.dSourceX + a[1] * f.dSourceY + a[2]);
        const double ey = d * f.dTargetY - (a[3] * f.dSourceX + a[4] * f.dSourceY + a[5]);
        sum += ex * ex + ey * ey;
    }
    return sum;
}

inline std::array<double, 9> UnitVector(const Params& params)
{
    std::array<double, 9> a{};
    std::copy(params.begin(), params.end(), a.begin());
    a[8] = 1.0;
    double lengthSq = 0.0;
    for (const double element : a) {
        lengthSq += element * element;
    }
    for (double& element : a) {
        element /= std::sqrt(lengthSq);
    }
    return a;
}

} // namespace LxCV::TestSupport::Homography

// A plane-to-plane projective map estimated from point pairs.
#pragma once

#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// One pair of points: a measured target position with its variances, and the source position that maps to it.
/// Both planes have frames and units of the caller's choice.
struct SHomographyFeature
{
    double dTargetX;
    double dTargetY;
    double dVarianceX; ///< of the target's x, in squared units of the target plane
    double dVarianceY; ///< of the target's y, in squared units of the target plane
    double dSourceX;
    double dSourceY;
};

/// The homography from a source plane to a target plane, by eight parameters h0 ... h7:
///
///     d  = (h6 / s) x + (h7 / s) y + 1
///     x' = (h0 x + h1 y + h2) / d
///     y' = (h3 x + h4 y + h5) / d
///
/// The perspective scale s = 1000 brings the derivatives by h6 and h7 to the size of the others, if coordinates are
/// of the size of pixels in a camera image.
///
/// Use: `SetFeatureData`, then `EstimateHomography` for a linear solution that takes all pairs alike, or
/// `OptimiseHomography` behind it, which refines it and leaves outliers aside.
///
/// Every map divides h6 and h7 by s in place, and multiplies them by s when it is done, which can change them by a
/// rounding. So an object serves one thread at a time, for all of its operations. Features are not owned and not
/// copied; they are read by the two estimations only.
class ORX_EXPORT LxCHomography
{
public:
    /// All parameters zero, no features.
    LxCHomography() = default;
    LxCHomography(const LxCHomography&) = default;
    LxCHomography& operator=(const LxCHomography&) = default;
    virtual ~LxCHomography();

    /// Sets all parameters to zero and takes the features for the estimations to follow.
    /// @param features `count` pairs of the caller, who keeps them alive and unmoved through the estimations; an
    ///        array that is null, or a count that is negative or above 2^31 - 1, counts as no features
    void SetFeatureData(long count, SHomographyFeature* features);

    /// Direct linear transformation: the parameters of smallest algebraic error, without normalisation and without
    /// weights. Four pairs in general position determine them; fewer leave an arbitrary one of the maps that fit.
    ///
    /// h6 and h7 are left unscaled here although every map divides them by s, deliberately so: the result is the
    /// starting point of `OptimiseHomography`, which finds their scaled values. Before that the map lacks nearly all
    /// of its perspective. Where the last element of the solution is zero, parameters are infinite or no numbers.
    /// @return false, with the parameters as they were, if there are no features, a coordinate or a product of two
    ///         is not finite, or memory is short
    bool EstimateHomography();

    /// Refines the parameters by Gauss-Newton steps with weights of Tukey's biweight, which is zero for residuals
    /// beyond 4.6851 times their root mean square. Weights come from the variances in the first three iterations:
    /// a pair whose variance is 21.95 times the mean or more then does not count. A step that makes the
    /// root mean square of the residuals larger is taken back and halved.
    ///
    /// A pair without weight leaves, deliberately, equations of earlier iterations at the end of the system, where they
    /// go on to count: outliers keep a pull. With 200 pairs of 0.3 pixels noise on a camera image of which a fifth is
    /// wrong by some 50 pixels, the corners of the image are off by 0.7 pixels typically, and by 0.2 with none wrong;
    /// where the wrong ones lie anywhere, by some 8. Remove gross outliers before.
    ///
    /// Ends when the squared length of a step is below 2^-23, but never before its fifth iteration, and after 1000
    /// iterations at the latest. Pairs that do not determine all parameters, or infinite ones, can make parameters
    /// infinite or no numbers.
    /// @return whether the last step was below that limit; false also if there are no features or the equations of a
    ///         step cannot be solved, and the parameters are then the best that were found
    bool OptimiseHomography();

    /// The source position of the target position (x, y). Not finite where the map has no inverse; there is no test.
    void ApplyHomographyInverse(double x, double y, double& ox, double& oy);

    /// The eight parameters h0 ... h7, h6 and h7 scaled by s; valid as long as the object.
    double* DebugGetHomograpy() { return m_adParameters; }

protected:
    /// The target position of the source position (x, y).
    /// @param params eight parameters, of which 6 and 7 are divided and multiplied in place; null writes nothing
    void applyHomography(double* params, double x, double y, double& ox, double& oy);

    /// The source position of the target position (x, y), by Cramer's rule and without a test of the denominator.
    /// @param params eight parameters, of which 6 and 7 are divided and multiplied in place; null writes nothing
    void applyHomographyInverse(double* params, double x, double y, double& ox, double& oy);

    /// The mapped source position minus the target position.
    /// @param params eight parameters, of which 6 and 7 are divided and multiplied in place
    /// @param difference receives x and y
    void calcDifferenceForOneFeature(const SHomographyFeature* feature, double* params, double* difference);

    /// Derivatives of the mapped position by the first `count` parameters, by forward differences with a step of
    /// 1e-6, and behind them the residuals: target minus mapped position.
    /// @param params eight parameters; each is put back, but 6 and 7 keep the rounding of the maps
    /// @param count 0 to 8; anything else, and null pointers, write nothing
    /// @param dx receives count + 1 values for x
    /// @param dy receives count + 1 values for y
    void jacobian(SHomographyFeature* feature, double* params, int count, double* dx, double* dy);

    /// Sets all parameters to zero. @return true
    bool init();

private:
    struct SIteration;

    double VarianceLimit() const;
    void WeighFeatures(SIteration& state);
    bool Advance(SIteration& state);

    double m_dPerspectiveScale = 1000.0;
    double m_adParameters[8] = {};
    std::int32_t m_iFeatureCount = 0;
    SHomographyFeature* m_pFeatures = nullptr; ///< not owned
};

} // namespace LxCV

// The refinement of homographies against an iteration of its own.
#include "lxchomography.h"

#include "homographytestsupport.h"
#include "matrixroutines.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport::Homography;

/// The refinement once more, with the normal equations solved by Cholesky's method in place of a decomposition, and
/// each of its habits as a switch.
struct CReference
{
    bool keepStaleRows = true;
    bool limitVariances = true;
    int firstStop = 4;

    int halvings = 0;
    int iterations = 0;
    int unweighted = 0; ///< features without weight, summed over all iterations
    bool converged = false;

    Params Optimise(const Features& features, const Params& start);

private:
    double Weigh(const Features& features, const Params& params, double scale);
    Params Solve() const;
    std::vector<Params> m_Rows;
    std::vector<double> m_Rhs;
    int m_iIteration = 0;
};

Params CReference::Solve() const
{
    std::vector<double> normal(64, 0.0);
    std::vector<double> rhs(8, 0.0);
    for (std::size_t row = 0; row < m_Rows.size(); ++row) {
        for (std::size_t i = 0; i < 8; ++i) {
            rhs[i] += m_Rows[row][i] * m_Rhs[row];
            for (std::size_t k = 0; k < 8; ++k) {
                normal[i * 8 + k] += m_Rows[row][i] * m_Rows[row][k];
            }
        }
    }
    EXPECT_TRUE(InvertGaussJordan(normal.data(), 8));
    Params step{};
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t k = 0; k < 8; ++k) {
            step[i] += normal[i * 8 + k] * rhs[k];
        }
    }
    return step;
}

/// Writes the rows, and returns the new scale.
double CReference::Weigh(const Features& features, const Params& params, double scale)
{
    double meanVariance = 0.0;
    for (const SHomographyFeature& f : features) {
        meanVariance += (f.dVarianceX + f.dVarianceY) / static_cast<double>(features.size());
    }
    const double cSq = 4.6851 * 4.6851;
    double errors = 0.0;
    double weights = 0.0;
    std::size_t row = 0;
    if (!keepStaleRows) {
        std::fill(m_Rows.begin(), m_Rows.end(), Params{});
        std::fill(m_Rhs.begin(), m_Rhs.end(), 0.0);
    }
    for (const SHomographyFeature& f : features) {
        const SPoint m = TrueMap(params, f.dSourceX, f.dSourceY);
        const double e = std::pow(f.dTargetX - m.x, 2) + std::pow(f.dTargetY - m.y, 2);
        double u = e / (scale * scale * cSq);
        if (m_iIteration < 3) {
            u = limitVariances ? (f.dVarianceX + f.dVarianceY) / (cSq * meanVariance) : 0.0;
        }
        if (u >= 1.0) {
            ++unweighted;
            continue;
        }
        const double w = std::pow(1.0 - u, 2);
        const std::array<Params, 2> derivatives = Derivatives(params, f.dSourceX, f.dSourceY);
        const double residuals[] = {f.dTargetX - m.x, f.dTargetY - m.y};
        for (std::size_t axis = 0; axis < 2; ++axis, ++row) {
            for (std::size_t k = 0; k < 8; ++k) {
                m_Rows[row][k] = w * derivatives[axis][k];
            }
            m_Rhs[row] = w * residuals[axis];
        }
        errors += w * e;
        weights += w;
    }
    return std::sqrt(errors / weights);
}

Params CReference::Optimise(const Features& features, const Params& start)
{
    m_Rows.assign(2 * features.size(), Params{});
    m_Rhs.assign(2 * features.size(), 0.0);
    Params params = start;
    Params best = start;
    Params step{};
    double bestScale = 1e38;
    double scale = 1e38;
    double lengthSq = 0.0;
    for (m_iIteration = 0; m_iIteration < 1000; ++m_iIteration) {
        const double newScale = Weigh(features, params, scale);
        if (newScale <= bestScale) {
            step = Solve();
            best = params;
            bestScale = scale = newScale;
        } else {
            ++halvings;
            scale = bestScale;
            for (double& element : step) {
                element /= 2;
            }
        }
        lengthSq = 0.0;
        for (std::size_t k = 0; k < 8; ++k) {
            params[k] = best[k] + step[k];
            lengthSq += step[k] * step[k];
        }
        if (m_iIteration >= firstStop && lengthSq < 1.1920928955078125e-07) {
            break;
        }
    }
    iterations = m_iIteration;
    converged = lengthSq < 1.1920928955078125e-07;
    return params;
}

/// The largest distance between the maps of two sets of parameters in the corners of the image, pixels.
double MapDistance(const Params& a, const Params& b)
{
    CProbe homography;
    homography.SetParams(a);
    return CornerError(homography, b);
}

struct SResult
{
    Params params;
    bool converged;
};

SResult Optimise(Features& features, const Params& start)
{
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    homography.SetParams(start);
    const bool converged = homography.OptimiseHomography();
    return {homography.GetParams(), converged};
}

SResult EstimateAndOptimise(Features& features)
{
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    EXPECT_TRUE(homography.EstimateHomography());
    const bool converged = homography.OptimiseHomography();
    return {homography.GetParams(), converged};
}

constexpr Params kIdentity{1, 0, 0, 0, 1, 0, 0, 0};

// The last step is shorter than 3.5e-4, and the one to follow it far shorter still: derivatives that are off by some
// 1e-6 of themselves move the end of the iteration by 1e-6 of that, and scales take a part in a thousand of a pixel.
constexpr double kReferenceTolerance = 2e-3; // pixels

TEST(LxCHomographyRefinement, OptimiseRefinesTheLinearEstimateToExactMaps)
{
    std::mt19937 random(10);
    for (int trial = 0; trial < 200; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 30, 0.0, random);
        const SResult result = EstimateAndOptimise(features);
        EXPECT_LE(MapDistance(result.params, truth), 1e-6) << trial;
        EXPECT_NEAR(result.params[6], truth[6], 1e-9) << "scaled now";
        EXPECT_NEAR(result.params[7], truth[7], 1e-9) << "scaled now";
    }
}

TEST(LxCHomographyRefinement, OptimiseFindsMapsOfNoisyPairsWithinTheirNoise)
{
    std::mt19937 random(11);
    for (int trial = 0; trial < 50; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 200, 0.3, random);
        const SResult result = EstimateAndOptimise(features);
        EXPECT_TRUE(result.converged) << trial;
        // 0.3 pixels over the root of 200, some five times that in the corners, four standard deviations.
        EXPECT_LE(MapDistance(result.params, truth), 0.45) << trial;
    }
}

TEST(LxCHomographyRefinement, OptimiseGoesTheStepsOfAnIndependentIteration)
{
    std::mt19937 random(12);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    int unweighted = 0;
    int halvings = 0;
    for (int trial = 0; trial < 150; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 60, 0.3, random);
        for (std::size_t i = 0; i < features.size(); ++i) {
            features[i].dVarianceX = 0.1 + unit(random);
            features[i].dVarianceY = 0.1 + unit(random);
            if (trial % 3 != 0 && i % 15 == 7) {
                features[i].dTargetX += 5.0 + 40.0 * unit(random);
            }
        }
        CReference reference;
        const Params expected = reference.Optimise(features, kIdentity);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_EQ(result.converged, reference.converged) << trial;
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        unweighted += reference.unweighted;
        halvings += reference.halvings;
    }
    EXPECT_GT(unweighted, 100) << "features were left out";
    EXPECT_GT(halvings, 100) << "steps were halved";
}

/// Pairs of which some are wrong by 20 to 60 pixels, so that rows are left over from earlier iterations.
Features WithOutliers(const Params& truth, int every, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Features features = MakeFeatures(truth, 60, 0.3, random);
    for (std::size_t i = 0; i < features.size(); i += static_cast<std::size_t>(every)) {
        features[i].dTargetX += 20.0 + 40.0 * unit(random);
        features[i].dTargetY -= 20.0 + 40.0 * unit(random);
    }
    return features;
}

TEST(LxCHomographyRefinement, RowsOfFeaturesThatLostTheirWeightTakePartWithWhatTheyLastHeld)
{
    std::mt19937 random(13);
    int different = 0;
    for (int trial = 0; trial < 30; ++trial) {
        Features features = WithOutliers(RandomParams(random), 12, random);
        CReference keeping;
        CReference clearing;
        clearing.keepStaleRows = false;
        const Params expected = keeping.Optimise(features, kIdentity);
        const Params other = clearing.Optimise(features, kIdentity);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        different += MapDistance(result.params, other) > 10.0 * kReferenceTolerance ? 1 : 0;
    }
    EXPECT_GT(different, 15) << "clearing the rows would give another result";
}

/// A fifth of 200 pairs is wrong: by 28 to 85 pixels, or anywhere in the image.
Features WithAFifthWrong(const Params& truth, bool anywhere, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Features features = MakeFeatures(truth, 200, 0.3, random);
    for (std::size_t i = 0; i < features.size(); i += 5) {
        SHomographyFeature& f = features[i];
        const double u = unit(random);
        const double v = unit(random);
        f.dTargetX = anywhere ? kWidth * u : f.dTargetX + 20.0 + 40.0 * u;
        f.dTargetY = anywhere ? kHeight * v : f.dTargetY - 20.0 - 40.0 * v;
    }
    return features;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

TEST(LxCHomographyRefinement, OptimiseLeavesLittleOfAFifthOfWrongPairsAndTheRestComesFromRowsThatStay)
{
    for (const bool anywhere : {false, true}) {
        std::mt19937 random(21);
        std::vector<double> linear;
        std::vector<double> refined;
        std::vector<double> clean;
        for (int trial = 0; trial < 40; ++trial) {
            const Params truth = RandomParams(random);
            Features features = WithAFifthWrong(truth, anywhere, random);
            CReference reference;
            const Params expected = reference.Optimise(features, kIdentity);
            CReference clearing;
            clearing.keepStaleRows = false;
            const SResult result = Optimise(features, kIdentity);
            EXPECT_TRUE(result.converged) << trial;
            EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;

            CProbe estimate;
            estimate.SetFeatureData(SizeOf(features), features.data());
            ASSERT_TRUE(estimate.EstimateHomography());
            Params scaled = estimate.GetParams();
            scaled[6] *= kScale;
            scaled[7] *= kScale;
            linear.push_back(MapDistance(scaled, truth));
            refined.push_back(MapDistance(result.params, truth));
            clean.push_back(MapDistance(clearing.Optimise(features, kIdentity), truth));
        }
        // The biweight alone reaches what the noise allows, as in the test without wrong pairs.
        EXPECT_LE(*std::max_element(clean.begin(), clean.end()), 0.45);
        EXPECT_LE(Median(refined), anywhere ? 15.0 : 1.0) << "pixels";
        EXPECT_LE(Median(refined), 0.1 * Median(linear));
        EXPECT_GT(Median(refined), 2.0 * Median(clean)) << "the pull of the rows that stay";
    }
}

TEST(LxCHomographyRefinement, RepeatedAndCollinearPairsEndBothEstimations)
{
    std::mt19937 random(22);
    const Params truth = RandomParams(random);
    const Features one = MakeFeatures(truth, 1, 0.0, random);
    Features line;
    for (int i = 0; i < 50; ++i) {
        const SPoint target = TrueMap(truth, 10.0 * i, 5.0 * i);
        line.push_back({target.x, target.y, 1.0, 1.0, 10.0 * i, 5.0 * i});
    }
    for (Features features : {one, Features(50, one.front()), line}) {
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        EXPECT_TRUE(homography.EstimateHomography());
        const std::array<double, 9> found = UnitVector(homography.GetParams());
        // A unit vector times terms of at most 1e6, which are rounded.
        EXPECT_LE(AlgebraicError(features, found), 1e-12) << features.size() << ": a map that fits";
        homography.OptimiseHomography();
    }
}

TEST(LxCHomographyRefinement, RefinementGivesTheSameBitsEachTime)
{
    std::mt19937 random(23);
    Features features = WithAFifthWrong(RandomParams(random), true, random);
    const Params first = EstimateAndOptimise(features).params;
    EXPECT_EQ(EstimateAndOptimise(features).params, first);
}

TEST(LxCHomographyRefinement, NeverStopsBeforeTheFifthIterationEvenIfStepsAreShort)
{
    // Iterations 0 to 2 weigh all pairs alike and come to rest; the weights by residuals come with iteration 3 only.
    std::mt19937 random(14);
    for (int trial = 0; trial < 20; ++trial) {
        const Params truth{1, 0, 0.1, 0, 1, -0.1, 0, 0};
        Features features = MakeFeatures(truth, 40, 0.5, random);
        CReference reference;
        CReference hasty;
        hasty.firstStop = 0;
        const Params expected = reference.Optimise(features, kIdentity);
        const Params early = hasty.Optimise(features, kIdentity);
        ASSERT_LT(hasty.iterations, 3) << "the least squares are at rest";
        ASSERT_GE(reference.iterations, 4);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_TRUE(result.converged);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        EXPECT_GT(MapDistance(result.params, early), 5.0 * kReferenceTolerance) << trial;
    }
}

TEST(LxCHomographyRefinement, AFeatureOfFarMoreThanTheMeanVarianceDoesNotCountInTheFirstIterations)
{
    // The sum of feature 0 is v of a mean of (v + 2 * 59) / 60: 21.95 times the mean for v = 68.1 and more.
    std::mt19937 random(15);
    const Params truth = RandomParams(random);
    for (const double variance : {60.0, 68.0, 69.0, 1e6}) {
        Features features = MakeFeatures(truth, 60, 0.1, random);
        features[0].dVarianceX = 0.75 * variance;
        features[0].dVarianceY = 0.25 * variance;
        features[0].dTargetX += 5000.0;
        CReference reference;
        const Params expected = reference.Optimise(features, kIdentity);
        EXPECT_EQ(reference.unweighted > reference.iterations - 2, variance > 68.1)
            << "in iterations 0 to 2 as well";
        const SResult result = Optimise(features, kIdentity);
        EXPECT_EQ(result.converged, reference.converged);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << variance;
        if (variance > 68.1) {
            EXPECT_LE(MapDistance(result.params, truth), 0.3) << variance;
        }
    }
}

TEST(LxCHomographyRefinement, WithoutVariancesTheFirstThreeIterationsTakeNoStep)
{
    // 0 / 0 is no weight and no number, which is no improvement; from iteration 3 on residuals weigh.
    std::mt19937 random(16);
    const Params truth = RandomParams(random);
    Features features = MakeFeatures(truth, 60, 0.1, random);
    for (SHomographyFeature& feature : features) {
        feature.dVarianceX = feature.dVarianceY = 0.0;
    }
    const SResult result = Optimise(features, kIdentity);
    EXPECT_TRUE(result.converged);
    EXPECT_LE(MapDistance(result.params, truth), 0.3);
}

TEST(LxCHomographyRefinement, ASingularValueOfZeroMakesParametersInfiniteAndTheResultFalse)
{
    // All sources in the origin: only h2 and h5 have derivatives.
    Features features;
    for (int i = 0; i < 6; ++i) {
        features.push_back({10.0 + i, 20.0 - i, 1.0, 1.0, 0.0, 0.0});
    }
    const SResult result = Optimise(features, kIdentity);
    EXPECT_FALSE(result.converged);
    EXPECT_FALSE(
        std::all_of(result.params.begin(), result.params.end(), [](double h) { return std::isfinite(h); }));
}

TEST(LxCHomographyRefinement, APairThatIsNoNumberLeavesTheParametersAsTheyWere)
{
    // No scale is a number, so no step is taken, and the step that was not taken has length zero.
    std::mt19937 random(17);
    Features features = MakeFeatures(RandomParams(random), 20, 0.1, random);
    features[5].dTargetX = kNaN;
    const SResult result = Optimise(features, kIdentity);
    EXPECT_TRUE(result.converged);
    EXPECT_EQ(result.params, kIdentity);
}

TEST(LxCHomographyRefinement, AnyCoordinatesAndVariancesEndTheRefinement)
{
    std::mt19937 random(18);
    const double hard[] = {kNaN, kInfinity, -kInfinity, 1e308, -1e308, 1e160, 1e-320, 0.0, -1.0, 1e38};
    const Logging::CCapture capture;
    for (int trial = 0; trial < 150; ++trial) {
        Features features = MakeFeatures(RandomParams(random), 1 + trial % 8, 0.5, random);
        for (int bad = 0; bad <= trial % 3; ++bad) {
            SHomographyFeature& f = features[random() % features.size()];
            double* const members[] = {&f.dTargetX,   &f.dTargetY, &f.dVarianceX,
                                       &f.dVarianceY, &f.dSourceX, &f.dSourceY};
            *members[random() % 6] = hard[random() % std::size(hard)];
        }
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        homography.OptimiseHomography();
        homography.EstimateHomography();
        homography.OptimiseHomography();
    }
}

TEST(LxCHomographyRefinement, EquationsThatAreNotFiniteEndTheRefinementAndAreLogged)
{
    // The target and the residual fit, but the derivative by h0, the source x over d, overflows once it is weighted
    // with more than one, which a negative variance brings.
    Features features{{0, 0, 100.0, 0.0, 1e308, 1e308}, {0, 0, -98.0, 0.0, 1e308, 1e308}};
    const Params start{0, 0, 0, 0, 0, 0, 0, 0};
    const Logging::CCapture capture;
    const SResult result = Optimise(features, start);
    EXPECT_FALSE(result.converged);
    EXPECT_EQ(result.params, start);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"OptimiseHomography: singular value decomposition: an element is not finite\n"),
              1);
}

TEST(LxCHomographyRefinement, FewerThanFourPairsTakeTheShortestStepThatFitsThem)
{
    std::mt19937 random(19);
    for (int count = 1; count <= 3; ++count) {
        const Params truth{1.01, 0.02, 3.0, -0.01, 0.99, -2.0, 0.01, 0.02};
        Features features = MakeFeatures(truth, count, 0.0, random);
        const SResult result = Optimise(features, kIdentity);
        CProbe homography;
        for (const SHomographyFeature& f : features) {
            const SPoint mapped = homography.Map(result.params, f.dSourceX, f.dSourceY);
            EXPECT_NEAR(mapped.x, f.dTargetX, 1e-3) << count;
            EXPECT_NEAR(mapped.y, f.dTargetY, 1e-3) << count;
        }
    }
}

} // namespace
} // namespace LxCV

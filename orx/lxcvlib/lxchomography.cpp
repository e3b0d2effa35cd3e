// A plane-to-plane projective map estimated from point pairs.
#include "lxchomography.h"

#include "orx/logging/logger.h"
#include "orx/ymalgo/ymsingularvaluedecomposition.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <limits>
#include <span>
#include <vector>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCHomography");

constexpr int c_iParameters = 8;
constexpr std::size_t c_uiLinearColumns = 9; ///< h0 ... h7 and the common factor

constexpr double c_dDifferenceStep = 1e-6; ///< of a parameter, for derivatives
constexpr double c_dTukey = 4.6851;        ///< 95 % efficiency on normally distributed residuals
constexpr double c_dTukeySq = 21.95016201;
constexpr double c_dFirstScale = 1e+38;                 ///< above every root mean square to come
constexpr double c_dStepLimit = 1.1920928955078125e-07; ///< of the squared length of a step: 2^-23
constexpr int c_iIterationLimit = 1000;
constexpr int c_iFirstResidualWeights = 3; ///< iterations before weigh by variances
constexpr int c_iFirstStop = 4;

/// Keeps the two perspective terms of eight parameters divided by their scale for as long as it lives.
class CUnscaledPerspective
{
public:
    CUnscaledPerspective(double* params, double scale) : m_pParams(params), m_dScale(scale)
    {
        m_pParams[6] /= m_dScale;
        m_pParams[7] /= m_dScale;
    }
    ~CUnscaledPerspective()
    {
        m_pParams[6] *= m_dScale;
        m_pParams[7] *= m_dScale;
    }
    CUnscaledPerspective(const CUnscaledPerspective&) = delete;
    CUnscaledPerspective& operator=(const CUnscaledPerspective&) = delete;

private:
    double* m_pParams; ///< not owned
    double m_dScale;
};

/// Two rows for each feature: the products of the map's equations, multiplied out, that are to vanish.
std::vector<double> LinearEquations(std::span<const SHomographyFeature> features)
{
    std::vector<double> matrix;
    matrix.reserve(2 * features.size() * c_uiLinearColumns);
    for (const SHomographyFeature& feature : features) {
        const double x = feature.dSourceX;
        const double y = feature.dSourceY;
        const double X = feature.dTargetX;
        const double Y = feature.dTargetY;
        matrix.insert(matrix.end(), {-x, -y, -1.0, 0.0, 0.0, 0.0, x * X, y * X, X});
        matrix.insert(matrix.end(), {0.0, 0.0, 0.0, -x, -y, -1.0, x * Y, y * Y, Y});
    }
    return matrix;
}

/// The least-squares solution V W⁻¹ Uᵀ r, no singular value being too small to count.
void Solve(const std::vector<double>& matrix, const std::vector<double>& rhs,
           double (&solution)[c_iParameters])
{
    const YmSingularValueDecomposition<double> svd(matrix.data(), rhs.size(), c_iParameters);
    std::fill(std::begin(solution), std::end(solution), 0.0);
    const std::span<const double> values = svd.GetValues();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::span<const double> left = svd.GetLeftVector(i);
        double projection = 0.0;
        for (std::size_t row = 0; row < rhs.size(); ++row) {
            projection += left[row] * rhs[row];
        }
        const double coefficient = 1.0 / values[i] * projection;
        const std::span<const double> right = svd.GetRightVector(i);
        for (int k = 0; k < c_iParameters; ++k) {
            solution[k] += right[static_cast<std::size_t>(k)] * coefficient;
        }
    }
}

} // namespace

/// What the steps of a refinement hand on.
struct LxCHomography::SIteration
{
    explicit SIteration(std::size_t features) : matrix(2 * features * c_iParameters), rhs(2 * features) {}

    /// Weighted derivatives and residuals, two rows a feature. The features that count are written from the top;
    /// the rows behind them deliberately keep what an earlier iteration, or zero, left there and take part.
    std::vector<double> matrix;
    std::vector<double> rhs;
    double step[c_iParameters] = {};
    double best[c_iParameters] = {};
    double bestScale = c_dFirstScale;
    double scale =
        c_dFirstScale;          ///< weighted root mean square of the residuals, in units of the target plane
    double varianceLimit = 0.0; ///< the sum of two variances from which on a feature does not count
    double stepLengthSq = std::numeric_limits<double>::infinity();
    int iteration = 0;
};

LxCHomography::~LxCHomography() = default;

void LxCHomography::SetFeatureData(long count, SHomographyFeature* features)
{
    init();
    if (!features || count < 0 || count > std::numeric_limits<std::int32_t>::max()) {
        count = 0;
    }
    m_iFeatureCount = static_cast<std::int32_t>(count);
    m_pFeatures = features;
}

bool LxCHomography::EstimateHomography()
{
    if (m_iFeatureCount == 0) {
        return false;
    }
    try {
        const std::span<const SHomographyFeature> features(m_pFeatures,
                                                           static_cast<std::size_t>(m_iFeatureCount));
        const std::vector<double> matrix = LinearEquations(features);
        const YmSingularValueDecomposition<double> svd(matrix.data(), 2 * features.size(), c_uiLinearColumns);
        const std::span<const double> solution = svd.GetRightVector(c_uiLinearColumns - 1);
        for (int k = 0; k < c_iParameters; ++k) {
            m_adParameters[k] = solution[static_cast<std::size_t>(k)] / solution[c_uiLinearColumns - 1];
        }
        return true;
    } catch (const std::exception& exception) {
        s_Logger.Error(L"EstimateHomography: %s\n", exception.what());
        return false;
    }
}

bool LxCHomography::OptimiseHomography()
{
    if (m_iFeatureCount == 0) {
        return false;
    }
    try {
        SIteration state(static_cast<std::size_t>(m_iFeatureCount));
        state.varianceLimit = VarianceLimit();
        std::copy(std::begin(m_adParameters), std::end(m_adParameters), state.best);
        while (state.iteration < c_iIterationLimit) {
            WeighFeatures(state);
            if (!Advance(state)) {
                break;
            }
            ++state.iteration;
        }
        return state.stepLengthSq < c_dStepLimit;
    } catch (const std::exception& exception) {
        s_Logger.Error(L"OptimiseHomography: %s\n", exception.what());
        return false;
    }
}

double LxCHomography::VarianceLimit() const
{
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_iFeatureCount; ++i) {
        sum += m_pFeatures[i].dVarianceX + m_pFeatures[i].dVarianceY;
    }
    return c_dTukeySq * sum / m_iFeatureCount;
}

/// Fills the equations of a step and finds the scale of the residuals at the present parameters.
void LxCHomography::WeighFeatures(SIteration& state)
{
    const double residualLimit = (state.scale * c_dTukey) * (state.scale * c_dTukey);
    double sumWeightedErrors = 0.0;
    double sumWeights = 0.0;
    std::size_t row = 0;
    for (std::int32_t i = 0; i < m_iFeatureCount; ++i) {
        SHomographyFeature& feature = m_pFeatures[i];
        double derivatives[2][c_iParameters + 1]{};
        jacobian(&feature, m_adParameters, c_iParameters, derivatives[0], derivatives[1]);
        const double residualX = derivatives[0][c_iParameters];
        const double residualY = derivatives[1][c_iParameters];
        const double error = residualX * residualX + residualY * residualY;
        const double ratio = state.iteration < c_iFirstResidualWeights
                                 ? (feature.dVarianceX + feature.dVarianceY) / state.varianceLimit
                                 : error / residualLimit;
        if (ratio >= 1.0) {
            continue;
        }
        const double weight = (1.0 - ratio) * (1.0 - ratio);
        for (const double(&axis)[c_iParameters + 1] : derivatives) {
            for (int k = 0; k < c_iParameters; ++k) {
                state.matrix[row * c_iParameters + static_cast<std::size_t>(k)] = weight * axis[k];
            }
            state.rhs[row] = weight * axis[c_iParameters];
            ++row;
        }
        sumWeightedErrors += weight * error;
        sumWeights += weight;
    }
    state.scale = std::sqrt(sumWeightedErrors / sumWeights);
}

/// Goes a new step from parameters that are as good as the best, or half the last step from the best.
/// @return whether to go on
bool LxCHomography::Advance(SIteration& state)
{
    if (state.bestScale >= state.scale) {
        std::copy(std::begin(m_adParameters), std::end(m_adParameters), state.best);
        state.bestScale = state.scale;
        Solve(state.matrix, state.rhs, state.step);
    } else {
        std::copy(std::begin(state.best), std::end(state.best), m_adParameters);
        state.scale = state.bestScale;
        for (double& element : state.step) {
            element *= 0.5;
        }
    }
    state.stepLengthSq = 0.0;
    for (int k = 0; k < c_iParameters; ++k) {
        m_adParameters[k] = state.best[k] + state.step[k];
        state.stepLengthSq += state.step[k] * state.step[k];
    }
    return state.iteration < c_iFirstStop || !(state.stepLengthSq < c_dStepLimit);
}

void LxCHomography::ApplyHomographyInverse(double x, double y, double& ox, double& oy)
{
    applyHomographyInverse(m_adParameters, x, y, ox, oy);
}

void LxCHomography::applyHomography(double* params, double x, double y, double& ox, double& oy)
{
    if (!params) {
        return;
    }
    const CUnscaledPerspective unscaled(params, m_dPerspectiveScale);
    const double denominator = params[6] * x + params[7] * y + 1.0;
    ox = (params[0] * x + params[1] * y + params[2]) / denominator;
    oy = (params[3] * x + params[4] * y + params[5]) / denominator;
}

void LxCHomography::applyHomographyInverse(double* params, double x, double y, double& ox, double& oy)
{
    if (!params) {
        return;
    }
    const CUnscaledPerspective unscaled(params, m_dPerspectiveScale);
    const double* h = params;
    const double denominator =
        (h[4] * h[6] - h[7] * h[3]) * x + (h[1] * h[3] - h[4] * h[0]) + (h[7] * h[0] - h[1] * h[6]) * y;
    const double numeratorX = h[4] * h[2] - h[1] * h[5] + (h[7] * h[5] - h[4]) * x + (h[1] - h[7] * h[2]) * y;
    const double numeratorY =
        (h[3] - h[6] * h[5]) * x + (h[0] * h[5] - h[2] * h[3]) + (h[6] * h[2] - h[0]) * y;
    ox = numeratorX / denominator;
    oy = numeratorY / denominator;
}

void LxCHomography::calcDifferenceForOneFeature(const SHomographyFeature* feature, double* params,
                                                double* difference)
{
    if (!feature || !params || !difference) {
        return;
    }
    applyHomography(params, feature->dSourceX, feature->dSourceY, difference[0], difference[1]);
    difference[0] -= feature->dTargetX;
    difference[1] -= feature->dTargetY;
}

void LxCHomography::jacobian(SHomographyFeature* feature, double* params, int count, double* dx, double* dy)
{
    if (!feature || !params || !dx || !dy || count < 0 || count > c_iParameters) {
        return;
    }
    double difference[2];
    calcDifferenceForOneFeature(feature, params, difference);
    dx[count] = -difference[0];
    dy[count] = -difference[1];
    for (int i = 0; i < count; ++i) {
        const double parameter = params[i];
        params[i] = parameter + c_dDifferenceStep;
        double step = params[i] - parameter;
        if (step == 0.0) {
            step = c_dDifferenceStep;
        }
        calcDifferenceForOneFeature(feature, params, difference);
        dx[i] = (difference[0] + dx[count]) / step;
        dy[i] = (difference[1] + dy[count]) / step;
        params[i] = parameter;
    }
}

bool LxCHomography::init()
{
    std::fill(std::begin(m_adParameters), std::end(m_adParameters), 0.0);
    return true;
}

} // namespace LxCV

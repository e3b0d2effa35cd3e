// The tables that are derived from the camera model: light planes, and cyclic ids to stripe edges.
#include "lxcpinholeframework.h"

#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCPinholeFramework");

constexpr double c_dLightPlaneDepth = 1000.0; ///< mm, projector frame; where a light plane's points are taken
constexpr int c_iMiddleEdge = 70;             ///< a request for light planes is widened to reach it
constexpr double c_dMaxDistToRange = 100.0;   ///< mm; a stripe edge as far from the depth range fits no more

// Rows times edges, hence the points that are computed for an unwrap table: far above any device, since a model
// from outside can tell any number.
constexpr std::int64_t c_iMaxUnwrapSize = 1 << 16;

/// The stripe edges that one id can mean at one place of the image, and the best of them so far.
class CEdgeChoice
{
public:
    CEdgeChoice(double zMin, double zMax) : m_dMin(zMin), m_dMax(zMax), m_dMid((zMin + zMax) * 0.5) {}

    void Add(int edge, double z)
    {
        if (!std::isfinite(z)) {
            return;
        }
        if (z < m_dMin) {
            AddOutside(edge, m_dMin - z);
        } else if (z > m_dMax) {
            AddOutside(edge, z - m_dMax);
        } else if (m_iInside == c_iNone || std::abs(m_dOffset) > std::abs(z - m_dMid)) {
            m_iInside = edge;
            m_dOffset = z - m_dMid;
        }
    }

    /// An edge inside the range goes before any edge outside.
    int Get() const { return m_iInside != c_iNone ? m_iInside : m_iOutside; }

private:
    static constexpr int c_iNone = LxCPinholeFramework::sc_iInvalidStripeEdge;

    void AddOutside(int edge, double distance)
    {
        if (distance < m_dDistance) {
            m_iOutside = edge;
            m_dDistance = distance;
        }
    }

    double m_dMin;
    double m_dMax;
    double m_dMid;
    int m_iInside = c_iNone;
    double m_dOffset = std::numeric_limits<double>::max(); ///< mm; from the middle to the edge inside
    int m_iOutside = c_iNone;
    double m_dDistance = c_dMaxDistToRange; ///< mm; from the range to the edge outside
};

/// Calls `function` with each image row below `height` for which the table has a row of its own.
template <typename Function>
void ForEachTableRow(int height, int step, const Function& function)
{
    for (std::int64_t row = 0; row < height; row += step) {
        function(static_cast<int>(row));
    }
}

} // namespace

bool LxCPinholeFramework::PrepareLightPlanes(int minEdge, int maxEdge)
{
    const LxCStripePattern& pattern = *m_Projector.GetCLPattern();
    const std::vector<double>& nominal = pattern.GetNominalEdgePositions();
    const int numEdges = pattern.GetNrOfStripeEdges();
    if (numEdges < 0 || nominal.size() != static_cast<std::size_t>(numEdges)) {
        s_Logger.Error(L"PrepareLightPlanes error: Number of stripe edges differs from number of known "
                       L"positions!\n");
        return false;
    }
    const int first = std::clamp(minEdge, 0, c_iMiddleEdge);
    const int last = std::max(std::min(maxEdge, numEdges), c_iMiddleEdge);

    m_vEdgePlanes.resize(nominal.size());
    const LxCPinholeCamera* camera = m_pCamera.get();
    const double focalLength = camera->GetIntrinsicParams()->GetFocalLength();
    const double width = pattern.GetWidth();
    LxC3DCoordsCCT origin;
    m_Projector.LocalToLocalCoords(camera, 0.0, 0.0, 0.0, &origin.x, &origin.y, &origin.z);
    const auto slidePointInCamera = [&](double col, double row) {
        LxC3DCoordsCCT p;
        AuxTrafoProjImgToCamCoords(&m_Projector, camera, col, row, c_dLightPlaneDepth, &p.x, &p.y, &p.z);
        return p;
    };
    for (int edge = first; edge < std::min(last, numEdges); ++edge) {
        const auto i = static_cast<std::size_t>(edge);
        m_vEdgePlanes[i].Set(origin, slidePointInCamera(width * 0.25, nominal[i]),
                             slidePointInCamera(width * 3.0 * 0.25, nominal[i]));
        m_vEdgePlanes[i].OptimizeEquation(focalLength);
    }
    return true;
}

int LxCPinholeFramework::UnwrapStripeId(int id, double row) const
{
    // Rows that an int does not hold, and what is no number, are beyond the table.
    if (!(row > -1.0 && row < std::numeric_limits<int>::max())) {
        return sc_iInvalidStripeEdge;
    }
    const auto index = static_cast<std::size_t>(UnwrappingLutIndexFromPosition(static_cast<int>(row)));
    if (index >= m_viUnwrapLUT.size() || m_viUnwrapLUT[index].empty()) {
        return sc_iInvalidStripeEdge;
    }
    const std::vector<std::int32_t>& edges = m_viUnwrapLUT[index];
    return edges[static_cast<unsigned int>(id) % edges.size()];
}

bool LxCPinholeFramework::InitIdUnwrapLUTCC()
{
    const LxCStripePattern& pattern = *m_Projector.GetCLPattern();
    return InitIdUnwrapLUTGeneric(GetMinZw(), GetMaxZw(), pattern.GetNrOfUniqueStripeIds(),
                                  pattern.GetNrOfStripeEdges(), m_viUnwrapLUT);
}

bool LxCPinholeFramework::InitIdUnwrapLUTGeneric(double zMin, double zMax, int numIds, int numEdges,
                                                 std::vector<std::vector<std::int32_t>>& lut)
{
    if (numIds <= 0) {
        return false;
    }
    const int height = std::max(m_pCamera->GetIntrinsicParams()->GetImageHeight(), 0);
    const int numRows = height / m_iUnwrapRowStep + 1;
    if (numEdges < 0 || std::int64_t{numRows} * std::max(numIds, numEdges) > c_iMaxUnwrapSize) {
        s_Logger.Error(
            L"LxCPinholeFramework::InitIdUnwrapLUTGeneric: %i rows, %i ids and %i stripe edges are "
            L"too many!\n",
            numRows, numIds, numEdges);
        lut.clear();
        return false;
    }
    lut.assign(static_cast<std::size_t>(numRows),
               std::vector<std::int32_t>(static_cast<std::size_t>(numIds), sc_iInvalidStripeEdge));
    if (numIds != numEdges && m_pCamera->IsCalibrated() && m_Projector.IsCalibrated()) {
        FillUnwrapLUTByDepth(zMin, zMax, numEdges, lut);
        return true;
    }
    // Without ambiguity there is one repetition, the first. Without a calibration the repetitions are taken
    // for bands of equal height from the top of the image.
    const double band = height / (static_cast<double>(numEdges) / numIds);
    ForEachTableRow(height, m_iUnwrapRowStep, [&](int row) {
        const int repetition = numIds == numEdges ? 0 : static_cast<int>(row / band);
        std::vector<std::int32_t>& edges = lut[static_cast<std::size_t>(row >> m_iUnwrapRowShift)];
        std::iota(edges.begin(), edges.end(), repetition * numIds);
    });
    return true;
}

void LxCPinholeFramework::FillUnwrapLUTByDepth(double zMin, double zMax, int numEdges,
                                               std::vector<std::vector<std::int32_t>>& lut) const
{
    const LxCIntrinsicParams& intrinsics = *m_pCamera->GetIntrinsicParams();
    const int middleCol = intrinsics.GetImageWidth() / 2;
    ForEachTableRow(intrinsics.GetImageHeight(), m_iUnwrapRowStep, [&](int row) {
        std::vector<std::int32_t>& edges = lut[static_cast<std::size_t>(row >> m_iUnwrapRowShift)];
        const int numIds = static_cast<int>(edges.size());
        for (int id = 0; id < numIds; ++id) {
            CEdgeChoice choice(zMin, zMax);
            for (int edge = id; edge < numEdges; edge += numIds) {
                choice.Add(edge, ComputeEdgeDepth(middleCol, row, edge, false, false));
            }
            edges[static_cast<std::size_t>(id)] = choice.Get();
        }
    });
}

} // namespace LxCV

// Camera, projector, pattern and tables of a model, held against each other.
#include "scanner/calibration/modelgeometry.h"

#include "lxclxcvlibsettings.h"
#include "lxcpinholeframework.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <locale>
#include <sstream>
#include <string>

namespace calibration {

namespace {

using LxCV::LxCIntrinsicParams;
using LxCV::LxCPatternProjector;
using LxCV::LxCPinholeCamera;
using LxCV::LxCPinholeFramework;
using LxCV::LxCStripePattern;

constexpr const char* c_workingSpace = "::MV3DCamBase";
constexpr const char* c_camera = "::Cams[0]";
constexpr const char* c_projector = "::Projector::PinholeProjector::PinholeCamera";
constexpr const char* c_pattern = "::Projector::CLPattern";
constexpr const char* c_calibrateCamera = "calibrate the camera";
constexpr const char* c_calibrateProjector = "calibrate the projector";

struct SlidePoint
{
    double u; ///< slide units
    double v;
};

std::string ToText(double value)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

/// Collects what one model is found to be.
class GeometryCheck
{
public:
    explicit GeometryCheck(const LxCPinholeFramework& model)
        : m_model(model), m_camera(*model.GetCamera()), m_projector(*model.GetProjector()),
          m_pattern(*model.GetCLPattern())
    {}

    std::vector<ModelFinding> Run()
    {
        CheckImageSize();
        CheckPrincipalPoint(m_camera, c_camera, c_calibrateCamera);
        CheckPrincipalPoint(m_projector, c_projector, c_calibrateProjector);
        CheckRotation(m_camera, c_camera, c_calibrateCamera);
        CheckRotation(m_projector, c_projector, c_calibrateProjector);
        CheckSlide();
        const bool hasEdges = CheckDigits() && CheckEdges();
        CheckRegions();
        const bool hasDepths = CheckDepths();
        if (!m_model.IsCalibrated()) {
            Add("", "", "the model is not calibrated: it lacks light planes or the unwrap table",
                "calibrate the device; a camera, a projector and a pattern that are not sound prevent it, "
                "too");
        } else if (hasEdges && hasDepths) {
            CheckEdgePositions();
            CheckBaseline();
            CheckOverlap();
            CheckLightPlanes();
            CheckUnwrapping();
        }
        return std::move(m_findings);
    }

private:
    void Add(const std::string& section, const std::string& key, const std::string& problem,
             const std::string& advice)
    {
        m_findings.push_back({true, 0, section, key, problem, advice});
    }

    /// Images of the device are cut out of what the camera was calibrated with.
    void CheckImageSize()
    {
        using Settings = LxCV::LxCLxCVLibSettings;
        const std::string section = std::string(c_camera) + "::IntrinsicParams";
        const LxCIntrinsicParams& lens = *m_camera.GetIntrinsicParams();
        const auto check = [&](const char* key, double size, int needed) {
            if (!(size >= needed)) {
                Add(section, key,
                    ToText(size) + " is less than the " + std::to_string(needed) +
                        " pixels of the device's images",
                    "calibrate the camera with whole images");
            }
        };
        check("Nfx", lens.GetExactImageWidth(), Settings::GetRawDataWidth());
        check("Nfy", lens.GetExactImageHeight(), Settings::GetRawDataHeight());
    }

    void CheckPrincipalPoint(const LxCPinholeCamera& device, const std::string& section,
                             const std::string& advice)
    {
        const LxCIntrinsicParams& lens = *device.GetIntrinsicParams();
        const auto check = [&](const char* key, double at, double size) {
            if (!(at > 0.0 && at < size)) {
                Add(section + "::IntrinsicParams", key,
                    "the principal point at " + ToText(at) + " is outside the image of " + ToText(size),
                    advice);
            }
        };
        check("Cx", lens.GetPrincipalPointX(), lens.GetExactImageWidth());
        check("Cy", lens.GetPrincipalPointY(), lens.GetExactImageHeight());
    }

    /// The rows of a rotation are of length 1 and at right angles.
    void CheckRotation(const LxCPinholeCamera& device, const std::string& section, const std::string& advice)
    {
        constexpr double tolerance = 1e-9; // products of nine sines and cosines, a few 1e-16 each
        bool isRotation = true;
        for (std::uint64_t row = 0; row < 3; ++row) {
            for (std::uint64_t other = row; other < 3; ++other) {
                double product = 0.0;
                for (std::uint64_t i = 0; i < 3; ++i) {
                    product += device.GetR(3 * row + i) * device.GetR(3 * other + i);
                }
                isRotation = isRotation && std::abs(product - (row == other ? 1.0 : 0.0)) < tolerance;
            }
        }
        if (!isRotation) {
            Add(section + "::CoordSysTrans", "Rx", "Rx, Ry and Rz make no rotation", advice);
        }
    }

    void CheckSlide()
    {
        const LxCIntrinsicParams& lens = *m_projector.GetIntrinsicParams();
        const auto check = [&](const char* key, int size, const char* other, double calibrated) {
            if (!(std::abs(size - calibrated) < 0.5)) {
                Add(c_pattern, key,
                    std::to_string(size) + " is not the " + ToText(calibrated) +
                        " slide units that the projector was calibrated with (" + other + ")",
                    "correct it, or calibrate the projector");
            }
        };
        check("PatternWidth", m_pattern.GetWidth(), "Nfx", lens.GetExactImageWidth());
        check("PatternHeight", m_pattern.GetHeight(), "Nfy", lens.GetExactImageHeight());
    }

    /// Each code word of the cyclic sequence of digits is to name one edge.
    bool CheckDigits()
    {
        std::string digits;
        for (const char c : m_pattern.GetPatternString()) {
            if (c >= '0' && c <= '7') {
                digits += c;
            } else if (c != ' ' && c != ',') {
                Add(c_pattern, "Pattern", "holds something else than the digits 0 to 7", "correct it");
                return false;
            }
        }
        for (std::size_t i = 0; i < digits.size(); ++i) {
            if (digits[i] == digits[(i + 1) % digits.size()]) {
                Add(c_pattern, "Pattern", "has the same digit twice in succession, which makes no edge",
                    "correct it");
                return false;
            }
        }
        const auto& edges = m_pattern.GetCWToStripeEdgeNrLUT();
        const std::size_t named =
            edges.size() - static_cast<std::size_t>(std::count(edges.begin(), edges.end(), 0));
        if (digits.empty() || named < digits.size()) {
            Add(c_pattern, "Pattern",
                "code words name " + std::to_string(named) + " of " + std::to_string(digits.size()) +
                    " edges",
                "correct it, or make CodewordLen larger");
            return false;
        }
        return true;
    }

    bool CheckEdges()
    {
        const int edges = m_pattern.IsValid() ? m_pattern.GetNrOfStripeEdges() : 0;
        const int least = m_pattern.GetMinCalibratedEdge();
        const int most = m_pattern.GetMaxCalibratedEdge();
        const bool areOrdered = least >= 1 && least < most && most < edges;
        if (!areOrdered) {
            Add(c_pattern, "MinCalibratedEdge",
                "edges " + std::to_string(least) + " to " + std::to_string(most) + " are no part of the " +
                    std::to_string(edges) + " that the pattern has",
                c_calibrateProjector);
        }
        return areOrdered;
    }

    bool CheckDepths()
    {
        const bool areOrdered = m_model.GetMinZc() > 0.0 && m_model.GetMinZc() < m_model.GetMaxZc();
        if (!areOrdered) {
            Add(c_workingSpace, "MinDistCamCoords", "is not between 0 and MaxDistCamCoords",
                "set the range of depths that the device is built for");
        }
        const bool hasPatches = m_pattern.GetNumPatches() > 0;
        if (hasPatches && !(m_pattern.GetMinDistProjToScene() < m_pattern.GetMaxDistProjToScene())) {
            Add(c_pattern, "MinDistProjToScene", "is not less than MaxDistProjToScene", c_calibrateProjector);
        }
        return areOrdered;
    }

    void CheckRegions()
    {
        const LxCIntrinsicParams& lens = *m_camera.GetIntrinsicParams();
        const auto& regions = m_model.GetRoiIgnore();
        for (std::size_t i = 0; i < regions.size(); ++i) {
            const LxCV::LxCRoi& region = regions[i];
            const bool isInside =
                region.GetLeftCol() >= 0 && region.GetTopRow() >= 0 && region.GetWidth() > 0 &&
                region.GetHeight() > 0 &&
                0.0 + region.GetLeftCol() + region.GetWidth() <= lens.GetExactImageWidth() &&
                0.0 + region.GetTopRow() + region.GetHeight() <= lens.GetExactImageHeight();
            if (!isInside) {
                Add("::RoiIgnore::Roi[" + std::to_string(i) + "]", "", "is empty, or not wholly in the image",
                    "correct it, or delete the region");
            }
        }
    }

    /// A calibrated position belongs to its own edge as long as it is nearer to it than to the next one.
    void CheckEdgePositions()
    {
        const auto& table = m_pattern.GetCalibratedEdgePositionLUT();
        const auto& nominal = m_pattern.GetNominalEdgePositions();
        const double limit = 0.5 * m_pattern.GetPrimitiveSize();
        for (std::size_t patch = 0; patch < table.size(); ++patch) {
            for (std::size_t depth = 0; depth < table[patch].size(); ++depth) {
                const std::vector<double>& row = table[patch][depth];
                const std::size_t end = std::min({row.size(), nominal.size(), LastEdge() + 1});
                for (std::size_t edge = FirstEdge(); edge < end; ++edge) {
                    const double offset = row[edge] - nominal[edge];
                    if (!(std::abs(offset) < limit)) {
                        Add(c_pattern, "LUT[" + std::to_string(patch) + "][" + std::to_string(depth) + "]",
                            "edge " + std::to_string(edge) + " is " + ToText(offset) +
                                " slide units from its nominal position, nearer to another edge",
                            c_calibrateProjector);
                        break;
                    }
                }
            }
        }
    }

    /// Depth comes from the angle under which the base between camera and projector is seen.
    void CheckBaseline()
    {
        constexpr double leastBase = 0.5; // mm
        double x = 0.0, y = 0.0, z = 0.0;
        m_projector.CameraToCameraCoords(&m_camera, 0.0, 0.0, 0.0, &x, &y, &z);
        const double base = std::hypot(x, y, z);
        if (!(base >= leastBase)) {
            Add(std::string(c_projector) + "::CoordSysTrans", "Tx",
                "the projector is " + ToText(base) + " mm from the camera, too near to tell depths",
                c_calibrateProjector);
        }
    }

    /// What the camera's middle sees at both ends of the working range is to be lit by calibrated edges.
    void CheckOverlap()
    {
        const double column = 0.5 * m_camera.GetIntrinsicParams()->GetExactImageWidth();
        const double row = 0.5 * m_camera.GetIntrinsicParams()->GetExactImageHeight();
        const auto check = [&](const char* key, double depth) {
            const SlidePoint slide = SlideAt(column, row, depth);
            const bool isLit = slide.u >= 0.0 && slide.u <= m_pattern.GetWidth() && IsCalibrated(slide.v);
            if (!isLit) {
                Add(c_workingSpace, key,
                    "the middle of the image sees slide position " + ToText(slide.u) + ", " +
                        ToText(slide.v) + " at " + ToText(depth) + " mm, where no calibrated edge is",
                    "correct the range of depths, or calibrate the device");
            }
        };
        check("MinDistCamCoords", m_model.GetMinZc());
        check("MaxDistCamCoords", m_model.GetMaxZc());
    }

    /// A point on each edge is to lie in the edge's light plane.
    void CheckLightPlanes()
    {
        constexpr double tolerance = 0.5; // mm; a neighbouring edge's plane is some 0.5 to 1 mm off
        const auto& planes = m_model.GetEdgePlanes();
        const auto& nominal = m_pattern.GetNominalEdgePositions();
        for (std::size_t edge = FirstEdge(); edge <= LastEdge(); ++edge) {
            double depth = 0.0, found = 0.0;
            if (edge < planes.size() && edge < nominal.size()) {
                double x = 0.0, y = 0.0, px = 0.0, py = 0.0, xs = 0.0, ys = 0.0;
                m_projector.DisImageToCameraCoords(0.5 * m_pattern.GetWidth(), nominal[edge], MiddleDepth(),
                                                   &x, &y);
                m_projector.CameraToCameraCoords(&m_camera, x, y, MiddleDepth(), &px, &py, &depth);
                m_camera.CameraToUnDisSensorCoords(px, py, depth, &xs, &ys);
                found = planes[edge].Intersect(xs, ys);
            }
            if (!(depth > 0.0 && std::abs(found - depth) < tolerance)) {
                Add(c_pattern, "", "the light plane of edge " + std::to_string(edge) + " is not valid",
                    c_calibrateProjector);
                return;
            }
        }
    }

    /// In the middle of the working range the table is to give the edge that is seen there.
    void CheckUnwrapping()
    {
        constexpr int rowStep = 8;
        const double column = 0.5 * m_camera.GetIntrinsicParams()->GetExactImageWidth();
        const int rows = m_camera.GetIntrinsicParams()->GetImageHeight();
        const int cycle = m_pattern.GetNrOfUniqueStripeIds();
        int looked = 0, wrong = 0;
        for (int row = 0; row < rows && cycle > 0; row += rowStep) {
            const SlidePoint slide = SlideAt(column, row, MiddleDepth());
            if (IsCalibrated(slide.v)) {
                const auto edge = static_cast<int>(std::lround(slide.v / m_pattern.GetPrimitiveSize())) + 1;
                ++looked;
                wrong += m_model.UnwrapStripeId(edge % cycle, row) == edge ? 0 : 1;
            }
        }
        if (looked == 0 || wrong > 0) {
            Add(c_pattern, "Pattern",
                "the unwrap table is not valid: it gives another edge in " + std::to_string(wrong) + " of " +
                    std::to_string(looked) + " rows",
                "correct the range of depths, or calibrate the device");
        }
    }

    SlidePoint SlideAt(double column, double row, double depth) const
    {
        double x = 0.0, y = 0.0, px = 0.0, py = 0.0, pz = 0.0;
        SlidePoint slide{};
        m_camera.DisImageToCameraCoords(column, row, depth, &x, &y);
        m_camera.CameraToCameraCoords(&m_projector, x, y, depth, &px, &py, &pz);
        m_projector.CameraToDisImageCoords(px, py, pz, &slide.u, &slide.v);
        return slide;
    }

    /// Whether a place along the pattern's height lies between calibrated edges.
    bool IsCalibrated(double v) const
    {
        const double width = m_pattern.GetPrimitiveSize();
        return v >= (m_pattern.GetMinCalibratedEdge() - 1) * width &&
               v <= (m_pattern.GetMaxCalibratedEdge() - 1) * width;
    }

    double MiddleDepth() const { return 0.5 * (m_model.GetMinZc() + m_model.GetMaxZc()); }
    std::size_t FirstEdge() const { return static_cast<std::size_t>(m_pattern.GetMinCalibratedEdge()); }
    std::size_t LastEdge() const { return static_cast<std::size_t>(m_pattern.GetMaxCalibratedEdge()); }

    const LxCPinholeFramework& m_model;
    const LxCPinholeCamera& m_camera;
    const LxCPatternProjector& m_projector;
    const LxCStripePattern& m_pattern;
    std::vector<ModelFinding> m_findings;
};

} // namespace

std::vector<ModelFinding> CheckGeometry(const LxCPinholeFramework& model)
{
    return GeometryCheck(model).Run();
}

} // namespace calibration

// The text reports of a pinhole camera. Labels and units stand as users of the reports know them.
#include "lxcpinholecamera.h"

#include "lxc3dplane.h"
#include "orx/platform/paths.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <ios>
#include <locale>
#include <numbers>
#include <sstream>

namespace LxCV {
namespace {

constexpr int kPrecision = 6;

using Statistics = bool (LxCPinholeCamera::*)(double&, double&, double&, double&) const;

struct SErrorLine
{
    double mean = 0.0;
    double stddev = 0.0;
    double max = 0.0;
    double rms = 0.0;
};

std::ostream& operator<<(std::ostream& stream, const SErrorLine& line)
{
    return stream << "mean = " << line.mean << ", stddev = " << line.stddev << ", max = " << line.max
                  << ", rms = " << line.rms;
}

/// Heading, line and unit, if the statistics could be made.
void PrintStatistics(std::ostream& stream, const LxCPinholeCamera& camera, Statistics statistics,
                     const char* heading, const char* unit)
{
    SErrorLine line;
    if ((camera.*statistics)(line.mean, line.stddev, line.max, line.rms)) {
        stream << heading << line << unit << "\n\n";
    }
}

/// Heading, line and unit; zeros if the statistics could not be made.
void WriteStatistics(std::ostream& stream, const LxCPinholeCamera& camera, Statistics statistics,
                     const char* heading, const char* unit)
{
    SErrorLine line;
    (camera.*statistics)(line.mean, line.stddev, line.max, line.rms);
    stream << heading << line << unit << "\n\n";
}

/// Between the plane z = 0 of the world and the image plane, in degrees.
double AngleOfCalibrationPlane(const LxCPinholeCamera& camera)
{
    LxC3DCoordsCCT alongX, alongY, origin, normal;
    camera.WorldToCameraCoords(1.0, 0.0, 0.0, &alongX.x, &alongX.y, &alongX.z);
    camera.WorldToCameraCoords(0.0, 1.0, 0.0, &alongY.x, &alongY.y, &alongY.z);
    camera.WorldToCameraCoords(0.0, 0.0, 0.0, &origin.x, &origin.y, &origin.z);
    LxC3DPlane(alongX, alongY, origin).GetNormalVector(&normal);
    // Rounding may lead the cosine of a parallel plane beyond 1.
    const double cosine = std::clamp(LxC3DCoordsCCT(0.0, 0.0, 1.0).Dot(normal), -1.0, 1.0);
    return std::acos(cosine) * 180.0 / std::numbers::pi;
}

/// The coefficients of the distortion model in use, but for the sixth-order one, which this report leaves out.
void WriteCoefficients(std::ostream& stream, const LxCIntrinsicParams& params)
{
    stream << std::scientific;
    if (params.IsUseTsai()) {
        stream << "kappa1\t= " << params.GetKappa1() << " [1/mm],"
               << "kappa2\t= " << params.GetKappa2() << " [1/mm^2]\n"
               << "kappa3\t= " << params.GetKappa3() << " [1/mm^3],"
               << "kappa4\t= " << params.GetKappa4() << " [1/mm^4]\n";
    } else {
        stream << "kappa2\t= " << params.GetKappa2ICV() << " [1/mm^2],"
               << "kappa4\t= " << params.GetKappa4ICV() << " [1/mm^4]\n"
               << "tau1\t= " << params.GetTau1() << " [1/mm^2],\t"
               << "tau2\t= " << params.GetTau2() << " [1/mm^2]\n\n";
    }
    stream << std::fixed;
}

} // namespace

void LxCPinholeCamera::PrintCalibResults(bool external, std::string& out, bool append, bool clear) const
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(kPrecision);
    std::string block;

    stream << (external ? "External Calibration Status" : "Calibration Results")
           << (IsMasterCam() ? " (Master)" : " (Slave)") << '\n';
    if (!external) {
        m_IntrinsicParams.PrettyPrint(block);
        stream << block << "\n\n";
    }
    PrettyPrint(block);
    stream << block << "\n\n";

    PrintStatistics(stream, *this, &LxCPinholeCamera::DistortedImagePlaneErrorStats,
                    "Distorted image plane error:\n", " [pix]");
    PrintStatistics(stream, *this, &LxCPinholeCamera::UndistortedImagePlaneErrorStats,
                    "Undistorted image plane error:\n", " [pix]");
    if (GetNrOfViews() > 1) {
        PrintStatistics(stream, *this, &LxCPinholeCamera::UndistortedImagePlaneErrorStatsMI,
                        "Undistorted image plane error over all images:\n", " [pix]");
    }
    PrintStatistics(stream, *this, &LxCPinholeCamera::ObjectSpaceErrorStats, "Object space error:\n",
                    " [mm]");
    double mean, stddev;
    if (NormalizedCalibrationError(mean, stddev)) {
        stream << "Normalized calibration error: " << mean << '\n';
    }

    stream << "\nAngle Image Plane vs. Calibration Plane: " << AngleOfCalibrationPlane(*this) << "\n\n";
    if (GetNrOfMarks() > 0) {
        stream << "(with " << GetNrOfMarks() << " marks over " << GetNrOfViews() << " views)\n\n\n";
    }

    if (clear) {
        out.clear();
    }
    out = append ? out + stream.str() : stream.str() + out;
}

void LxCPinholeCamera::WriteCalibResults(const std::string& fileName) const
{
    std::ofstream file(platform::NativePath(fileName));
    if (!file) {
        return;
    }
    file.imbue(std::locale::classic());
    file.precision(kPrecision);
    file << std::fixed;
    const LxCIntrinsicParams& params = m_IntrinsicParams;

    file << "Calibration Results:\n\n"
         << "\nf\t= " << params.GetFocalLength() << "  [mm] (" << params.GetSecondFocalLength() << ")\n";
    WriteCoefficients(file, params);
    std::string placement;
    PrettyPrint(placement);
    file << placement << "\n\n"
         << "Cx\t= " << params.GetPrincipalPointX() << ", "
         << "Cy\t= " << params.GetPrincipalPointY() << " [pixels}\n\n"
         << "Tz/f\t= " << GetT(2) / params.GetFocalLength() << "\n\n";

    WriteStatistics(file, *this, &LxCPinholeCamera::DistortedImagePlaneErrorStats,
                    "distorted image plane error:\n", " [pix]");
    WriteStatistics(file, *this, &LxCPinholeCamera::UndistortedImagePlaneErrorStats,
                    "undistorted image plane error:\n", " [pix]");
    if (GetNrOfViews() > 1) {
        WriteStatistics(file, *this, &LxCPinholeCamera::UndistortedImagePlaneErrorStatsMI,
                        "undistorted image plane error over all images:\n", " [pix]");
    }
    WriteStatistics(file, *this, &LxCPinholeCamera::ObjectSpaceErrorStats, "object space error:\n", " [mm]");
    double mean, stddev;
    NormalizedCalibrationError(mean, stddev);
    file << "normalized calibration error:"
         << "  " << mean << '\n';
}

} // namespace LxCV

// The device's parameters as section text.
#include "scanner/device/devicemodel.h"

#include <locale>
#include <sstream>

namespace device {

namespace {

/// Lines of "::Section" and "key=value". Numbers with a fraction carry 20 decimals, whatever the process's locale.
class SectionWriter
{
public:
    SectionWriter()
    {
        m_out.imbue(std::locale::classic());
        m_out.precision(20);
        m_out << std::fixed;
    }

    void Section(const std::string& name) { m_out << name << '\n'; }

    template <typename T>
    void Key(const std::string& key, const T& value)
    {
        m_out << key << '=' << value << '\n';
    }

    std::string Text() const { return m_out.str(); }

private:
    std::ostringstream m_out;
};

void WriteCalibrationState(SectionWriter& out, const DeviceParameters& parameters)
{
    out.Key("Calibrated", 1);
    out.Key("CalibTime", parameters.calibrationTime);
    out.Key("CalibRevNumber", parameters.calibrationRevision);
    out.Key("CalibInfos", "virtual device");
}

void WritePlacement(SectionWriter& out, const std::string& section, const Placement& placement)
{
    out.Section(section);
    out.Key("Tx", placement.tx);
    out.Key("Ty", placement.ty);
    out.Key("Tz", placement.tz);
    out.Key("Rx", placement.rx);
    out.Key("Ry", placement.ry);
    out.Key("Rz", placement.rz);
}

void WriteLens(SectionWriter& out, const std::string& section, const LensParameters& lens)
{
    out.Section(section);
    out.Key("Nfx", static_cast<double>(lens.width));
    out.Key("Dx", lens.pitchX);
    out.Key("Dy", lens.pitchY);
    out.Key("Cx", lens.centreX);
    out.Key("Cy", lens.centreY);
    out.Key("CxDef", 0.5 * lens.width);
    out.Key("CyDef", 0.5 * lens.height);
    out.Key("f", lens.focalLength);
    for (const char* key : {"Kappa1", "Kappa2", "Kappa3", "Kappa4"}) {
        out.Key(key, 0.0);
    }
    out.Key("UseTsai", 0);
    out.Key("Kappa2ICV", lens.k2);
    out.Key("Kappa4ICV", lens.k4);
    out.Key("Kappa6ICV", lens.k6);
    out.Key("Tau1", lens.tau1);
    out.Key("Tau2", lens.tau2);
    // Without tangential distortion the reader may undo the radial part by its table.
    out.Key("UseTau", lens.tau1 != 0.0 || lens.tau2 != 0.0 ? 1 : 0);
    out.Key("Nfy", static_cast<double>(lens.height));
}

void WriteDevice(SectionWriter& out, const std::string& section, const DeviceParameters& parameters,
                 const Placement& placement, const LensParameters& lens)
{
    out.Section(section);
    WriteCalibrationState(out, parameters);
    WritePlacement(out, section + "::CoordSysTrans", placement);
    WriteLens(out, section + "::IntrinsicParams", lens);
}

/// Edge position tables in which every edge has its nominal position: a byte per edge, 128 for no offset.
void WriteEdgeTables(SectionWriter& out, const DeviceParameters& parameters)
{
    constexpr char c_noOffset = static_cast<char>(128);
    if (parameters.patches < 1 || parameters.depthPatches < 1) {
        return;
    }
    const int stripeWidth = parameters.slide.stripeWidth;
    const int edges = (parameters.projector.height + stripeWidth - 1) / stripeWidth;
    const std::string row(static_cast<std::size_t>(edges - 1), c_noOffset);
    out.Key("MinDistProjToScene", parameters.minDepth);
    out.Key("MaxDistProjToScene", parameters.maxDepth);
    out.Key("NumPatches", parameters.patches);
    out.Key("NumPatchesDepth", parameters.depthPatches);
    out.Key("IgnoreDepthOnLSECalib", "");
    out.Key("BaseShiftCalibrated", 0);
    out.Key("BaseShift", row);
    out.Key("DataVersion", 2);
    for (int patch = 0; patch < parameters.patches; ++patch) {
        for (int depthPatch = 0; depthPatch < parameters.depthPatches; ++depthPatch) {
            out.Key("LUT[" + std::to_string(patch) + "][" + std::to_string(depthPatch) + "]", row);
        }
    }
}

void WriteSlide(SectionWriter& out, const std::string& section, const DeviceParameters& parameters)
{
    out.Section(section);
    out.Key("PatternHeight", parameters.projector.height);
    out.Key("PatternWidth", parameters.projector.width);
    out.Key("Pattern", parameters.slide.digits);
    out.Key("CodewordLen", parameters.slide.codeWordLength);
    out.Key("StripeWidth", parameters.slide.stripeWidth);
    out.Key("EdgePositionMethod", 0);
    out.Key("MinCalibratedEdge", parameters.slide.calibratedEdgeMin);
    out.Key("MaxCalibratedEdge", parameters.slide.calibratedEdgeMax);
    WriteCalibrationState(out, parameters);
    WriteEdgeTables(out, parameters);
}

/// The correction polynomial of measured points, all zero and switched off: this device is what its model says.
void WritePointCorrection(SectionWriter& out, const std::string& section)
{
    constexpr int c_axes = 3, c_coefficients = 10;
    constexpr double c_maxDelta = 0.025; // mm
    out.Section(section);
    for (int axis = 0; axis < c_axes; ++axis) {
        for (int index = 0; index < c_coefficients; ++index) {
            out.Key("P" + std::to_string(axis) + std::to_string(index), 0.0);
        }
    }
    out.Key("MaxDelta", c_maxDelta);
    out.Key("Use", 0);
}

} // namespace

std::string WriteParameterText(const DeviceParameters& parameters, const std::string& root)
{
    SectionWriter out;
    out.Section(root + "::MV3DCamBase");
    out.Key("MinDistCamCoords", parameters.minDepth);
    out.Key("MaxDistCamCoords", parameters.maxDepth);
    WriteDevice(out, root + "::Cams[0]", parameters, parameters.cameraFromWorld, parameters.camera);
    WriteDevice(out, root + "::Projector::PinholeProjector::PinholeCamera", parameters,
                parameters.projectorFromCamera, parameters.projector);
    WriteSlide(out, root + "::Projector::CLPattern", parameters);
    WritePointCorrection(out, root + "::PolynomKoma");
    out.Section(root + "::RoiIgnore");
    out.Key("NumRoiIgnore", 0);
    return out.Text();
}

} // namespace device

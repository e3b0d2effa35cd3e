// The device's parameters as section text.
#include "scanner/device/devicemodel.h"

#include <cstddef>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

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

/// How marks are searched for in an image: what all targets have in common.
void WriteSearch(SectionWriter& out, const std::string& section, int margin, int smoothing)
{
    constexpr double c_marginPercent = 0.015; // share of the target's extent
    out.Section(section);
    out.Key("ImgMargin", margin);
    out.Key("ImgMarginBottom", 0);
    out.Key("SmoothingMode", 1);
    out.Key("KernelSizeX", smoothing);
    out.Key("KernelSizeY", smoothing);
    out.Key("MarginPercent", c_marginPercent);
    out.Key("FishEyeLens", 0);
    out.Key("PseudoKappa2Tsai", 0.0);
    out.Key("MaxIterationsPropIDs", 10);
    out.Key("UseAutoThresholds", 1);
}

void WriteTarget(SectionWriter& out, const std::string& section, const std::string& coordinates)
{
    out.Section(section);
    out.Key("CoordFile", coordinates);
    out.Key("MaxCalibrationIteration", 100);
}

/// The plate that the camera is calibrated with: whichever is installed, without a number of its own.
void WriteCheckerboard(SectionWriter& out, const std::string& section)
{
    WriteTarget(out, section, "registry");
    out.Section(section + "::Thres");
    out.Key("TargetId", 0);
    out.Key("TargetIdS", "00000000");
    out.Key("TargetVersion", 0);
    out.Key("MinLocExtAmount", 40);
    out.Key("MinTotalExtAmount", 80);
    out.Key("NrOfSamples", 27);
    out.Key("Skip", 3);
    out.Key("MaxDistCornerToEdgeEnd", 80);
    out.Key("MinDistCornerToOppEdgeEnd", 7);
    out.Key("NrOfRows", 7);
    out.Key("NrOfCols", 8);
    out.Key("MinEdgeLen", 10);
    out.Key("MaxEdgeLen", 80);
    out.Key("IdOfFirstMarkedSquare", 27);
    out.Key("TypeOfCB", 1);
    out.Key("AssumeStandardOrientation", 0);
    out.Key("XOffset", 0.0);
    out.Key("YOffset", 0.0);
    out.Key("UseParabolaFit", 0);
    out.Key("UseEdgeDirCheck", 1);
    out.Key("Factor1", 1.0);
    out.Key("Factor2", 1.0);
    WriteSearch(out, section + "::Thres::Base", 5, 5);
}

template <typename Number>
std::string JoinWithCommas(const std::vector<Number>& numbers)
{
    std::string text;
    for (const Number number : numbers) {
        text += (text.empty() ? "" : ",") + std::to_string(static_cast<int>(number));
    }
    return text;
}

/// The marks of the slide that goes with the digits. They are the calibration target also of a device whose slide is
/// rendered without them.
void WriteSlideMarks(SectionWriter& out, const std::string& section, const DeviceParameters& parameters)
{
    constexpr double c_maxPolyFitQuad = 0.00005; // 1/pixel
    constexpr double c_maxDiffFitLinear = 0.025;
    const SlideParameters bright = SlideWithBrightMarks();
    const bool isBright = parameters.slide.digits == bright.digits;
    const SlideParameters slide = isBright ? bright : SlideWithDarkMarks();
    const std::vector<double> rows(slide.markCentres.rbegin(), slide.markCentres.rend());
    WriteTarget(out, section, isBright ? "StandardParamsDiaC" : "StandardParamsDiaA2");
    out.Section(section + "::Thres");
    out.Key("MinLocExtAmount", 50);
    out.Key("MinTotalExtAmount", 80);
    out.Key("NrOfRows", rows.size());
    out.Key("NrOfCols", slide.markStripes.size());
    out.Key("CalibMarkPos", JoinWithCommas(slide.markStripes));
    out.Key("BlankOutMarkerPos", JoinWithCommas(rows));
    out.Key("BlankOutMarkerWidth", static_cast<int>(2.0 * slide.markHalfLength));
    out.Key("MaxPolyFitQuad", c_maxPolyFitQuad);
    out.Key("MaxDiffFitLinear", c_maxDiffFitLinear);
    out.Key("FixedNrVisibleRows", rows.size());
    out.Key("MarkerTyp", isBright ? 2 : 1);
    WriteSearch(out, section + "::Thres::Base", 3, 3);
}

/// What the sensor's colours take from the projector's. A key's first letter names the colour that is taken from, its
/// second one the colour that takes.
void WriteCoupling(SectionWriter& out, const std::string& section, const OpticsParameters& optics)
{
    constexpr std::string_view c_letters = "bgr"; // in the order of a colour's channels
    out.Section(section);
    for (std::size_t from = c_letters.size(); from-- > 0;) {
        for (std::size_t to = c_letters.size(); to-- > 0;) {
            out.Key(std::string{'A', c_letters[from], c_letters[to]}, optics.crosstalk[to][from]);
        }
    }
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
    WriteCheckerboard(out, root + "::CamCalibBody");
    WriteSlideMarks(out, root + "::ProjCalibBody", parameters);
    WriteCoupling(out, root + "::LxCCCLAlgoConfig::CameraProjectorCoupling", parameters.optics);
    return out.Text();
}

} // namespace device

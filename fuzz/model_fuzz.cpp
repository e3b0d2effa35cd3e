// A whole camera model with both calibration targets from text: read it, measure with it, write it, read that again and
// write the same.
#include "lxcpinholeframework.h"

#include "lxccctserializer.h"
#include "orx/logging/logger.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using LxCV::LxCCCTSerializer;
using LxCV::LxCPinholeFramework;

constexpr const char* c_sRoot = "::MV3DCam";

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

class CTextSerializer : public LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

/// False for a text that is refused by a documented exception, and for one without any line.
bool Read(LxCPinholeFramework& framework, const std::string& text)
{
    CTextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    if (!serializer.Init(false, false)) {
        return false;
    }
    try {
        framework.Serialize(serializer, c_sRoot);
    } catch (const std::out_of_range&) {
        Require(!framework.IsCalibrated());
        return false;
    }
    return true;
}

std::string Write(LxCPinholeFramework& framework)
{
    CTextSerializer serializer;
    serializer.Init(true, false);
    framework.Serialize(serializer, c_sRoot);
    return serializer.GetText();
}

void Measure(const LxCPinholeFramework& framework)
{
    for (const double at : {0.0, 100.25, 329.5, 493.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
        for (const int id : {-1, 0, 17, 63, 4095}) {
            const int edge = framework.UnwrapStripeId(id, at);
            double x, y, z;
            framework.ComputeEdgeXYZ(at, at, edge, false, &x, &y, &z, true);
            framework.ComputeEdgeXYZ(329.0, at, id, true, &x, &y, &z, false);
            framework.ComputeEdgeXYZ(329.0, 247.0, id, true, &x, &y, &z, true);
            framework.ComputeEdgeXYZSubEdge(at, 200.0, at, at, at, false, &x, &y, &z, false);
        }
    }
}

/// What reading makes of the targets, whatever the text says.
void CheckTargets(LxCPinholeFramework& framework)
{
    using LxCV::LxCCalibBody;
    const std::string& slide = framework.GetProjCalibBody()->GetCoordFile();
    Require(slide == LxCCalibBody::sc_StandardParammsDiaA2 || slide == LxCCalibBody::sc_StandardParammsDiaC);
    const auto* const marks = framework.GetProjCalibThres();
    Require(marks != nullptr);
    Require(marks->m_viMarkerMaskRow.size() == static_cast<std::size_t>(marks->m_iFixedNrVisibleRows));
    // No file outside of its folder is ever named.
    Require(framework.GetCamCalibBody()->GetCoordFile().find_first_of("/\\") == std::string::npos);
    for (const int stripe :
         {-1, 0, 10, 140, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        marks->IsCloseByMarkerPosition(stripe, 1750.0);
    }
}

/// Whether each table of edge positions that was written is a line of its own. One with an offset whose byte is white
/// space is not, and does not come back.
bool HasWholeRows(const std::string& text, std::size_t bytesEach)
{
    for (const char* key : {"\nLUT[", "\nBaseShift="}) {
        for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
            const std::size_t begin = text.find('=', at) + 1;
            const std::string row = text.substr(begin, text.find('\n', begin) - begin);
            if (row.size() != bytesEach || (!row.empty() && std::strchr(" \t\r", row.back()) != nullptr)) {
                return false;
            }
        }
    }
    return true;
}

/// Writes the model, reads that, and writes it once more.
void WriteTwice(LxCPinholeFramework& framework)
{
    const std::string text = Write(framework);
    LxCPinholeFramework again;
    const bool isRead = Read(again, text);
    if (isRead) { // what is refused stops before the targets
        CheckTargets(again);
    }
    Measure(again);
    const LxCV::LxCStripePattern& pattern = *framework.GetCLPattern();
    // The rows of a pattern that is not valid have no positions to be read against; such a text is refused.
    const bool hasRows = pattern.GetNumPatches() > 0;
    const auto bytesEach = static_cast<std::size_t>(pattern.IsValid() ? pattern.GetNrOfStripeEdges() - 1 : 0);
    // A placement without depths has a working range that is no number, whose sign is not kept.
    const bool hasDepths = std::isfinite(framework.GetMinZc()) && std::isfinite(framework.GetMaxZc());
    if (!hasRows || (pattern.IsValid() && HasWholeRows(text, bytesEach))) {
        Require(isRead);
        Require(!hasDepths || Write(again) == text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture quiet;
    LxCPinholeFramework framework;
    if (!Read(framework, std::string(data, data + size))) {
        return 0;
    }
    CheckTargets(framework);
    Require(framework.GetRoiIgnore().size() <= size);
    Measure(framework);
    const bool calibrated = framework.IsCalibrated();
    const bool ready = framework.GetStatus(658, 494) == LxCPinholeFramework::eOk;
    Require(!ready || calibrated);
    framework.SetWorkingSpace(20.0, 50.0, false);
    Measure(framework);
    WriteTwice(framework);
    return 0;
}

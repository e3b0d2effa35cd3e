// A whole camera model from text: read it, measure with it, write it and read that again.
#include "lxcpinholeframework.h"

#include "lxccctserializer.h"
#include "orx/logging/logger.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using LxCV::LxCCCTSerializer;
using LxCV::LxCPinholeFramework;

constexpr const char* c_sRoot = "::MV3DCam";

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
        if (framework.IsCalibrated()) {
            std::abort();
        }
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
            framework.ComputeEdgeXYZSubEdge(at, 200.0, at, at, at, false, &x, &y, &z, false);
        }
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
    Measure(framework);
    const bool calibrated = framework.IsCalibrated();
    const bool ready = framework.GetStatus(658, 494) == LxCPinholeFramework::eOk;
    if (ready && !calibrated) {
        std::abort();
    }
    framework.SetWorkingSpace(20.0, 50.0, false);
    Measure(framework);

    // What the library writes, it reads again.
    LxCPinholeFramework again;
    Read(again, Write(framework));
    Measure(again);
    return 0;
}

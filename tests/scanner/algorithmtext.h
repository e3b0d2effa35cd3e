// Parts of the decoding stage's configuration that only a device's parameter set holds.
#pragma once

#include "lxccclalgoconfig.h"
#include "lxccctserializer.h"

#include <sstream>
#include <stdexcept>

namespace scannertest {

/// Loads the depth up to which points are kept, as a parameter set gives it.
/// @param focalDistance, depthCulling mm
inline void LoadDepthCulling(LxCV::LxCCCLAlgoConfig& config, float focalDistance, float depthCulling)
{
    std::stringstream text;
    text << "::Test\nFocalDistance_mm=" << focalDistance << "\nDepthCulling_mm=" << depthCulling << "\n";
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    if (!serializer.Init(false, false)) {
        throw std::runtime_error("the text is no parameter set");
    }
    config.Serialize(serializer, "::Test");
}

} // namespace scannertest

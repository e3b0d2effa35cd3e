// The virtual device and the library's model of it, for tests of the scanner.
#pragma once

#include "lxccctserializer.h"
#include "lxcpinholeframework.h"
#include "scanner/device/virtualdevice.h"

#include <memory>
#include <sstream>
#include <stdexcept>

namespace scannertest {

/// Loads what the device writes.
inline void LoadInto(LxCV::LxCPinholeFramework& model, const device::VirtualDevice& device)
{
    constexpr const char* kRoot = "::Test";
    std::stringstream text(device.ParameterText(kRoot));
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    if (!serializer.Init(false, false)) {
        throw std::runtime_error("the device wrote no parameter set");
    }
    model.Serialize(serializer, kRoot);
}

inline std::unique_ptr<LxCV::LxCPinholeFramework> LoadModel(const device::VirtualDevice& device)
{
    auto model = std::make_unique<LxCV::LxCPinholeFramework>();
    LoadInto(*model, device);
    return model;
}

} // namespace scannertest

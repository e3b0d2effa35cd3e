// Images on a GPU beside those in host memory.
#pragma once

#include "lxcgpubuffer2d.h"
#include "orx/gpgpu/icontext.h"

#include <functional>
#include <memory>

namespace Logging {
class CLogger;
}

namespace LxCV {

class CCTImage;

/// A new buffer on the GPU for an image's size and type: colours get a plane for each channel but for packed ones,
/// which, like all other types, get one plane. Throws as the constructor of `LxCGPUBuffer2D` does, also for types
/// that no plane can hold.
std::shared_ptr<LxCGPUBuffer2D> CreateGPUCounterpart(const std::shared_ptr<GPGPU::IContext>& context,
                                                     const CCTImage& image);

/// Runs what creates buffers on a GPU. An exception of the GPU ends it and leaves an error in the log with its text
/// behind the words "LxCCCLAlgoData::Init: Exception", whatever the class: those who search logs look for them. A
/// second line tells the call stack, where the exception has one.
/// @return whether it ran to its end
bool RunGPUInit(const Logging::CLogger& logger, const std::function<void()>& create);

} // namespace LxCV

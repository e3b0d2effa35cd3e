// The choice between OpenCL and host memory.
#include "orx/gpgpu/cgpgpufactory.h"

#include "orx/gpgpu/gpgpuexception.h"
#include "orx/gpgpu/hostcontext.h"
#include "orx/gpgpu/openclcontext.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"

#include <string>

namespace GPGPU {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CGPGPUFactory");

constexpr const char* c_sVariable = "LXCV_GPGPU";

class CHostAccess final : public ITechnologyAccess
{
public:
    ETechnology GetTechnology() const override { return ETechnology::eHostMemory; }
    std::shared_ptr<IContext> CreateContext() override { return std::make_shared<CHostContext>(); }
};

} // namespace

std::shared_ptr<ITechnologyAccess> CGPGPUFactory::GetTechnologyAccess()
{
    const std::string forced = platform::GetEnvironmentText(c_sVariable);
    if (forced == "host") {
        return GetTechnologyAccess(ETechnology::eHostMemory);
    }
    if (forced == "opencl") {
        return GetTechnologyAccess(ETechnology::eOpenCL);
    }
    if (!forced.empty()) {
        s_Logger.Warning(L"%s is neither host nor opencl: %s", c_sVariable, forced);
    }
    try {
        return GetTechnologyAccess(ETechnology::eOpenCL);
    } catch (const CException& error) {
        s_Logger.Info(L"No OpenCL device, computing in host memory: %s", error.what());
        return GetTechnologyAccess(ETechnology::eHostMemory);
    }
}

std::shared_ptr<ITechnologyAccess> CGPGPUFactory::GetTechnologyAccess(ETechnology technology)
{
    if (technology == ETechnology::eOpenCL) {
        return MakeOpenCLAccess();
    }
    return std::make_shared<CHostAccess>();
}

} // namespace GPGPU

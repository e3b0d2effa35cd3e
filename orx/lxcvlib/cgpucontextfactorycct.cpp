// Contexts with and without a session.
#include "cgpucontextfactorycct.h"

#include "orx/gpgpu/cgpgpufactory.h"
#include "orx/gpgpu/csession.h"

#include <utility>

namespace LxCV {

namespace {

std::shared_ptr<GPGPU::IContext> WithSession(std::shared_ptr<GPGPU::IContext> context)
{
    // The handle of a session keeps its context and points to it, so that both end together.
    GPGPU::IContext* const target = context.get();
    auto session = std::make_shared<GPGPU::CSession>(std::move(context), GPGPU::CSession::sc_iNoTimeout);
    return {std::move(session), target};
}

} // namespace

std::shared_ptr<GPGPU::IContext> CGPUContextFactoryCCT::CreateContext()
{
    return GPGPU::CGPGPUFactory::GetTechnologyAccess()->CreateContext();
}

std::shared_ptr<GPGPU::IContext> CGPUContextFactoryCCT::CreateContextWithSession(bool allowHostMemory)
{
    const std::shared_ptr<GPGPU::ITechnologyAccess> access = GPGPU::CGPGPUFactory::GetTechnologyAccess();
    if (!allowHostMemory && access->GetTechnology() == GPGPU::ETechnology::eHostMemory) {
        return nullptr;
    }
    return WithSession(access->CreateContext());
}

} // namespace LxCV

// A fault of GPU modules.
#include "lxcgpuexception.h"

#include "lxccallstack.h"

namespace LxCV {

LxCGPUException::LxCGPUException(const char* text)
    : std::runtime_error(text != nullptr ? text : ""),
      m_sCallStack(LxCCallStack::getInstance().getCallStackString())
{}

} // namespace LxCV

// Exclusive use of a context.
#include "orx/gpgpu/csession.h"

#include <utility>

namespace GPGPU {

CSession::CSession(std::shared_ptr<IContext> context) : m_pContext(std::move(context)) {}

CSession::CSession(std::shared_ptr<IContext> context, int timeoutMilliseconds) : CSession(std::move(context))
{
    Begin(timeoutMilliseconds);
}

CSession::~CSession()
{
    End();
}

bool CSession::Begin(int timeoutMilliseconds)
{
    if (!m_bActive && m_pContext != nullptr) {
        m_bActive = m_pContext->BeginSession(timeoutMilliseconds);
    }
    return m_bActive;
}

void CSession::End()
{
    if (m_bActive) {
        m_bActive = false;
        m_pContext->EndSession();
    }
}

} // namespace GPGPU

// Exclusive use of a context.
#pragma once

#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <memory>

namespace GPGPU {

/// Keeps other sessions off a context from `Begin` to `End` or to the end of the object. It binds those who begin
/// sessions alone. A session belongs to its object, not to a thread: a second one on the same context waits even on
/// the thread of the first.
class ORX_EXPORT CSession
{
public:
    static constexpr int sc_iNoTimeout = -1;

    /// @param context null for a session that never begins
    explicit CSession(std::shared_ptr<IContext> context);

    /// Begins too.
    CSession(std::shared_ptr<IContext> context, int timeoutMilliseconds);
    ~CSession();
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    /// Waits for other sessions on the context to end, at most `timeoutMilliseconds`; `sc_iNoTimeout` is no limit.
    /// Returns whether the session has begun, also if it had before.
    bool Begin(int timeoutMilliseconds);

    void End();

    bool IsActive() const { return m_bActive; }

private:
    std::shared_ptr<IContext> m_pContext;
    bool m_bActive = false;
};

} // namespace GPGPU

// A thread that runs a member function of an object once.
#pragma once

#include "orx/btservices/btthreadpolicymfc.h"

#include <string>

/// A thread of kind `Policy` (see there for states and operations) whose work is a member function of T. T
/// may be the class that derives from this one, or a class of its own, whose object must outlive the run.
template <typename T, typename Policy = BtThreadPolicyMFC>
class BtThread : public Policy
{
public:
    using RunFunction = bool (T::*)();

    /// @param object        not owned; with a null object or function every run fails
    /// @param run           returns whether it succeeded
    /// @param affinityMask  the processors to run on, 0 for no wish
    BtThread(const std::string& name, T* object, RunFunction run, std::uint64_t affinityMask = 0)
        : Policy(name, affinityMask), m_pObject(object), m_pRun(run)
    {}

    /// Waits for a thread that still runs, see `EndBeforeDestruction`.
    ~BtThread() override { this->EndBeforeDestruction(); }

private:
    bool Run() final { return m_pObject != nullptr && m_pRun != nullptr && (m_pObject->*m_pRun)(); }

    T* const m_pObject;
    const RunFunction m_pRun;
};

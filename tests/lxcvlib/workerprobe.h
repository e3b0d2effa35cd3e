// A worker whose hooks a test writes.
#pragma once

#include "lxcwthreadalgo.h"

#include <atomic>
#include <functional>

namespace LxCV {

/// Ends its thread by itself, unless the test has.
class WorkerProbe : public LxCWThreadAlgo
{
public:
    explicit WorkerProbe(unsigned long controlThreadId = 0, unsigned int messageId = 0)
        : LxCWThreadAlgo(controlThreadId, messageId)
    {}
    ~WorkerProbe() override { Exit(); }

    using LxCWThreadAlgo::CalcIPS;
    using LxCWThreadAlgo::Control;
    using LxCWThreadAlgo::GetCyclesSinceStart;
    using LxCWThreadAlgo::GetNumberOfStarts;
    using LxCWThreadAlgo::GetTickCount;
    using LxCWThreadAlgo::SleepUnlessAsked;

    EReturnCode DoWork() override
    {
        work();
        ++cycles;
        return eRC_OK;
    }
    EReturnCode OnStartPre() override { return Call(startPre); }
    EReturnCode OnStartPost() override
    {
        LxCWThreadAlgo::OnStartPost();
        return Call(startPost);
    }
    EReturnCode OnPausePre() override { return Call(pausePre); }
    EReturnCode OnPausePost() override { return Call(pausePost); }
    EReturnCode OnExit() override { return Call(atExit); }

    std::function<void()> work = [] {};
    std::function<void()> startPre = [] {};
    std::function<void()> startPost = [] {};
    std::function<void()> pausePre = [] {};
    std::function<void()> pausePost = [] {};
    std::function<void()> atExit = [] {};
    std::atomic<int> cycles{0}; ///< that returned

private:
    static EReturnCode Call(const std::function<void()>& hook)
    {
        hook();
        return eRC_StartFailed; // which nobody looks at
    }
};

} // namespace LxCV

// Warnings about threads.
#include "orx/btservices/btthreadinfo.h"

#include "orx/logging/logger.h"

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.BtThreadInfo");

} // namespace

void BtThreadInfo::WarnOnTermination(const std::string& name, std::uint32_t threadId)
{
    s_Logger.Warning(L"thread %s (%u) is terminated while it runs", name, threadId);
}

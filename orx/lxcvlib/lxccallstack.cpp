// Stacks of function names by thread.
#include "lxccallstack.h"

#include "orx/platform/threads.h"

#include <mutex>

namespace LxCV {

LxCCallStack& LxCCallStack::getInstance()
{
    static LxCCallStack* const s_instance = new LxCCallStack;
    return *s_instance;
}

void LxCCallStack::pushFunction(const char* name)
{
    const std::uint32_t threadId = platform::GetCurrentThreadId();
    std::string text = name != nullptr ? name : "";
    const std::lock_guard lock(m_CriticalSection);
    m_Functions[threadId].push_back(std::move(text));
}

void LxCCallStack::popFunction()
{
    const std::uint32_t threadId = platform::GetCurrentThreadId();
    const std::lock_guard lock(m_CriticalSection);
    const auto stack = m_Functions.find(threadId);
    if (stack == m_Functions.end()) {
        return;
    }
    if (stack->second.size() > 1) {
        stack->second.pop_back();
    } else {
        m_Functions.erase(stack);
    }
}

std::string LxCCallStack::getCallStackString() const
{
    const std::uint32_t threadId = platform::GetCurrentThreadId();
    const std::lock_guard lock(m_CriticalSection);
    const auto stack = m_Functions.find(threadId);
    if (stack == m_Functions.end()) {
        return "no strCallStack";
    }
    std::string text;
    for (const std::string& name : stack->second) {
        if (&name != &stack->second.front()) {
            text += " -> ";
        }
        text += name;
    }
    return text;
}

} // namespace LxCV

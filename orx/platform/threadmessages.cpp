// A table from thread ids to queues; each thread keeps its own entry and takes it away when it ends.
#include "orx/platform/threadmessages.h"

#include "orx/platform/threads.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

namespace platform {

namespace {

class Queue
{
public:
    bool Push(const ThreadMessage& message)
    {
        const std::lock_guard lock(m_mutex);
        if (m_messages.size() >= ThreadMessages::c_uiLimit) {
            return false;
        }
        m_messages.push_back(message);
        m_arrived.notify_one();
        return true;
    }

    bool Pop(ThreadMessage& message, unsigned long timeoutMs)
    {
        std::unique_lock lock(m_mutex);
        const auto arrived = [this] { return !m_messages.empty(); };
        if (timeoutMs >= ThreadMessages::c_ulInfinite) {
            m_arrived.wait(lock, arrived);
        } else {
            const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
            if (!m_arrived.wait_until(lock, limit, arrived)) {
                return false;
            }
        }
        message = m_messages.front();
        m_messages.pop_front();
        return true;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<ThreadMessage> m_messages;
};

struct Table
{
    std::mutex mutex;
    std::map<std::uint32_t, std::shared_ptr<Queue>> queues;
};

/// Never destroyed, so that threads may end after the static objects have.
Table& TheTable()
{
    static Table* const table = new Table;
    return *table;
}

/// The calling thread's entry in the table, for as long as the thread lives.
class OwnQueue
{
public:
    OwnQueue()
    {
        Table& table = TheTable();
        const std::lock_guard lock(table.mutex);
        table.queues[m_threadId] = m_queue;
    }
    ~OwnQueue()
    {
        Table& table = TheTable();
        const std::lock_guard lock(table.mutex);
        table.queues.erase(m_threadId);
    }
    OwnQueue(const OwnQueue&) = delete;
    OwnQueue& operator=(const OwnQueue&) = delete;

    Queue& Get() const { return *m_queue; }

private:
    std::uint32_t m_threadId = GetCurrentThreadId();
    std::shared_ptr<Queue> m_queue = std::make_shared<Queue>();
};

Queue& OwnQueueOfThisThread()
{
    thread_local const OwnQueue queue;
    return queue.Get();
}

std::shared_ptr<Queue> Find(std::uint32_t threadId)
{
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.queues.find(threadId);
    return found != table.queues.end() ? found->second : nullptr;
}

} // namespace

void ThreadMessages::Open()
{
    OwnQueueOfThisThread();
}

bool ThreadMessages::Post(std::uint32_t threadId, const ThreadMessage& message)
{
    const std::shared_ptr<Queue> queue = Find(threadId);
    return queue != nullptr && queue->Push(message);
}

bool ThreadMessages::Read(ThreadMessage& message, unsigned long timeoutMs)
{
    return OwnQueueOfThisThread().Pop(message, timeoutMs);
}

} // namespace platform

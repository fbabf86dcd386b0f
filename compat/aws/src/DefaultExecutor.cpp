#include <aws/core/utils/threading/Executor.h>

#include <algorithm>
#include <system_error>

namespace Aws::Utils::Threading {

DefaultExecutor::~DefaultExecutor()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_taskEnded.wait(lock, [this] { return m_running.empty(); });
    joinFinished(lock);
}

bool DefaultExecutor::SubmitToThread(std::function<void()>&& task)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    joinFinished(lock);
    try {
        // The thread cannot get at its own list entry before this function lets go of the lock.
        m_running.emplace_back([this, work = std::move(task)]() mutable {
            work();
            work = nullptr; // what the task holds is released before the thread counts as ended
            const std::lock_guard<std::mutex> endLock(m_mutex);
            const auto self = std::find_if(m_running.begin(), m_running.end(),
                [](const std::thread& t) { return t.get_id() == std::this_thread::get_id(); });
            m_finished.splice(m_finished.end(), m_running, self);
            m_taskEnded.notify_all();
        });
    } catch (const std::system_error&) {
        return false; // the system gives no more threads
    }
    return true;
}

void DefaultExecutor::joinFinished(std::unique_lock<std::mutex>& lock)
{
    std::list<std::thread> finished;
    finished.splice(finished.end(), m_finished);
    // A finished thread may still hold the lock on its last lines.
    lock.unlock();
    for (std::thread& thread : finished)
        thread.join();
    lock.lock();
}

} // namespace Aws::Utils::Threading

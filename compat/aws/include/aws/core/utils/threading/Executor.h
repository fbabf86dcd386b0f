#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace Aws::Utils::Threading {

class Executor
{
public:
    virtual ~Executor() = default;

    template <typename Function> bool Submit(Function&& function)
    {
        return SubmitToThread(std::function<void()>(std::forward<Function>(function)));
    }

protected:
    virtual bool SubmitToThread(std::function<void()>&& task) = 0;
};

/// One thread a task. The destructor waits for the tasks that are still running.
class DefaultExecutor : public Executor
{
public:
    ~DefaultExecutor() override;

protected:
    bool SubmitToThread(std::function<void()>&& task) override;

private:
    void joinFinished(std::unique_lock<std::mutex>& lock);

    std::mutex m_mutex;
    std::condition_variable m_taskEnded;
    std::list<std::thread> m_running;
    std::list<std::thread> m_finished; ///< past their task, to be joined
};

} // namespace Aws::Utils::Threading

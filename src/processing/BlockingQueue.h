#pragma once

#include <QList>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

/// The one queue of all worker threads: producers push, one consumer blocks in pop().
///
/// close() refuses further items but discards nothing: pop() hands out everything that was pushed
/// before and only then answers "nothing left". A worker loop is therefore just
///
///     while (auto item = m_queue.pop())
///         work(*item);
///
/// All members may be called from any thread. The condition is always tested under the lock, so
/// neither an item nor a close can slip in between the test and the wait. Standard primitives
/// rather than Qt's, because the thread sanitizer cannot see through a Qt library built without it.
template <typename T> class BlockingQueue
{
public:
    enum class Order {
        OldestFirst, ///< a file that is written in order
        NewestFirst, ///< a live audience wants the current slide before the backlog
    };

    explicit BlockingQueue(Order order = Order::OldestFirst)
        : m_order(order)
    {
    }

    /// Appends @p item and wakes the consumer. Returns false, and leaves the item to the caller,
    /// when the queue is closed: the caller then still owns what the item refers to.
    [[nodiscard]] bool push(T item)
    {
        const std::lock_guard lock(m_mutex);
        if (m_closed)
            return false;
        m_items.append(std::move(item));
        m_condition.notify_one();
        return true;
    }

    /// Blocks until there is an item, or the queue is closed and empty (then: no value).
    /// @p remaining, when given, receives the number of items left behind the one returned.
    [[nodiscard]] std::optional<T> pop(qsizetype* remaining = nullptr)
    {
        std::unique_lock lock(m_mutex);
        m_condition.wait(lock, [this] { return m_closed || !m_items.isEmpty(); });
        if (m_items.isEmpty())
            return std::nullopt;
        T item = m_order == Order::OldestFirst ? m_items.takeFirst() : m_items.takeLast();
        if (remaining)
            *remaining = m_items.size();
        return item;
    }

    /// No more items are accepted; what is queued is still handed out. Closing twice is harmless.
    void close()
    {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
        m_condition.notify_all();
    }

    [[nodiscard]] bool isClosed() const
    {
        const std::lock_guard lock(m_mutex);
        return m_closed;
    }

    [[nodiscard]] qsizetype size() const
    {
        const std::lock_guard lock(m_mutex);
        return m_items.size();
    }

    /// Removes and returns what is queued, oldest first. For a consumer that works on all of it at
    /// once, and for destructors of workers whose items own something.
    [[nodiscard]] QList<T> takeAll()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_items, {});
    }

private:
    const Order m_order;
    mutable std::mutex m_mutex;
    std::condition_variable m_condition;
    QList<T> m_items;
    bool m_closed = false;
};

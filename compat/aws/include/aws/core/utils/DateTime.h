#pragma once

#include <chrono>
#include <cstdint>

namespace Aws::Utils {

/// A point in time, in milliseconds since 1970 (UTC).
class DateTime
{
public:
    DateTime() = default;
    explicit DateTime(std::int64_t millisSinceEpoch)
        : m_time(std::chrono::milliseconds(millisSinceEpoch))
    {
    }
    DateTime(std::chrono::system_clock::time_point time)
        : m_time(time)
    {
    }

    static DateTime Now() { return DateTime(std::chrono::system_clock::now()); }
    std::int64_t Millis() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_time.time_since_epoch())
            .count();
    }

private:
    std::chrono::system_clock::time_point m_time;
};

} // namespace Aws::Utils

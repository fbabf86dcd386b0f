#pragma once

#include <chrono>

/// How the sender's "clock" picture tells the time: a white bar that crosses the picture once in
/// this time. The clock is the same in all processes of the machine.
constexpr int ClockPeriodMs = 4000;
constexpr int ClockBarWidth = 8;

inline int clockMs()
{
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
    return int(now.count() % ClockPeriodMs);
}

inline int clockBarX(int pictureWidth)
{
    return clockMs() * (pictureWidth - ClockBarWidth) / ClockPeriodMs;
}

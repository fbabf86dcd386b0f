#pragma once

#include <QString>

#include <memory>

class QWindow;

/// Asks the system to stay as a recording needs it: no sleep, no blank screens in the slides. On
/// Windows a screen saver, or a lock that a policy prescribes, may still come.
/// Where the platform shows it, a shut-down that has to wait says why. What is not offered is left
/// out with a line in the log. A crash ends it all, because the system notices that the process has
/// gone. Main thread; never waits for another process.
class SystemHold
{
public:
    SystemHold();
    ~SystemHold();
    SystemHold(const SystemHold&) = delete;
    SystemHold& operator=(const SystemHold&) = delete;

    /// @p reason is for the user, one short sentence; @p window is the one that is to be named.
    void begin(QWindow* window, const QString& reason);
    /// Does nothing when nothing is held.
    void end();

private:
    struct Platform;
    std::unique_ptr<Platform> m_platform;
    bool m_held = false;
};

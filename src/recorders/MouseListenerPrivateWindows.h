#pragma once

#include "recorders/MouseListenerPrivate.h"

#include <qt_windows.h>

/// The pointer on Windows, through a low-level mouse hook. The hook is called on the thread that
/// installed it, so that thread must pump messages: the main thread does.
class MouseListenerPrivateWindows : public MouseListenerPrivate
{
    Q_OBJECT

public:
    MouseListenerPrivateWindows() = default;
    ~MouseListenerPrivateWindows() override;

    void createHook();
    void destroyHook();
    void stop();
    [[nodiscard]] HHOOK hook() const { return m_hook; }

    /// Called for every mouse event of the desktop, which waits for it: reads the point, posts it
    /// and passes the event on.
    static LRESULT CALLBACK lowLevelMouseProc(int nCode, WPARAM wParam, LPARAM lParam);

public slots:
    void start() override;
    void requestStop() override;

private:
    static MouseListenerPrivateWindows* m_currentInstance; ///< owns the hook; main thread only

    HHOOK m_hook = nullptr;
};

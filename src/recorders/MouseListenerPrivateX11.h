#pragma once

#include "recorders/MouseListenerPrivate.h"

#include <memory>

/// The pointer on X11, through the server's RECORD extension: every motion on the display, over
/// every window, in order, woken by the connection's socket. X11's headers stay in the .cpp.
class MouseListenerPrivateX11 : public MouseListenerPrivate
{
    Q_OBJECT

public:
    MouseListenerPrivateX11();
    ~MouseListenerPrivateX11() override;

    /// True when positions arrive; without a display, or without RECORD, a line in the log.
    bool createHook();
    void destroyHook();
    void stop();

public slots:
    void start() override;
    void requestStop() override;

private:
    class Hook;

    static MouseListenerPrivateX11* m_currentInstance; ///< owns the hook; main thread only

    std::unique_ptr<Hook> m_hook;
};

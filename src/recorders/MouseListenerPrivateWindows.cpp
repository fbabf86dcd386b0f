#include "recorders/MouseListenerPrivateWindows.h"

#include <QDebug>
#include <QMetaObject>
#include <QTimer>

MouseListenerPrivateWindows* MouseListenerPrivateWindows::m_currentInstance = nullptr;

MouseListenerPrivate* MouseListenerPrivate::create()
{
    return new MouseListenerPrivateWindows;
}

MouseListenerPrivateWindows::~MouseListenerPrivateWindows()
{
    if (m_hook)
        UnhookWindowsHookEx(m_hook);
    if (m_currentInstance == this)
        m_currentInstance = nullptr;
}

void MouseListenerPrivateWindows::start()
{
    if (m_currentInstance) {
        qDebug() << "[MouseListenerPrivateWindows] m_currentInstance is already set.";
        return;
    }
    m_currentInstance = this;
    restartTimer();
    createHook();
}

void MouseListenerPrivateWindows::createHook()
{
    qDebug() << "[MouseListenerPrivateWindows] createHook";
    m_hook = SetWindowsHookExW(WH_MOUSE_LL, &lowLevelMouseProc, nullptr, 0);
    if (!m_hook)
        qDebug() << "[MouseListenerPrivateWindows] SetWindowsHookEx failed.";
}

LRESULT CALLBACK MouseListenerPrivateWindows::lowLevelMouseProc(
    int nCode, WPARAM wParam, LPARAM lParam)
{
    MouseListenerPrivateWindows* const listener = m_currentInstance;
    if (!listener)
        return 0;
    if (nCode >= 0 && wParam == WM_MOUSEMOVE) {
        const POINT point = reinterpret_cast<const MSLLHOOKSTRUCT*>(lParam)->pt;
        const qint64 time = listener->currentMouseTime();
        const qint64 x = point.x;
        const qint64 y = point.y;
        QMetaObject::invokeMethod(
            listener, [listener, time, x, y] { listener->emitMousePositionChanged(time, x, y); },
            Qt::QueuedConnection);
    }
    return CallNextHookEx(listener->m_hook, nCode, wParam, lParam);
}

void MouseListenerPrivateWindows::requestStop()
{
    QTimer::singleShot(0, this, &MouseListenerPrivateWindows::stop);
}

void MouseListenerPrivateWindows::stop()
{
    destroyHook();
    if (m_currentInstance == this)
        m_currentInstance = nullptr;
    emit stopped();
}

void MouseListenerPrivateWindows::destroyHook()
{
    qDebug() << "[MouseListenerMacOS] destroyTap";
    if (m_hook)
        UnhookWindowsHookEx(m_hook);
    m_hook = nullptr;
}

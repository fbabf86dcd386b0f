#include "app/SystemHold.h"

#include <QDebug>
#include <QWindow>

#include <utility>

#include <windows.h>

struct SystemHold::Platform
{
    HWND window = nullptr;
};

SystemHold::SystemHold()
    : m_platform(std::make_unique<Platform>())
{
}

SystemHold::~SystemHold()
{
    end();
}

void SystemHold::begin(QWindow* window, const QString& reason)
{
    if (std::exchange(m_held, true))
        return;
    // Belongs to this thread until it says otherwise or ends.
    if (!SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED))
        qInfo() << "[SystemHold] the system may go to sleep";
    m_platform->window = window ? reinterpret_cast<HWND>(window->winId()) : nullptr;
    if (m_platform->window
        && !ShutdownBlockReasonCreate(m_platform->window, qUtf16Printable(reason)))
        qInfo() << "[SystemHold] a shut-down will not say why it waits";
}

void SystemHold::end()
{
    if (!std::exchange(m_held, false))
        return;
    SetThreadExecutionState(ES_CONTINUOUS);
    if (m_platform->window)
        ShutdownBlockReasonDestroy(m_platform->window);
}

#include "app/Desktop.h"

#include <QWindow>

#include <windows.h>

#ifndef WDA_EXCLUDEFROMCAPTURE // in the platform's headers since Windows 10, version 2004
#define WDA_EXCLUDEFROMCAPTURE 0x00000011
#endif

namespace Desktop {

QString name()
{
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    return QString::number(session);
}

void bringToFront(QWindow* window)
{
    window->setWindowStates(window->windowStates() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->requestActivate();
    SetForegroundWindow(reinterpret_cast<HWND>(window->winId()));
}

void letOthersComeToFront()
{
    AllowSetForegroundWindow(ASFW_ANY);
}

bool leaveOutOfCapture(QWindow* window)
{
    // Earlier versions of Windows know only how to make the window black: they refuse this.
    return SetWindowDisplayAffinity(reinterpret_cast<HWND>(window->winId()), WDA_EXCLUDEFROMCAPTURE)
        != FALSE;
}

} // namespace Desktop

#include "app/Desktop.h"

#include <QDir>
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

QString privateDirectory()
{
    return QDir::tempPath(); // every user has one
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
    // Earlier versions of Windows refuse this (they can only make the window black); what merely
    // looks like Windows may accept it and do nothing.
    HWND const handle = reinterpret_cast<HWND>(window->winId());
    DWORD affinity = WDA_NONE;
    return SetWindowDisplayAffinity(handle, WDA_EXCLUDEFROMCAPTURE)
        && GetWindowDisplayAffinity(handle, &affinity) && affinity == WDA_EXCLUDEFROMCAPTURE;
}

} // namespace Desktop

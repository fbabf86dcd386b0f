#include "app/Desktop.h"

#include <QStandardPaths>
#include <QWindow>

#include <cstring>
#include <memory>

#include <X11/Xlib.h>

using namespace Qt::StringLiterals;

namespace Desktop {

QString name()
{
    // The screen's number is no part of it: ":0" and ":0.0" are the same desktop.
    const QString display = qEnvironmentVariable("DISPLAY");
    return display.left(display.indexOf(u'.', display.lastIndexOf(u':')));
}

QString privateDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
}

void bringToFront(QWindow* window)
{
    window->setWindowStates(window->windowStates() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    // Qt asks as a program that was last used long ago, which window managers may refuse so that
    // nobody's typing is interrupted. Here the operator has just asked for this window.
    const std::unique_ptr<Display, int (*)(Display*)> display(XOpenDisplay(nullptr), XCloseDisplay);
    if (!display)
        return;
    constexpr long OnBehalfOfTheUser = 2;
    XEvent event;
    std::memset(&event, 0, sizeof event);
    event.xclient.type = ClientMessage;
    event.xclient.window = window->winId();
    event.xclient.message_type = XInternAtom(display.get(), "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = OnBehalfOfTheUser;
    XSendEvent(display.get(), DefaultRootWindow(display.get()), False,
        SubstructureRedirectMask | SubstructureNotifyMask, &event);
}

void letOthersComeToFront() { }

bool leaveOutOfCapture(QWindow*)
{
    return false; // no window can be left out without a hole in the picture below it
}

} // namespace Desktop

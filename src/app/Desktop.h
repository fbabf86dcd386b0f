#pragma once

#include <QString>

class QWindow;

/// What a window asks of the platform's desktop beyond what Qt offers. Main thread.
namespace Desktop {

/// Names the desktop on which windows of this process appear: a display, or a user's session.
[[nodiscard]] QString name();

/// Where only this user may write, for what lasts no longer than the session; empty: nowhere.
[[nodiscard]] QString privateDirectory();

/// Shows @p window, restores it when it is minimised, and puts it before all others.
void bringToFront(QWindow* window);

/// Lets another process, which was not used last, bring its window to the front.
void letOthersComeToFront();

/// Leaves @p window out of every picture of the screens, which then show what lies below it. False
/// where the platform cannot.
bool leaveOutOfCapture(QWindow* window);

} // namespace Desktop

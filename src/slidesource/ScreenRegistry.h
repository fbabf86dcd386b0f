#pragma once

#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QObject>

class QScreen;

/// The desktop's screens for use from a worker thread.
///
/// QGuiApplication::screens() changes under a worker's feet when a monitor is plugged in or out,
/// and a screen may be deleted in the middle of a grab. This list is rewritten on the GUI thread,
/// inside Qt's own notifications, under a mutex that the worker holds while it uses the screens: a
/// screen that is leaving stays alive until the worker has let go.
///
/// Create and destroy it on the GUI thread, while a QGuiApplication exists, and outlive every user.
class ScreenRegistry : public QObject
{
    Q_OBJECT

public:
    ScreenRegistry();

    /// Calls @p use for every screen, in the order of QGuiApplication::screens(), in one piece: all
    /// calls see the same set of screens. Any thread. A monitor change waits on the GUI thread
    /// until this returns, so @p use should only do what needs the screen.
    template <typename Use> void forEach(Use use) const
    {
        const QMutexLocker lock(&m_mutex);
        for (QScreen* screen : m_screens)
            use(screen);
    }

private:
    void refresh();

    mutable QMutex m_mutex;
    QList<QScreen*> m_screens;
};

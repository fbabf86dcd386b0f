#include "slidesource/ScreenRegistry.h"

#include <QGuiApplication>
#include <QScreen>
#include <QThread>

ScreenRegistry::ScreenRegistry()
{
    Q_ASSERT(QThread::currentThread() == qGuiApp->thread());
    // Direct, so that refresh() has returned before Qt goes on to delete a removed screen. By the
    // time of each signal Qt's own list is already in its new state and order.
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &ScreenRegistry::refresh,
        Qt::DirectConnection);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &ScreenRegistry::refresh,
        Qt::DirectConnection);
    // The primary screen comes first in Qt's list.
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &ScreenRegistry::refresh,
        Qt::DirectConnection);
    refresh();
}

void ScreenRegistry::refresh()
{
    const QMutexLocker lock(&m_mutex);
    m_screens = QGuiApplication::screens();
}

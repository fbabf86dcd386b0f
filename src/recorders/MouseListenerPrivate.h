#pragma once

#include <QElapsedTimer>
#include <QObject>

/// Follows the pointer over the whole desktop, with each platform's own means. Main thread only.
///
/// One listener at a time listens in a process; one that is started beside it stays inert. An inert
/// listener, also one whose hook could not be installed, still answers requestStop().
class MouseListenerPrivate : public QObject
{
    Q_OBJECT

public:
    /// A listener for the platform, owned by the caller. Defined in the platform's file.
    [[nodiscard]] static MouseListenerPrivate* create();

    /// Makes now the zero of the position times.
    void restartTimer() { m_timer.start(); }
    /// Takes over a zero that was set before this listener existed.
    void setTimer(const QElapsedTimer& timer) { m_timer = timer; }
    /// Milliseconds since the zero.
    [[nodiscard]] qint64 currentMouseTime() const { return m_timer.elapsed(); }

    /// The position that was emitted last; (-1, -1) before the first.
    [[nodiscard]] qint64 lastPositionX() const { return m_lastPositionX; }
    [[nodiscard]] qint64 lastPositionY() const { return m_lastPositionY; }

public slots:
    virtual void start() = 0;
    /// stopped() follows from the event loop.
    virtual void requestStop() = 0;
    /// Emits mousePositionChanged() unless the pointer is where it was.
    void emitMousePositionChanged(qint64 time, qint64 x, qint64 y);

signals:
    /// @p time in milliseconds, @p x and @p y in physical pixels of the desktop, maybe negative.
    void mousePositionChanged(qint64 time, qint64 x, qint64 y);
    void stopped();

protected:
    MouseListenerPrivate() { restartTimer(); }

private:
    QElapsedTimer m_timer;
    qint64 m_lastPositionX = -1;
    qint64 m_lastPositionY = -1;
};

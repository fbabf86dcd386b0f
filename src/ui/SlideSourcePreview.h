#pragma once

#include "slidesource/SlideImage.h"

#include <QDeadlineTimer>
#include <QImage>
#include <QList>
#include <QQuickPaintedItem>
#include <QTimer>
#include <QVariant>

#include <atomic>
#include <memory>

class MouseListenerPrivate;
class SlideSource;

/// Live frames of the selected slide source, side by side, while no recording runs. Runs a source
/// and a pointer listener of its own. GUI thread.
///
/// stop() returns when the device is free, which takes a local event loop: signals of this item
/// and user input arrive meanwhile. Calling stop() again then waits for the same end; restart() is
/// refused. The item may be destroyed at any time, also from within that loop.
class SlideSourcePreview : public QQuickPaintedItem
{
    Q_OBJECT
    Q_PROPERTY(bool stopping READ stopping NOTIFY stoppingChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(QString slideSourceName READ slideSourceName NOTIFY slideSourceNameChanged)
    Q_PROPERTY(
        bool pointerRecordingAvailable READ pointerRecordingAvailable NOTIFY slideSourceNameChanged)
    Q_PROPERTY(bool pointerRecordingEnabled READ pointerRecordingEnabled NOTIFY
            pointerRecordingEnabledChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(
        QList<QVariant> slidesResolutions READ slidesResolutions NOTIFY slidesResolutionsChanged)
    Q_PROPERTY(qint64 mousePositionX READ mousePositionX NOTIFY mousePositionXChanged)
    Q_PROPERTY(qint64 mousePositionY READ mousePositionY NOTIFY mousePositionYChanged)

public:
    explicit SlideSourcePreview(QQuickItem* parent = nullptr);
    ~SlideSourcePreview() override;

    [[nodiscard]] bool stopping() const { return m_stopping; }
    [[nodiscard]] bool loading() const { return m_frames.isEmpty(); }
    [[nodiscard]] QString slideSourceName() const;
    [[nodiscard]] bool pointerRecordingAvailable() const;
    [[nodiscard]] bool pointerRecordingEnabled() const;
    [[nodiscard]] QString errorMessage() const { return m_errorMessage; }
    [[nodiscard]] QList<QVariant> slidesResolutions() const;
    [[nodiscard]] qint64 mousePositionX() const { return m_mousePositionX; }
    [[nodiscard]] qint64 mousePositionY() const { return m_mousePositionY; }

    void paint(QPainter* painter) override;

public slots:
    void doRefresh();
    void restart();
    void stop();

signals:
    void stoppingChanged();
    void loadingChanged();
    void slideSourceNameChanged();
    void pointerRecordingEnabledChanged();
    void errorMessageChanged();
    void slidesResolutionsChanged();
    void mousePositionXChanged();
    void mousePositionYChanged();

protected:
    /// The source for the next run, for the caller to own; null when nothing usable is selected.
    [[nodiscard]] virtual SlideSource* createSource() const;

private:
    void connectSource();
    void startPointerListener();
    void showFrames(const QList<SlideImage>& slides);
    void setErrorMessage(const QString& message);
    bool waitForSource(const QDeadlineTimer& deadline);
    bool waitForPointerListener(const QDeadlineTimer& deadline);
    void releaseSource();
    [[nodiscard]] bool isShown() const;

    QString m_errorMessage;
    bool m_stopping = false;
    /// Somebody asked for stop() while a stop was under way: whoever wanted to start a new source
    /// after it must not, the device is to stay free.
    bool m_restartCancelled = false;
    QList<QImage> m_frames;
    SlideSource* m_source = nullptr; ///< owned; on its own thread, so not in Qt's tree
    MouseListenerPrivate* m_pointerListener = nullptr; ///< owned
    qint64 m_mousePositionX = 0;
    qint64 m_mousePositionY = 0;
    QTimer* m_refreshTimer; ///< owned by Qt's tree
    /// Set while a frame is requested and not yet captured. Shared with the request, which runs on
    /// the source's thread and may outlive this item.
    std::shared_ptr<std::atomic<bool>> m_requestPending;
    /// Counts the sources: deliveries of an earlier one that are still on their way show nothing.
    quint64 m_generation = 0;
};

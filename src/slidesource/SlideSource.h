#pragma once

#include "slidesource/SlideImage.h"
#include "slidesource/SlidesSourceInfo.h"

#include <QMutex>
#include <QThread>
#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>

class QTimer;

/// Produces frames from one input on a thread of its own and hands them on with slidesCaptured().
///
/// The object lives on its own thread: its slots run there when they are called through queued
/// connections. The owner creates it with create(), connects it, starts the thread, and deletes it
/// only after the thread has finished. A source whose input cannot be opened emits captureError()
/// and ends its thread without ready() and without stopped(): watch QThread::finished.
class SlideSource : public QThread
{
    Q_OBJECT

public:
    ~SlideSource() override;

    /// A source for @p info, owned by the caller; null (and a warning) for an unknown type.
    [[nodiscard]] static SlideSource* create(const SlidesSourceInfo& info);

    [[nodiscard]] const SlidesSourceInfo& slidesSourceInfo() const { return m_slidesSourceInfo; }

    /// Any thread.
    [[nodiscard]] virtual bool slidesFrozen() const { return m_slidesFrozen; }
    /// One map per frame of the latest capture: "width" and "height", device-independent. Any
    /// thread.
    [[nodiscard]] QList<QVariant> slidesResolutions() const;
    void setSlidesResolutions(QList<QVariant>& resolutions);
    /// Milliseconds on the slide clock. Any thread.
    [[nodiscard]] qint64 currentSlideTime() const;

public slots:
    /// Ends the source's event loop; also before or while the thread starts. Any thread.
    virtual void requestStop();
    /// The same for an owner that wants no more captures: also those it has asked for are dropped.
    /// Any thread.
    virtual void abandon() { requestStop(); }
    /// Sets the slide clock to 0. Any thread: the clock must start with the audio, not when the
    /// source's event loop next turns.
    void restartTimer();
    /// Toggles the frozen state: a frozen source captures only on request. Source thread.
    virtual void freezeSlides();
    /// Captures now, also while frozen, and marks the capture as forced. Source thread.
    virtual void captureSlide() = 0;

signals:
    void captureError(const QString& error);
    void slidesFrozenChanged();
    void slidesResolutionsChanged();
    /// One capture: @p time in milliseconds on the slide clock, read before the frames were
    /// grabbed; the receiver owns the matrices of @p slides.
    void slidesCaptured(qint64 time, const QList<SlideImage>& slides, bool forceNewSlide);
    void ready();
    void stopped();

protected:
    explicit SlideSource(const SlidesSourceInfo& info);

    /// Publishes the sizes of @p slides; called just before each slidesCaptured().
    void updateSlidesResolutions(const QList<SlideImage>& slides);

    /// A repeating capture timer of the calling (source) thread, not yet started: every tick calls
    /// @p capture unless the source is frozen.
    [[nodiscard]] std::unique_ptr<QTimer> newCaptureTimer(std::function<void()> capture);
    /// The middle of every run(), once the input is open: starts @p captureTimer and the slide
    /// clock, emits ready() and returns after requestStop(). A clock that restartTimer() has set
    /// already is left alone: an input that opens only after the audio has started must not shift
    /// the slides' times. Source thread.
    void runCaptureLoop(QTimer& captureTimer);

    /// Interval of every source's capture timer: new slides are looked for once a second.
    static constexpr int CaptureIntervalMs = 1000;

private:
    const SlidesSourceInfo m_slidesSourceInfo;
    const qint64 m_creationNs; ///< monotonic, as the clock's start
    std::atomic<qint64> m_clockStartNs;
    std::atomic<bool> m_slidesFrozen = false;
    std::atomic<bool> m_stopRequested = false; ///< QThread::start() forgets an earlier exit()
    mutable QMutex m_resolutionsMutex;
    QList<QVariant> m_slidesResolutions;
};

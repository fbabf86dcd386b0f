#include "ui/SlideSourcePreview.h"

#include "processing/WorkerEnd.h"
#include "recorders/MouseListenerPrivate.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideSource.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QPainter>
#include <QPointer>
#include <QQuickWindow>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

// Ten frames a second look live; the pointer line below them moves with the pointer anyway.
constexpr int RefreshIntervalMs = 100;

// How long a stop waits for a source or a listener to end. Drivers take up to a second to close a
// camera; a driver that hangs must not take the window with it.
constexpr int StopTimeoutMs = 3000;

/// Deletes @p source once its thread has ended, however long that takes, and drops what it still
/// captures. For a source that did not end in time.
void retire(SlideSource* source)
{
    qWarning() << "[SlideSourcePreview]"
               << "slide source does not stop, leaving it behind";
    WorkerEnd::noteLeftAlone();
    auto* application = QCoreApplication::instance();
    QObject::connect(source, &SlideSource::slidesCaptured, application,
        [](qint64, const QList<SlideImage>& slides, bool) { deleteMatrices(slides); });
    auto deleted = std::make_shared<bool>(false);
    const auto remove = [source, deleted] {
        if (std::exchange(*deleted, true))
            return;
        source->wait();
        delete source;
    };
    QObject::connect(source, &QThread::finished, application, remove);
    if (!source->isRunning()) // ended before the connection was there
        remove();
}

/// A deep copy, into the pixels of the frame before it where they are of the same kind: ten times a
/// second, fresh memory costs more than the copy.
void copyFrame(const QImage& frame, QImage& target)
{
    if (!frame.isNull() && frame.colorCount() == 0 && frame.size() == target.size()
        && frame.format() == target.format() && frame.bytesPerLine() == target.bytesPerLine()
        && frame.devicePixelRatio() == target.devicePixelRatio())
        std::memcpy(target.bits(), frame.constBits(), size_t(frame.sizeInBytes()));
    else
        target = frame.copy();
}

} // namespace

SlideSourcePreview::SlideSourcePreview(QQuickItem* parent)
    : QQuickPaintedItem(parent)
    , m_refreshTimer(new QTimer(this))
{
    m_refreshTimer->setInterval(RefreshIntervalMs);
    connect(m_refreshTimer, &QTimer::timeout, this, &SlideSourcePreview::doRefresh);
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
        &SlideSourcePreview::stop);
    connect(RecorderSettings::instance(),
        &RecorderSettings::property_pointerRecordingEnabledChanged, this, [this] {
            emit pointerRecordingEnabledChanged();
            emit slideSourceNameChanged();
            restart();
        });
}

SlideSourcePreview::~SlideSourcePreview()
{
    // No local event loop here: whoever destroys the item must not get events delivered.
    ++m_generation;
    m_refreshTimer->stop();
    delete m_pointerListener;
    if (m_source) {
        m_source->abandon();
        m_source->wait(QDeadlineTimer(StopTimeoutMs));
        releaseSource();
    }
    // Captures on their way carry matrices that nobody else deletes.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

QString SlideSourcePreview::slideSourceName() const
{
    if (!m_source || m_stopping)
        return tr("<not set>");
    return m_source->slidesSourceInfo().name();
}

bool SlideSourcePreview::pointerRecordingAvailable() const
{
    return m_source && !m_stopping
        && m_source->slidesSourceInfo().type() == SlidesSourceInfo::IntervalScreenCapture;
}

bool SlideSourcePreview::pointerRecordingEnabled() const
{
    return RecorderSettings::instance()->pointerRecordingEnabled();
}

QList<QVariant> SlideSourcePreview::slidesResolutions() const
{
    if (!m_source || m_stopping)
        return {};
    return m_source->slidesResolutions();
}

void SlideSourcePreview::paint(QPainter* painter)
{
    if (m_frames.isEmpty()) {
        painter->setPen(Qt::black);
        painter->setBrush(Qt::black);
        painter->drawRect(boundingRect());
        return;
    }
    const int columnWidth = int(width() / qreal(m_frames.size()));
    const qreal ratio = m_frames.constFirst().devicePixelRatio();
    const QSize box(qRound(columnWidth * ratio), qRound(int(height()) * ratio));
    for (qsizetype i = 0; i < m_frames.size(); ++i) {
        if (m_frames.at(i).isNull()) // a camera's failed read
            continue;
        const QImage scaled
            = m_frames.at(i).scaled(box, Qt::KeepAspectRatio, Qt::FastTransformation);
        const qreal y = (height() - scaled.height() / ratio) / 2;
        painter->drawImage(QPointF(qreal(i * columnWidth), y), scaled);
    }
}

void SlideSourcePreview::doRefresh()
{
    // A slow camera must not pile up requests, and a preview that nobody sees needs no frames.
    if (!m_source || !isShown() || m_requestPending->exchange(true))
        return;
    QMetaObject::invokeMethod(
        m_source,
        [source = m_source, pending = m_requestPending] {
            if (source->isRunning())
                source->captureSlide();
            *pending = false;
        },
        Qt::QueuedConnection);
}

void SlideSourcePreview::restart()
{
    if (m_stopping) {
        qWarning() << "[SlideSourcePreview]"
                   << "is being stopped";
        return;
    }
    m_restartCancelled = false;
    const QPointer<SlideSourcePreview> alive(this);
    stop();
    if (!alive || m_restartCancelled)
        return;

    m_source = createSource();
    if (!m_source)
        return;
    emit slideSourceNameChanged();
    connectSource();
    // Frozen, the source captures nothing by itself: every frame is one that doRefresh() asked for.
    QMetaObject::invokeMethod(m_source, &SlideSource::freezeSlides, Qt::QueuedConnection);
    m_source->start(QThread::InheritPriority);
    startPointerListener();
}

void SlideSourcePreview::stop()
{
    const QDeadlineTimer deadline(StopTimeoutMs);
    const QPointer<SlideSourcePreview> alive(this);
    if (m_stopping) {
        m_restartCancelled = true;
        if (m_source)
            waitForSource(deadline);
        return;
    }

    m_stopping = true;
    emit stoppingChanged();
    setErrorMessage({});
    emit slidesResolutionsChanged();

    m_refreshTimer->stop();
    if (!m_frames.isEmpty()) {
        m_frames.clear();
        emit loadingChanged();
        update();
    }
    ++m_generation;

    if (m_source) {
        if (!waitForSource(deadline))
            return; // destroyed meanwhile
        releaseSource();
    }
    if (m_pointerListener) {
        if (!waitForPointerListener(deadline))
            return;
        delete std::exchange(m_pointerListener, nullptr);
    }

    m_stopping = false;
    emit stoppingChanged();
}

SlideSource* SlideSourcePreview::createSource() const
{
    return SlideSource::create(RecorderSettings::instance()->selectedSlideSource());
}

void SlideSourcePreview::connectSource()
{
    const quint64 generation = ++m_generation;
    m_requestPending = std::make_shared<std::atomic<bool>>(false);
    connect(m_source, &SlideSource::ready, this, [this, generation] {
        if (generation == m_generation)
            m_refreshTimer->start();
    });
    connect(m_source, &SlideSource::captureError, this, [this, generation](const QString& error) {
        if (generation == m_generation)
            setErrorMessage(error);
    });
    connect(m_source, &SlideSource::slidesResolutionsChanged, this,
        &SlideSourcePreview::slidesResolutionsChanged);
    connect(m_source, &SlideSource::slidesCaptured, this,
        [this, generation](qint64, const QList<SlideImage>& slides, bool) {
            if (generation == m_generation)
                showFrames(slides);
            deleteMatrices(slides);
        });
}

void SlideSourcePreview::startPointerListener()
{
    m_pointerListener = MouseListenerPrivate::create();
    if (!m_pointerListener)
        return;
    connect(m_pointerListener, &MouseListenerPrivate::mousePositionChanged, this,
        [this](qint64, qint64 x, qint64 y) {
            m_mousePositionX = x;
            m_mousePositionY = y;
            emit mousePositionXChanged();
            emit mousePositionYChanged();
        });
    m_pointerListener->start();
}

void SlideSourcePreview::showFrames(const QList<SlideImage>& slides)
{
    if (m_refreshTimer->isActive()) {
        m_frames.resize(slides.size());
        for (qsizetype i = 0; i < slides.size(); ++i)
            copyFrame(slides.at(i).image, m_frames[i]);
    } else {
        m_frames.clear();
    }
    emit loadingChanged();
    update();
}

void SlideSourcePreview::setErrorMessage(const QString& message)
{
    m_errorMessage = message;
    emit errorMessageChanged();
}

/// Asks the source to end and waits, with events, until it has or @p deadline is over. False when
/// this item was destroyed meanwhile.
bool SlideSourcePreview::waitForSource(const QDeadlineTimer& deadline)
{
    const QPointer<SlideSourcePreview> alive(this);
    QEventLoop loop;
    connect(m_source, &QThread::finished, &loop, &QEventLoop::quit);
    if (!m_source->isRunning())
        return true;
    m_source->abandon();
    QTimer::singleShot(int(deadline.remainingTime()), &loop, &QEventLoop::quit);
    loop.exec();
    if (!alive)
        return false;
    // The loop ends early when the application quits.
    if (m_source)
        m_source->wait(deadline);
    return true;
}

bool SlideSourcePreview::waitForPointerListener(const QDeadlineTimer& deadline)
{
    const QPointer<SlideSourcePreview> alive(this);
    QEventLoop loop;
    connect(m_pointerListener, &MouseListenerPrivate::stopped, &loop, &QEventLoop::quit);
    m_pointerListener->requestStop();
    QTimer::singleShot(int(deadline.remainingTime()), &loop, &QEventLoop::quit);
    loop.exec();
    return alive;
}

/// Deletes the source if its thread has ended, or is about to, and leaves it behind otherwise.
void SlideSourcePreview::releaseSource()
{
    SlideSource* source = std::exchange(m_source, nullptr);
    if (source->isRunning()) {
        source->disconnect(this); // each capture has one receiver that deletes its matrices
        retire(source);
        return;
    }
    source->wait();
    delete source;
}

bool SlideSourcePreview::isShown() const
{
    return !window() || (isVisible() && window()->isExposed());
}

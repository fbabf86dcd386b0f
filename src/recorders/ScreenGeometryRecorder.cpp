#include "recorders/ScreenGeometryRecorder.h"

#include "processing/WorkerEnd.h"
#include "recorders/ScreenGeometrySaver.h"
#include "recording/Presentation.h"

#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRect>
#include <QScreen>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int StartDelayMs = 100;
constexpr int StopDelayMs = 100;

} // namespace

QJsonObject rectToJson(const QRect& rect)
{
    return {
        { u"x"_s, rect.x() },
        { u"y"_s, rect.y() },
        { u"width"_s, rect.width() },
        { u"height"_s, rect.height() },
    };
}

QJsonObject screenToJson(qint64 index, QScreen* screen)
{
    return {
        { u"index"_s, index },
        { u"available_geometry"_s, rectToJson(screen->availableGeometry()) },
        { u"available_virtual_geometry"_s, rectToJson(screen->availableVirtualGeometry()) },
        { u"depth"_s, screen->depth() },
        { u"device_pixel_ratio"_s, screen->devicePixelRatio() },
        { u"geometry"_s, rectToJson(screen->geometry()) },
        { u"logical_dots_per_inch"_s, screen->logicalDotsPerInch() },
        { u"logical_dots_per_inch_x"_s, screen->logicalDotsPerInchX() },
        { u"logical_dots_per_inch_y"_s, screen->logicalDotsPerInchY() },
        { u"manufacturer"_s, screen->manufacturer() },
        { u"model"_s, screen->model() },
        { u"name"_s, screen->name() },
        { u"native_orientation"_s, static_cast<int>(screen->nativeOrientation()) },
        { u"orientation"_s, static_cast<int>(screen->orientation()) },
        { u"physical_dots_per_inch"_s, screen->physicalDotsPerInch() },
        { u"physical_dots_per_inch_x"_s, screen->physicalDotsPerInchX() },
        { u"physical_dots_per_inch_y"_s, screen->physicalDotsPerInchY() },
        { u"primary_orientation"_s, static_cast<int>(screen->primaryOrientation()) },
        { u"virtual_geometry"_s, rectToJson(screen->virtualGeometry()) },
    };
}

ScreenGeometryRecorder::ScreenGeometryRecorder(QObject* parent)
    : QObject(parent)
{
}

ScreenGeometryRecorder::~ScreenGeometryRecorder()
{
    const auto savers = findChildren<ScreenGeometrySaver*>(Qt::FindDirectChildrenOnly);
    for (ScreenGeometrySaver* saver : savers) {
        saver->requestStop();
        WorkerEnd::waitAndDelete(saver);
    }
}

void ScreenGeometryRecorder::requestStart(Presentation* presentation)
{
    if (m_state != Stopped) {
        qWarning() << "[ScreenGeometryRecorder]"
                   << "requestStart"
                   << "ignored in state" << m_state;
        return;
    }
    setState(Starting);
    m_presentation = presentation;
    m_timerSetWhileStarting = false;
    createSaver();
    QTimer::singleShot(StartDelayMs, this, &ScreenGeometryRecorder::start);
}

void ScreenGeometryRecorder::start()
{
    if (m_state != Starting)
        return;
    m_connections.clear();
    m_connections << connect(
        qGuiApp, &QGuiApplication::screenAdded, this, &ScreenGeometryRecorder::saveScreenGeometry);
    m_connections << connect(qGuiApp, &QGuiApplication::screenRemoved, this,
        &ScreenGeometryRecorder::saveScreenGeometry);
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        connectScreen(screen);
        m_connections << connect(screen, &QScreen::virtualGeometryChanged, this,
            &ScreenGeometryRecorder::saveScreenGeometry);
    }
    // After the connection above: an added screen is first recorded as it came. Its virtual
    // geometry is left alone, because the screens that were there before report the same change.
    m_connections << connect(qGuiApp, &QGuiApplication::screenAdded, this,
        &ScreenGeometryRecorder::connectScreen, Qt::DirectConnection);
    // When the audio was faster than our delay, its zero is the right one.
    if (!m_timerSetWhileStarting)
        m_timer.start();
    setState(Started);
    emit started();
}

void ScreenGeometryRecorder::connectScreen(QScreen* screen)
{
    const auto save = &ScreenGeometryRecorder::saveScreenGeometry;
    m_connections << connect(screen, &QScreen::availableGeometryChanged, this, save)
                  << connect(screen, &QScreen::geometryChanged, this, save)
                  << connect(screen, &QScreen::logicalDotsPerInchChanged, this, save)
                  << connect(screen, &QScreen::orientationChanged, this, save)
                  << connect(screen, &QScreen::physicalDotsPerInchChanged, this, save)
                  << connect(screen, &QScreen::physicalSizeChanged, this, save)
                  << connect(screen, &QScreen::primaryOrientationChanged, this, save);
}

void ScreenGeometryRecorder::restartRecordingTimer()
{
    if (m_state != Started && m_state != Starting)
        return;
    m_timerSetWhileStarting = m_state == Starting;
    m_timer.start();
    QTimer::singleShot(0, this, &ScreenGeometryRecorder::saveScreenGeometry);
}

void ScreenGeometryRecorder::saveScreenGeometry()
{
    if (!m_presentation || !m_saver)
        return;
    QJsonArray screens;
    const QList<QScreen*> list = QGuiApplication::screens();
    for (qsizetype i = 0; i < list.size(); ++i)
        screens.append(screenToJson(i, list.at(i)));
    const QJsonObject snapshot{ { u"time"_s, m_timer.elapsed() }, { u"screens"_s, screens } };
    m_saver->addSnapshot(QJsonDocument(snapshot).toJson(QJsonDocument::Compact));
}

void ScreenGeometryRecorder::createSaver()
{
    if (!m_presentation)
        return;
    m_saver = new ScreenGeometrySaver(
        m_presentation->dir().absoluteFilePath(u"screens_geometry.txt"_s), this);
    connect(
        m_saver, &ScreenGeometrySaver::savingFailed, this, &ScreenGeometryRecorder::recordingError);
    connect(m_saver, &QThread::finished, this, [this, saver = m_saver] {
        saver->deleteLater();
        if (saver != m_saver) // an earlier recording's, which was still writing
            return;
        m_saver = nullptr;
        emit stopped();
    });
    m_saver->start();
}

void ScreenGeometryRecorder::requestStop()
{
    if (m_state != Started)
        return;
    setState(Stopping);
    QTimer::singleShot(StopDelayMs, this, &ScreenGeometryRecorder::checkStop);
}

void ScreenGeometryRecorder::checkStop()
{
    stop();
}

void ScreenGeometryRecorder::stop()
{
    for (const QMetaObject::Connection& connection : std::as_const(m_connections))
        disconnect(connection);
    if (m_saver)
        m_saver->requestStop();
    setState(Stopped);
    emit stopped();
}

void ScreenGeometryRecorder::setState(State state)
{
    m_state = state;
    emit property_stateChanged(state);
}

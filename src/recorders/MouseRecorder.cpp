#include "recorders/MouseRecorder.h"

#include "processing/WorkerEnd.h"
#include "recorders/MouseListenerPrivate.h"
#include "recorders/MouseSaver.h"
#include "recording/Presentation.h"

#include <QDebug>
#include <QTimer>

namespace {

constexpr int StartDelayMs = 100;

} // namespace

MouseRecorder::MouseRecorder(QObject* parent)
    : QObject(parent)
{
}

MouseRecorder::~MouseRecorder()
{
    // Here and not in QObject's destructor: savers still working speak to a whole recorder.
    qDeleteAll(findChildren<MouseListenerPrivate*>(Qt::FindDirectChildrenOnly));
    const auto savers = findChildren<MouseSaver*>(Qt::FindDirectChildrenOnly);
    for (MouseSaver* saver : savers) {
        saver->requestStop();
        WorkerEnd::waitAndDelete(saver);
    }
}

void MouseRecorder::requestStart(Presentation* presentation)
{
    if (m_state != Stopped) {
        qWarning() << "[MouseRecorder]"
                   << "requestStart"
                   << "ignored in state" << m_state;
        return;
    }
    ++m_recording;
    setState(Starting);
    m_presentation = presentation;
    m_earlyZero.invalidate();
    QTimer::singleShot(StartDelayMs, this, &MouseRecorder::start);
}

void MouseRecorder::start()
{
    if (m_state != Starting)
        return;
    if (!m_presentation) { // deleted while the start was pending
        stop();
        return;
    }
    m_listener = MouseListenerPrivate::create();
    m_listener->setParent(this);
    m_saver = new MouseSaver(m_presentation->dir(), this);

    connect(
        m_listener, &MouseListenerPrivate::mousePositionChanged, m_saver, &MouseSaver::addPosition);
    connect(
        m_listener, &MouseListenerPrivate::mousePositionChanged, this,
        [this](qint64 time, qint64 x, qint64 y) {
            m_positionX = x;
            m_positionY = y;
            emit mousePositionChanged(time, x, y);
        },
        Qt::DirectConnection);
    // An earlier recording's saver may still have been writing when this one began.
    const auto ifCurrent = [this, recording = m_recording](auto slot) {
        return [this, recording, slot] {
            if (recording == m_recording)
                (this->*slot)();
        };
    };
    connect(m_listener, &MouseListenerPrivate::stopped, this,
        ifCurrent(&MouseRecorder::mouseListenerStopped));
    connect(m_saver, &MouseSaver::stopped, this, ifCurrent(&MouseRecorder::mouseSaverStopped));
    connect(m_saver, &MouseSaver::savingFailed, this, &MouseRecorder::recordingError);
    connect(m_saver, &MouseSaver::mousePositionSaved, this, &MouseRecorder::positionSaved);
    connect(m_listener, &MouseListenerPrivate::stopped, m_listener, &QObject::deleteLater);
    connect(m_saver, &QThread::finished, m_saver, &QObject::deleteLater);

    m_saver->start();
    m_listener->start();
    if (m_earlyZero.isValid())
        m_listener->setTimer(m_earlyZero);
    else
        m_listener->restartTimer();
    setState(Started);
    emit started();
}

void MouseRecorder::restartMouseTimer()
{
    if (m_state == Started)
        m_listener->restartTimer();
    else if (m_state == Starting)
        m_earlyZero.start();
}

void MouseRecorder::requestStop()
{
    if (m_state != Started)
        return;
    setState(Stopping);
    m_listener->requestStop();
    m_saver->requestStop();
}

void MouseRecorder::mouseListenerStopped()
{
    m_listener = nullptr;
    stop();
}

void MouseRecorder::mouseSaverStopped()
{
    m_saver = nullptr;
    stop();
}

void MouseRecorder::checkStop()
{
    stop();
}

void MouseRecorder::stop()
{
    if (m_state == Started) { // nobody asked them to stop so far
        m_listener->requestStop();
        m_saver->requestStop();
    }
    setState(Stopped);
    emit stopped();
}

void MouseRecorder::setState(State state)
{
    m_state = state;
    emit property_stateChanged(state);
}

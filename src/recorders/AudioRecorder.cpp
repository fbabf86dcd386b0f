#include "recorders/AudioRecorder.h"

#include "processing/WorkerEnd.h"
#include "recorders/AudioSaver.h"
#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSource>
#include <QDebug>
#include <QDir>
#include <QIODevice>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// A removed input changes no state, its data just ends: what arrives is the only witness. One look
// a second costs nothing; three still looks are more than any backend's longest pause (its buffer,
// a moved stream) and still soon enough for an operator to react.
constexpr int FlowCheckIntervalMs = 1000;
constexpr int StillChecksUntilSilence = 3;
// Backends end inside QAudioSource::stop(); one that does not gets this long to report it.
constexpr int StopTimeoutMs = 2000;
// What waits for the disk is lost with the process. A disk that wakes up or works for others takes
// a second or two; beyond this the operator should know.
constexpr qint64 MaxWaitingMs = 5000;
constexpr qint64 CalmWaitingMs = 1000;
// For an ordinary disk to finish the file, so that a stop needs no second turn of the event loop;
// nobody notices that it takes as long.
constexpr unsigned long MomentMs = 100;
// Without a byte taken. A drive that wakes up needs less; one that needs longer goes on by itself.
constexpr int DiskTimeoutMs = 10'000;
constexpr int SampleRate = 48000;
// The backends read on this thread, and what does not fit until then is lost. PulseAudio keeps
// more than six seconds whatever is asked for. Windows gives 30 ms by itself, and with Qt 6.8 a
// tenth of what is asked for. It reads only every half of it, so with a Qt that gave all of it a
// crash would cost two seconds.
constexpr qint64 BufferUs = 4'000'000;
// Beyond the half of the buffer, for the backend to read it.
constexpr qint64 ReadMs = 100;

/// What the audio source writes into: nothing here waits for the disk.
class SaverDevice final : public QIODevice
{
public:
    SaverDevice(AudioSaver* saver, QObject* parent)
        : QIODevice(parent)
        , m_saver(saver)
    {
        open(QIODevice::WriteOnly);
    }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override
    {
        m_saver->addSound(QByteArray(data, size));
        emit bytesWritten(size);
        return size;
    }

private:
    AudioSaver* const m_saver;
};

QAudioFormat chooseFormat(const QAudioDevice& device)
{
    const QAudioFormat preferred = device.preferredFormat();
    QAudioFormat format = preferred;
    format.setSampleFormat(QAudioFormat::Int32);
    format.setChannelCount(RecorderSettings::instance()->audioChannelCount());
    format.setSampleRate(SampleRate);
    format.setChannelConfig(QAudioFormat::ChannelConfigUnknown);
    return device.isFormatSupported(format) ? format : preferred;
}

} // namespace

AudioRecorder::AudioRecorder(QObject* parent)
    : QObject(parent)
{
    m_startTimer.setSingleShot(true);
    connect(&m_startTimer, &QTimer::timeout, this, &AudioRecorder::start);
    m_flowTimer.setInterval(FlowCheckIntervalMs);
    connect(&m_flowTimer, &QTimer::timeout, this, &AudioRecorder::checkFlow);
    m_lastSoundTimer.setSingleShot(true);
    connect(&m_lastSoundTimer, &QTimer::timeout, this, &AudioRecorder::stopSource);
    m_stopTimer.setSingleShot(true);
    m_stopTimer.setInterval(StopTimeoutMs);
    connect(&m_stopTimer, &QTimer::timeout, this, &AudioRecorder::stop);
    m_diskTimer.setInterval(DiskTimeoutMs);
    connect(&m_diskTimer, &QTimer::timeout, this, &AudioRecorder::checkDisk);
}

AudioRecorder::~AudioRecorder()
{
    m_state = Stopped;
    AudioSaver* saver = std::exchange(m_saver, nullptr);
    releaseSource();
    // Here and not in QObject's destructor: they have events delivered while they go, also to us.
    qDeleteAll(findChildren<QAudioSource*>(Qt::FindDirectChildrenOnly));
    if (!saver)
        return;
    saver->requestStop();
    WorkerEnd::waitAndDelete(saver);
}

void AudioRecorder::requestStart(Presentation* presentation)
{
    if (m_state != Stopped) {
        qWarning() << "[AudioRecorder]"
                   << "requestStart"
                   << "ignored in state" << m_state;
        return;
    }
    setState(Starting);
    m_presentation = presentation;
    m_troubleReported = false;
    m_startTimer.start(0);
}

void AudioRecorder::requestStop()
{
    if (m_state == Stopping)
        return;
    m_startTimer.stop();
    setState(Stopping);
    if (!m_source) {
        stop();
        return;
    }
    if (m_source->state() == QAudio::StoppedState || m_stillChecks > 0) {
        stopSource();
        return;
    }
    // What the backend holds was heard before the stop, and would be lost: let it come. Queued, as
    // the backend is then inside a loop over its buffer.
    connect(
        m_device, &QIODevice::bytesWritten, this, &AudioRecorder::stopSource, Qt::QueuedConnection);
    const qint64 heldMs = m_format.durationForBytes(int(m_source->bufferSize())) / 1000 / 2;
    m_lastSoundTimer.start(int(std::min<qint64>(heldMs + ReadMs, StopTimeoutMs)));
}

void AudioRecorder::stopSource()
{
    m_lastSoundTimer.stop();
    if (m_state != Stopping || !m_source || m_stopTimer.isActive())
        return;
    // Becomes Stopped in here, through handleAudioInputStateChange(). A source that ended by itself
    // has no change left to report.
    m_stopTimer.start();
    m_source->stop();
    if (m_state == Stopping && m_source && m_source->state() == QAudio::StoppedState)
        stop();
}

void AudioRecorder::start()
{
    if (m_state != Starting || m_source)
        return;
    m_input = RecorderSettings::instance()->selectedAudioInput();
    if (!m_input.isValid()) {
        qInfo() << "[AudioRecorder]"
                << "no audio input is selected: recording without sound";
        becomeStarted();
        return;
    }
    if (!m_presentation) { // deleted while the start was pending
        stop();
        return;
    }
    m_format = chooseFormat(m_input.audioDevice());
    m_saver = new AudioSaver(m_presentation->dir().absoluteFilePath(u"audio.wav"_s), m_format);
    // Deletes itself, so that one on a disk that hangs can be left alone.
    connect(m_saver, &QThread::finished, m_saver, &QObject::deleteLater);
    connect(m_saver, &AudioSaver::opened, this, [this, saver = m_saver] {
        if (saver == m_saver)
            openSource();
    });
    connect(m_saver, &AudioSaver::stopped, this, [this, saver = m_saver] {
        if (saver == m_saver)
            fileFinished();
    });
    connect(m_saver, &AudioSaver::soundSaved, this, &AudioRecorder::soundSaved);
    m_knownWritten = 0;
    m_diskTimer.start();
    m_saver->start();
}

void AudioRecorder::openSource()
{
    if (m_state != Starting)
        return;
    m_diskTimer.stop();
    QAudio::Error error = QAudio::OpenError;
    // Asked first because a backend may wait for ever for a device that has just been unplugged.
    if (inputIsConnected()) {
        m_knownAdded = 0;
        m_stillChecks = 0;
        m_flowTimer.start();
        m_source = new QAudioSource(m_input.audioDevice(), m_format, this);
        connect(m_source, &QAudioSource::stateChanged, this,
            &AudioRecorder::handleAudioInputStateChange);
        m_source->setBufferSize(m_format.bytesForDuration(BufferUs));
        m_device = new SaverDevice(m_saver, m_source);
        m_source->start(m_device); // may become Started in here
        if (!m_source)
            return; // a receiver of started() has stopped us
        error = m_source->error();
        if (error == QAudio::NoError && m_source->state() != QAudio::StoppedState)
            return;
    }
    qWarning() << "[AudioRecorder]"
               << "start"
               << "audio error" << error;
    releaseSource();
    emit recordingError(
        tr("The audio input \"%1\" cannot be started. The recording goes on without sound: check "
           "that the input is connected and that no other program holds it, then stop and start "
           "again.")
            .arg(m_input.name()));
    finishFile(); // and becomes Started then
}

void AudioRecorder::handleAudioInputStateChange(QAudio::State state)
{
    switch (state) {
    case QAudio::ActiveState:
    case QAudio::IdleState:
        if (m_state == Starting)
            becomeStarted();
        break;
    case QAudio::StoppedState:
        if (m_state == Stopping)
            stop();
        else if (m_state == Started && m_source)
            reportSilence();
        break;
    case QAudio::SuspendedState:
        break;
    }
}

void AudioRecorder::stop()
{
    m_startTimer.stop();
    m_lastSoundTimer.stop();
    m_stopTimer.stop();
    releaseSource();
    if (m_saver) {
        m_state = Stopping; // also when nobody has requested it
        finishFile();
        return;
    }
    m_presentation = nullptr;
    setState(Stopped);
    emit stopped();
}

void AudioRecorder::releaseSource()
{
    m_flowTimer.stop();
    if (!m_source)
        return;
    m_source->disconnect(this);
    m_device->disconnect(this);
    if (m_source->state() != QAudio::StoppedState)
        m_source->stop();
    m_source->deleteLater(); // we may be inside one of its signals
    m_source = nullptr;
    m_device = nullptr;
}

void AudioRecorder::finishFile()
{
    if (!m_saver)
        return;
    m_saver->requestStop();
    m_knownWritten = m_saver->status().written;
    m_diskTimer.start();
    if (m_saver->wait(MomentMs))
        fileFinished();
}

/// The file is complete, could not be made, or is given up. While starting, the source has failed.
void AudioRecorder::fileFinished()
{
    m_diskTimer.stop();
    const AudioSaver* saver = std::exchange(m_saver, nullptr);
    const AudioSaver::Status status = saver->status();
    const QString path = QDir::toNativeSeparators(saver->path());
    if (!status.opened && !status.error.isEmpty()) {
        emit recordingError(
            tr("The audio file \"%1\" cannot be written: %2. Check that the directory exists, may "
               "be written and has free space, then start the recording again.")
                .arg(path, status.error));
    } else if (!status.complete && !m_troubleReported) {
        emit recordingError(
            tr("The end of the audio file \"%1\" could not be written: %2. What was written before "
               "is kept; free some space on the disk before the next recording.")
                .arg(path, status.error));
    }
    if (m_state == Starting && status.opened)
        becomeStarted();
    else if (m_state != Stopped) // a receiver of the words may have stopped us
        stop();
}

/// Called every few seconds while the disk owes us something.
void AudioRecorder::checkDisk()
{
    const qint64 written = m_saver->status().written;
    if (written > std::exchange(m_knownWritten, written))
        return; // slow, but it goes on
    m_saver->requestStop();
    m_troubleReported = true;
    WorkerEnd::noteLeftAlone();
    qCritical() << "[AudioRecorder]"
                << "the disk does not answer";
    emit recordingError(tr(
        "The disk does not answer, and the audio file \"%1\" is not complete. Check that the disk "
        "is connected, and leave the program open: what is missing is written when the disk "
        "answers again.")
                            .arg(QDir::toNativeSeparators(m_saver->path())));
    fileFinished();
}

bool AudioRecorder::inputIsConnected() const
{
    return AudioInputInfo::availableAudioInputs().contains(m_input);
}

/// Called once a second while there is a source: notices that the disk does not take the bytes,
/// that they have stopped, or that they can only come from another input, to which the system has
/// moved us.
void AudioRecorder::checkFlow()
{
    const AudioSaver::Status status = m_saver->status();
    const QString path = QDir::toNativeSeparators(m_saver->path());
    m_stillChecks = status.added > m_knownAdded ? 0 : m_stillChecks + 1;
    m_knownAdded = status.added;
    const qint64 waitingMs = (status.added - status.written) * 1000
        / std::max(1, m_format.bytesForDuration(1'000'000));
    if (!status.error.isEmpty()) {
        reportTrouble(
            tr("The sound can no longer be written to \"%1\": %2. Free some space on the "
               "disk before you stop the recording: until then the sound waits in memory.")
                .arg(path, status.error));
    } else if (status.removed) {
        reportTrouble(tr("The audio file \"%1\" was removed during the recording. Stop, check the "
                         "directory and start a new recording.")
                          .arg(path));
    } else if (waitingMs >= MaxWaitingMs) {
        reportTrouble(
            tr("The disk does not keep up with the sound: some seconds of it wait in memory "
               "until they can be written to \"%1\". Close what else uses the disk, and "
               "check that it is connected.")
                .arg(path));
    } else if (!inputIsConnected()) {
        reportTrouble(tr("The audio input \"%1\" has been disconnected. The recording goes on with "
                         "the sound of another input or with none: connect the input again, then "
                         "stop and start a new recording.")
                          .arg(m_input.name()));
    } else if (m_stillChecks >= StillChecksUntilSilence) {
        reportSilence();
    } else if (m_stillChecks == 0 && waitingMs < CalmWaitingMs && m_troubleReported
        && m_source->state() != QAudio::StoppedState) {
        qInfo() << "[AudioRecorder]"
                << "audio data arrives and is written again";
        m_troubleReported = false;
    }
    // A source that never says that it runs must not keep the others waiting.
    if (m_state == Starting && m_stillChecks >= StillChecksUntilSilence)
        becomeStarted();
}

void AudioRecorder::reportSilence()
{
    reportTrouble(
        tr("No more sound arrives from the audio input \"%1\". The recording goes on without "
           "sound: check that the input is connected, then stop and start a new recording.")
            .arg(m_input.name()));
}

void AudioRecorder::reportTrouble(const QString& message)
{
    if (m_troubleReported)
        return;
    m_troubleReported = true;
    qWarning() << "[AudioRecorder]"
               << "trouble with" << m_input.name() << "audio error" << m_source->error()
               << "file error" << m_saver->status().error;
    emit recordingError(message);
}

void AudioRecorder::becomeStarted()
{
    setState(Started);
    emit started();
}

void AudioRecorder::setState(State state)
{
    m_state = state;
    emit property_stateChanged(state);
}

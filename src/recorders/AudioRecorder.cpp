#include "recorders/AudioRecorder.h"

#include "recorders/WavFileHeader.h"
#include "recorders/fileErrorReason.h"
#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSource>
#include <QDebug>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// A removed input changes no state, its data just ends: the file's growth is the only witness. One
// look a second costs nothing; three still looks are more than any backend's longest pause (its
// buffer, a moved stream) and still soon enough for an operator to react.
constexpr int FlowCheckIntervalMs = 1000;
constexpr int StillChecksUntilSilence = 3;
// Backends end inside QAudioSource::stop(); one that does not gets this long to report it.
constexpr int StopTimeoutMs = 2000;
constexpr int SampleRate = 48000;
// The backends read on this thread, and what does not fit until then is lost: with the 200 ms that
// Windows gives by itself, a busy machine had gaps in the sound.
constexpr qint64 BufferUs = 1000000;

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
    m_stopTimer.setSingleShot(true);
    m_stopTimer.setInterval(StopTimeoutMs);
    connect(&m_stopTimer, &QTimer::timeout, this, &AudioRecorder::stop);
}

AudioRecorder::~AudioRecorder()
{
    releaseSource();
    if (!finishFile())
        qWarning() << "[AudioRecorder]"
                   << "finishing" << m_file.fileName() << "failed";
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
    m_file.setFileName(m_presentation->dir().absoluteFilePath(u"audio.wav"_s));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        emit recordingError(
            tr("The audio file \"%1\" cannot be written: %2. Check that the directory exists, may "
               "be written and has free space, then start the recording again.")
                .arg(QDir::toNativeSeparators(m_file.fileName()), fileErrorReason(m_file)));
        if (m_state == Starting)
            stop();
        return;
    }
    openSource();
}

void AudioRecorder::openSource()
{
    const QAudioDevice device = m_input.audioDevice();
    const QAudioFormat format = chooseFormat(device);
    WavFileHeader(format).writeHeader(&m_file);
    m_file.flush(); // whatever happens now, the file says what it is

    QAudio::Error error = QAudio::OpenError;
    // Asked first because a backend may wait for ever for a device that has just been unplugged.
    if (inputIsConnected()) {
        m_knownSize = 0;
        m_stillChecks = 0;
        m_flowTimer.start();
        m_source = new QAudioSource(device, format, this);
        connect(m_source, &QAudioSource::stateChanged, this,
            &AudioRecorder::handleAudioInputStateChange);
        m_source->setBufferSize(format.bytesForDuration(BufferUs));
        m_source->start(&m_file); // may become active, and Started, in here
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
    if (!finishFile())
        qWarning() << "[AudioRecorder]"
                   << "finishing" << m_file.fileName() << "failed";
    emit recordingError(
        tr("The audio input \"%1\" cannot be started. The recording goes on without sound: check "
           "that the input is connected and that no other program holds it, then stop and start "
           "again.")
            .arg(m_input.name()));
    if (m_state == Starting)
        becomeStarted();
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
    m_stopTimer.stop();
    releaseSource();
    const bool complete = finishFile();
    m_presentation = nullptr;
    if (!complete && !m_troubleReported) {
        emit recordingError(
            tr("The end of the audio file \"%1\" could not be written: %2. What was written before "
               "is kept; free some space on the disk before the next recording.")
                .arg(QDir::toNativeSeparators(m_file.fileName()), fileErrorReason(m_file)));
    }
    setState(Stopped);
    emit stopped();
}

void AudioRecorder::releaseSource()
{
    m_flowTimer.stop();
    if (!m_source)
        return;
    m_source->disconnect(this);
    if (m_source->state() != QAudio::StoppedState)
        m_source->stop();
    m_source->deleteLater(); // we may be inside one of its signals
    m_source = nullptr;
}

/// Flushes, patches the lengths and closes; true also when there is nothing to finish. What the
/// disk refuses is lost, but the header describes what it holds.
bool AudioRecorder::finishFile()
{
    if (!m_file.isOpen())
        return true;
    const bool flushed = m_file.flush();
    if (flushed && WavFileHeader().writeLengths(&m_file)) {
        m_file.close();
        return true;
    }
    // The file object keeps its unwritten bytes and reports no size any more: patch through a
    // second one. Overwriting the header needs no space.
    m_file.close();
    QFile remains(m_file.fileName());
    if (remains.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        WavFileHeader().writeLengths(&remains);
    return false;
}

bool AudioRecorder::inputIsConnected() const
{
    return AudioInputInfo::availableAudioInputs().contains(m_input);
}

/// Called once a second while there is a source: brings the bytes to the file, and notices that the
/// bytes have stopped, or that they can only come from another input, to which the system has moved
/// us.
void AudioRecorder::checkFlow()
{
    // At low rates the file's buffer holds seconds, which would be lost with the process.
    m_file.flush();
    // The open file's own size is cached; ask the disk.
    const qint64 size = QFileInfo(m_file.fileName()).size();
    m_stillChecks = size > m_knownSize ? 0 : m_stillChecks + 1;
    m_knownSize = size;
    if (!inputIsConnected()) {
        reportTrouble(tr("The audio input \"%1\" has been disconnected. The recording goes on with "
                         "the sound of another input or with none: connect the input again, then "
                         "stop and start a new recording.")
                          .arg(m_input.name()));
    } else if (m_stillChecks >= StillChecksUntilSilence) {
        reportSilence();
    } else if (m_stillChecks == 0 && m_troubleReported
        && m_source->state() != QAudio::StoppedState) {
        qInfo() << "[AudioRecorder]"
                << "audio data arrives again";
        m_troubleReported = false;
    }
    // A source that never says that it runs must not keep the others waiting.
    if (m_state == Starting && m_stillChecks >= StillChecksUntilSilence)
        becomeStarted();
}

void AudioRecorder::reportSilence()
{
    const QString path = QDir::toNativeSeparators(m_file.fileName());
    if (m_file.error() != QFileDevice::NoError) {
        reportTrouble(tr("The sound can no longer be written to \"%1\": %2. Free some space on the "
                         "disk, then stop and start a new recording.")
                          .arg(path, fileErrorReason(m_file)));
    } else if (!QFileInfo::exists(m_file.fileName())) {
        reportTrouble(tr("The audio file \"%1\" was removed during the recording. Stop, check the "
                         "directory and start a new recording.")
                          .arg(path));
    } else {
        reportTrouble(
            tr("No more sound arrives from the audio input \"%1\". The recording goes on without "
               "sound: check that the input is connected, then stop and start a new recording.")
                .arg(m_input.name()));
    }
}

void AudioRecorder::reportTrouble(const QString& message)
{
    if (m_troubleReported)
        return;
    m_troubleReported = true;
    qWarning() << "[AudioRecorder]"
               << "trouble with" << m_input.name() << "audio error" << m_source->error()
               << "file error" << m_file.error();
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

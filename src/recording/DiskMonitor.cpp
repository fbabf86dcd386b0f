#include "recording/DiskMonitor.h"

#include "processing/WorkerEnd.h"
#include "settings/RecorderSettings.h"

#include <QDateTime>
#include <QDirIterator>
#include <QStorageInfo>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// At a second's notice 50 MB are enough for any rate that a disk can take from us.
constexpr auto RecordingInterval = 1s;
constexpr auto IdleInterval = 5s;
// Long enough that a slide more or less makes no jump, short enough to follow the talk.
constexpr qint64 WindowMs = 5 * 60 * 1000;
constexpr qint64 SampleIntervalMs = 10 * 1000;
// The estimate fades out over the first minute of a recording.
constexpr qint64 EstimateMs = 60 * 1000;
// Once below a limit, it takes this much more to be above it again: no warning that flickers.
constexpr qint64 BackAbovePercent = 110;
// From here on tens are told: the figure is in the window, which is on the recorded screen.
constexpr int FewMinutes = 120;

// A full-screen slide of text and pictures as PNG, and a talk that shows two of them a minute.
constexpr double TypicalSlideRate = 500'000.0 * 2 / 60;
constexpr int SampleRate = 48'000;
constexpr int BytesPerSample = 4;

qint64 now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double audioRate()
{
    const RecorderSettings* settings = RecorderSettings::instance();
    return settings->selectedAudioInput().isValid()
        ? double(SampleRate) * BytesPerSample * settings->audioChannelCount()
        : 0;
}

qint64 sizeOf(const QString& directory)
{
    qint64 size = 0;
    QDirIterator files(directory, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        size += files.fileInfo().size();
    }
    return size;
}

} // namespace

/// Lives on the monitor's thread.
class DiskQuestion : public QObject
{
    Q_OBJECT

public:
    void ask(const QString& directory, const QString& recording, bool count)
    {
        const QStorageInfo storage(directory);
        // Some file systems know no sizes and say 0 of 0: that is not full.
        const bool known = storage.isValid() && storage.bytesTotal() > 0;
        const qint64 recordedBytes = count ? sizeOf(recording) : -1;
        emit answered(known ? storage.bytesAvailable() : -1, recordedBytes, recording);
    }

signals:
    void answered(qint64 available, qint64 recordedBytes, const QString& recording);
};

DiskMonitor::DiskMonitor(QObject* parent)
    : QObject(parent)
    , m_question(new DiskQuestion)
    , m_thread(new QThread)
{
    m_question->moveToThread(m_thread);
    connect(m_question, &DiskQuestion::answered, this, &DiskMonitor::measured);
    m_thread->start();
    m_timer.setInterval(IdleInterval);
    connect(&m_timer, &QTimer::timeout, this, &DiskMonitor::poll);
}

DiskMonitor::~DiskMonitor()
{
    m_thread->quit();
    if (WorkerEnd::wait(m_thread)) {
        delete m_question;
        delete m_thread;
    }
}

void DiskMonitor::watch(const QString& directory)
{
    m_directory = directory;
    m_timer.start();
    poll();
}

void DiskMonitor::recordingStarted(const QDir& presentationDir)
{
    m_recording = presentationDir.absolutePath();
    m_samples.clear();
    m_timer.start(RecordingInterval);
    poll();
}

void DiskMonitor::recordingStopped()
{
    if (m_samples.size() > 1 && m_samples.back().time - m_samples.front().time >= EstimateMs)
        m_slideRate = std::max(1.0, bytesPerSecond() - audioRate());
    m_recording.clear();
    m_samples.clear();
    m_timer.start(IdleInterval);
    poll();
}

void DiskMonitor::poll()
{
    if (m_polling || m_directory.isEmpty())
        return;
    m_polling = true;
    // Counting thousands of slides takes a while, so not at every turn.
    const bool count = !m_recording.isEmpty()
        && (m_samples.empty() || now() - m_samples.back().time >= SampleIntervalMs);
    QMetaObject::invokeMethod(m_question,
        [question = m_question, directory = m_directory, recording = m_recording, count] {
            question->ask(directory, recording, count);
        });
}

void DiskMonitor::measured(qint64 available, qint64 recordedBytes, const QString& recording)
{
    m_polling = false;
    if (recordedBytes >= 0 && recording == m_recording) {
        m_samples.push_back({ now(), recordedBytes });
        while (m_samples.back().time - m_samples.front().time > WindowMs)
            m_samples.pop_front();
    }
    int minutes = -1;
    if (available >= 0) {
        const double seconds
            = double(std::max<qint64>(0, available - ExhaustedBytes)) / bytesPerSecond();
        minutes = int(std::min(seconds / 60, 1e6));
        if (minutes >= FewMinutes)
            minutes -= minutes % 10;
    }
    if (std::exchange(m_minutesLeft, minutes) != minutes)
        emit minutesLeftChanged(minutes);
    setLevel(available);
}

void DiskMonitor::setLevel(qint64 available)
{
    const auto isBelow = [this, available](qint64 limit, Level level) {
        return available < (m_level >= level ? limit * BackAbovePercent / 100 : limit);
    };
    const Level level = available < 0        ? Unknown
        : isBelow(ExhaustedBytes, Exhausted) ? Exhausted
        : isBelow(LowBytes, Low)             ? Low
                                             : Enough;
    if (std::exchange(m_level, level) != level)
        emit levelChanged(level);
}

/// The rate of the last minutes; in the first one mixed with what was expected.
double DiskMonitor::bytesPerSecond() const
{
    if (m_samples.empty())
        return expectedBytesPerSecond();
    const qint64 time = m_samples.back().time - m_samples.front().time;
    const auto estimated = double(std::max<qint64>(0, EstimateMs - time));
    const auto bytes = double(m_samples.back().bytes - m_samples.front().bytes);
    return std::max(
        1.0, (bytes * 1000 + expectedBytesPerSecond() * estimated) / (double(time) + estimated));
}

double DiskMonitor::expectedBytesPerSecond() const
{
    return audioRate() + (m_slideRate > 0 ? m_slideRate : TypicalSlideRate);
}

#include "DiskMonitor.moc"

#include "recording/RecordingKeeper.h"

#include "processing/WorkerEnd.h"
#include "recording/DiskAccess.h"
#include "recording/RecordingLock.h"

#include <QDateTime>
#include <QDebug>
#include <QFileInfo>
#include <QHash>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// What was written just after one turn is on the disk when the next one has ended. A power cut may
// take two seconds; a slow or busy disk needs most of them. More often would only wear it out.
constexpr std::chrono::milliseconds Interval(500);
// Ten seconds without a failure. A system tells a failed write once and then forgets it.
constexpr int TurnsUntilWell = 20;

// The files that grow. Pictures and "presentation.xml" are on the disk before they get their name.
const QStringList growingFiles()
{
    return { u"audio.wav"_s, u"timestamps_ms.txt"_s, u"mouse_positions.txt"_s,
        u"screens_geometry.txt"_s };
}

} // namespace

/// The keeper's thread.
class RecordingKeeperWorker : public QThread
{
    Q_OBJECT

public:
    explicit RecordingKeeperWorker(const QDir& presentationDir);

    void requestStop();

signals:
    void syncFailed(const QString& error);

protected:
    void run() override;

private:
    void sync();
    void syncIfChanged(const QString& path);
    void tellFailure();

    const QDir m_dir;
    std::unique_ptr<RecordingLock> m_lock; ///< null when the directory takes none
    QHash<QString, std::pair<qint64, QDateTime>> m_synced; ///< size and time of what is on the disk
    QString m_error; ///< of this turn
    int m_turnsUntilWell = 0; ///< above zero: a failure was told

    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_stop = false; ///< under m_mutex
};

RecordingKeeperWorker::RecordingKeeperWorker(const QDir& presentationDir)
    : m_dir(presentationDir)
    , m_lock(RecordingLock::take(presentationDir))
{
}

void RecordingKeeperWorker::requestStop()
{
    const std::lock_guard lock(m_mutex);
    m_stop = true;
    m_condition.notify_all();
}

void RecordingKeeperWorker::run()
{
    // The presentation itself, which has just been made: its directory's entry is in the one above.
    DiskAccess::syncToDisk(QFileInfo(m_dir.absolutePath()).path(), &m_error);
    bool stop = false;
    while (!stop) {
        {
            std::unique_lock lock(m_mutex);
            stop = m_condition.wait_for(lock, Interval, [this] { return m_stop; });
        }
        sync();
        tellFailure();
        if (m_lock)
            m_lock->beat();
    }
    if (m_lock)
        m_lock->remove();
    DiskAccess::syncToDisk(m_dir.absolutePath(), &m_error);
    tellFailure();
}

void RecordingKeeperWorker::sync()
{
    QStringList directories{ m_dir.absolutePath() };
    // The slides of a live stream.
    for (const QString& name : m_dir.entryList({ u"slides_*"_s }, QDir::Dirs))
        directories.append(m_dir.absoluteFilePath(name));
    for (const QString& directory : std::as_const(directories)) {
        for (const QString& name : growingFiles())
            syncIfChanged(directory + u'/' + name);
        syncIfChanged(directory);
    }
}

void RecordingKeeperWorker::syncIfChanged(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return;
    // Looked at before: what comes in the meantime is for the next turn.
    const std::pair<qint64, QDateTime> state(info.size(), info.lastModified());
    if (m_synced.value(path) == state)
        return;
    if (DiskAccess::syncToDisk(path, &m_error))
        m_synced.insert(path, state);
}

void RecordingKeeperWorker::tellFailure()
{
    const QString error = std::exchange(m_error, {});
    if (error.isEmpty()) {
        m_turnsUntilWell = std::max(0, m_turnsUntilWell - 1);
        return;
    }
    if (std::exchange(m_turnsUntilWell, TurnsUntilWell) == 0)
        emit syncFailed(error);
}

RecordingKeeper::RecordingKeeper(const QDir& presentationDir, QObject* parent)
    : QObject(parent)
    , m_worker(new RecordingKeeperWorker(presentationDir))
{
    connect(
        m_worker, &RecordingKeeperWorker::syncFailed, this, [this, presentationDir](auto error) {
            emit recordingError(
                tr("The disk could not store all of the recording: %1. What lies in %2 may be "
                   "incomplete. Check the disk and its free space; if this comes again, use "
                   "another disk.")
                    .arg(error, QDir::toNativeSeparators(presentationDir.absolutePath())));
        });
}

RecordingKeeper::~RecordingKeeper()
{
    m_worker->requestStop();
    WorkerEnd::waitAndDelete(m_worker);
}

void RecordingKeeper::start()
{
    m_worker->start(QThread::InheritPriority);
}

void RecordingKeeper::retire()
{
    connect(m_worker, &QThread::finished, this, &QObject::deleteLater);
    m_worker->requestStop();
}

bool RecordingKeeper::waitForEnd(const QDeadlineTimer& deadline)
{
    return m_worker->wait(deadline);
}

#include "RecordingKeeper.moc"

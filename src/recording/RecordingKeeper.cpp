#include "recording/RecordingKeeper.h"

#include "recording/DiskAccess.h"
#include "recording/RecordingLock.h"

#include <QDebug>
#include <QFileInfo>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

// What was written just after one turn is on the disk when the next one has ended. A power cut may
// take two seconds; a slow or busy disk needs most of them. More often would only wear it out.
constexpr std::chrono::milliseconds Interval(500);
// At the end of the program. A drive that takes longer is gone.
constexpr int LastSyncTimeoutMs = 10'000;

// The files that grow. Pictures and "presentation.xml" are on the disk before they get their name.
const QStringList growingFiles()
{
    return { u"audio.wav"_s, u"timestamps_ms.txt"_s, u"mouse_positions.txt"_s,
        u"screens_geometry.txt"_s };
}

} // namespace

RecordingKeeper::RecordingKeeper(const QDir& presentationDir, QObject* parent)
    : QThread(parent)
    , m_dir(presentationDir)
    , m_lock(RecordingLock::take(presentationDir))
{
}

RecordingKeeper::~RecordingKeeper()
{
    requestStop();
    if (wait(LastSyncTimeoutMs))
        return;
    qCritical() << "[RecordingKeeper]"
                << "the disk does not answer";
    terminate();
    wait(LastSyncTimeoutMs);
}

void RecordingKeeper::retire()
{
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    requestStop();
}

void RecordingKeeper::requestStop()
{
    const std::lock_guard lock(m_mutex);
    m_stop = true;
    m_condition.notify_all();
}

void RecordingKeeper::run()
{
    // The presentation itself, which has just been made: its directory's entry is in the one above.
    DiskAccess::syncToDisk(QFileInfo(m_dir.absolutePath()).path());
    bool stop = false;
    while (!stop) {
        {
            std::unique_lock lock(m_mutex);
            stop = m_condition.wait_for(lock, Interval, [this] { return m_stop; });
        }
        sync();
        if (m_lock)
            m_lock->beat();
    }
    if (m_lock)
        m_lock->remove();
    DiskAccess::syncToDisk(m_dir.absolutePath());
}

void RecordingKeeper::sync()
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

void RecordingKeeper::syncIfChanged(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return;
    // Looked at before: what comes in the meantime is for the next turn.
    const std::pair<qint64, QDateTime> state(info.size(), info.lastModified());
    if (m_synced.value(path) == state)
        return;
    if (DiskAccess::syncToDisk(path))
        m_synced.insert(path, state);
}

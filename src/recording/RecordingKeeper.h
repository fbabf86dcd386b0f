#pragma once

#include <QDateTime>
#include <QDir>
#include <QHash>
#include <QString>
#include <QThread>

#include <condition_variable>
#include <memory>
#include <mutex>

class RecordingLock;

/// Keeps what is recorded safe while a recording lasts: holds its lock, and twice a second has the
/// system write to the disk what has changed, so that a power cut takes no more than two seconds.
/// On a thread of its own, because a disk may take its time.
///
/// Made when the presentation's directory is there. When the recording's files are closed, retire()
/// writes the rest to the disk, removes the lock and ends the thread. The object lives on its
/// creator's thread; its destructor retires and waits.
class RecordingKeeper : public QThread
{
    Q_OBJECT

public:
    /// Takes the lock, here and now: nobody may ever see the recording without.
    explicit RecordingKeeper(const QDir& presentationDir, QObject* parent = nullptr);
    ~RecordingKeeper() override;

    /// Returns at once; the object deletes itself when it is done.
    void retire();

protected:
    void run() override;

private:
    void requestStop();
    void sync();
    void syncIfChanged(const QString& path);

    const QDir m_dir;
    std::unique_ptr<RecordingLock> m_lock; ///< null when the directory takes none
    QHash<QString, std::pair<qint64, QDateTime>> m_synced; ///< size and time of what is on the disk

    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_stop = false; ///< under m_mutex
};

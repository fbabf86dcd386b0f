#pragma once

#include <QDeadlineTimer>
#include <QDir>
#include <QObject>

class RecordingKeeperWorker;

/// Keeps what is recorded safe while a recording lasts: holds its lock, and twice a second has the
/// system write to the disk what has changed, so that a power cut takes no more than two seconds.
/// On a thread of its own, because a disk may take its time.
///
/// Made when the presentation's directory is there. When the recording's files are closed, retire()
/// writes the rest to the disk, removes the lock and ends the thread; the destructor does the same
/// and waits, but leaves the thread alone when the disk hangs. Lives on its creator's thread.
class RecordingKeeper : public QObject
{
    Q_OBJECT

public:
    /// Takes the lock, here and now: nobody may ever see the recording without.
    explicit RecordingKeeper(const QDir& presentationDir, QObject* parent = nullptr);
    ~RecordingKeeper() override;

    void start();
    /// Returns at once; the object deletes itself when it is done.
    void retire();
    /// After retire(): whether everything was done before @p deadline.
    bool waitForEnd(const QDeadlineTimer& deadline);

signals:
    /// The disk failed to store what was written, in words for the operator. Told once until it
    /// works again.
    void recordingError(const QString& message);

private:
    RecordingKeeperWorker* m_worker;
};

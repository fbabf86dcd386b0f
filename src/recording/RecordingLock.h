#pragma once

#include "recording/DiskAccess.h"

#include <QDir>
#include <QString>

#include <memory>

/// The mark of a recording under way: the locked file ".recording" in its directory. A process that
/// was killed and a computer without power leave the file behind, but not the lock, which is how a
/// dead recording is told from a live one, whatever process ids mean by then.
///
/// Where locks do not reach (some network drives), the file's time does: a live recording renews it
/// with beat(). Not copied; used by one thread at a time.
class RecordingLock
{
public:
    static const QString FileName;

    enum Owner { Nobody, Live, Dead };

    /// For a new recording in @p dir. Null when the file cannot be made; the recording then goes on
    /// without.
    [[nodiscard]] static std::unique_ptr<RecordingLock> take(const QDir& dir);
    /// Who records in @p dir. With Dead, @p lock holds the lock that was left behind: it is ours
    /// now and nobody else repairs the same recording.
    [[nodiscard]] static Owner inspect(const QDir& dir, std::unique_ptr<RecordingLock>& lock);

    /// To be called every second or so while the recording lasts.
    void beat();
    /// The recording is complete: removes the file.
    void remove();

private:
    explicit RecordingLock(const QDir& dir);

    const QString m_path;
    DiskAccess::FileLock m_lock;
};

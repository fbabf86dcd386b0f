#include "recording/RecordingLock.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <QThread>

using namespace Qt::StringLiterals;

const QString RecordingLock::FileName = u".recording"_s;

namespace {

// For files whose lock may not reach us. A beat comes every second; what makes it late is a slow
// drive, or a clock of the drive's computer that differs from ours.
constexpr qint64 MaxBeatAgeSecs = 10 * 60;
// Together what nobody notices in a window.
constexpr int LockAttempts = 5;
constexpr unsigned long LockRetryMs = 20;

// Tells computers apart that share a drive, and says nothing about them to who reads it.
QByteArray thisComputer()
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QSysInfo::machineUniqueId());
    hash.addData(QSysInfo::machineHostName().toUtf8());
    return hash.result().toHex() + '\n';
}

// Nothing there is what a full disk leaves, and a power cut leaves zeros: neither says "foreign".
bool isOfOtherComputer(const QByteArray& content)
{
    const QByteArray own = thisComputer();
    return content.size() == own.size() && content.endsWith('\n') && content != own;
}

bool beatsStill(const QString& path)
{
    const QDateTime beat = QFileInfo(path).lastModified();
    return beat.isValid() && qAbs(beat.secsTo(QDateTime::currentDateTime())) < MaxBeatAgeSecs;
}

} // namespace

RecordingLock::RecordingLock(const QDir& dir)
    : m_path(dir.absoluteFilePath(FileName))
{
}

std::unique_ptr<RecordingLock> RecordingLock::take(const QDir& dir)
{
    // Made, then locked: whoever reads the list in between holds it for a moment, takes it for that
    // of a dead recording and removes it.
    for (int attempt = 1;; ++attempt) {
        std::unique_ptr<RecordingLock> lock(new RecordingLock(dir));
        const auto result = lock->m_lock.tryLock(lock->m_path, true);
        if (result == DiskAccess::FileLock::Locked
            || result == DiskAccess::FileLock::NotSupported) {
            lock->beat();
            DiskAccess::hide(lock->m_path);
            return lock;
        }
        if (attempt == LockAttempts) {
            qWarning() << "[RecordingLock]"
                       << "locking" << lock->m_path << "failed";
            return nullptr;
        }
        QThread::msleep(LockRetryMs);
    }
}

RecordingLock::Owner RecordingLock::inspect(const QDir& dir, std::unique_ptr<RecordingLock>& lock)
{
    if (!dir.exists(FileName))
        return Nobody;
    std::unique_ptr<RecordingLock> found(new RecordingLock(dir));
    switch (found->m_lock.tryLock(found->m_path, false)) {
    case DiskAccess::FileLock::NoFile:
        // Removed a moment ago by its holder. One that is there but not for us is left alone.
        return dir.exists(FileName) ? Live : Nobody;
    case DiskAccess::FileLock::HeldByOther:
        return Live;
    case DiskAccess::FileLock::NotSupported:
        if (beatsStill(found->m_path))
            return Live;
        break;
    case DiskAccess::FileLock::Locked:
        // A lock of another computer may have been taken there only.
        if (isOfOtherComputer(found->m_lock.read()) && beatsStill(found->m_path))
            return Live;
        break;
    }
    lock = std::move(found);
    return Dead;
}

void RecordingLock::beat()
{
    // A full disk is told by those who lose something by it.
    m_lock.write(thisComputer());
}

void RecordingLock::remove()
{
    // While it is locked, so that nobody can take it in between.
    if (!QFile::remove(m_path) && QFile::exists(m_path))
        qWarning() << "[RecordingLock]"
                   << "removing" << m_path << "failed";
}

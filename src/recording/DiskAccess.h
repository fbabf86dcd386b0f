#pragma once

#include <QByteArray>
#include <QString>

class QFileDevice;

/// What Qt has no words for: data that is really on the disk, and locks that end with their
/// process. Any thread; every call may wait for the disk.
namespace DiskAccess {

/// @p path as the system's and the C library's own functions take it, however long it is: Windows
/// refuses them more than 259 characters otherwise. Qt does that by itself.
[[nodiscard]] QString nativePath(const QString& path);

/// Has the system write what it still holds of a file, or of a directory's entries, to the disk.
/// False, and the reason in @p error, when the disk failed and something may be lost. Where the
/// file system offers no such thing there is nothing to tell: true; so for every directory on
/// Windows, whose entries NTFS keeps safe itself.
bool syncToDisk(const QString& path, QString* error = nullptr);
/// The same for a file that is open and flushed. A system tells each failure once, to one of those
/// who have the file open: Qt, which syncs files before it renames them, swallows it. On Windows a
/// file without its final name is left out.
bool syncToDisk(const QFileDevice& file, QString* error = nullptr);

/// Hides a file whose name begins with a dot where that alone does not do it.
void hide(const QString& path);

/// An exclusive lock on a file, which the system takes back when the process ends, however that
/// happens. It does not tell one process' locks apart by process: two of these on one file exclude
/// each other in the same process, too. The file stays when the lock is released.
class FileLock
{
public:
    enum Result {
        Locked,
        HeldByOther,
        NoFile, ///< there is none (any more), or it cannot be opened
        NotSupported, ///< the file is open, but its file system knows no locks
    };

    FileLock() = default;
    ~FileLock();
    Q_DISABLE_COPY_MOVE(FileLock)

    /// Never waits for another holder. Once only.
    [[nodiscard]] Result tryLock(const QString& path, bool create);
    /// The first bytes of the file, and what they become. Only while it is open.
    [[nodiscard]] QByteArray read() const;
    bool write(const QByteArray& content);

private:
    qintptr m_handle = -1;
};

} // namespace DiskAccess

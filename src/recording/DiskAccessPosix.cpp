#include "recording/DiskAccess.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int MaxContent = 1024;

// False for what says that the disk failed, and not that there is nothing to sync.
bool check(int code, QString* error)
{
    switch (code) {
    case EIO:
    case ENOSPC:
    case EDQUOT:
    case ENXIO:
    case ENODEV:
    case ESTALE:
    case ETIMEDOUT:
    case ENOTCONN:
    case EHOSTDOWN:
    case EHOSTUNREACH:
        if (error)
            *error = qt_error_string(code);
        return false;
    default:
        return true;
    }
}

} // namespace

namespace DiskAccess {

QString nativePath(const QString& path)
{
    return path;
}

bool syncToDisk(const QString& path, QString* error)
{
    const int fd = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return check(errno, error);
    // Through any descriptor the whole file goes, whoever wrote it.
    const bool synced = fsync(fd) == 0 || check(errno, error);
    close(fd);
    return synced;
}

bool syncToDisk(const QFileDevice& file, QString* error)
{
    return fsync(file.handle()) == 0 || check(errno, error);
}

void hide(const QString&) { }

FileLock::~FileLock()
{
    if (m_handle >= 0)
        close(int(m_handle));
}

FileLock::Result FileLock::tryLock(const QString& path, bool create)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd = open(name.constData(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | (create ? O_CREAT : 0),
        S_IRUSR | S_IWUSR);
    if (fd < 0)
        return NoFile;
    m_handle = fd;
    // flock() and not fcntl(): its locks belong to this open file and not to the process.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? HeldByOther : NotSupported;
    // The last holder may have removed it in the meantime: then this is the lock of nothing.
    struct stat opened = {};
    struct stat named = {};
    if (fstat(fd, &opened) != 0 || lstat(name.constData(), &named) != 0
        || opened.st_ino != named.st_ino || opened.st_dev != named.st_dev)
        return NoFile;
    return Locked;
}

QByteArray FileLock::read() const
{
    char content[MaxContent];
    const ssize_t size = pread(int(m_handle), content, sizeof content, 0);
    return size > 0 ? QByteArray(content, size) : QByteArray();
}

bool FileLock::write(const QByteArray& content)
{
    return pwrite(int(m_handle), content.constData(), size_t(content.size()), 0) == content.size();
}

} // namespace DiskAccess

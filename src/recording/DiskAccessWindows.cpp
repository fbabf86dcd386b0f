#include "recording/DiskAccess.h"

#include <QDir>
#include <QFileDevice>

#include <windows.h>

using namespace Qt::StringLiterals;

namespace {

constexpr DWORD MaxContent = 1024;
constexpr DWORD DiskQuotaExceeded = 1295; // ERROR_DISK_QUOTA_EXCEEDED; MinGW's headers lack it
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE openFile(const QString& path, DWORD disposition)
{
    const QString native = DiskAccess::nativePath(path);
    return CreateFileW(reinterpret_cast<const wchar_t*>(native.utf16()),
        GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
        nullptr);
}

HANDLE toHandle(qintptr handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

// Locks are mandatory here: one byte far behind the content keeps nobody from reading that.
OVERLAPPED farAway()
{
    OVERLAPPED place = {};
    place.OffsetHigh = 0x40000000;
    return place;
}

// False for what says that the disk failed, and not that there is nothing to sync.
bool check(DWORD code, QString* error)
{
    switch (code) {
    case ERROR_CRC:
    case ERROR_SEEK:
    case ERROR_SECTOR_NOT_FOUND:
    case ERROR_WRITE_FAULT:
    case ERROR_GEN_FAILURE:
    case ERROR_NOT_READY:
    case ERROR_BAD_UNIT:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL:
    case DiskQuotaExceeded:
    case ERROR_IO_DEVICE:
    case ERROR_DEVICE_NOT_CONNECTED:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_NETNAME_DELETED:
    case ERROR_BAD_NETPATH:
    case ERROR_UNEXP_NET_ERR:
    case ERROR_SEM_TIMEOUT:
        if (error)
            *error = qt_error_string(int(code));
        return false;
    default:
        return true;
    }
}

} // namespace

namespace DiskAccess {

QString nativePath(const QString& path)
{
    constexpr qsizetype MaxPath = 259;
    const QString native = QDir::toNativeSeparators(path);
    if (path.size() <= MaxPath)
        return native;
    if (native.startsWith("\\\\"_L1)) // in the network
        return u"\\\\?\\UNC"_s + native.sliced(1);
    return u"\\\\?\\"_s + native;
}

bool syncToDisk(const QString& path, QString* error)
{
    const HANDLE file = openFile(path, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return check(GetLastError(), error);
    const bool synced = FlushFileBuffers(file) || check(GetLastError(), error);
    CloseHandle(file);
    return synced;
}

bool syncToDisk(const QFileDevice& file, QString* error)
{
    return syncToDisk(file.fileName(), error); // Qt's handle is not one of the system's
}

void hide(const QString& path)
{
    const QString native = nativePath(path);
    SetFileAttributesW(reinterpret_cast<const wchar_t*>(native.utf16()), FILE_ATTRIBUTE_HIDDEN);
}

FileLock::~FileLock()
{
    if (m_handle != -1)
        CloseHandle(toHandle(m_handle));
}

FileLock::Result FileLock::tryLock(const QString& path, bool create)
{
    const HANDLE file = openFile(path, create ? OPEN_ALWAYS : OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return NoFile;
    m_handle = reinterpret_cast<qintptr>(file);
    OVERLAPPED place = farAway();
    if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place))
        return Locked;
    const DWORD error = GetLastError();
    return error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING ? HeldByOther : NotSupported;
}

QByteArray FileLock::read() const
{
    char content[MaxContent];
    DWORD size = 0;
    OVERLAPPED begin = {};
    if (!ReadFile(toHandle(m_handle), content, MaxContent, &size, &begin))
        return {};
    return QByteArray(content, qsizetype(size));
}

bool FileLock::write(const QByteArray& content)
{
    DWORD size = 0;
    OVERLAPPED begin = {};
    return WriteFile(toHandle(m_handle), content.constData(), DWORD(content.size()), &size, &begin)
        && size == DWORD(content.size());
}

} // namespace DiskAccess

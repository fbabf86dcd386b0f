#include "recording/DiskAccess.h"

#include <QDir>

#include <windows.h>

using namespace Qt::StringLiterals;

namespace {

constexpr DWORD MaxContent = 1024;
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

bool syncToDisk(const QString& path)
{
    const HANDLE file = openFile(path, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const bool synced = FlushFileBuffers(file) != 0;
    CloseHandle(file);
    return synced;
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

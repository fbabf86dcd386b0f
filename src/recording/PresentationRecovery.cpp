#include "recording/PresentationRecovery.h"

#include "recorders/WavFileHeader.h"
#include "recording/DiskAccess.h"
#include "recording/Presentation.h"
#include "recording/RecordingLock.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QtEndian>

#include <memory>

using namespace Qt::StringLiterals;

const QString PresentationRecovery::MarkFileName = u".recovered"_s;

namespace {

// Lines are short, and what a power cut spoils is at the end: a few pages at most.
constexpr qint64 TailSize = 1024 * 1024;
// A snapshot has a few kilobytes, and there is one for every change of the screens.
constexpr qint64 MaxGeometrySize = 64 * 1024 * 1024;
// Zeros of a power cut are what was not yet on the disk: half a minute of sound at most. A file
// with a hole of a terabyte would keep the list waiting.
constexpr qint64 MaxZeros = 64 * 1024 * 1024;

bool isOurs(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() && !info.isSymLink();
}

bool truncate(const QString& path, qint64 size)
{
    qInfo() << "[PresentationRecovery]"
            << "cutting" << path << "to" << size << "bytes";
    return QFile::resize(path, size) && DiskAccess::syncToDisk(path);
}

// Bytes of one frame of samples when the header is one of ours with its lengths still zero and
// samples behind it; 0 when there is nothing to repair. Only where the recording is known to be
// dead may samples be missing, and the first length be there: a stop that was killed leaves the
// second one zero.
int frameSizeOfCutOff(const QString& path, bool dead)
{
    QFile file(path);
    if (!isOurs(path) || !file.open(QIODevice::ReadOnly)
        || file.size() < WavFileHeader::Size + (dead ? 0 : 1))
        return 0;
    const QByteArray header = file.read(WavFileHeader::Size);
    if (header.size() != WavFileHeader::Size)
        return 0;
    const auto number
        = [&header](int at) { return qFromLittleEndian<quint32>(header.data() + at); };
    const bool isHeader = header.startsWith("RIFF") && header.mid(8, 8) == "WAVEfmt "
        && number(16) == 16 && header.mid(36, 4) == "data";
    const bool lengthIsOpen = number(4) == 0 || (dead && number(4) == quint32(file.size() - 8));
    if (!isHeader || !lengthIsOpen || number(40) != 0)
        return 0;
    const int frameSize = qFromLittleEndian<quint16>(header.data() + 32);
    return std::max(frameSize, 1); // 0 in the header of an unknown format
}

// Not even a header, or nothing but the zeros of a power cut: no reader can open it, and there is
// nothing in it.
bool holdsNoSound(const QString& path)
{
    QFile file(path);
    if (!isOurs(path) || !file.open(QIODevice::ReadOnly))
        return false;
    if (file.size() < WavFileHeader::Size || file.size() > MaxZeros)
        return file.size() < WavFileHeader::Size;
    QByteArray block;
    qint64 zeros = 0;
    while (!(block = file.read(64 * 1024)).isEmpty()) {
        if (block.count('\0') != block.size())
            return false;
        zeros += block.size();
    }
    return zeros == file.size(); // what a failing disk does not give may be sound
}

bool completeAudio(const QString& path, int frameSize)
{
    const qint64 samples = QFileInfo(path).size() - WavFileHeader::Size;
    if (samples % frameSize != 0
        && !truncate(path, WavFileHeader::Size + samples / frameSize * frameSize))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)
        || !WavFileHeader().writeLengths(&file) || !file.flush())
        return false;
    file.close();
    return DiskAccess::syncToDisk(path);
}

// Behind the last line that has its end; a power cut may leave zeros in place of lines.
qsizetype endOfLastLine(const QByteArray& text)
{
    qsizetype end = text.lastIndexOf('\n') + 1;
    while (end > 0) {
        const qsizetype begin = end > 1 ? text.lastIndexOf('\n', end - 2) + 1 : 0;
        if (!QByteArrayView(text).sliced(begin, end - begin).contains('\0'))
            break;
        end = begin;
    }
    return end;
}

bool completeLines(const QString& path)
{
    QFile file(path);
    if (!isOurs(path))
        return true;
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 begin = std::max<qint64>(0, file.size() - TailSize);
    file.seek(begin);
    const QByteArray tail = file.read(TailSize);
    if (tail.size() != file.size() - begin)
        return false; // a disk that fails: what it does not give is not cut off
    const qsizetype end = endOfLastLine(tail);
    if (end == tail.size() || (end == 0 && begin > 0))
        return true; // whole, or not a file of ours
    return truncate(path, begin + end);
}

// Behind the last JSON object that is whole.
qsizetype endOfLastObject(const QByteArray& json)
{
    qsizetype end = 0;
    int depth = 0;
    bool inString = false;
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char c = json.at(i);
        if (depth == 0 && c != '{')
            break; // zeros
        if (inString) {
            if (c == '\\')
                ++i;
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            end = i + 1;
        } else if (c == '\0') {
            break;
        }
    }
    return end;
}

bool completeObjects(const QString& path)
{
    QFile file(path);
    if (!isOurs(path) || file.size() > MaxGeometrySize)
        return true;
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray json = file.readAll();
    if (json.size() != file.size())
        return false;
    if (!json.startsWith('{') && !json.startsWith('\0'))
        return true; // not a file of ours
    const qsizetype end = endOfLastObject(json);
    return end == json.size() || truncate(path, end);
}

// Files that are written under a temporary name: their own and six letters. A picture that has its
// name leaves none behind; "0-0001.png.backup" beside it is somebody's own.
bool removeLeftovers(const QDir& dir)
{
    static const QRegularExpression isLeftover(
        u"^(\\d+-\\d{4,}\\.png|presentation\\.xml)\\.[A-Za-z]{6}$"_s);
    bool removed = true;
    for (const QString& name : dir.entryList(QDir::Files | QDir::NoSymLinks)) {
        const QRegularExpressionMatch match = isLeftover.match(name);
        if (!match.hasMatch())
            continue;
        const bool isTyped = name.endsWith(name.right(6).toLower());
        if (match.captured(1).endsWith(".png"_L1) ? dir.exists(match.captured(1)) : isTyped)
            continue;
        removed = QFile::remove(dir.absoluteFilePath(name)) && removed;
    }
    return removed;
}

bool mark(const QDir& dir)
{
    const QString path = dir.absoluteFilePath(PresentationRecovery::MarkFileName);
    if (isOurs(path))
        return true;
    // A new file: through a symbolic link that somebody put there another one would be emptied.
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    file.close();
    DiskAccess::hide(path);
    return true;
}

// A recording writes its sound at least once a second.
bool isSilent(const QString& audio)
{
    constexpr qint64 MinAgeSecs = 60;
    const QDateTime written = QFileInfo(audio).lastModified();
    return written.isValid() && qAbs(written.secsTo(QDateTime::currentDateTime())) >= MinAgeSecs;
}

bool repair(const QDir& dir, bool dead, int audioFrameSize)
{
    const QString audio = dir.absoluteFilePath(u"audio.wav"_s);
    if (!dead)
        return completeAudio(audio, audioFrameSize);
    QList<QDir> slideDirs{ dir };
    for (const QString& name : dir.entryList({ u"slides_*"_s }, QDir::Dirs | QDir::NoSymLinks))
        slideDirs.append(QDir(dir.absoluteFilePath(name)));
    bool done = true;
    for (const QDir& slideDir : std::as_const(slideDirs)) {
        done = completeLines(slideDir.absoluteFilePath(u"timestamps_ms.txt"_s)) && done;
        done = removeLeftovers(slideDir) && done;
    }
    done = completeLines(dir.absoluteFilePath(u"mouse_positions.txt"_s)) && done;
    done = completeObjects(dir.absoluteFilePath(u"screens_geometry.txt"_s)) && done;
    if (audioFrameSize > 0)
        done = completeAudio(audio, audioFrameSize) && done;
    else if (holdsNoSound(audio))
        done = QFile::remove(audio) && done;
    return done;
}

} // namespace

PresentationRecovery::Result PresentationRecovery::recover(const QDir& dir)
{
    std::unique_ptr<RecordingLock> lock;
    const RecordingLock::Owner owner = RecordingLock::inspect(dir, lock);
    if (owner == RecordingLock::Live)
        return Untouched;
    // Without a lock, which a live recording may have failed to take, the header's zeros are
    // witness for the sound, once nobody writes it any more, and for nothing else.
    const bool dead = owner == RecordingLock::Dead;
    const QString audio = dir.absoluteFilePath(u"audio.wav"_s);
    const int audioFrameSize = frameSizeOfCutOff(audio, dead);
    if (!dead && (audioFrameSize == 0 || !isSilent(audio)))
        return Untouched;
    if (!Presentation(dir).loadXml())
        return Untouched;

    // First the mark: what is then interrupted is still repaired by the next start.
    const bool markedBefore = isMarked(dir);
    if (!mark(dir) || !repair(dir, dead, audioFrameSize)) {
        if (!markedBefore)
            QFile::remove(dir.absoluteFilePath(MarkFileName));
        qWarning() << "[PresentationRecovery]"
                   << "repairing" << dir.absolutePath() << "failed";
        return Failed;
    }
    if (lock)
        lock->remove();
    DiskAccess::syncToDisk(dir.absolutePath());
    qInfo() << "[PresentationRecovery]"
            << "recovered" << dir.absolutePath();
    return Recovered;
}

bool PresentationRecovery::isMarked(const QDir& dir)
{
    return QFile::exists(dir.absoluteFilePath(MarkFileName));
}

#include "recorders/AudioSaver.h"

#include "recorders/WavFileHeader.h"
#include "recorders/fileErrorReason.h"

#include <QAudioFormat>
#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>

namespace {

// A slow disk takes longer for each write: what has been waiting goes in long ones. Not in one,
// because only between two of them is it seen that the disk still works.
constexpr qsizetype MaxWrite = 64 * 1024;
// Often enough to tell the operator of a file that was removed; asking costs a disk next to
// nothing.
constexpr int ExistsIntervalMs = 1000;

} // namespace

AudioSaver::AudioSaver(const QString& path, const QAudioFormat& format, QObject* parent)
    : QThread(parent)
    , m_path(path)
{
    QBuffer header;
    header.open(QIODevice::WriteOnly);
    WavFileHeader(format).writeHeader(&header);
    addSound(header.data());
}

AudioSaver::~AudioSaver()
{
    requestStop();
    wait();
}

AudioSaver::Status AudioSaver::status() const
{
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void AudioSaver::addSound(const QByteArray& samples)
{
    const std::lock_guard lock(m_mutex);
    if (m_queue.push(samples)) // refused after a stop: the recording is over
        m_status.added += samples.size();
}

void AudioSaver::requestStop()
{
    m_queue.close();
}

void AudioSaver::run()
{
    // Without a buffer of its own: what is lost with the process is only what waits here.
    QFile file(m_path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        save(file);
    else
        setError(fileErrorReason(file));
    emit stopped();
}

void AudioSaver::save(QFile& file)
{
    QByteArray sound;
    QElapsedTimer existed;
    while (const auto first = m_queue.pop()) {
        sound += *first;
        for (const QByteArray& next : m_queue.takeAll())
            sound += next;
        write(file, sound);
        if (!existed.isValid()) {
            {
                const std::lock_guard lock(m_mutex);
                m_status.opened = true;
            }
            emit opened();
        }
        if (!existed.isValid() || existed.hasExpired(ExistsIntervalMs)) {
            existed.start();
            const bool removed = !QFile::exists(m_path);
            const std::lock_guard lock(m_mutex);
            m_status.removed = removed;
        }
    }
    write(file, sound);
    // What a full disk refuses even now is lost, but the header describes what the file holds:
    // overwriting it needs no space.
    const bool patched = WavFileHeader().writeLengths(&file);
    if (!patched && sound.isEmpty())
        setError(fileErrorReason(file));
    file.close();
    const std::lock_guard lock(m_mutex);
    m_status.complete = patched && sound.isEmpty();
}

/// Removes what could be written from the front of @p sound.
void AudioSaver::write(QFile& file, QByteArray& sound)
{
    qsizetype done = 0;
    while (done < sound.size()) {
        const qint64 written
            = file.write(sound.constData() + done, std::min(MaxWrite, sound.size() - done));
        if (written <= 0) {
            setError(fileErrorReason(file));
            file.unsetError();
            break;
        }
        done += written;
        {
            const std::lock_guard lock(m_mutex);
            m_status.written += written;
            m_status.error.clear();
        }
        if (m_queue.isClosed())
            emit soundSaved();
    }
    sound.remove(0, done);
}

void AudioSaver::setError(const QString& reason)
{
    const std::lock_guard lock(m_mutex);
    m_status.error = reason;
}

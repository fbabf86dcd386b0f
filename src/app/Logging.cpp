#include "app/Logging.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>

#include <cstdio>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Indexed by QtMsgType. A fatal message deliberately reads "D" like a debug message.
QChar levelLetter(QtMsgType type)
{
    constexpr QLatin1StringView Letters("DWCDI");
    return type >= 0 && type < Letters.size() ? QChar(Letters.at(type)) : QChar(u'U');
}

// When the process ends. A disk that has not taken the last lines by then will not.
constexpr std::chrono::seconds LastWait(1);

} // namespace

void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    Logging::instance()->log(type, context, message);
}

Logging* Logging::instance()
{
    // Never deleted: threads that outlive main() (a camera driver that hangs) may still log. The
    // file is closed when the process ends.
    static Logging* const logging = new Logging;
    struct Closer
    {
        ~Closer() { logging->closeLogFile(); }
    };
    static const Closer closer;
    return logging;
}

void Logging::log(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    const QString line = QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + u" ["
        + levelLetter(type) + u"] " + message;

    // One call for the whole line, so that lines of several threads do not mix.
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);

    {
        const std::lock_guard lock(m_mutex);
        m_pendingLogLines.append(line);
        m_changed.notify_all();
    }
    if (type == QtFatalMsg) // Qt ends the process now
        waitUntilWritten(LastWait);
}

void Logging::setLogDirectory(const QString& directory)
{
    qInfo() << "[Logging]"
            << "setting log directory to" << directory;
    {
        const std::lock_guard lock(m_mutex);
        m_logDirectory = directory;
    }
    openLogFile();
}

void Logging::openLogFile()
{
    const std::lock_guard lock(m_mutex);
    const QString fileName = u"podiumcast_recorder_%1.log"_s.arg(
        QDateTime::currentDateTime().toString(u"yyyyMMdd_HHmmss"_s));
    const QDir directory(m_logDirectory);
    if (!directory.exists() && !directory.mkpath(u"."_s))
        qWarning() << "[Logging]"
                   << "creating log dir" << m_logDirectory << "failed";
    const QString path = directory.absoluteFilePath(fileName);
    qInfo() << "[Logging] opening log file" << path;
    m_logFile.setFileName(path);
    if (!m_logFile.open(QIODevice::WriteOnly | QIODevice::Text)) {
        qWarning() << "[Logging]"
                   << "opening log file" << path << "failed";
        return;
    }
    m_logStream.setDevice(&m_logFile);
    m_isOpen = true;
    writePendingLogLinesToLogFile();
    if (!std::exchange(m_hasWriter, true))
        std::thread(&Logging::writeLines, this).detach(); // it ends with the process, as we do
}

void Logging::writePendingLogLinesToLogFile()
{
    std::unique_lock lock(m_mutex);
    // One at a time, and without the lock, which must never be held for as long as a disk takes.
    if (!m_isOpen || std::exchange(m_isWriting, true))
        return;
    while (!m_pendingLogLines.isEmpty()) {
        const QStringList lines = std::exchange(m_pendingLogLines, {});
        lock.unlock();
        for (const QString& line : lines) {
            // A stream that failed once, on a full disk, would never write again.
            m_logStream.resetStatus();
            m_logStream << line << Qt::endl;
        }
        lock.lock();
    }
    m_isWriting = false;
    m_changed.notify_all();
}

void Logging::writeLines()
{
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(
                lock, [this] { return m_isOpen && !m_isWriting && !m_pendingLogLines.isEmpty(); });
        }
        writePendingLogLinesToLogFile();
    }
}

void Logging::waitUntilWritten(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout,
        [this] { return !m_isOpen || (m_pendingLogLines.isEmpty() && !m_isWriting); });
}

void Logging::closeLogFile()
{
    waitUntilWritten(LastWait);
    const std::lock_guard lock(m_mutex);
    if (!std::exchange(m_isOpen, false) || m_isWriting)
        return; // the disk does not answer
    m_logStream.setDevice(nullptr);
    m_logFile.close();
}

#include "app/Logging.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QMutexLocker>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Indexed by QtMsgType. A fatal message deliberately reads "D" like a debug message.
QChar levelLetter(QtMsgType type)
{
    constexpr QLatin1StringView Letters("DWCDI");
    return type >= 0 && type < Letters.size() ? QChar(Letters.at(type)) : QChar(u'U');
}

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

    const QMutexLocker lock(&m_mutex);
    if (m_logFile.isOpen()) {
        // A stream that failed once, on a full disk, would never write again.
        m_logStream.resetStatus();
        m_logStream << line << Qt::endl;
    } else {
        m_pendingLogLines.append(line);
    }
}

void Logging::setLogDirectory(const QString& directory)
{
    qInfo() << "[Logging]"
            << "setting log directory to" << directory;
    {
        const QMutexLocker lock(&m_mutex);
        m_logDirectory = directory;
    }
    openLogFile();
}

void Logging::openLogFile()
{
    const QMutexLocker lock(&m_mutex);
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
    writePendingLogLinesToLogFile();
}

void Logging::writePendingLogLinesToLogFile()
{
    const QMutexLocker lock(&m_mutex);
    while (!m_pendingLogLines.isEmpty())
        m_logStream << m_pendingLogLines.takeFirst() << Qt::endl;
}

void Logging::closeLogFile()
{
    const QMutexLocker lock(&m_mutex);
    if (!m_logFile.isOpen())
        return;
    m_logStream.flush();
    m_logStream.setDevice(nullptr);
    m_logFile.close();
}

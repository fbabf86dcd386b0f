#pragma once

#include <QFile>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Stamps every Qt log message, copies it to standard output and writes it to the log file of this
/// run. Messages from before setLogDirectory() are kept and come first in the file.
///
/// The file is on the disk that is recorded to. A thread of its own writes to it, so that a disk
/// that does not answer holds up nobody who has something to say. All members may be called from
/// any thread.
class Logging
{
public:
    static Logging* instance();

    void log(QtMsgType type, const QMessageLogContext& context, const QString& message);

    /// Called once, when the work directory is known; creates it when missing.
    void setLogDirectory(const QString& directory);

    void openLogFile();
    void writePendingLogLinesToLogFile();
    void closeLogFile();

    /// Waits until every line so far is in the file, where there is one. For the end of the
    /// process.
    void waitUntilWritten(std::chrono::milliseconds timeout);

private:
    Logging() = default;
    [[noreturn]] void writeLines();

    QString m_logDirectory;
    // Recursive: openLogFile() logs while it holds the lock.
    std::recursive_mutex m_mutex;
    std::condition_variable_any m_changed; ///< lines came, or were written
    QStringList m_pendingLogLines; ///< not in the file yet
    bool m_isOpen = false;
    bool m_isWriting = false; ///< lines that are no longer pending are on their way
    bool m_hasWriter = false;

    // For whoever has set m_isWriting, without the lock.
    QFile m_logFile;
    QTextStream m_logStream;
};

/// For qInstallMessageHandler(). A fatal message is only logged here; Qt ends the process itself.
void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);

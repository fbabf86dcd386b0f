#pragma once

#include <QFile>
#include <QRecursiveMutex>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QtGlobal>

/// Stamps every Qt log message, copies it to standard output and writes it to the log file of this
/// run. Messages from before setLogDirectory() are kept and come first in the file.
/// All members may be called from any thread.
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

private:
    Logging() = default;

    QString m_logDirectory;
    QFile m_logFile;
    // Recursive: openLogFile() logs while it holds the lock.
    QRecursiveMutex m_mutex;
    QTextStream m_logStream;
    QStringList m_pendingLogLines;
};

/// For qInstallMessageHandler(). A fatal message is only logged here; Qt ends the process itself.
void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);

#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

#include <memory>

class QLockFile;

/// Lets the program run once: for one user, on one desktop, and for one PODIUMCAST_WORK_DIR (a
/// recorder that was given a directory of its own runs beside the others). Main thread.
///
/// A lock file tells who is the first; the system knows when its process has ended, so a crash
/// blocks nobody. The first one listens on a local socket (a named pipe); to connect is the whole
/// message, and the answer says that it was received. Both lie where only this user may write.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    /// True: go on, this is the first. False: the first one has been asked to show its window.
    /// Waits up to ten seconds for its answer. True also where no lock can be had, or the first one
    /// does not answer: a recorder that starts twice is better than none when the talk begins.
    [[nodiscard]] bool begin();

signals:
    /// The program was started again.
    void startedAgain();

private:
    void listen();
    [[nodiscard]] bool callFirst(int timeoutMs) const;

    QString m_path; ///< of lock and socket, without their endings; empty: there is no place
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
};

#include "app/SingleInstance.h"

#include "app/Desktop.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QLocalSocket>
#include <QLockFile>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

// A first one that is just loading its screens on a slow machine answers within this time; one that
// hangs must not keep an operator from recording for much longer.
constexpr int AnswerTimeoutMs = 10'000;
constexpr int RetryIntervalMs = 50;

// Windows' named pipes are one space for all users of a machine: there the whole path is the name.
const QString SocketEnding = u".sock"_s;

/// The same for every start that is to meet the first one, different for all others.
QString pathOfThisRecorder()
{
    const QString directory = Desktop::privateDirectory();
    if (directory.isEmpty())
        return {};
    QString key = Desktop::name();
    const QString workDir = qEnvironmentVariable("PODIUMCAST_WORK_DIR");
    if (!workDir.isEmpty())
        key += u'\n' + QDir::cleanPath(QDir(workDir).absolutePath());
    const QByteArray hash = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256);
    // The path of a Unix socket must stay below 108 bytes.
    return QDir(directory).absoluteFilePath(
        u"podiumcast-recorder-"_s + QString::fromLatin1(hash.toHex().left(16)));
}

} // namespace

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
    , m_path(pathOfThisRecorder())
{
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            qInfo() << "[SingleInstance] the program was started again";
            emit startedAgain();
            socket->write("shown\n");
        }
    });
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::begin()
{
    if (m_path.isEmpty())
        return true;
    m_lock = std::make_unique<QLockFile>(m_path + u".lock"_s);
    m_lock->setStaleLockTime(0); // a recording may take a day: only the process counts, not the age
    const QDeadlineTimer deadline(AnswerTimeoutMs);
    while (!m_lock->tryLock(0)) {
        if (m_lock->error() != QLockFile::LockFailedError) {
            qWarning() << "[SingleInstance]"
                       << "no lock can be had at" << m_path;
            return true;
        }
        if (callFirst(int(deadline.remainingTime())))
            return false;
        if (deadline.hasExpired()) {
            qWarning() << "[SingleInstance]"
                       << "the recorder that runs already does not answer, starting beside it";
            return true;
        }
        // It is just starting, or just ending.
        QThread::msleep(RetryIntervalMs);
    }
    listen();
    return true;
}

void SingleInstance::listen()
{
    const QString name = m_path + SocketEnding;
    // What a crash left behind; we hold the lock, so it is nobody's.
    QLocalServer::removeServer(name);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(name))
        qWarning() << "[SingleInstance]"
                   << "a second start will not find this one:" << m_server.errorString();
}

bool SingleInstance::callFirst(int timeoutMs) const
{
    QLocalSocket socket;
    Desktop::letOthersComeToFront();
    socket.connectToServer(m_path + SocketEnding, QIODevice::ReadOnly);
    return socket.waitForConnected(timeoutMs) && socket.waitForReadyRead(timeoutMs)
        && socket.readLine(16) == "shown\n";
}

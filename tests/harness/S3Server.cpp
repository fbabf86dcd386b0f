#include "harness/S3Server.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

constexpr int StartTimeoutMs = 60'000; // two seconds on an idle machine
constexpr int CommandTimeoutMs = 40'000;

QJsonDocument readLine(QProcess& process, int timeoutMs)
{
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(timeoutMs))
            return {};
    }
    return QJsonDocument::fromJson(process.readLine());
}

} // namespace

S3Server::~S3Server()
{
    m_process.closeWriteChannel();
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(10'000))
        m_process.kill();
}

bool S3Server::start(const QStringList& arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QString::fromUtf8(S3_SERVER_PROGRAM), arguments);
    m_values = readLine(m_process, StartTimeoutMs).object();
    if (m_values.isEmpty()) {
        m_process.waitForFinished(1000);
        m_errorText = u"The S3 server does not start (python3-swift installed?): %1"_s.arg(
            m_process.errorString());
    }
    return !m_values.isEmpty();
}

QString S3Server::value(const QString& key) const
{
    return m_values.value(key).toString();
}

QJsonValue S3Server::command(const QString& name, QJsonObject arguments)
{
    arguments.insert(u"cmd"_s, name);
    m_process.write(QJsonDocument(arguments).toJson(QJsonDocument::Compact) + '\n');
    const QJsonDocument reply = readLine(m_process, CommandTimeoutMs);
    return reply.isArray() ? QJsonValue(reply.array()) : QJsonValue(reply.object());
}

bool S3Server::waitUntilStalled()
{
    return command(u"stalled"_s)[u"stalled"_s].toBool();
}

void S3Server::setFaults(const QJsonArray& faults)
{
    command(u"faults"_s, { { u"faults"_s, faults } });
}

QJsonArray S3Server::takeRequests()
{
    return command(u"requests"_s).toArray();
}

QJsonObject S3Server::object(const QString& bucket, const QString& key)
{
    for (const QJsonValue object : command(u"objects"_s, { { u"bucket"_s, bucket } }).toArray()) {
        if (object[u"key"_s].toString() == key)
            return object.toObject();
    }
    return {};
}

QJsonArray S3Server::unfinishedUploads(const QString& bucket)
{
    return command(u"uploads"_s, { { u"bucket"_s, bucket } }).toArray();
}

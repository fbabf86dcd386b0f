#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>

/// A real S3 server on loopback, tools/demo/s3-server.py, which describes the commands and faults.
/// Start one for a whole test program: it takes about two seconds.
class S3Server
{
public:
    ~S3Server();

    /// False when it does not come up; what it said is then in errorText().
    [[nodiscard]] bool start(const QStringList& arguments = {});
    [[nodiscard]] QString errorText() const { return m_errorText; }

    /// "endpoint", "tlsEndpoint", "caFile", "accessKey", "secret", "token".
    [[nodiscard]] QString value(const QString& key) const;

    /// Blocks for the answer: an array or an object.
    QJsonValue command(const QString& name, QJsonObject arguments = {});

    /// False when no request has run into a "stall" within half a minute.
    [[nodiscard]] bool waitUntilStalled();
    void setFaults(const QJsonArray& faults);
    /// What came since the last call: "method", "target", "status", "fault", …
    [[nodiscard]] QJsonArray takeRequests();
    /// The stored object: "key", "size", "sha256", "contentType"; empty when there is none.
    [[nodiscard]] QJsonObject object(const QString& bucket, const QString& key);
    /// Keys of multipart uploads that were neither completed nor aborted.
    [[nodiscard]] QJsonArray unfinishedUploads(const QString& bucket);

private:
    QProcess m_process;
    QJsonObject m_values;
    QString m_errorText;
};

#pragma once

#include <QSslConfiguration>
#include <QString>

#include <optional>

/// A certificate authority and a server certificate for "localhost" and 127.0.0.1, made with the
/// openssl program in a directory: ca.pem, ca.key, server.pem, server.key. Keys stay there.
class TestCertificates
{
public:
    /// No value, with a line in the log, when openssl fails.
    [[nodiscard]] static std::optional<TestCertificates> create(const QString& directory);

    [[nodiscard]] QSslConfiguration serverConfiguration() const { return m_server; }

    /// Makes all clients of this process that use Qt's default configuration trust the authority.
    void trustInThisProcess() const;

private:
    QSslConfiguration m_server;
    QSslCertificate m_authority;
};

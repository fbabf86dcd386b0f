#include "service/TestCertificates.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace {

bool openssl(const QString& directory, const QString& arguments)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"openssl"_s, arguments.split(u' '));
    if (process.waitForFinished() && process.exitCode() == 0)
        return true;
    qWarning() << "[TestCertificates]"
               << "openssl" << arguments << "failed:" << process.readAll();
    return false;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

std::optional<TestCertificates> TestCertificates::create(const QString& directory)
{
    const QDir dir(directory);
    QFile extensions(dir.filePath(u"server.ext"_s));
    if (!extensions.open(QIODevice::WriteOnly)
        || extensions.write("subjectAltName=DNS:localhost,IP:127.0.0.1\n"
                            "extendedKeyUsage=serverAuth\nbasicConstraints=CA:FALSE\n")
            < 0)
        return std::nullopt;
    extensions.close();
    const QString newKey = u"-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "_s;
    if (!openssl(directory,
            u"req -x509 "_s + newKey
                + u"-days 2 -subj /CN=Podiumcast-test-authority -keyout ca.key -out ca.pem"_s)
        || !openssl(directory,
            u"req "_s + newKey + u"-subj /CN=localhost -keyout server.key -out server.csr"_s)
        || !openssl(directory,
            u"x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 "
            "-extfile server.ext -out server.pem"_s))
        return std::nullopt;

    TestCertificates result;
    result.m_authority = QSslCertificate(readFile(dir.filePath(u"ca.pem"_s)));
    result.m_server = QSslConfiguration::defaultConfiguration();
    result.m_server.setLocalCertificate(QSslCertificate(readFile(dir.filePath(u"server.pem"_s))));
    result.m_server.setPrivateKey(QSslKey(readFile(dir.filePath(u"server.key"_s)), QSsl::Ec));
    return result;
}

void TestCertificates::trustInThisProcess() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificate(m_authority);
    QSslConfiguration::setDefaultConfiguration(configuration);
}

#include "service/TestCertificates.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace {

const QString script = uR"(
new='-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes'
openssl req -x509 $new -days 2 -subj /CN=Podiumcast-test-authority -keyout ca.key -out ca.pem
openssl req $new -subj /CN=localhost -keyout server.key -out server.csr
echo 'subjectAltName=DNS:localhost,IP:127.0.0.1' > server.ext
echo 'extendedKeyUsage=serverAuth' >> server.ext
echo 'basicConstraints=CA:FALSE' >> server.ext
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 \
    -extfile server.ext -out server.pem)"_s;

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

std::optional<TestCertificates> TestCertificates::create(const QString& directory)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"sh"_s, { u"-euc"_s, script });
    if (!process.waitForFinished() || process.exitCode() != 0) {
        qWarning() << "[TestCertificates]"
                   << "openssl failed:" << process.readAll();
        return std::nullopt;
    }
    const QDir dir(directory);
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

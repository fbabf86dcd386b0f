#include "harness/S3Server.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <aws/core/Aws.h>
#include <aws/transfer/TransferManager.h>

#include <atomic>

using namespace Qt::StringLiterals;
using Aws::Transfer::TransferHandle;
using Aws::Transfer::TransferManager;
using Aws::Transfer::TransferStatus;

namespace {

/// A transfer manager with short time-outs and small parts, and what it called back.
struct Manager
{
    explicit Manager(const S3Server& server)
        : credentials(server.value(u"accessKey"_s).toStdString(),
            server.value(u"secret"_s).toStdString(), server.value(u"token"_s).toStdString())
    {
        client.endpointOverride = server.value(u"endpoint"_s).toStdString();
        client.scheme = Aws::Http::Scheme::HTTP;
        client.requestTimeoutMs = 1000;
    }

    std::shared_ptr<TransferHandle> upload(const QString& path, const char* key)
    {
        Aws::Transfer::TransferManagerConfiguration config(&executor);
        config.s3Client = Aws::MakeShared<Aws::S3::S3Client>("test", credentials, client,
            Aws::Client::AWSAuthV4Signer::PayloadSigningPolicy::Never, true);
        config.bufferSize = 1024 * 1024;
        config.errorCallback = [this](const auto*, const auto&, const auto&) { ++errors; };
        return TransferManager::Create(config)->UploadFile(
            path.toStdString(), "slides", key, "image/png", { { "kind", "test" } });
    }

    Aws::Auth::AWSCredentials credentials;
    Aws::Client::ClientConfiguration client;
    std::atomic<int> errors = 0;
    Aws::Utils::Threading::DefaultExecutor executor; // last: its end joins the callbacks' threads
};

} // namespace

/// What the stand-in for the AWS SDK adds to what the uploader's own tests see.
class TestCompatAws : public QObject
{
    Q_OBJECT

private:
    S3Server m_server;
    QTemporaryDir m_dir;
    Aws::SDKOptions m_options;

    QString makeFile(qint64 size) const
    {
        QFile file(m_dir.filePath(u"file.png"_s));
        return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size
            ? file.fileName()
            : QString();
    }

private slots:
    void initTestCase()
    {
        Aws::InitAPI(m_options);
        QVERIFY2(m_server.start(), qUtf8Printable(m_server.errorText()));
    }

    void init()
    {
        m_server.setFaults({});
        (void)m_server.takeRequests();
    }

    void cleanupTestCase() { Aws::ShutdownAPI(m_options); }

    /// The payload is not hashed over TLS, which the front checks; the certificate always is.
    void speaksTls()
    {
        Manager manager(m_server);
        manager.client.endpointOverride = m_server.value(u"tlsEndpoint"_s).toStdString();
        const auto refused = manager.upload(makeFile(5000), "tls");
        refused->WaitUntilFinished();
        QCOMPARE(refused->GetStatus(), TransferStatus::FAILED);
        QVERIFY(QByteArray::fromStdString(refused->GetLastError().GetMessage())
                    .startsWith("curlCode: 60,"));
        QVERIFY(m_server.takeRequests().isEmpty());

        manager.client.caFile = m_server.value(u"caFile"_s).toStdString();
        const auto accepted = manager.upload(makeFile(5000), "tls");
        accepted->WaitUntilFinished();
        QCOMPARE(QByteArray::fromStdString(accepted->GetLastError().GetMessage()), QByteArray());
        QCOMPARE(m_server.object(u"slides"_s, u"tls"_s)[u"size"_s].toInt(), 5000);
    }

    /// An error that comes with status 200, as it may for the end of a multipart upload.
    void believesAnErrorInASuccess()
    {
        m_server.setFaults({ QJsonObject{ { u"match"_s, u"POST /late?uploadId"_s },
            { u"reply"_s, 200 }, { u"code"_s, u"AccessDenied"_s }, { u"message"_s, u"late"_s } } });
        Manager manager(m_server);
        const auto handle = manager.upload(makeFile(2'000'000), "late");
        handle->WaitUntilFinished();
        QCOMPARE(handle->GetStatus(), TransferStatus::FAILED);
        QCOMPARE(QByteArray::fromStdString(handle->GetLastError().GetMessage()), "late");
        QVERIFY(m_server.unfinishedUploads(u"slides"_s).isEmpty());
    }

    void cancels_data()
    {
        QTest::addColumn<QJsonObject>("fault");
        QTest::newRow("stalled request")
            << QJsonObject{ { u"stall"_s, true }, { u"match"_s, u"partNumber=2"_s } };
        QTest::newRow("between tries") << QJsonObject{ { u"reply"_s, 503 },
            { u"match"_s, u"partNumber=2"_s }, { u"code"_s, u"SlowDown"_s }, { u"count"_s, 99 } };
    }

    void cancels()
    {
        QFETCH(QJsonObject, fault);
        m_server.setFaults({ fault });
        Manager manager(m_server);
        manager.client.requestTimeoutMs = 60'000;
        const auto handle = manager.upload(makeFile(2'000'000), "cancelled");
        if (fault.contains(u"stall"_s))
            QVERIFY(m_server.waitUntilStalled());
        else
            QTRY_VERIFY(m_server.command(u"seen"_s)[u"requests"_s].toInt() >= 9); // seconds between
        QElapsedTimer timer;
        timer.start();
        handle->Cancel();
        handle->WaitUntilFinished();
        QVERIFY2(timer.elapsed() < 3500, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(handle->GetStatus(), TransferStatus::CANCELED);
        QCOMPARE(manager.errors.load(), 0);
        QVERIFY(m_server.unfinishedUploads(u"slides"_s).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCompatAws)
#include "tst_compataws.moc"

#include "harness/S3Server.h"
#include "web/LiveStreamUploader.h"

#include <QTcpServer>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

/// A fault for requests with @p match in them, @p count times.
QJsonObject fault(const QString& match, int count, QJsonObject what)
{
    what.insert(u"match"_s, match);
    what.insert(u"count"_s, count);
    return what;
}

QJsonObject errorReply(int status, const QString& code, const QString& message)
{
    return { { u"reply"_s, status }, { u"code"_s, code }, { u"message"_s, message } };
}

constexpr qint64 MiB = 1024 * 1024;
constexpr int LongMs = 60'000;

} // namespace

/// The uploader against a real object store: Swift's S3 API behind a front that checks the rest.
class TestLiveStreamUploader : public QObject
{
    Q_OBJECT

private:
    S3Server m_server;
    QTemporaryDir m_dir;
    Aws::SDKOptions m_sdkOptions;
    int m_prefixNumber = 0;

    LiveStreamUploaderConfig config() const
    {
        LiveStreamUploaderConfig config;
        config.bucket = u"slides"_s;
        config.prefix = u"test%1/"_s.arg(m_prefixNumber);
        config.accessKeyId = m_server.value(u"accessKey"_s);
        config.secretAccessKey = m_server.value(u"secret"_s);
        config.sessionToken = m_server.value(u"token"_s);
        return config;
    }

    QString makeFile(const QString& name, qint64 size = 5000) const
    {
        QByteArray bytes(size, Qt::Uninitialized);
        QRandomGenerator::global()->generate(bytes.begin(), bytes.end());
        QFile file(m_dir.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == size ? file.fileName()
                                                                            : QString();
    }

    static QString sha256(const QString& path)
    {
        QFile file(path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        return file.open(QIODevice::ReadOnly) && hash.addData(&file)
            ? QString::fromLatin1(hash.result().toHex())
            : QString();
    }

    QString storedSha256(const QString& key)
    {
        return m_server.object(u"slides"_s, key)[u"sha256"_s].toString();
    }

    static void stop(LiveStreamUploader& uploader)
    {
        uploader.requestStop();
        QTRY_VERIFY_WITH_TIMEOUT(uploader.isFinished(), LongMs);
        QCoreApplication::processEvents(); // what was emitted before, on any thread
    }

private slots:
    void initTestCase()
    {
        qputenv("AWS_EC2_METADATA_DISABLED", "true");
        Aws::InitAPI(m_sdkOptions);
        QVERIFY2(m_server.start(), qUtf8Printable(m_server.errorText()));
    }

    void init()
    {
        qputenv("AWS_ENDPOINT_URL_S3", m_server.value(u"endpoint"_s).toUtf8());
        ++m_prefixNumber;
        m_server.setFaults({});
        (void)m_server.takeRequests();
    }

    void cleanupTestCase() { Aws::ShutdownAPI(m_sdkOptions); }

    void uploadsAFile_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<QString>("key");
        QTest::addColumn<qint64>("size");
        QTest::newRow("blanks, percent, plus") << u"0-3.png"_s << u"a b/%41/c+d&e=f?#/"_s
                                               << u"a b/%41/c+d&e=f?#/0-3.png"_s << qint64(5000);
        QTest::newRow("unicode") << u"0-4 Ä.jpg"_s << u"ü€/演/"_s << u"ü€/演/0-4 ä.jpg"_s
                                 << qint64(5000);
        QTest::newRow("in parts") << u"0-8.png"_s << u"p/"_s << u"p/0-8.png"_s << 20 * MiB;
    }

    void uploadsAFile()
    {
        QFETCH(QString, fileName);
        QFETCH(QString, prefix);
        QFETCH(QString, key);
        QFETCH(qint64, size);
        const QString path = makeFile(fileName, size);
        LiveStreamUploaderConfig destination = config();
        destination.prefix = prefix;
        LiveStreamUploader uploader(destination);
        QSignalSpy uploaded(&uploader, &LiveStreamUploader::slideUploaded);
        QSignalSpy failed(&uploader, &LiveStreamUploader::slideUploadError);
        uploader.start();
        uploader.addSlide(2, 4711, path);
        stop(uploader);

        QVERIFY2(failed.isEmpty(), qUtf8Printable(failed.value(0).value(0).toString()));
        QCOMPARE(uploaded.value(0), (QVariantList{ 2, 4711, u"slides"_s, key }));
        QCOMPARE(storedSha256(key), sha256(path));
        QCOMPARE(m_server.object(u"slides"_s, key)[u"contentType"_s].toString(),
            key.endsWith("png"_L1) ? u"image/png"_s : u"image/jpeg"_s);
        // One request, or two parts between the upload's creation and completion.
        QCOMPARE(m_server.takeRequests().size(), size > 15 * MiB ? 4 : 1);
    }

    void reportsAFailureOnceAndGoesOn_data()
    {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<QString>("field"); // what is wrong with the configuration or the file
        QTest::addColumn<QString>("error");
        const QString expired = u"The provided token has expired."_s;
        const QString unknown
            = u"ExpiredToken: Unable to parse ExceptionName: ExpiredToken Message: %1"_s;
        QTest::newRow("expired") << errorReply(400, u"ExpiredToken"_s, expired) << QString()
                                 << unknown.arg(expired);
        QTest::newRow("expired in the second part")
            << fault(u"partNumber=2"_s, 1, errorReply(403, u"ExpiredToken"_s, expired)) << QString()
            << unknown.arg(expired);
        QTest::newRow("an error in a success, at the end of the parts")
            << fault(u"png?uploadId"_s, 1, errorReply(200, u"AccessDenied"_s, u"late"_s))
            << QString() << u"AccessDenied: late"_s;
        QTest::newRow("the store quotes our secrets")
            << errorReply(403, u"AccessDenied"_s,
                   u"Bad %1 and\n%2"_s.arg(m_server.value(u"secret"_s), m_server.value(u"token"_s)))
            << QString() << u"AccessDenied: Bad *** and ***"_s;
        QTest::newRow("endless page instead of XML")
            << QJsonObject{ { u"reply"_s, 404 }, { u"body"_s, u"<p>"_s.repeated(MiB) } }
            << QString() << u": The reply with HTTP status 404 is no error description."_s;
        QTest::newRow("wrong bucket") << QJsonObject() << u"bucket nowhere"_s
                                      << u"NoSuchBucket: The specified bucket does not exist."_s;
        QTest::newRow("bucket that reads as another host, answered by ours")
            << QJsonObject() << u"bucket other.example/?#@"_s
            << u"InvalidRequest: Unable to parse ExceptionName: InvalidRequest Message: The bucket is not in the host name."_s;
        QTest::newRow("wrong token")
            << QJsonObject() << u"token"_s
            << u"InvalidToken: Unable to parse ExceptionName: InvalidToken Message: The provided token is malformed or otherwise invalid."_s;
        QTest::newRow("untrusted certificate")
            << QJsonObject() << u"certificate"_s
            << u": curlCode: 60, SSL peer certificate or SSH remote key was not OK"_s;
        QTest::newRow("file removed") << QJsonObject() << u"file"_s
                                      << u"NoSuchUpload: The requested file could not be opened."_s;
    }

    void reportsAFailureOnceAndGoesOn()
    {
        QFETCH(QJsonObject, fault);
        QFETCH(QString, field);
        QFETCH(QString, error);
        const QString path
            = makeFile(u"0-0001.png"_s, fault.contains(u"match"_s) ? 20 * MiB : 5000);
        LiveStreamUploaderConfig wrong = config();
        if (field.startsWith(u"bucket "_s))
            wrong.bucket = field.section(u' ', 1);
        else if (field == u"token"_s)
            wrong.sessionToken += u"\r\nx-injected: yes"_s;
        else if (field == u"certificate"_s)
            qputenv("AWS_ENDPOINT_URL_S3", m_server.value(u"tlsEndpoint"_s).toUtf8());
        else if (field == u"file"_s)
            QVERIFY(QFile::remove(path));
        if (!fault.isEmpty())
            m_server.setFaults({ fault });

        LiveStreamUploader uploader(wrong);
        QSignalSpy failed(&uploader, &LiveStreamUploader::slideUploadFailed);
        QSignalSpy errors(&uploader, &LiveStreamUploader::slideUploadError);
        uploader.start();
        uploader.addSlide(1, 17, path);
        QTRY_COMPARE_WITH_TIMEOUT(uploader.slidesUploadFailed(), 1, LongMs);
        QCOMPARE(failed.value(0), (QVariantList{ 1, 17, u"0-0001.png"_s }));
        QCOMPARE(errors.value(0).value(0).toString(),
            u"Uploading slide 0-0001.png failed (%1)."_s.arg(error));
        QCOMPARE(uploader.slidesToUpload(), 0);
        QCOMPARE(m_server.unfinishedUploads(u"slides"_s), QJsonArray());
        QVERIFY(field != u"certificate"_s || m_server.takeRequests().isEmpty());
        if (!fault.isEmpty())
            uploader.addSlide(1, 18, path);
        stop(uploader);
        QCOMPARE(failed.size(), 1);
        QCOMPARE(uploader.slidesUploaded(), fault.isEmpty() ? 0 : 1);
    }

    void repeatsWhatMayPass_data()
    {
        QTest::addColumn<QJsonArray>("faults");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<int>("requests");
        const QJsonObject slowDown = errorReply(503, u"SlowDown"_s, u"Reduce your rate."_s);
        QTest::newRow("SlowDown") << QJsonArray{ fault(u"PUT"_s, 3, slowDown) } << qint64(5000)
                                  << 4;
        QTest::newRow("reset") << QJsonArray{ fault(u"PUT"_s, 2, { { u"resetAfter"_s, 1000 } }) }
                               << 3 * MiB << 3;
        QTest::newRow("reset in the second part, SlowDown at the end")
            << QJsonArray{ fault(u"partNumber=2"_s, 1, { { u"resetAfter"_s, 3 * MiB } }),
                   fault(u"POST"_s, 1, slowDown) }
            << 20 * MiB << 6;
    }

    void repeatsWhatMayPass()
    {
        QFETCH(QJsonArray, faults);
        QFETCH(qint64, size);
        QFETCH(int, requests);
        const QString path = makeFile(u"0-0001.png"_s, size);
        m_server.setFaults(faults);
        LiveStreamUploader uploader(config());
        uploader.start();
        uploader.addSlide(0, 1, path);
        stop(uploader);
        QCOMPARE(uploader.slidesUploaded(), 1);
        QCOMPARE(storedSha256(config().prefix + u"0-0001.png"_s), sha256(path));
        QCOMPARE(m_server.takeRequests().size(), requests);
    }

    void sendsTheNewestFirstAndDrainsAtTheStop()
    {
        m_server.setFaults({ fault(u"PUT"_s, 1, { { u"stall"_s, true } }),
            fault(u"0-0003"_s, 1, errorReply(403, u"AccessDenied"_s, u"no"_s)) });
        LiveStreamUploader uploader(config());
        QStringList outcomes;
        QObject context;
        connect(&uploader, &LiveStreamUploader::slideUploaded, &context,
            [&](int, qint64 time) { outcomes += u"+%1"_s.arg(time); });
        connect(&uploader, &LiveStreamUploader::slideUploadFailed, &context,
            [&](int, qint64 time) { outcomes += u"-%1"_s.arg(time); });
        connect(
            &uploader, &LiveStreamUploader::stopped, &context, [&] { outcomes += u"stopped"_s; });
        uploader.start();
        for (int number = 1; number <= 5; ++number) {
            uploader.addSlide(0, number, makeFile(u"0-000%1.png"_s.arg(number)));
            if (number == 1) // the first one is on its way, and stuck
                QVERIFY(m_server.waitUntilStalled());
        }
        uploader.requestStop();
        uploader.addSlide(0, 6, makeFile(u"0-0006.png"_s)); // too late
        QCOMPARE(uploader.slidesToUpload(), 5);
        m_server.command(u"release"_s);
        QTRY_VERIFY_WITH_TIMEOUT(outcomes.contains(u"stopped"_s), LongMs);
        QCOMPARE(outcomes.join(u' '), u"+1 +5 +4 -3 +2 stopped"_s);
        QCOMPARE(uploader.slidesToUpload(), 0);
    }

    /// Two uploaders at once, because both take long: one meets a stall, one meets nobody.
    void givesUpInTheEnd()
    {
        m_server.setFaults({ fault(u"PUT"_s, 1, { { u"stall"_s, true } }) });
        LiveStreamUploader stalled(config());
        QTcpServer nobody;
        QVERIFY(nobody.listen(QHostAddress::LocalHost));
        qputenv(
            "AWS_ENDPOINT_URL_S3", "http://localhost:" + QByteArray::number(nobody.serverPort()));
        nobody.close();
        LiveStreamUploader alone(config());
        QSignalSpy errors(&alone, &LiveStreamUploader::slideUploadError);
        const QString path = makeFile(u"0-0001.png"_s);
        QElapsedTimer timer;
        timer.start();
        qint64 patience = 0;
        connect(&alone, &LiveStreamUploader::slideUploadError, this,
            [&] { patience = timer.elapsed(); });
        for (LiveStreamUploader* uploader : { &stalled, &alone }) {
            uploader->start();
            uploader->addSlide(0, 1, path);
        }
        stop(stalled); // after the time-out, at the second try
        QCOMPARE(stalled.slidesUploaded(), 1);
        QVERIFY(timer.elapsed() >= 18'000);
        stop(alone);
        QVERIFY(patience > 25'000 && patience < 40'000); // a server may start again
        QCOMPARE(errors.value(0).value(0).toString(),
            u"Uploading slide 0-0001.png failed (: curlCode: 7, Couldn't connect to server)."_s);
        QCOMPARE(alone.slidesUploadFailed(), 1);
    }

    void endsDuringAnUpload_data()
    {
        QTest::addColumn<QJsonObject>("trouble");
        QTest::addColumn<bool>("byQuitting");
        const QJsonObject stall{ { u"stall"_s, true } };
        QTest::newRow("deleted") << stall << false;
        QTest::newRow("application quits") << stall << true;
        QTest::newRow("deleted between tries")
            << errorReply(503, u"SlowDown"_s, u"Reduce your rate."_s) << false;
    }

    void endsDuringAnUpload()
    {
        QFETCH(QJsonObject, trouble);
        QFETCH(bool, byQuitting);
        m_server.setFaults({ fault(u"PUT"_s, 99, trouble) });
        auto uploader = std::make_unique<LiveStreamUploader>(config());
        QSignalSpy uploaded(uploader.get(), &LiveStreamUploader::slideUploaded);
        QSignalSpy failed(uploader.get(), &LiveStreamUploader::slideUploadFailed);
        uploader->start();
        uploader->addSlide(0, 1, makeFile(u"0-0001.png"_s));
        uploader->addSlide(0, 2, makeFile(u"0-0002.png"_s));
        if (trouble.contains(u"stall"_s))
            QVERIFY(m_server.waitUntilStalled());
        else // the next one would come in 6.4 s
            QTRY_VERIFY_WITH_TIMEOUT(
                m_server.command(u"seen"_s)[u"requests"_s].toInt() >= 9, LongMs);
        QElapsedTimer timer;
        timer.start();
        if (byQuitting) {
            QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
            QCoreApplication::exec();
            QVERIFY(uploader->isFinished());
            QCOMPARE(uploader->slidesToUpload(), 2); // a cancelled transfer is neither of the two
        } else {
            uploader.reset();
        }
        QVERIFY(timer.elapsed() < 5000);
        Aws::ShutdownAPI(m_sdkOptions); // as main() does it, before the uploader is deleted
        uploader.reset();
        Aws::InitAPI(m_sdkOptions);
        m_server.command(u"release"_s);
        QCoreApplication::processEvents();
        QVERIFY(uploaded.isEmpty() && failed.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLiveStreamUploader)
#include "tst_livestreamuploader.moc"

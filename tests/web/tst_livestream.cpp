#include "web/LiveStream.h"
#include "recording/Presentation.h"
#include "service/LiveFixture.h"

#include <QFile>
#include <QJsonDocument>
#include <QPointer>

#include <aws/core/Aws.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Fault = HttpTestServer::Fault;

namespace {

const auto streams = QLatin1StringView(TestService::streamsPath);
const auto slides = QLatin1StringView(TestService::slidesPath);

QByteArray createReply(const QByteArray& id, const QByteArray& prefix = "p/")
{
    return R"({"presentation":{"id":)" + id
        + R"(,"title":"Talk"},"presentation_stream":{"id":9000000001,"app_start":1700000000123,)"
          R"("current_slide_version":7},"upload":{"bucket":"slides","prefix":")"
        + prefix
        + R"(","credentials":{"access_key_id":"AKIDTEST","secret_access_key":"secret-key-91",)"
          R"("session_token":"session-token-55"}}})";
}

} // namespace

class TestLiveStream : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void createFailureSaysWhy_data();
    void createFailureSaysWhy();
    void createReplyIsRead_data();
    void createReplyIsRead();
    void slidesAreUploadedAndReported();
    void stopDrainsAndLastReportsArrive();
    void deletedSessionHearsNothing_data();
    void deletedSessionHearsNothing();
    void stopWhileCreating();

private:
    QString slideFile(const QString& name);

    Aws::SDKOptions m_sdk;
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<LiveFixture> m_live;
    std::unique_ptr<TestBucket> m_bucket;
    std::unique_ptr<Presentation> m_presentation;
};

void TestLiveStream::initTestCase()
{
    qputenv("AWS_EC2_METADATA_DISABLED", "true");
    Aws::InitAPI(m_sdk);
    m_log = std::make_unique<LogCapture>();
    m_live = std::make_unique<LiveFixture>();
    QVERIFY(m_live->login());
}

void TestLiveStream::init()
{
    m_live->service->shutDown();
    m_live->restart();
    WebApiLimits::set(WebApi::instance(), 30s, 60s);
    m_bucket = std::make_unique<TestBucket>();
    QVERIFY(m_bucket->listenPlain());
    qputenv("AWS_ENDPOINT_URL_S3", "http://localhost:" + QByteArray::number(m_bucket->port()));
    m_presentation = std::make_unique<Presentation>(QDir(m_live->directory.path()));
    m_presentation->setTitle(u"Live Stream 1"_s);
}

void TestLiveStream::cleanupTestCase()
{
    QVERIFY(LogCapture::text().contains(u"[WebApi] POST"_s));
    for (const QString& secret : { m_live->account.password, m_live->account.token,
             m_live->account.secretAccessKey, m_live->account.sessionToken })
        QVERIFY2(!LogCapture::text().contains(secret), qPrintable(secret));
    Aws::ShutdownAPI(m_sdk);
}

QString TestLiveStream::slideFile(const QString& name)
{
    const QString path = m_live->directory.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write("slide " + name.toUtf8()) < 0)
        qFatal("no slide file");
    return path;
}

void TestLiveStream::createFailureSaysWhy_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QString>("message");
    QTest::newRow("422 with message") << Fault::Unprocessable << u"Not this stream."_s;
    QTest::newRow("500 with message") << Fault::ServerErrorJson << u"Out of coffee."_s;
    QTest::newRow("500 without body") << Fault::ServerError << u"Internal server error."_s;
    QTest::newRow("401 without message") << Fault::Unauthorized << u"Unknown error."_s;
    QTest::newRow("reset") << Fault::Reset << u"Unknown error."_s;
    QTest::newRow("50 MB") << Fault::Huge << u"Unknown error."_s;
    QTest::newRow("no answer") << Fault::Hang << u"Unknown error."_s;
    QTest::newRow("connection refused") << Fault::None << u"Unknown error."_s;
}

void TestLiveStream::createFailureSaysWhy()
{
    QFETCH(Fault, fault);
    QFETCH(QString, message);
    WebApiLimits::set(WebApi::instance(), 700ms, 1000ms);
    m_live->service->setFault(streams, fault);
    if (fault == Fault::None)
        m_live->service->shutDown();
    LiveStream stream(m_presentation.get(), false, QString());
    QSignalSpy failed(&stream, &LiveStream::startFailed);
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy stopped(&stream, &LiveStream::stopped);
    stream.requestStart();
    QVERIFY(stream.isRunning());
    stream.requestStop(); // nothing to stop yet
    stream.uploadSlide(0, 1, slideFile(u"early.png"_s)); // dropped
    QVERIFY(failed.wait());
    QCOMPARE(failed.at(0).at(0).toString(), message);
    QVERIFY(!stream.isRunning());
    stream.requestStop();
    QCOMPARE(failed.size() + started.size() + stopped.size(), 1);
    QCOMPARE(m_presentation->title(), u"Live Stream 1"_s);
    QVERIFY(LogCapture::text().contains(u"uploadSlide called without uploader"_s));
}

void TestLiveStream::createReplyIsRead_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("title");
    QTest::addColumn<int>("version");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<QString>("objectPath"); // as the store sees it; empty: the upload must fail
    const auto row = [](const char* name, const QByteArray& reply, const char* id,
                         const QString& objectPath = u"/p/slide.png"_s) {
        QTest::newRow(name) << reply << QString::fromLatin1(id) << u"Talk"_s << 7
                            << qint64(1700000000123) << objectPath;
    };
    row("id as text", createReply(R"("talk-7")"), "talk-7");
    row("id as integer", createReply("1234567890123456789"), "1234567890123456789");
    row("id as integer written with exponent", createReply("1e6"), "1000000");
    row("id beyond 64 bits", createReply("1e20"), "100000000000000000000");
    row("negative id", createReply("-1"), "-1");
    row("fraction", createReply("1.5"), "1.5");
    row("boolean", createReply("true"), "true");
    row("id is an object", createReply("{}"), "");
    row("id is null", createReply("null"), "");
    row("prefix with dots, blanks, percent, umlaut", createReply("1", "a b/../%41/\u00fc/"), "1",
        u"/a b/../%41/ü/slide.png"_s);
    row("prefix without slash", createReply("1", "p_"), "1", u"/p_slide.png"_s);
    QTest::newRow("empty object") << QByteArray("{\"x\":0}") << QString() << QString() << 0
                                  << qint64(0) << QString();
    QTest::newRow("wrong types") << QByteArray(R"({"presentation":[1],"presentation_stream":
        {"id":"5","app_start":{},"current_slide_version":1.5},"upload":{"bucket":7,"prefix":null,
        "credentials":"none"}})") << QString()
                                 << QString() << 0 << qint64(0) << QString();
}

void TestLiveStream::createReplyIsRead()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, id);
    QFETCH(QString, title);
    QFETCH(int, version);
    QFETCH(qint64, start);
    QFETCH(QString, objectPath);
    m_live->service->setCreateReply(QJsonDocument::fromJson(reply).object());
    LiveStream stream(m_presentation.get(), false, QString());
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy stopped(&stream, &LiveStream::stopped);
    QSignalSpy errors(&stream, &LiveStream::slideUploadError);
    QSignalSpy toUpload(&stream, &LiveStream::slidesToUploadChanged);
    stream.requestStart();
    QVERIFY(started.wait());
    QCOMPARE(toUpload.size(), 1); // shown afresh, also when nothing has been counted yet
    QCOMPARE(m_presentation->livestreamPresentationId(), id);
    QCOMPARE(m_presentation->title(), title);
    QCOMPARE(stream.presentationStreamVersion(), version);
    QCOMPARE(stream.presentationStreamStart(), start);

    stream.uploadSlide(0, 1, slideFile(u"Slide.PNG"_s));
    stream.requestStop();
    QVERIFY(stopped.wait(30000));
    QCOMPARE(stream.slidesToUpload() + stream.slidesUploaded(), 0); // no uploader any more
    QCOMPARE(m_bucket->requestsTo(objectPath).size(), objectPath.isEmpty() ? 0 : 1);
    if (objectPath.isEmpty())
        QVERIFY(errors.value(0).value(0).toString().startsWith(u"Uploading slide "_s));
}

void TestLiveStream::slidesAreUploadedAndReported()
{
    m_live->service->addStream(u"talk-7"_s, u"Title of the service"_s, 4);
    LiveStream stream(m_presentation.get(), true, u"talk-7"_s);
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy last(&stream, &LiveStream::lastSlideInfoWebErrorStringChanged);
    QSignalSpy errors(&stream, &LiveStream::slideUploadError);
    stream.requestStart();
    QVERIFY(started.wait());
    QCOMPARE(m_presentation->title(), u"Title of the service"_s);
    QCOMPARE(stream.presentationStreamVersion(), 4);

    last.clear();
    stream.uploadSlide(2, 1000, slideFile(u"One.png"_s));
    QVERIFY(last.wait());
    QVERIFY(stream.lastSlideInfoWebSuccess());
    QCOMPARE(m_live->service->problems(), QStringList());
    const QJsonObject report = m_live->service->requestsTo(slides)
                                   .last()
                                   .json.value("presentation_stream_slide"_L1)
                                   .toObject();
    QCOMPARE(report.value("screen"_L1).toInt(), 2);
    QCOMPARE(report.value("timestamp"_L1).toInteger(), 1000);
    QCOMPARE(report.value("path"_L1).toString(), u"streams/talk-7/v4/one.png"_s);
    QCOMPARE(m_bucket->requests().last().body, QByteArray("slide One.png"));

    m_live->service->setFault(slides, Fault::ServerError, 1);
    stream.uploadSlide(0, 2000, slideFile(u"two.png"_s));
    QVERIFY(last.wait());
    QVERIFY(!stream.lastSlideInfoWebSuccess());
    QCOMPARE(stream.lastSlideInfoWebError(), QNetworkReply::InternalServerError);
    QCOMPARE(errors.takeFirst().at(0).toString(),
        u"Sending slide info failed: 401 (%1)."_s.arg(stream.lastSlideInfoWebErrorString()));
    QVERIFY(!stream.lastSlideInfoWebErrorString().isEmpty());
    QVERIFY(QFile::exists(m_live->directory.filePath(u"two.png"_s)));

    stream.uploadSlide(0, 3000, slideFile(u"three.png"_s));
    QVERIFY(last.wait());
    QVERIFY(stream.lastSlideInfoWebSuccess());
    QCOMPARE(stream.lastSlideInfoWebError(), QNetworkReply::NoError);
    QCOMPARE(stream.lastSlideInfoWebErrorString(), QString());
    QCOMPARE(stream.slideInfoWebSuccessCount(), 2);
    QCOMPARE(stream.slideInfoWebFailCount(), 1);
    QCOMPARE(stream.slidesUploaded(), 3);
    QCOMPARE(m_live->service->requestsTo(slides).size(), 3); // the failed one is not repeated
    QCOMPARE(errors.size(), 0);
}

void TestLiveStream::stopDrainsAndLastReportsArrive()
{
    auto stream = std::make_unique<LiveStream>(m_presentation.get(), false, QString());
    QSignalSpy started(stream.get(), &LiveStream::started);
    stream->requestStart();
    QVERIFY(started.wait());
    for (int i = 0; i < 5; ++i)
        stream->uploadSlide(0, i, slideFile(u"queued_%1.png"_s.arg(i)));
    stream->requestStop();
    stream->uploadSlide(0, 6, slideFile(u"too_late.png"_s));
    // As its owner does: gone as soon as it has stopped, with the last report still under way.
    connect(stream.get(), &LiveStream::stopped, this, [&] { stream.reset(); });
    QTRY_VERIFY(!stream);
    QTRY_COMPARE(m_live->service->requestsTo(slides).size(), 5);
    QCOMPARE(m_bucket->requests().size(), 5);
    QCOMPARE(m_live->service->problems(), QStringList());
}

void TestLiveStream::deletedSessionHearsNothing_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::newRow("late success") << Fault::Late;
    QTest::newRow("late failure") << Fault::Hang;
}

void TestLiveStream::deletedSessionHearsNothing()
{
    QFETCH(Fault, fault);
    WebApiLimits::set(WebApi::instance(), 400ms, 600ms);
    m_live->service->setFault(streams, fault);
    auto stream = std::make_unique<LiveStream>(m_presentation.get(), false, QString());
    QSignalSpy received(m_live->service.get(), &HttpTestServer::requestReceived);
    stream->requestStart();
    QVERIFY(received.wait());
    stream.reset();
    QTRY_COMPARE(WebApiLimits::inFlight(WebApi::instance()), 0);
    QCOMPARE(m_presentation->title(), u"Live Stream 1"_s);
    QCOMPARE(m_presentation->livestreamPresentationId(), QString());
}

void TestLiveStream::stopWhileCreating()
{
    m_live->service->setFault(streams, Fault::Late, 1);
    LiveStream stream(m_presentation.get(), false, QString());
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy stopped(&stream, &LiveStream::stopped);
    stream.requestStart();
    stream.requestStop();
    QVERIFY(started.wait());
    QVERIFY(stream.isRunning());
    stream.requestStop();
    QVERIFY(stopped.wait());
    QVERIFY(!stream.isRunning());
}

QTEST_GUILESS_MAIN(TestLiveStream)
#include "tst_livestream.moc"

#include "recording/Presentation.h"
#include "service/LiveFixture.h"
#include "web/LiveStream.h"

#include <QFile>
#include <QJsonDocument>
#include <QPointer>

#include <aws/core/Aws.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Fault = HttpTestServer::Fault;

namespace {

const auto streams = QLatin1StringView(TestService::streamsPath);

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
    void cleanupTestCase() { Aws::ShutdownAPI(m_sdk); }

    void createFailureSaysWhy_data();
    void createFailureSaysWhy();
    void createReplyIsRead_data();
    void createReplyIsRead();
    void deletedSessionHearsNothing_data();
    void deletedSessionHearsNothing();

private:
    QString slideFile(const QString& name);

    Aws::SDKOptions m_sdk;
    std::unique_ptr<LiveFixture> m_live;
    std::unique_ptr<TestBucket> m_bucket;
    std::unique_ptr<Presentation> m_presentation;
};

void TestLiveStream::initTestCase()
{
    qputenv("AWS_EC2_METADATA_DISABLED", "true");
    Aws::InitAPI(m_sdk);
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
    QTest::newRow("500 without body") << Fault::ServerError << u"Internal server error."_s;
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
    row("id is an object", createReply("{}"), "");
    row("prefix with dots, blanks, percent, umlaut", createReply("1", "a b/../%41/\u00fc/"), "1",
        u"/a b/../%41/ü/slide.png"_s);
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

QTEST_GUILESS_MAIN(TestLiveStream)
#include "tst_livestream.moc"

#include "recording/Presentation.h"
#include "web/LiveFixture.h"
#include "web/LiveStream.h"

#include <QFile>
#include <QJsonDocument>

#include <aws/core/Aws.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

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
    void initTestCase()
    {
        qputenv("AWS_EC2_METADATA_DISABLED", "true");
        Aws::InitAPI(m_sdk);
        m_live = std::make_unique<LiveFixture>();
        QVERIFY(m_live->login());
    }
    void init()
    {
        m_bucket = std::make_unique<TestBucket>();
        QVERIFY(m_bucket->listenPlain());
        qputenv("AWS_ENDPOINT_URL_S3", "http://localhost:" + QByteArray::number(m_bucket->port()));
        m_presentation = std::make_unique<Presentation>(QDir(m_live->directory.path()));
    }
    void cleanupTestCase() { Aws::ShutdownAPI(m_sdk); }

    void createReplyIsRead_data();
    void createReplyIsRead();
    void deletedSessionHearsNothing();

private:
    Aws::SDKOptions m_sdk;
    std::unique_ptr<LiveFixture> m_live;
    std::unique_ptr<TestBucket> m_bucket;
    std::unique_ptr<Presentation> m_presentation;
};

void TestLiveStream::createReplyIsRead_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("read"); // id, title, version and start
    QTest::addColumn<QString>("objectPath"); // as the store sees it; empty: the upload must fail
    const QString plainPath = u"/p/slide.png"_s;
    QTest::newRow("id as text") << createReply(R"("talk-7")") << u"talk-7 Talk 7 1700000000123"_s
                                << plainPath;
    QTest::newRow("id is an object")
        << createReply("{}") << u" Talk 7 1700000000123"_s << plainPath;
    QTest::newRow("prefix with dots, blanks, percent, umlaut") << createReply("1",
        "a b/../%41/\u00fc/") << u"1 Talk 7 1700000000123"_s << u"/a b/../%41/ü/slide.png"_s;
    QTest::newRow("missing keys") << R"({"x":0})"_ba << u"  0 0"_s << QString();
    QTest::newRow("wrong types") << R"({"presentation":[1],"presentation_stream":
        {"id":"5","app_start":{},"current_slide_version":1.5},"upload":{"bucket":7,"prefix":null,
        "credentials":"none"}})"_ba
                                 << u"  0 0"_s << QString();
}

void TestLiveStream::createReplyIsRead()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, objectPath);
    m_live->service->setCreateReply(QJsonDocument::fromJson(reply).object());
    LiveStream stream(m_presentation.get(), false, QString());
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy stopped(&stream, &LiveStream::stopped);
    QSignalSpy errors(&stream, &LiveStream::slideUploadError);
    stream.requestStart();
    QVERIFY(started.wait());
    const QString read = u"%1 %2 %3 %4"_s.arg(m_presentation->livestreamPresentationId(),
        m_presentation->title(), QString::number(stream.presentationStreamVersion()),
        QString::number(stream.presentationStreamStart()));
    QTEST(read, "read");

    QFile slide(m_live->directory.filePath(u"Slide.PNG"_s));
    QVERIFY(slide.open(QIODevice::WriteOnly) && slide.write("slide") == 5);
    slide.close();
    stream.uploadSlide(0, 1, slide.fileName());
    stream.requestStop();
    QVERIFY(stopped.wait(30000));
    QCOMPARE(m_bucket->requestsTo(objectPath).size(), objectPath.isEmpty() ? 0 : 1);
    if (objectPath.isEmpty())
        QVERIFY(errors.value(0).value(0).toString().startsWith(u"Uploading slide "_s));
}

void TestLiveStream::deletedSessionHearsNothing()
{
    m_live->service->setCreateReply({}); // the real answer, which has an id
    m_live->service->setFault(
        QLatin1StringView(TestService::streamsPath), HttpTestServer::Fault::Late);
    auto stream = std::make_unique<LiveStream>(m_presentation.get(), false, QString());
    QSignalSpy received(m_live->service.get(), &HttpTestServer::requestReceived);
    stream->requestStart();
    QVERIFY(received.wait());
    stream.reset();
    QTRY_COMPARE(WebApiLimits::inFlight(WebApi::instance()), 0);
    QCOMPARE(m_presentation->title(), QString());
    QCOMPARE(m_presentation->livestreamPresentationId(), QString());
}

QTEST_GUILESS_MAIN(TestLiveStream)
#include "tst_livestream.moc"

#include "recording/WatchedRecorder.h"
#include "settings/LiveStreamSettings.h"
#include "web/LiveFixture.h"

#include <QGuiApplication>

#include <aws/core/Aws.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Fault = HttpTestServer::Fault;

namespace {

const auto streams = QLatin1StringView(TestService::streamsPath);
const auto slides = QLatin1StringView(TestService::slidesPath);
const auto pings = QLatin1StringView(TestService::pingsPath);

} // namespace

// Live streams with the real recorders, on a virtual screen with a virtual microphone, against a
// service with TLS on loopback.
class TestRecorderLive : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("AWS_EC2_METADATA_DISABLED", "true");
        Aws::InitAPI(m_sdk);
        m_live = std::make_unique<LiveFixture>();
        WatchedRecorder::prepare();
        m_screens = RecorderSettings::instance()->selectedSlideSource();
        QVERIFY(m_live->login());
    }

    void init()
    {
        m_workDir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_workDir->path());
        RecorderSettings::instance()->setSelectedSlideSource(m_screens);
        WebApiLimits::set(WebApi::instance(), 30s, 60s);
        m_live->service->shutDown();
        m_live->restart();
        m_bucket = std::make_unique<TestBucket>();
        m_switcher = std::make_unique<TestSwitcher>();
        QVERIFY(m_bucket->listenPlain() && m_switcher->listenPlain());
        qputenv("AWS_ENDPOINT_URL_S3", "http://localhost:" + QByteArray::number(m_bucket->port()));
        LiveStreamSettings::instance()->setVMixApiEndpoint(
            u"http://127.0.0.1:%1/api/"_s.arg(m_switcher->port()));
        LiveStreamSettings::instance()->setVMixApiPollInterval(1000);
        LiveStreamSettings::instance()->setPollVMixApi(true);
    }

    void cleanupTestCase() { Aws::ShutdownAPI(m_sdk); }
    void cleanup() { QTRY_COMPARE(WebApiLimits::inFlight(WebApi::instance()), 0); }

    void joinsAndOutlastsTheServicesAbsence()
    {
        m_live->service->addStream(u"talk-7"_s, u"Title of the service"_s, 4);
        WatchedRecorder recorder;
        recorder.requestStart(true, true, u"talk-7"_s);
        QVERIFY(recorder.starts.wait());
        QCOMPARE(recorder.liveStreamPresentationId(), u"talk-7"_s);
        QCOMPARE(recorder.liveStreamPresentationTitle(), u"Title of the service"_s);
        QTRY_COMPARE(recorder.slideInfoWebSuccessCount(), 1);

        const quint16 port = m_live->service->port();
        m_live->service->shutDown();
        recorder.captureSlide();
        QTRY_COMPARE(recorder.slideInfoWebFailCount(), 1);
        QCOMPARE(recorder.slidesUploaded(), 2); // the store is still there
        QVERIFY(!recorder.lastSlideInfoWebErrorString().isEmpty());
        QVERIFY(recorder.told().contains(u"Sending slide info failed: "_s));
        QTRY_VERIFY_WITH_TIMEOUT(recorder.told().contains(u"Sending ping failed: "_s), 10000);

        QVERIFY(m_live->service->listenTls(m_live->tls, port));
        const qsizetype before = m_live->service->requestsTo(pings).size();
        QTRY_VERIFY_WITH_TIMEOUT(m_live->service->requestsTo(pings).size() > before, 10000);
        const QJsonValue ping = m_live->service->requestsTo(pings).last().json;
        QCOMPARE(ping["presentation_stream_ping_data"_L1]["recording_app"_L1]["recording"_L1]
                     ["error_messages"_L1]
                         .toArray()
                         .size(),
            recorder.errors.size());
        recorder.captureSlide();
        QTRY_COMPARE(recorder.slideInfoWebSuccessCount(), 2);
        QCOMPARE(recorder.lastSlideInfoWebErrorString(), QString());
        recorder.captureSlide(); // written after the stop was requested, and streamed all the same
        recorder.requestStop();
        QVERIFY(recorder.stops.wait(10000));
        QTRY_COMPARE(m_live->service->requestsTo(slides).size(), 3);
        QCOMPARE(m_live->service->problems(), QStringList());
        for (int number = 1; number <= 4; ++number) {
            const QString name = u"0-000%1.png"_s.arg(number);
            QVERIFY(onlyPresentation().exists(u"slides_4/"_s + name));
            QCOMPARE(m_bucket->requestsTo(u"/streams/talk-7/v4/"_s + name).size(), 1);
        }
        const qsizetype polls = m_switcher->requests().size();
        QTest::qWait(1500); // longer than the poller's interval
        QCOMPARE(m_switcher->requests().size(), polls);
    }

    void startThatFails_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<bool>("oddSource");
        QTest::addColumn<QStringList>("messages");
        QTest::newRow("refused") << Fault::Unprocessable << false
                                 << QStringList(u"Not this stream."_s);
        QTest::newRow("broken, without a body")
            << Fault::ServerError << false << QStringList(u"Internal server error."_s);
        QTest::newRow("no answer") << Fault::Hang << false << QStringList(u"Unknown error."_s);
        QTest::newRow("stream made, but no such slide source")
            << Fault::None << true << QStringList();
    }

    void startThatFails()
    {
        QFETCH(Fault, fault);
        QFETCH(bool, oddSource);
        QFETCH(QStringList, messages);
        WebApiLimits::set(WebApi::instance(), 500ms, 800ms);
        m_live->service->setFault(streams, fault);
        if (oddSource)
            RecorderSettings::instance()->setSelectedSlideSource(SlidesSourceInfo(
                true, SlidesSourceInfo::SlideSourceType(1), "odd"_ba, 0, u"Odd"_s));
        WatchedRecorder recorder;
        QStringList told;
        connect(&recorder, &Recorder::liveStreamStartFailed, this,
            [&](const QString& message) { told += message; });
        recorder.requestStart(true, false, QString());
        QVERIFY(recorder.stops.wait());
        QCOMPARE(told, messages);
        QCOMPARE(recorder.state(), Recorder::Stopped);
        QVERIFY(!recorder.isLiveStream());
        QCOMPARE(recorder.starts.size(), 0);
        QCOMPARE(m_live->service->requestsTo(pings).size(), 0);
    }

    void stopWhileCreating_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<bool>("destroyed");
        QTest::newRow("answered late") << Fault::Late << false;
        QTest::newRow("never answered") << Fault::Hang << false;
        QTest::newRow("destroyed before the answer") << Fault::Late << true;
    }

    void stopWhileCreating()
    {
        QFETCH(Fault, fault);
        QFETCH(bool, destroyed);
        WebApiLimits::set(WebApi::instance(), 700ms, 1000ms);
        m_live->service->setFault(streams, fault, 1);
        auto recorder = std::make_unique<WatchedRecorder>();
        recorder->requestStart(true, false, QString());
        QTRY_COMPARE(m_live->service->requestsTo(streams).size(), 1);
        if (destroyed)
            return; // cleanup() waits for the answer, which must find nobody
        recorder->requestStop();
        QCOMPARE(recorder->state(), Recorder::Stopping);
        QVERIFY(recorder->stops.wait(10000));
        QCOMPARE(recorder->state(), Recorder::Stopped);
        QCOMPARE(m_live->service->requestsTo(pings).size(), 0);
        QCOMPARE(recorder->errors.size(), 0);
    }

private:
    QDir onlyPresentation() const;

    Aws::SDKOptions m_sdk;
    std::unique_ptr<LiveFixture> m_live;
    std::unique_ptr<TestBucket> m_bucket;
    std::unique_ptr<TestSwitcher> m_switcher;
    std::unique_ptr<QTemporaryDir> m_workDir;
    SlidesSourceInfo m_screens;
};

QDir TestRecorderLive::onlyPresentation() const
{
    const QStringList names = QDir(m_workDir->path()).entryList({ u"Live Stream *"_s });
    return names.size() == 1 ? QDir(m_workDir->filePath(names.first())) : QDir(u"/nonexistent"_s);
}

QTEST_MAIN(TestRecorderLive)
#include "tst_recorder_live.moc"

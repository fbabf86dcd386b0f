#include "settings/LiveStreamSettings.h"
#include "settings/LoginSettings.h"
#include "settings/RecorderSettings.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QStringList logLines;

void collectLog(QtMsgType, const QMessageLogContext&, const QString& message)
{
    logLines.append(message);
}

// The singletons live once a process: each row writes a store and loads it over what was before.
void writeStore(const QByteArray& ini)
{
    const QString path = QSettings().fileName();
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(ini);
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(qputenv("XDG_CONFIG_HOME", m_dir.path().toUtf8()));
        QCoreApplication::setOrganizationName(u"Podiumcast"_s);
        QCoreApplication::setApplicationName(u"PodiumcastRecorder"_s);
    }

    void freshStore()
    {
        RecorderSettings* settings = RecorderSettings::instance();
        QSignalSpy native(
            settings, &RecorderSettings::property_useNativeSlideSourceResolutionChanged);
        qInstallMessageHandler(collectLog);
        settings->load();
        QTest::qWait(0);
        qInstallMessageHandler(nullptr);
        QCOMPARE(native.size(), 1);
        QCOMPARE(settings->slideWidth(), 1920);
        QCOMPARE(settings->slideHeight(), 1080);
        QCOMPARE(settings->audioChannelCount(), 1);
        QVERIFY(settings->pointerRecordingEnabled());
        // Five values changed, one save.
        QCOMPARE(logLines.filter(u"saveSettings"_s).size(), 1);
        QCOMPARE(QSettings().value(u"recorderSettings/slideWidth"_s).toInt(), 1920);

        LiveStreamSettings::instance()->load();
        QCOMPARE(
            LiveStreamSettings::instance()->vMixApiEndpoint(), u"http://127.0.0.1:8088/api/"_s);
        QCOMPARE(LiveStreamSettings::instance()->vMixApiPollInterval(), 5000);
        QVERIFY(!LiveStreamSettings::instance()->pollVMixApi());
    }

    void stores_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<bool>("native");
        QTest::addColumn<int>("width");
        QTest::addColumn<qint64>("interval");
        QTest::addColumn<QString>("endpoint");

        QTest::newRow("other values")
            << QByteArray("[recorderSettings]\nuseNativeSlideSourceResolution=false\n"
                          "slideWidth=1280\n[liveStreamSettings]\nvMixApiPollInterval=250\n"
                          "vMixApiEndpoint=http://10.0.0.2/api\n")
            << false << 1280 << qint64(250) << u"http://10.0.0.2/api"_s;
        QTest::newRow("wrong types give defaults")
            << QByteArray(
                   "[recorderSettings]\nuseNativeSlideSourceResolution=perhaps\n"
                   "slideWidth=wide\n[liveStreamSettings]\nvMixApiPollInterval=@ByteArray(x)\n"
                   "vMixApiEndpoint=@Invalid()\n")
            << true << 1920 << qint64(5000) << u"http://127.0.0.1:8088/api/"_s;
        QTest::newRow("not a store at all")
            << QByteArray("\x00\xff[[[\n=\n@Variant(\x00", 18) << true << 1920 << qint64(5000)
            << u"http://127.0.0.1:8088/api/"_s;
    }

    void stores()
    {
        QFETCH(QByteArray, ini);
        writeStore(ini);
        RecorderSettings::instance()->load();
        LiveStreamSettings::instance()->load();
        LoginSettings::instance()->load();
        QTEST(RecorderSettings::instance()->useNativeSlideSourceResolution(), "native");
        QTEST(RecorderSettings::instance()->slideWidth(), "width");
        QTEST(LiveStreamSettings::instance()->vMixApiPollInterval(), "interval");
        QTEST(LiveStreamSettings::instance()->vMixApiEndpoint(), "endpoint");
        QTest::qWait(0); // the deferred save must not fall into the next row
    }

    void storedSelectionIsAppliedOnceAndFallsBack()
    {
        RecorderSettings* settings = RecorderSettings::instance();
        settings->refreshAvailableSlideSources();
        QTRY_COMPARE(settings->selectedSlideSource().id(), "IntervalScreenCapture"_ba);

        const SlidesSourceInfo disabled(
            false, SlidesSourceInfo::VideoInput, "x"_ba, 0, u"OBS Virtual Camera"_s);
        QSignalSpy changed(settings, &RecorderSettings::property_selectedSlideSourceChanged);
        settings->setSelectedSlideSource(disabled);
        QVERIFY(changed.isEmpty());

        // A source that left the catalogue is not among its entries: a changed catalogue, or the
        // default rule, brings the selection back to the first one.
        settings->setSelectedSlideSource(
            SlidesSourceInfo(true, SlidesSourceInfo::VideoInput, "gone"_ba, 0, u"Gone"_s));
        settings->selectDefaultSlideSource();
        QCOMPARE(changed.size(), 2);
        QTRY_COMPARE(QSettings().value(u"recorderSettings/selectedSlideSource"_s).toByteArray(),
            "IntervalScreenCapture"_ba);
    }

    void invalidValuesAreNeitherEqualNorDifferent()
    {
        QVERIFY(!(AudioInputInfo() == AudioInputInfo()) && !(AudioInputInfo() != AudioInputInfo()));
        QCOMPARE(AudioInputInfo().name(), u"<invalid audio input>"_s);
        const SlidesSourceInfo invalid;
        QVERIFY(!(invalid == invalid) && !(invalid != invalid) && !invalid.sameAs(invalid));
        const SlidesSourceInfo a(true, SlidesSourceInfo::NDISource, "id"_ba, 0, u"A"_s);
        const SlidesSourceInfo b(false, SlidesSourceInfo::VideoInput, "id"_ba, 1, u"B"_s);
        QVERIFY(a == b && !(a != b) && a != invalid);
        QString text;
        QDebug(&text) << a;
        QCOMPARE(text.trimmed(), u"SlidesSourceInfo ( 4 , \"A\" )"_s);
    }

    void loginSettingsAreWrittenAtOnce()
    {
        LoginSettings::instance()->setLoginEmail(u"a@b.example"_s);
        LoginSettings::instance()->setLiveStreamResume(true);
        QCOMPARE(QSettings().value(u"loginSettings/loginEmail"_s).toString(), u"a@b.example"_s);
        QVERIFY(QSettings().value(u"loginSettings/liveStreamResume"_s).toBool());
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"

#include "harness/Files.h"
#include "harness/IsolatedSettings.h"
#include "settings/LiveStreamSettings.h"
#include "settings/RecorderSettings.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName(u"Podiumcast"_s);
        QCoreApplication::setApplicationName(u"PodiumcastRecorder"_s);
    }

    void stores_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("loaded");

        const QString defaults = u"true 1920 5000 http://127.0.0.1:8088/api/"_s;
        QTest::newRow("other values")
            << "[recorderSettings]\nuseNativeSlideSourceResolution=false\nslideWidth=1280\n"
               "[liveStreamSettings]\nvMixApiPollInterval=250\nvMixApiEndpoint=http://a/b\n"_ba
            << u"false 1280 250 http://a/b"_s;
        QTest::newRow("wrong types")
            << "[recorderSettings]\nuseNativeSlideSourceResolution=perhaps\nslideWidth=wide\n"
               "[liveStreamSettings]\nvMixApiPollInterval=@ByteArray(x)\n"
               "vMixApiEndpoint=@Invalid()\n"_ba
            << defaults;
        QTest::newRow("not a store at all")
            << QByteArray("\x00\xff[[[\n=\n@Variant(\x00", 18) << defaults;
    }

    /// The singletons live once a process: each row is loaded over what was before.
    void stores()
    {
        QFETCH(QByteArray, ini);
        const QString path = QSettings().fileName();
        QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
        writeFile(path, ini);
        const RecorderSettings* recorder = RecorderSettings::instance();
        const LiveStreamSettings* live = LiveStreamSettings::instance();
        RecorderSettings::instance()->load();
        LiveStreamSettings::instance()->load();
        QString loaded;
        QTextStream(&loaded) << (recorder->useNativeSlideSourceResolution() ? "true " : "false ")
                             << recorder->slideWidth() << ' ' << live->vMixApiPollInterval() << ' '
                             << live->vMixApiEndpoint();
        QTEST(loaded, "loaded");
        // Written back once this turn of the event loop is over.
        QTRY_COMPARE(QSettings().value(u"recorderSettings/slideWidth"_s).toString(),
            QString::number(recorder->slideWidth()));
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"

#include "recording/Presentation.h"
#include "ui/MainWindow.h"
#include "ui/WindowFixture.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QMetaProperty>
#include <QQuickItem>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class TestMainWindow : public QObject
{
    Q_OBJECT

public slots:
    void recordUrl(const QUrl& url) { m_openedUrls.append(url); }

private slots:
    void init()
    {
        m_openedUrls.clear();
        for (const QString& scheme : { u"file"_s, u"https"_s, u"http"_s })
            QDesktopServices::setUrlHandler(scheme, this, "recordUrl");
    }

    void cleanup()
    {
        for (const QString& scheme : { u"file"_s, u"https"_s, u"http"_s })
            QDesktopServices::unsetUrlHandler(scheme);
    }

    /// Property, notify signal; 1 to 20 are writable.
    void propertiesKeepTheirOrder()
    {
        const QString expected
            = u"version - isRecording property_recordingChanged isLoading property_loadingChanged "
              "recordingDurationString property_recordingDurationStringChanged "
              "isLiveStream property_liveStreamChanged "
              "liveStreamPresentationId property_liveStreamPresentationChanged "
              "liveStreamPresentationTitle property_liveStreamPresentationChanged "
              "slidesFrozen * slidesResolutions * slidesCaptured * slidesSaved * slidesToUpload * "
              "slidesUploaded * slidesUploadFailed * slideInfoWebSuccessCount * "
              "slideInfoWebFailCount * lastSlideInfoWebSuccess * lastSlideInfoWebError * "
              "lastSlideInfoWebErrorString * mousePositionX * mousePositionY * "
              "mouseListenerEnabled never screenRecordingEnabled never"_s;
        QStringList found;
        const QMetaObject& meta = MainWindow::staticMetaObject;
        for (int i = 0; i < 23; ++i) {
            const QMetaProperty property = meta.property(meta.propertyOffset() + i);
            const QByteArray name = property.name();
            const QByteArray notify
                = property.hasNotifySignal() ? property.notifySignal().name() : "-"_ba;
            found << QString::fromLatin1(name)
                  << (notify == name + "Changed" ? u"*"_s : QString::fromLatin1(notify));
            QCOMPARE(property.isWritable(), i >= 1 && i <= 20);
        }
        QCOMPARE(found.join(u' '), expected);
        QCOMPARE(MainWindow().version(), u"130"_s);
    }

    void durationString_data()
    {
        QTest::addColumn<qint64>("milliseconds");
        QTest::addColumn<QString>("expected");
        QTest::newRow("start") << qint64(0) << u"00:00:00.000"_s;
        QTest::newRow("padded") << qint64(307123) << u"00:05:07.123"_s;
        QTest::newRow("before the hour") << qint64(3599999) << u"00:59:59.999"_s;
        QTest::newRow("hundred hours") << qint64(360000000) + 61001 << u"100:01:01.001"_s;
    }
    void durationString()
    {
        QFETCH(qint64, milliseconds);
        QTEST(MainWindow::durationString(milliseconds), "expected");
    }

    /// Each setter is called with the same value twice; every write but the first is counted.
    void notifications_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("onChangeOnly");
        const auto row = [](const char* property, const QVariant& value, bool onChangeOnly) {
            QTest::newRow(property) << QByteArray(property) << value << onChangeOnly;
        };
        row("isLoading", true, true);
        row("isRecording", true, true);
        row("isLiveStream", true, true);
        row("slidesFrozen", true, false);
        row("slidesResolutions", QVariantList{ 1 }, false);
        row("lastSlideInfoWebSuccess", true, false);
        row("lastSlideInfoWebError", QVariant::fromValue(QNetworkReply::TimeoutError), false);
        row("lastSlideInfoWebErrorString", u"late"_s, false);
        for (const char* counter : { "slidesCaptured", "slidesSaved", "slidesToUpload",
                 "slidesUploaded", "slidesUploadFailed", "slideInfoWebSuccessCount",
                 "slideInfoWebFailCount", "mousePositionX", "mousePositionY" })
            row(counter, qint64(3'000'000'000), false);
    }
    void notifications()
    {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, value);
        QFETCH(bool, onChangeOnly);
        MainWindow facade;
        const QMetaObject* meta = facade.metaObject();
        QSignalSpy spy(
            &facade, meta->property(meta->indexOfProperty(property.constData())).notifySignal());
        QVERIFY(facade.setProperty(property.constData(), value));
        QVERIFY(facade.setProperty(property.constData(), value));
        QCOMPARE(spy.count(), onChangeOnly ? 1 : 2);
        QCOMPARE(facade.property(property.constData()), value);
    }

    void wholeRecordingWithoutScreens()
    {
        MainWindow facade; // no preview: every step has to do without
        QSignalSpy start(&facade, &MainWindow::startRecording);
        QSignalSpy loading(&facade, &MainWindow::property_loadingChanged);
        QSignalSpy duration(&facade, &MainWindow::property_recordingDurationStringChanged);
        facade.qml_startRecording();
        QVERIFY(facade.isLoading());
        QCOMPARE(start.count(), 1);

        facade.setRecording(true);
        QVERIFY(!facade.isLoading());
        QCOMPARE(duration.value(0).value(0).toString(), u"00:00:00.000"_s);

        facade.qml_stopRecording();
        facade.setRecording(false);
        const int updates = duration.count();
        QVERIFY(!facade.isLoading());
        facade.setRecording(false);
        QCOMPARE(loading.count(), 4);
        QCOMPARE(duration.count(), updates);
        QVERIFY(!facade.property("recordingDurationString").toString().isEmpty());

        QSignalSpy live(&facade, &MainWindow::startLiveStream);
        facade.qml_startLiveStream(true, u"  7f3a91\t "_s);
        QCOMPARE(live.takeFirst(), QVariantList({ true, u"7f3a91"_s }));
    }

    void failedStartReturnsToIdle()
    {
        MainWindow facade;
        QSignalSpy errors(&facade, &MainWindow::errorMessage);
        facade.qml_startRecording();
        facade.showStartFailed(u"The directory cannot be written."_s);
        QVERIFY(!facade.isLoading());
        QCOMPARE(errors.value(0).value(0).toString(), u"The directory cannot be written."_s);
    }

    void opensOnlyTheWorkDirectory_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("opens");
        QTest::newRow("recording") << u"Talk #1 of 3"_s << true;
        QTest::newRow("missing") << u"nowhere"_s << false;
        QTest::newRow("work directory itself") << u"."_s << false;
        QTest::newRow("dots") << u"Talk #1 of 3/../../outside"_s << false;
        QTest::newRow("link that leads out") << u"link"_s << false;
        QTest::newRow("neighbour with the same beginning") << u"../Presentations2"_s << false;
    }
    void opensOnlyTheWorkDirectory()
    {
        QFETCH(QString, path);
        QFETCH(bool, opens);
        WindowFixture fixture;
        const QDir dir(fixture.workDir());
        for (const char* name : { "Talk #1 of 3", "../outside", "../Presentations2" })
            QVERIFY(dir.mkpath(QString::fromLatin1(name)));
        QVERIFY(QFile::link(dir.filePath(u"../outside"_s), dir.filePath(u"link"_s)));
        MainWindow facade;
        if (!opens)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"not opening"_s));
        QCOMPARE(facade.qml_openDirectory(dir.filePath(path)), opens);
        QCOMPARE(m_openedUrls.size(), opens ? 1 : 0);
        if (opens) {
            const QString encoded = m_openedUrls.first().toString(QUrl::FullyEncoded);
            QVERIFY2(encoded.startsWith("file:///"_L1), qPrintable(encoded));
            QVERIFY2(encoded.endsWith("/Talk%20%231%20of%203"_L1), qPrintable(encoded));
        }
    }

    void opensOnlyWebLinks()
    {
        MainWindow facade;
        QVERIFY(facade.qml_openLink(facade.qml_serviceUrl(u"/7f3a91/-/edit/live"_s)));
        QVERIFY(m_openedUrls.first().toString().startsWith("https://"_L1));
        QCOMPARE(m_openedUrls.first().path(), u"/7f3a91/-/edit/live"_s);
        QVERIFY(!facade.qml_serviceUrl(u"/a?b#c/-/edit/live"_s).hasQuery());
        for (const char* url : { "file:///etc/passwd", "javascript:alert(1)", "" }) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"not opening"_s));
            QVERIFY(!facade.qml_openLink(QUrl(QString::fromLatin1(url))));
        }
        QCOMPARE(m_openedUrls.size(), 1);
    }

private:
    QList<QUrl> m_openedUrls;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"

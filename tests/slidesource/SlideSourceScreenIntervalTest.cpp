#include "slidesource/SlideSourceScreenInterval.h"
#include "slidesource/SourceProbe.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtTest>

#include <opencv2/imgproc.hpp>

using namespace Qt::StringLiterals;

namespace {

const SlidesSourceInfo ScreenInfo(
    true, SlidesSourceInfo::IntervalScreenCapture, "IntervalScreenCapture"_ba, -1, u"Screens"_s);

void xrandr(const QString& arguments)
{
    QCOMPARE(QProcess::execute(u"xrandr"_s, arguments.split(u' ')), 0);
}

} // namespace

class SlideSourceScreenIntervalTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_wallpaper = QImage(3840, 1080, QImage::Format_RGB32);
        cv::Mat pixels(m_wallpaper.height(), m_wallpaper.width(), CV_8UC4, m_wallpaper.bits());
        cv::randu(pixels, 0, 256);
        const QTemporaryDir dir;
        QVERIFY(m_wallpaper.save(dir.filePath(u"wallpaper.bmp"_s)));
        // Its exit code is 1 even when it has done its work; the pixels are compared below.
        QProcess::execute(
            u"display"_s, { u"-window"_s, u"root"_s, dir.filePath(u"wallpaper.bmp"_s) });
        xrandr(u"--setmonitor LEFT 1920/508x1080/286+0+0 screen"_s);
        xrandr(u"--setmonitor RIGHT 1920/508x1080/286+1920+0 none"_s);
        QTRY_COMPARE(QGuiApplication::screens().size(), 2);
        m_sharesMemory = !qEnvironmentVariableIsSet("PODIUMCAST_TEST_REMOTE");
    }

    void framesShowTheScreensInQtsOrder()
    {
        SourceProbe probe(ScreenInfo);
        QVERIFY(probe.becomesReady());
        QTRY_COMPARE(probe.captures.size(), 1);
        // A new primary monitor comes first in Qt's list, and so in the frames.
        xrandr(u"--setmonitor *FRONT 1920/508x1080/286+960+0 none"_s);
        QTRY_COMPARE(QGuiApplication::screens().size(), 3);
        QTRY_COMPARE(QGuiApplication::screens().first()->name(), u"FRONT"_s);
        probe.force();
        const SourceProbe::Capture capture = probe.captures.first();
        const QList<QScreen*> screens = QGuiApplication::screens();
        QCOMPARE(capture.images.size(), screens.size());
        QCOMPARE(probe.source->slidesResolutions().size(), screens.size());
        for (qsizetype i = 0; i < screens.size(); ++i) {
            const QImage grabbed = screens[i]->grabWindow(0).toImage();
            QCOMPARE(capture.images[i], grabbed);
            QCOMPARE(capture.images[i].devicePixelRatio(), screens[i]->devicePixelRatio());
            QCOMPARE(capture.images[i].dotsPerMeterX(), grabbed.dotsPerMeterX());
            QCOMPARE(qAlpha(reinterpret_cast<const QRgb*>(capture.images[i].constBits())[5]), 255);
            const QRect area(screens[i]->geometry().topLeft(), QSize(1920, 1080)); // as set above
            const QImage expected = m_wallpaper.copy(area);
            QCOMPARE(
                QImage(capture.images[i].constBits(), 1920, 1080, QImage::Format_RGB32), expected);
            const cv::Mat mat(1080, 1920, CV_8UC4, const_cast<uchar*>(expected.constBits()));
            cv::Mat bgr;
            cv::cvtColor(mat, bgr, cv::COLOR_BGRA2BGR);
            QCOMPARE(cv::norm(capture.mats[i], bgr), 0.0);
        }
        xrandr(u"--delmonitor FRONT"_s);
        QTRY_COMPARE(QGuiApplication::screens().size(), 2);
    }

    // Memory that is shared with the X server is written again only when nobody has the picture.
    void framesAreTheirOwn()
    {
        QList<QImage> kept;
        {
            SourceProbe probe(ScreenInfo);
            QVERIFY(probe.becomesReady());
            probe.force();
            probe.force(); // the first one of a scaled screen is Qt's
            kept = probe.captures.first().images;
            QFile maps(u"/proc/self/maps"_s);
            QVERIFY(maps.open(QIODevice::ReadOnly));
            QCOMPARE(maps.readAll().contains("memfd:podiumcast-screen"), m_sharesMemory);
            QCOMPARE(QProcess::execute(u"xsetroot"_s, { u"-solid"_s, u"#123456"_s }), 0);
            for (int round = 0; round < 3; ++round) {
                probe.force();
                QCOMPARE(probe.captures.first().images[0].pixel(7, 7), 0xff123456);
            }
            // A monitor that is not all on the desktop, as while the desktop shrinks.
            xrandr(u"--setmonitor OUTSIDE 640/170x480/127+3600+900 none"_s);
            QTRY_COMPARE(QGuiApplication::screens().size(), 3);
            probe.force();
            QCOMPARE(probe.captures.first().images.size(), 3);
            QCOMPARE(probe.captures.first().images[2].pixel(7, 7), 0xff123456);
            xrandr(u"--delmonitor OUTSIDE"_s);
            QTRY_COMPARE(QGuiApplication::screens().size(), 2);
        }
        for (const QImage& image : std::as_const(kept))
            QVERIFY(image.pixel(7, 7) != 0xff123456 && image.pixel(9, 7) != image.pixel(7, 9));
    }

    void desktopsOfOtherKinds_data()
    {
        QTest::addColumn<QStringList>("environment");
        QTest::newRow("scaled") << QStringList{ u"QT_SCALE_FACTOR=1.75"_s };
        QTest::newRow("remote") << QStringList{ u"PODIUMCAST_TEST_REMOTE=1"_s };
    }

    // This program again: on scaled screens, and on an X server that shares no memory.
    void desktopsOfOtherKinds()
    {
        QFETCH(QStringList, environment);
        QProcess server;
        server.setProcessChannelMode(QProcess::SeparateChannels);
        server.start(u"Xvfb"_s,
            { u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"3840x1080x24"_s, u"-nolisten"_s,
                u"tcp"_s, u"-noreset"_s,
                environment.first().startsWith(u"PODIUMCAST"_s) ? u"-extension"_s : u"+extension"_s,
                u"MIT-SHM"_s });
        QVERIFY(server.waitForReadyRead(20'000));
        QProcess test;
        test.setProcessChannelMode(QProcess::MergedChannels);
        test.setEnvironment(QProcess::systemEnvironment() + environment
            + QStringList{ u"DISPLAY=:"_s + QString::fromLatin1(server.readLine()).trimmed() });
        test.start(QCoreApplication::applicationFilePath(),
            { u"framesShowTheScreensInQtsOrder"_s, u"framesAreTheirOwn"_s });
        const bool finished = test.waitForFinished(60'000);
        server.terminate();
        QVERIFY(server.waitForFinished(10'000));
        QVERIFY2(finished && test.exitStatus() == QProcess::NormalExit && test.exitCode() == 0,
            test.readAll().constData());
    }

    void forcedCaptureMovesTheNextOne()
    {
        SourceProbe probe(ScreenInfo);
        QVERIFY(probe.becomesReady());
        QTRY_COMPARE(probe.captures.size(), 1);
        QTimer::singleShot(600, &probe, [&probe] { probe.force(); }); // between two ticks
        QTRY_VERIFY(probe.captures.size() == 2 && probe.captures[0].forced);
        QVERIFY(!probe.captures[1].forced);
        QVERIFY(probe.captures[1].time - probe.captures[0].time >= 1000);
    }

    void monitorsComeAndGoDuringCapture()
    {
        SourceProbe probe(ScreenInfo);
        QVERIFY(probe.becomesReady());
        qsizetype screens = 0; // of the latest capture; each asks for the next one at once
        connect(probe.source.get(), &SlideSource::slidesCaptured, &probe, [&] {
            screens = probe.captures.takeLast().images.size();
            QVERIFY(screens == 2 || screens == 3);
            QMetaObject::invokeMethod(probe.source.get(), &SlideSource::captureSlide);
        });
        for (int cycle = 0; cycle < 25; ++cycle) {
            for (qsizetype count : { 3, 2 }) {
                xrandr(count == 3 ? u"--setmonitor THIRD 640/170x480/127+100+100 none"_s
                                  : u"--delmonitor THIRD"_s);
                QTRY_COMPARE(QGuiApplication::screens().size(), count);
                QTRY_COMPARE(screens, count);
            }
        }
    }

private:
    bool m_sharesMemory = true; ///< with the X server
    QImage m_wallpaper;
};

QTEST_MAIN(SlideSourceScreenIntervalTest)
#include "SlideSourceScreenIntervalTest.moc"

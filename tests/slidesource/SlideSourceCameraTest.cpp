#include "FakeCamera.h"
#include "SourceProbe.h"
#include "harness/IsolatedSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/CameraDevice.h"
#include "slidesource/NewVideoCapture.h"

#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::atomic<bool> CameraScript::*)

namespace {

const QString OpenFailed = u"Opening camera device failed. No slides will be captured."_s;
const QString InvalidResolution
    = u"Invalid resolution set in Settings. Slides will be captured in slide source native resolution."_s;

} // namespace

/// The camera source with a stand-in behind the seam of the device access.
class SlideSourceCameraTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_script = std::make_unique<CameraScript>();
        m_script->clock.start();
        CameraDevice::Options options;
        options.createCapture
            = [script = m_script.get()] { return std::make_unique<FakeCamera>(*script); };
        options.readTimeoutMs = 300;
        options.reopenIntervalMs = 1000;
        options.slowOpenMs = 150;
        CameraDevice::defaultOptions() = options;
        RecorderSettings::instance()->setUseNativeSlideSourceResolution(true);
    }

    // What cameras are opened with outside of tests.
    void newVideoCaptureReads()
    {
        QCoreApplication::addLibraryPath(
            QCoreApplication::applicationDirPath() + u"/../../src/app"_s);
        const auto capture = newVideoCapture();
        cv::Mat frame;
        const QTemporaryDir directory;
        QVERIFY(QImage(320, 240, QImage::Format_RGB32).save(directory.filePath(u"1.png"_s)));
        const QString pictures = directory.filePath(u"%d.png"_s);
        QVERIFY(
            capture && capture->open(pictures.toStdString(), cv::CAP_ANY) && capture->read(frame));
        QCOMPARE(frame.cols, 320);
    }

    void opening()
    {
        struct Case
        {
            QSize size; // invalid: native
            bool opens;
            bool asked;
            QStringList errors;
        };
        const Case cases[] = { { {}, true, false, {} }, { { 101, 101 }, true, true, {} },
            { { 1280, 100 }, true, false, { InvalidResolution } },
            { {}, false, false, { OpenFailed } } };
        RecorderSettings* settings = RecorderSettings::instance();
        for (const auto& [size, opens, asked, errors] : cases) {
            settings->setUseNativeSlideSourceResolution(!size.isValid());
            settings->setSlideWidth(size.width());
            settings->setSlideHeight(size.height());
            m_script->openFails = !opens;
            m_script->settings.clear();
            SourceProbe probe(m_info);
            probe.source->start();
            QTRY_VERIFY(opens ? probe.ready == 1 : probe.source->isFinished());
            QTRY_COMPARE(probe.errors, errors);
            QCOMPARE(probe.ready + probe.stopped, opens ? 1 : 0);
            std::vector<std::pair<int, double>> wanted;
            if (asked)
                wanted = { { cv::CAP_PROP_FRAME_WIDTH, size.width() },
                    { cv::CAP_PROP_FRAME_HEIGHT, size.height() } };
            QVERIFY(m_script->settings == wanted);
        }
    }

    /// A slide shows what is on air now, not what has waited in the driver's queue.
    void newestFrame()
    {
        SourceProbe probe(m_info);
        QVERIFY(probe.becomesReady());
        for (int i = 0; i < 3; ++i) {
            probe.captures.clear();
            QTRY_COMPARE(probe.captures.size(), 1); // by the timer: once a second
            const qint64 now = m_script->clock.elapsed();
            const SourceProbe::Capture& capture = probe.captures.first();
            QCOMPARE(capture.mats.first().type(), CV_8UC3);
            QVERIFY(capture.sharesPixels && capture.mats.size() == 1 && !capture.forced);
            const int shown = qRed(capture.images.first().pixel(160, 120));
            const qint64 age = (now / CameraScript::FrameMs - shown + CameraScript::Levels)
                % CameraScript::Levels;
            QVERIFY2(age <= 8, qPrintable(u"%1 frames old"_s.arg(age)));
        }
    }

    /// Failed reads travel as empty frames; the operator hears once, the device is opened again.
    void failedReads()
    {
        SourceProbe probe(m_info);
        QVERIFY(probe.becomesReady());
        QVERIFY(!probe.forcedImage().isNull());
        m_script->readFails = true;
        for (int i = 0; i < 4; ++i) {
            probe.force();
            QCOMPARE(probe.captures.size(), 1);
            QVERIFY(probe.captures[0].mats[0].empty() && probe.captures[0].images[0].isNull());
        }
        QCOMPARE(m_script->opens, 1);
        probe.force(); // the fifth
        QTRY_COMPARE(m_script->opens, 2);
        probe.force();
        QCOMPARE(m_script->opens, 2); // not before the interval is over
        QTRY_VERIFY_WITH_TIMEOUT((probe.force(), m_script->opens >= 3), 6000);
        QCOMPARE(probe.errors.size(), 1);

        m_script->readFails = false;
        QTRY_VERIFY(!probe.forcedImage().isNull());
        m_script->readFails = true;
        probe.force();
        QCOMPARE(probe.errors.size(), 2);
        QCOMPARE(m_script->mostOpen, 1);
    }

    void hangs_data()
    {
        QTest::addColumn<std::atomic<bool> CameraScript::*>("hangs");
        QTest::newRow("open") << &CameraScript::openHangs;
        QTest::newRow("read") << &CameraScript::readHangs;
        QTest::newRow("release") << &CameraScript::releaseHangs;
    }

    /// A driver that does not return holds up neither the stop nor the next source's stop; the next
    /// one opens the device as soon as it is free.
    void hangs()
    {
        QFETCH(std::atomic<bool> CameraScript::*, hangs);
        std::atomic<bool>& hang = *m_script.*hangs;
        {
            SourceProbe probe(m_info);
            if (hangs == &CameraScript::openHangs) {
                hang = true;
                probe.source->start();
                QTRY_COMPARE(probe.errors.size(), 1); // the operator hears what is going on
            } else {
                QVERIFY(probe.becomesReady());
                hang = true;
            }
            if (hangs == &CameraScript::readHangs) {
                QVERIFY(probe.forcedImage().isNull());
                QVERIFY(probe.forcedImage().isNull());
                QCOMPARE(probe.errors.size(), 1);
            }
            QVERIFY(probe.stopsPromptly());
        }
        {
            SourceProbe probe(m_info);
            probe.source->start();
            QTRY_COMPARE(probe.errors.size(), 1);
            QVERIFY(probe.stopsPromptly());
        }
        SourceProbe probe(m_info);
        probe.source->start();
        QCOMPARE(m_script->opens, 1);
        hang = false;
        QTRY_COMPARE(probe.ready, 1);
        QVERIFY(!probe.forcedImage().isNull());
        QCOMPARE(m_script->mostOpen, 1);
    }

    /// A slide that was asked for is not lost by a stop while a slow camera delivers it.
    void forcedSlideAtTheStop()
    {
        CameraDevice::defaultOptions().readTimeoutMs = 5000;
        for (const bool abandoned : { false, true }) {
            SourceProbe probe(m_info);
            QVERIFY(probe.becomesReady());
            m_script->readHangs = true;
            QMetaObject::invokeMethod(
                probe.source.get(), &SlideSource::captureSlide, Qt::QueuedConnection);
            QTest::qWait(100);
            abandoned ? probe.source->abandon() : probe.source->requestStop();
            QTest::qWait(500);
            QCOMPARE(probe.source->isFinished(), abandoned);
            m_script->readHangs = false;
            QTRY_VERIFY(probe.source->isFinished());
            QTRY_COMPARE(probe.captures.size(), abandoned ? 0 : 1);
            QVERIFY(
                abandoned || (probe.captures[0].forced && !probe.captures[0].images[0].isNull()));
        }
    }

    /// The slide clock follows the audio, also when the camera is ready only later.
    void slowOpening()
    {
        m_script->openHangs = true;
        SourceProbe probe(m_info);
        probe.source->start();
        probe.source->restartTimer();
        QTRY_COMPARE(probe.errors.size(), 1);
        m_script->openHangs = false;
        QTRY_COMPARE(probe.ready, 1);
        QVERIFY(probe.source->currentSlideTime() >= CameraDevice::defaultOptions().slowOpenMs);
    }

    /// The preview gives way to the recording, at every moment of its start.
    void handOver()
    {
        for (int i = 0; i < 50; ++i) {
            SourceProbe preview(m_info);
            preview.source->start();
            QTest::qWait(i % 10 * 4); // the moment, not a wait for something
            QVERIFY(preview.stopsPromptly());
            SourceProbe recording(m_info);
            QVERIFY(recording.becomesReady());
            QVERIFY(!recording.forcedImage().isNull());
            QCOMPARE(recording.errors, QStringList());
            QVERIFY(recording.stopsPromptly());
        }
        QCOMPARE(m_script->mostOpen, 1);
    }

    void cleanup()
    {
        for (const auto hangs :
            { &CameraScript::openHangs, &CameraScript::readHangs, &CameraScript::releaseHangs })
            *m_script.*hangs = false;
        QTRY_COMPARE(m_script->alive, 0); // the device's thread has ended, too
    }

private:
    SlidesSourceInfo m_info{ true, SlidesSourceInfo::VideoInput, "camera", 7, u"Camera"_s };
    std::unique_ptr<CameraScript> m_script;
};

QTEST_GUILESS_MAIN(SlideSourceCameraTest)
#include "SlideSourceCameraTest.moc"

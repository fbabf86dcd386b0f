#include "FileCamera.h"
#include "NdiSender.h"
#include "recording/Presentation.h"
#include "recording/SlideRecorder.h"
#include "settings/RecorderSettings.h"
#include "slidesource/CameraDevice.h"
#include "ui/SlideSourcePreview.h"

#include <QDir>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

/// Recordings of an NDI source and a camera in turn, each started at some moment of a preview's
/// start, with freezes and forced slides, for PODIUMCAST_MIXED_SECONDS (15 when not given). Under
/// the sanitizers, ten minutes of it show what leaks or lives too short:
///   PODIUMCAST_MIXED_SECONDS=600 ctest --preset asan -R MixedRecordingTest
class MixedRecordingTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName(u"PodiumcastTest"_s);
        QCoreApplication::setApplicationName(u"MixedRecordingTest"_s);
        QCoreApplication::instance()->setProperty("workDir", m_dir.path());
        m_script.videoFile = m_dir.filePath(u"camera.avi"_s);
        m_script.clock.start();
        QVERIFY(writeVideo(m_script.videoFile, { 640, 480 }, 120,
            [](int frame) { return cv::Scalar(frame * 2, 255 - frame, frame % 30 * 8); }));
        RecorderSettings::instance()->setUseNativeSlideSourceResolution(true);
        CameraDevice::defaultOptions().createCapture
            = [this] { return std::make_unique<FileCamera>(m_script); };
        QVERIFY(m_sender.order(u"create Talk 640 480 25"_s));
        const auto listNdi = [this] {
            const QList<SlidesSourceInfo> infos = SlidesSourceInfo::availableSlideSourcesNDI();
            if (!infos.isEmpty())
                m_ndi = infos.first();
            return m_ndi.isValid();
        };
        QTRY_VERIFY_WITH_TIMEOUT(listNdi(), 40000);
    }

    void recordings()
    {
        const int seconds = qEnvironmentVariableIntValue("PODIUMCAST_MIXED_SECONDS");
        QQuickWindow window;
        SlideSourcePreview preview(window.contentItem());
        preview.setSize({ 320, 180 });
        window.show();
        QElapsedTimer timer;
        timer.start();
        int recordings = 0;
        while (timer.elapsed() < std::max(15, seconds) * 1000) {
            RecorderSettings::instance()->setSelectedSlideSource(
                recordings % 2 == 0 ? m_ndi : m_camera);
            preview.restart();
            QTest::qWait(m_random.bounded(1000)); // any moment of the preview's start
            if (m_random.bounded(4) == 0)
                preview.restart();
            preview.stop();
            record();
            if (QTest::currentTestFailed())
                return;
            ++recordings;
        }
        preview.stop();
        QTRY_COMPARE(m_script.alive, 0);
        QCOMPARE(m_script.mostOpen, 1);
        QVERIFY(recordings >= 4);
        qInfo("%d recordings", recordings);
    }

private:
    void record()
    {
        const std::unique_ptr<Presentation> presentation(Presentation::create(false, false, {}));
        QVERIFY(presentation);
        SlideRecorder recorder;
        QSignalSpy started(&recorder, &SlideRecorder::started);
        QSignalSpy stopped(&recorder, &SlideRecorder::stopped);
        QSignalSpy errors(&recorder, &SlideRecorder::recordingError);
        recorder.requestStart(presentation.get());
        QVERIFY(started.wait());
        QTRY_VERIFY_WITH_TIMEOUT(recorder.slidesSaved() >= 1, 20000);
        recorder.freezeSlides();
        QTRY_VERIFY(recorder.slidesFrozen());
        QVERIFY(m_sender.order(
            u"fill Talk %1 %2 90"_s.arg(m_random.bounded(256)).arg(m_random.bounded(256))));
        const qint64 saved = recorder.slidesSaved();
        const auto forceUntilSaved = [&] {
            recorder.captureSlide();
            return recorder.slidesSaved() > saved;
        };
        QTRY_VERIFY_WITH_TIMEOUT(forceUntilSaved(), 20000);
        recorder.freezeSlides();
        for (int i = 0; i < 5; ++i)
            recorder.captureSlide(); // and some are still on their way at the stop
        recorder.requestStop();
        QVERIFY(stopped.wait(20000));
        // Nothing but what every connection begins with.
        for (const QList<QVariant>& error : errors)
            QCOMPARE(error.first().toString(), u"Invalid frame captured from NDI."_s);
        const QStringList files = presentation->dir().entryList({ u"*.png"_s }, QDir::Files);
        QVERIFY(files.size() >= 2);
        for (const QString& file : files)
            QCOMPARE(QImage(presentation->dir().filePath(file)).size(), QSize(640, 480));
        QVERIFY(presentation->dir().removeRecursively()); // ten minutes of them would be many
    }

    QTemporaryDir m_dir;
    CameraScript m_script;
    NdiSender m_sender;
    SlidesSourceInfo m_ndi;
    SlidesSourceInfo m_camera{ true, SlidesSourceInfo::VideoInput, "camera", 3, u"Camera"_s };
    QRandomGenerator m_random{ 20261122 };
};

int main(int argc, char* argv[])
{
    const QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
    qputenv("QTEST_FUNCTION_TIMEOUT", "1200000");
    QGuiApplication app(argc, argv);
    MixedRecordingTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "MixedRecordingTest.moc"

#include "harness/IsolatedSettings.h"
#include "recording/Presentation.h"
#include "recording/WatchedRecorder.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

// The real recorders on a virtual screen with a virtual microphone.
class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<QList<SlideImage>>("QList<SlideImage>");
        QCoreApplication::setOrganizationName(u"PodiumcastTest"_s);
        QCoreApplication::setApplicationName(u"tst_recorder"_s);
        RecorderSettings* settings = RecorderSettings::instance();
        settings->refreshAvailableSlideSources();
        settings->refreshAvailableAudioInputs();
        QVERIFY(settings->selectedAudioInput().isValid());
        settings->setAudioChannelCount(1);
        QTRY_COMPARE(
            settings->selectedSlideSource().type(), SlidesSourceInfo::IntervalScreenCapture);
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_dir->path());
    }

    void startsAndStopsInOrder()
    {
        WatchedRecorder recorder;
        QSignalSpy states(&recorder, &Recorder::property_stateChanged);
        QSignalSpy slides(&recorder, &Recorder::slidesCapturedSignal);

        recorder.requestStart(false, false, QString());
        QCOMPARE(recorder.state(), Recorder::Starting);
        QVERIFY(recorder.starts.wait());
        const QDir dir(m_dir->filePath(recorder.liveStreamPresentationTitle()));
        recorder.requestStart(false, false, QString()); // one at a time
        QTRY_COMPARE_WITH_TIMEOUT(slides.size(), 1, 5000);
        recorder.captureSlide();
        QTRY_COMPARE(recorder.slidesSaved(), 2);
        // Asked for in the same turn as the stop, so the stop must wait for it.
        recorder.captureSlide();
        recorder.requestStop();
        QVERIFY(recorder.stops.wait());
        QCOMPARE(recorder.state(), Recorder::Stopped);
        QList<int> seen;
        for (const QVariantList& state : states)
            seen.append(state.at(0).value<Recorder::State>());
        QCOMPARE(seen, QList<int>({ 3, 1, 2, 0 }));
        QCOMPARE(recorder.told(), QString());

        QCOMPARE(dir.entryList({ u"*.png"_s }),
            QStringList({ u"0-0001.png"_s, u"0-0002.png"_s, u"0-0003.png"_s }));
        const std::unique_ptr<Presentation> loaded(Presentation::load(dir));
        QCOMPARE(loaded->slideCount(), 3);
    }

    void stopWhileStarting()
    {
        for (const int delayMs : { 0, 50, 100, 110, 150, 250 }) {
            init(); // two recordings in one second need different directories
            WatchedRecorder recorder;
            recorder.requestStart(false, false, QString());
            QTimer::singleShot(delayMs, &recorder, &Recorder::requestStop);
            QVERIFY2(recorder.stops.wait(), qPrintable(QString::number(delayMs)));
            QCOMPARE(recorder.state(), Recorder::Stopped);
            QCOMPARE(recorder.stops.size(), 1);
        }
    }

    void startAndStopFiftyTimes()
    {
        WatchedRecorder recorder;
        for (int i = 0; i < 50; ++i) {
            init();
            recorder.requestStart(false, false, QString());
            QTRY_COMPARE(recorder.starts.size(), i + 1);
            recorder.requestStop();
            QTRY_COMPARE(recorder.stops.size(), i + 1);
            QCOMPARE(recorder.state(), Recorder::Stopped);
        }
    }

    void destroyedWhileRecordingLosesNothing()
    {
        QDir dir;
        {
            WatchedRecorder recorder;
            QSignalSpy slides(&recorder, &Recorder::slidesCapturedSignal);
            recorder.requestStart(false, false, QString());
            QVERIFY(recorder.starts.wait());
            dir.setPath(m_dir->filePath(recorder.liveStreamPresentationTitle()));
            recorder.captureSlide();
            QVERIFY(slides.wait());
        }
        QVERIFY(QFileInfo(dir.filePath(u"0-0001.png"_s)).size() > 0);
        QVERIFY(QFileInfo(dir.filePath(u"audio.wav"_s)).size() >= 44);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(TestRecorder)
#include "tst_recorder.moc"

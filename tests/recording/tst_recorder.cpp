#include "recording/Presentation.h"
#include "recording/Recorder.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"

#include <QCursor>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSignalSpy>
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
        m_screens = settings->selectedSlideSource();
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_dir->path());
        RecorderSettings::instance()->setSelectedSlideSource(m_screens);
        RecorderSettings::instance()->setPointerRecordingEnabled(true);
    }

    void recordsEverything_data()
    {
        QTest::addColumn<bool>("pointer");
        QTest::newRow("with pointer and geometry") << true;
        QTest::newRow("without") << false;
    }

    void recordsEverything()
    {
        QFETCH(bool, pointer);
        RecorderSettings::instance()->setPointerRecordingEnabled(pointer);
        Recorder recorder;
        QSignalSpy started(&recorder, &Recorder::started);
        QSignalSpy stopped(&recorder, &Recorder::stopped);
        QSignalSpy states(&recorder, &Recorder::property_stateChanged);
        QSignalSpy slides(&recorder, &Recorder::slidesCapturedSignal);
        QSignalSpy errors(&recorder, &Recorder::recordingError);
        QDir dir;
        connect(&recorder, &Recorder::presentationCreated, this,
            [&dir](Presentation* presentation) { dir = presentation->dir(); });

        recorder.requestStart(false, false, QString());
        QCOMPARE(recorder.state(), Recorder::Starting);
        QVERIFY(started.wait());
        QCOMPARE(recorder.liveStreamPresentationTitle(), dir.dirName());
        recorder.requestStart(false, false, QString()); // one at a time
        QTRY_COMPARE_WITH_TIMEOUT(slides.size(), 1, 5000);
        QCursor::setPos(100, 200);
        recorder.captureSlide();
        QTRY_COMPARE(recorder.slidesSaved(), 2);
        // Asked for in the same turn as the stop, so the stop must wait for it.
        recorder.captureSlide();
        recorder.requestStop();
        QVERIFY(stopped.wait());
        QCOMPARE(recorder.state(), Recorder::Stopped);
        QList<int> seen;
        for (const QVariantList& state : states)
            seen.append(state.at(0).value<Recorder::State>());
        QCOMPARE(seen, QList<int>({ 3, 1, 2, 0 }));
        QVERIFY2(errors.isEmpty(), qPrintable(errors.value(0).value(0).toString()));

        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
        QStringList expected{ u"0-0001.png"_s, u"0-0002.png"_s, u"0-0003.png"_s, u"audio.wav"_s,
            u"presentation.xml"_s, u"timestamps_ms.txt"_s };
        if (pointer)
            expected << u"mouse_positions.txt"_s << u"screens_geometry.txt"_s;
        expected.sort();
        QCOMPARE(dir.entryList(QDir::Files, QDir::Name), expected);
        const std::unique_ptr<Presentation> loaded(Presentation::load(dir));
        QCOMPARE(loaded->slideCount(), 3);
        QVERIFY(QFileInfo(dir.filePath(u"audio.wav"_s)).size() > 192'000);
    }

    void stopWhileStarting_data()
    {
        QTest::addColumn<int>("delayMs");
        for (const int delay : { 0, 50, 100, 110, 150, 250 })
            QTest::addRow("after %d ms", delay) << delay;
    }

    void stopWhileStarting()
    {
        QFETCH(int, delayMs);
        Recorder recorder;
        QSignalSpy stopped(&recorder, &Recorder::stopped);
        recorder.requestStart(false, false, QString());
        QTimer::singleShot(delayMs, &recorder, &Recorder::requestStop);
        QVERIFY(stopped.wait());
        QCOMPARE(recorder.state(), Recorder::Stopped);
        QCOMPARE(stopped.size(), 1);
    }

    void startAndStopFiftyTimes()
    {
        Recorder recorder;
        QSignalSpy started(&recorder, &Recorder::started);
        QSignalSpy stopped(&recorder, &Recorder::stopped);
        for (int i = 0; i < 50; ++i) {
            const QString workDir = m_dir->filePath(QString::number(i));
            QVERIFY(QDir().mkdir(workDir));
            QCoreApplication::instance()->setProperty("workDir", workDir);
            recorder.requestStart(false, false, QString());
            QTRY_COMPARE(started.size(), i + 1);
            recorder.requestStop();
            QTRY_COMPARE(stopped.size(), i + 1);
            QCOMPARE(recorder.state(), Recorder::Stopped);
        }
    }

    void pipelineThatCannotStartReturnsToIdle()
    {
        RecorderSettings::instance()->setSelectedSlideSource(SlidesSourceInfo(
            true, SlidesSourceInfo::SlideSourceType(1), "reserved"_ba, 0, u"Reserved"_s));
        Recorder recorder;
        QSignalSpy started(&recorder, &Recorder::started);
        QSignalSpy stopped(&recorder, &Recorder::stopped);
        recorder.requestStart(false, false, QString());
        QVERIFY(stopped.wait());
        QCOMPARE(recorder.state(), Recorder::Stopped);
        QVERIFY(started.isEmpty());
    }

    void unwritableDirectoryIsToldOnce()
    {
        Recorder recorder;
        QSignalSpy started(&recorder, &Recorder::started);
        QSignalSpy stopped(&recorder, &Recorder::stopped);
        QSignalSpy errors(&recorder, &Recorder::recordingError);
        QDir dir;
        connect(&recorder, &Recorder::presentationCreated, this,
            [&dir](Presentation* presentation) { dir = presentation->dir(); });
        recorder.requestStart(false, false, QString());
        QVERIFY(started.wait());
        QVERIFY(dir.removeRecursively());
        for (int i = 1; i <= 5; ++i) {
            recorder.captureSlide();
            QTRY_VERIFY(recorder.slidesSaved() >= i);
        }
        // Slides, pointer and geometry each tell their failure at most once.
        QVERIFY2(
            errors.size() >= 1 && errors.size() <= 3, qPrintable(QString::number(errors.size())));
        QCOMPARE(recorder.state(), Recorder::Started);
        recorder.requestStop();
        QVERIFY(stopped.wait());
    }

    void destroyedWhileRecordingLosesNothing()
    {
        QDir dir;
        {
            Recorder recorder;
            QSignalSpy started(&recorder, &Recorder::started);
            QSignalSpy slides(&recorder, &Recorder::slidesCapturedSignal);
            connect(&recorder, &Recorder::presentationCreated, this,
                [&dir](Presentation* presentation) { dir = presentation->dir(); });
            recorder.requestStart(false, false, QString());
            QVERIFY(started.wait());
            recorder.captureSlide();
            QVERIFY(slides.wait());
        }
        QVERIFY(QFileInfo(dir.filePath(u"0-0001.png"_s)).size() > 0);
        QVERIFY(QFileInfo(dir.filePath(u"audio.wav"_s)).size() >= 44);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    SlidesSourceInfo m_screens;
};

QTEST_MAIN(TestRecorder)
#include "tst_recorder.moc"

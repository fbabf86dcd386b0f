#include "harness/Files.h"
#include "recording/WatchedRecorder.h"

#include <QGuiApplication>
#include <QtTest>

#include <memory>

#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

/// What the process has now; the heap is counted exactly.
struct Holdings
{
    qsizetype threads = 0;
    qsizetype descriptors = 0;
    qint64 bytes = 0;

    static Holdings now()
    {
        // Deferred deletions and the ends of threads first.
        QTest::qWait(300);
        const auto entries = [](const QString& path) {
            return QDir(path)
                .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                .size();
        };
        const struct mallinfo2 heap = mallinfo2();
        return { entries(u"/proc/self/task"_s), entries(u"/proc/self/fd"_s),
            qint64(heap.uordblks + heap.hblkhd) };
    }
};

/// The largest sample of a recording, 1 being the most that fits.
double loudest(const QString& path)
{
    const QByteArray samples = readFile(path).mid(44);
    double most = 0;
    for (qsizetype i = 0; i + 4 <= samples.size(); i += 4)
        most = qMax(most, qAbs(qFromLittleEndian<qint32>(samples.data() + i) / 2147483648.0));
    return most;
}

} // namespace

// The real recorders on a virtual screen with a virtual microphone.
class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { WatchedRecorder::prepare(); }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_dir->path());
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

    /// PODIUMCAST_ROUNDS sets how often, 25 times when it is not set.
    void startsAndStopsLeakNothing()
    {
        const int rounds = qMax(10, qEnvironmentVariable("PODIUMCAST_ROUNDS", u"25"_s).toInt());
        QProcess noise;
        noise.startCommand(u"paplay --raw --device=mic --format=u8 --channels=1 /dev/urandom"_s);
        WatchedRecorder recorder;
        Holdings early;
        for (int i = 0; i < rounds; ++i) {
            init(); // also: two recordings in one second need different directories
            recorder.requestStart(false, false, QString());
            QTRY_COMPARE(recorder.starts.size(), i + 1);
            const QString audio
                = m_dir->filePath(recorder.liveStreamPresentationTitle() + u"/audio.wav"_s);
            // 0.2 s: the virtual microphone hands its sound over in pieces of that size.
            QTRY_VERIFY(QFileInfo(audio).size() > 44 + 48000 * 4 / 5);
            recorder.requestStop();
            QTRY_COMPARE(recorder.stops.size(), i + 1);
            QCOMPARE(recorder.state(), Recorder::Stopped);
            QVERIFY2(loudest(audio) > 0.2, qPrintable(u"round %1"_s.arg(i)));
            if (i == 4) // caches and pools are filled by then
                early = Holdings::now();
        }
        const Holdings late = Holdings::now();
        qInfo("| %d starts and stops: after the fifth, after the last | %lld, %lld threads; %lld, "
              "%lld "
              "descriptors; %.1f kB more of the heap for each |",
            rounds, qint64(early.threads), qint64(late.threads), qint64(early.descriptors),
            qint64(late.descriptors), double(late.bytes - early.bytes) / (rounds - 5) / 1000);
        QVERIFY(late.threads <= early.threads);
        QVERIFY(late.descriptors <= early.descriptors);
        // A recorder keeps its presentations: some hundred bytes each.
        QVERIFY(late.bytes - early.bytes < rounds * 8 * 1024);
    }

    void theLastSlideIsNotLost_data()
    {
        QTest::addColumn<bool>("destroyed");
        QTest::newRow("stopped in the turn that asked for it") << false;
        QTest::newRow("destroyed") << true;
    }

    void theLastSlideIsNotLost()
    {
        QFETCH(bool, destroyed);
        auto recorder = std::make_unique<WatchedRecorder>();
        QSignalSpy slides(recorder.get(), &Recorder::slidesCapturedSignal);
        recorder->requestStart(false, false, QString());
        QVERIFY(recorder->starts.wait());
        const QDir dir(m_dir->filePath(recorder->liveStreamPresentationTitle()));
        recorder->requestStart(false, false, QString()); // one at a time
        QTRY_COMPARE(slides.size(), 1);
        recorder->captureSlide();
        if (destroyed) {
            QTRY_COMPARE(slides.size(), 2);
        } else {
            recorder->requestStop();
            QVERIFY(recorder->stops.wait());
            QCOMPARE(recorder->told(), QString());
        }
        recorder.reset();
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
        QVERIFY(QFileInfo(dir.filePath(u"0-0002.png"_s)).size() > 0);
        QVERIFY(QFileInfo(dir.filePath(u"audio.wav"_s)).size() >= 44);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(TestRecorder)
#include "tst_recorder.moc"

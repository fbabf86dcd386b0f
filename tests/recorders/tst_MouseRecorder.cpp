// On a real X server, with xdotool as the hand on the mouse.
#include "harness/FileSizeLimit.h"
#include "recorders/MouseListenerPrivate.h"
#include "recorders/MouseRecorder.h"
#include "recorders/MouseSaver.h"
#include "recording/Presentation.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A recorder with a presentation of its own.
struct Recording
{
    QTemporaryDir dir;
    Presentation presentation{ QDir(dir.path()) };
    MouseRecorder recorder;
    QSignalSpy started{ &recorder, &MouseRecorder::started };
    QSignalSpy stopped{ &recorder, &MouseRecorder::stopped };
    QSignalSpy errors{ &recorder, &MouseRecorder::recordingError };

    bool start()
    {
        recorder.requestStart(&presentation);
        return started.wait();
    }

    bool stop()
    {
        stopped.clear();
        recorder.requestStop();
        return QTest::qWaitFor([this] { return stopped.count() == 2; });
    }

    QString path() const { return dir.filePath(u"mouse_positions.txt"_s); }

    /// The recorded points, one "x y" a line.
    QStringList points() const
    {
        QFile file(path());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QStringList points = QString::fromUtf8(file.readAll()).split(u'\n');
        points.removeLast(); // each line is ended
        for (QString& line : points)
            line = line.section(u' ', 1);
        return points;
    }
};

/// Moves through points such as "10 20,30 40", which ends before this returns.
void move(const QString& points)
{
    QStringList arguments;
    const QStringList list = points.split(u',');
    for (const QString& point : list)
        arguments << u"mousemove"_s << point.split(u' ');
    QCOMPARE(QProcess::execute(u"xdotool"_s, arguments), 0);
}

} // namespace

class TestMouseRecorder : public QObject
{
    Q_OBJECT

private slots:
    void init() { move(u"0 0"_s); }
    void recordsDistinctPositions();
    void sharesTheZeroOfTheAudio_data();
    void sharesTheZeroOfTheAudio();
    void secondRecorderIsInert();
    void laterRecordingIsNotEndedByAnEarlierOne();
    void waitsForTheDiskWhenDestroyed();
    void recordsNothingWithoutADisplay();
    void saverDrains();
    void saverReportsOnce_data();
    void saverReportsOnce();
};

void TestMouseRecorder::recordsDistinctPositions()
{
    Recording recording;
    QVERIFY(recording.start());
    const qsizetype before = recording.recorder.children().size();
    move(u"10 20,10 20,1919 1079,10 20"_s);
    QCOMPARE(QProcess::execute(u"xdotool"_s, { u"click"_s, u"1"_s, u"click"_s, u"4"_s }), 0);
    QCOMPARE(QProcess::execute(u"xdotool"_s, { u"mousedown"_s, u"1"_s }), 0);
    move(u"30 40"_s);
    QCOMPARE(QProcess::execute(u"xdotool"_s, { u"mouseup"_s, u"1"_s }), 0);

    // A burst, faster than the event loop turns.
    QStringList expected{ u"10 20"_s, u"1919 1079"_s, u"10 20"_s, u"30 40"_s };
    QString burst;
    for (int i = 0; i < 500; ++i) {
        expected << u"%1 %2"_s.arg(100 + i).arg(200 + i);
        burst += (i ? u","_s : QString()) + expected.last();
    }
    move(burst);
    QTRY_COMPARE(recording.points(), expected);
    QCOMPARE(recording.recorder.positionX(), 599);
    QCOMPARE(recording.recorder.positionY(), 699);

    QVERIFY(recording.stop());
    QCOMPARE(recording.recorder.state(), MouseRecorder::Stopped);
    move(u"50 60"_s);
    QTRY_COMPARE(recording.recorder.children().size(), before - 2); // listener and saver are gone
    QCOMPARE(recording.points(), expected);

    QVERIFY(recording.start()); // appends
    move(u"70 80"_s);
    expected << u"70 80"_s;
    QTRY_COMPARE(recording.points(), expected);
    QCOMPARE(recording.errors.count(), 0);
}

void TestMouseRecorder::sharesTheZeroOfTheAudio_data()
{
    QTest::addColumn<bool>("whileStarting");
    QTest::newRow("set while starting") << true;
    QTest::newRow("set after the start") << false;
}

void TestMouseRecorder::sharesTheZeroOfTheAudio()
{
    QFETCH(bool, whileStarting);
    Recording recording;
    recording.recorder.restartMouseTimer(); // no recording: nothing to restart
    QElapsedTimer clock;
    const auto restart = [&] {
        recording.recorder.restartMouseTimer();
        clock.start();
    };
    recording.recorder.requestStart(&recording.presentation);
    if (whileStarting)
        restart();
    QVERIFY(recording.started.wait());
    if (!whileStarting) {
        QTest::qWait(100); // something to be set back
        restart();
    }
    qint64 drift = -1;
    connect(&recording.recorder, &MouseRecorder::mousePositionChanged, this,
        [&](qint64 time) { drift = qAbs(clock.elapsed() - time); });
    move(u"10 20"_s);
    QTRY_VERIFY(drift >= 0);
    QVERIFY2(drift < 50, qPrintable(QString::number(drift)));
}

void TestMouseRecorder::secondRecorderIsInert()
{
    Recording first;
    QVERIFY(first.start());
    Recording second;
    QTest::ignoreMessage(QtDebugMsg, "[MouseListenerPrivateX11] m_currentInstance is already set.");
    QVERIFY(second.start());
    move(u"10 20"_s);
    QTRY_COMPARE(first.points(), QStringList{ u"10 20"_s });
    QVERIFY(second.stop());
    move(u"30 40"_s); // the stop of the second has not ended the first
    QTRY_COMPARE(first.points().size(), 2);
    QVERIFY(!QFile::exists(second.path()));

    QVERIFY(first.stop());
    QVERIFY(second.start()); // its turn now
    move(u"50 60"_s);
    QTRY_COMPARE(second.points(), QStringList{ u"50 60"_s });
}

void TestMouseRecorder::laterRecordingIsNotEndedByAnEarlierOne()
{
    // A pipe without a reader stands for a disk that hangs.
    Recording recording;
    QCOMPARE(::mkfifo(QFile::encodeName(recording.path()).constData(), 0600), 0);
    QVERIFY(recording.start());
    move(u"10 20"_s);
    QTRY_COMPARE(recording.recorder.positionX(), 10);
    recording.recorder.requestStop();
    QTRY_COMPARE(recording.recorder.state(), MouseRecorder::Stopped);
    QCOMPARE(recording.stopped.count(), 1); // the listener's; the saver hangs

    QTemporaryDir otherDir;
    Presentation other{ QDir(otherDir.path()) };
    recording.recorder.requestStart(&other);
    QVERIFY(recording.started.wait());
    const auto savers = recording.recorder.findChildren<MouseSaver*>();
    QCOMPARE(savers.size(), 2);
    QSignalSpy earlierGone(savers.first(), &QObject::destroyed);
    const int pipe = ::open(QFile::encodeName(recording.path()).constData(), O_RDONLY);
    const auto closePipe = qScopeGuard([pipe] { ::close(pipe); });
    QVERIFY(earlierGone.wait());
    QCOMPARE(recording.recorder.state(), MouseRecorder::Started);
    QCOMPARE(recording.stopped.count(), 1);
    char line[32] = {};
    QVERIFY(::read(pipe, line, sizeof line - 1) > 0);
    QVERIFY2(QByteArray(line).endsWith(" 10 20\n"), line);
    QVERIFY(recording.stop());
}

void TestMouseRecorder::waitsForTheDiskWhenDestroyed()
{
    auto recorder = std::make_unique<MouseRecorder>();
    QTemporaryDir dir;
    Presentation presentation{ QDir(dir.path()) };
    recorder->requestStart(&presentation);
    QVERIFY(QSignalSpy(recorder.get(), &MouseRecorder::started).wait());
    auto* listener = recorder->findChild<MouseListenerPrivate*>();
    QVERIFY(listener);
    for (int i = 0; i < 2000; ++i)
        listener->emitMousePositionChanged(i, i, 0);
    recorder.reset();
    QFile file(dir.filePath(u"mouse_positions.txt"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().count('\n'), 2000);
}

void TestMouseRecorder::recordsNothingWithoutADisplay()
{
    const QByteArray display = qgetenv("DISPLAY");
    const auto restore = qScopeGuard([&display] { qputenv("DISPLAY", display); });
    qunsetenv("DISPLAY");
    Recording recording;
    QTest::ignoreMessage(
        QtDebugMsg, "[MouseListenerPrivateX11] no display with the RECORD extension.");
    QVERIFY(recording.start());
    QVERIFY(recording.stop());
    QCOMPARE(recording.errors.count(), 0);
}

void TestMouseRecorder::saverDrains()
{
    QTemporaryDir dir;
    MouseSaver saver{ QDir(dir.path()) };
    QSignalSpy saved(&saver, &MouseSaver::mousePositionSaved);
    QSignalSpy stopped(&saver, &MouseSaver::stopped);
    saver.start();
    QByteArray expected;
    for (int i = 0; i < 1000; ++i) {
        saver.addPosition(1534 + i, 812, -40 - i);
        expected += u"%1 812 %2\n"_s.arg(1534 + i).arg(-40 - i).toLatin1();
    }
    saver.requestStop();
    saver.addPosition(0, 0, 0); // too late
    QVERIFY(stopped.wait());
    QFile file(dir.filePath(u"mouse_positions.txt"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), expected);
    QCOMPARE(saved.count(), 1000);
}

void TestMouseRecorder::saverReportsOnce_data()
{
    QTest::addColumn<bool>("removed");
    QTest::newRow("directory is gone") << true;
    QTest::newRow("disk is full") << false;
}

void TestMouseRecorder::saverReportsOnce()
{
    QFETCH(bool, removed);
    QTemporaryDir dir;
    if (removed)
        QVERIFY(dir.remove());
    const FileSizeLimit limit(100);
    MouseSaver saver{ QDir(dir.path()) };
    QSignalSpy failed(&saver, &MouseSaver::savingFailed);
    QSignalSpy saved(&saver, &MouseSaver::mousePositionSaved);
    QSignalSpy stopped(&saver, &MouseSaver::stopped);
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"^\\[MouseSaver\\] writing .* failed:"_s));
    saver.start();
    for (int i = 0; i < 20; ++i)
        saver.addPosition(1534, 812, -40);
    saver.requestStop();
    QVERIFY(stopped.wait());
    QCOMPARE(failed.count(), 1);
    QVERIFY(failed.first().first().toString().contains(dir.path()));
    QCOMPARE(saved.count(), 20);
    if (removed)
        return;
    QFile file(dir.filePath(u"mouse_positions.txt"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), "1534 812 -40\n"_ba.repeated(7)); // no half line
}

QTEST_MAIN(TestMouseRecorder)
#include "tst_MouseRecorder.moc"

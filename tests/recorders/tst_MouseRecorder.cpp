// On a real X server, with xdotool as the hand on the mouse.
#include "recorders/MouseRecorder.h"

#include "TestRecording.h"
#include "harness/FileSizeLimit.h"
#include "recorders/MouseListenerPrivate.h"
#include "recorders/MouseSaver.h"

#include <QGuiApplication>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct MouseRecording : TestRecording<MouseRecorder>
{
    /// The recorded points without their times.
    QStringList points() const
    {
        QStringList points = QString::fromUtf8(content(u"mouse_positions.txt"_s)).split(u'\n');
        points.removeLast(); // each line is ended
        for (QString& line : points)
            line = line.section(u' ', 1);
        return points;
    }
};

void xdotool(const QStringList& commands)
{
    QCOMPARE(QProcess::execute(u"xdotool"_s, commands.join(u' ').split(u' ')), 0);
}

} // namespace

class TestMouseRecorder : public QObject
{
    Q_OBJECT

private slots:
    void init() { xdotool({ u"mousemove 0 0"_s }); }
    void recordsEveryMoveOnceThereIsADisplay()
    {
        MouseRecording recording;
        const QByteArray display = qgetenv("DISPLAY");
        qunsetenv("DISPLAY");
        QVERIFY(recording.start()); // inert, and harmless
        QVERIFY(recording.stop(2));
        qputenv("DISPLAY", display);
        QVERIFY(recording.start());
        QStringList commands{ u"mousemove 50 60 mousemove 50 60 click 4"_s };
        QStringList expected{ u"50 60"_s };
        for (int i = 0; i < 500; ++i) { // a burst, faster than the event loop turns
            expected << u"%1 %2"_s.arg(100 + i).arg(200 + i);
            commands << u"mousemove "_s + expected.last();
        }
        xdotool(commands);
        QTRY_COMPARE(recording.points(), expected);
    }

    void hangingDiskDelaysNobody()
    {
        MouseRecording recording;
        MouseRecorder* const recorder = recording.recorder.get();
        // A pipe without a reader stands for a disk that hangs.
        const QByteArray path = QFile::encodeName(recording.dir.filePath(u"mouse_positions.txt"_s));
        QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        QVERIFY(recording.start());
        xdotool({ u"mousemove 10 20"_s });
        QTRY_COMPARE(recorder->positionX(), 10);
        QVERIFY(recording.stop(1)); // the listener's answer; the saver still hangs

        MouseRecording other;
        recorder->requestStart(&other.presentation);
        QVERIFY(recording.started.wait());
        const auto savers = recorder->findChildren<MouseSaver*>();
        QCOMPARE(savers.size(), 2);
        QSignalSpy earlierGone(savers.first(), &QObject::destroyed);
        const int pipe = ::open(path.constData(), O_RDONLY);
        const auto closePipe = qScopeGuard([pipe] { ::close(pipe); });
        QVERIFY(earlierGone.wait());
        char line[32] = {};
        QVERIFY(::read(pipe, line, sizeof line - 1) > 0);
        QVERIFY2(QByteArray(line).endsWith(" 10 20\n"), line);
        // Its late answer has not ended the new recording, whose positions survive the recorder's
        // end.
        QCOMPARE(recorder->state(), MouseRecorder::Started);
        QCOMPARE(recording.stopped.count(), 1);
        auto* listener = recorder->findChild<MouseListenerPrivate*>();
        for (int i = 0; i < 2000; ++i)
            listener->emitMousePositionChanged(i, i, 0);
        recording.recorder.reset();
        QCOMPARE(other.points().size(), 2000);
    }

    void drainsAndReportsOnce_data()
    {
        QTest::addColumn<bool>("removed");
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("written");
        QTest::newRow("directory removed") << true << 1000000 << 0;
        QTest::newRow("disk full: no half line") << false << 100 << 7;
    }

    void drainsAndReportsOnce()
    {
        QFETCH(bool, removed);
        QFETCH(int, limit);
        QFETCH(int, written);
        TestRecording<MouseRecorder> place;
        QVERIFY(!removed || place.dir.remove());
        const FileSizeLimit disk(limit);
        MouseSaver saver{ QDir(place.dir.path()) };
        QSignalSpy failed(&saver, &MouseSaver::savingFailed);
        QSignalSpy saved(&saver, &MouseSaver::mousePositionSaved);
        QSignalSpy stopped(&saver, &MouseSaver::stopped);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^.MouseSaver. writing"_s));
        saver.start();
        for (int i = 0; i < 1000; ++i)
            saver.addPosition(1534, 812, -40);
        saver.requestStop();
        saver.addPosition(0, 0, 0); // too late
        QVERIFY(stopped.wait());
        QCOMPARE(failed.count(), 1);
        QCOMPARE(saved.count(), 1000);
        const QByteArray expected = "1534 812 -40\n"_ba.repeated(written);
        QCOMPARE(place.content(u"mouse_positions.txt"_s), expected);
    }
};

QTEST_MAIN(TestMouseRecorder)
#include "tst_MouseRecorder.moc"

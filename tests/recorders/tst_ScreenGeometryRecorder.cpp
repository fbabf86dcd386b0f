// On a real X server, whose monitors xrandr adds and removes.
#include "recorders/ScreenGeometryRecorder.h"

#include "TestRecording.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace {

bool setMonitors(const QString& arguments, int count)
{
    return QProcess::execute(u"xrandr"_s, arguments.split(u' ')) == 0
        && QTest::qWaitFor([count] { return QGuiApplication::screens().size() == count; });
}

} // namespace

class TestScreenGeometryRecorder : public QObject
{
    Q_OBJECT

private slots:
    void countsFromTheZeroOfTheAudioAndFollowsScreens();
};

void TestScreenGeometryRecorder::countsFromTheZeroOfTheAudioAndFollowsScreens()
{
    QVERIFY(setMonitors(u"--setmonitor LEFT 1920/508x1080/270+0+0 screen"_s, 1));
    TestRecording<ScreenGeometryRecorder> recording;
    ScreenGeometryRecorder* const recorder = recording.recorder.get();
    // The objects of the file, told apart as a reader would: they follow one another unseparated.
    const auto snapshots = [&recording] {
        const QByteArray text = recording.content(u"screens_geometry.txt"_s).replace("}{", "},{");
        return QJsonDocument::fromJson('[' + text + ']').array();
    };
    recorder->restartRecordingTimer(); // not started: nothing, also not later
    for (int i = 0; i < 2; ++i) { // the second recording doubles no connection
        recorder->requestStart(&recording.presentation);
        // The audio is faster than the recorder: its zero stays.
        recorder->restartRecordingTimer();
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY(clock.elapsed() > 200 && recorder->state() == ScreenGeometryRecorder::Started);
        QCOMPARE(snapshots().size(), 1);
        QVERIFY(snapshots().last()["time"_L1].toInt(-1) < 50);
        recorder->saveScreenGeometry(); // counts from the same zero
        QVERIFY(qAbs(snapshots().last()["time"_L1].toInt() - clock.elapsed()) < 50);

        QVERIFY(setMonitors(u"--setmonitor RIGHT 1920/508x1080/286+1920+0 none"_s, 2));
        const QList<QScreen*> screens = QGuiApplication::screens();
        const QJsonArray expected{ screenToJson(0, screens[0]), screenToJson(1, screens[1]) };
        QTRY_COMPARE(snapshots().last()["screens"_L1].toArray(), expected);
        const qsizetype count = snapshots().size();
        emit screens[1]->physicalDotsPerInchChanged(0);
        QCOMPARE(snapshots().size(), count + 1);
        QVERIFY(setMonitors(u"--delmonitor RIGHT"_s, 1));
        QTRY_COMPARE(snapshots().last()["screens"_L1].toArray().size(), 1);
        QVERIFY(recording.stop());
        QVERIFY(QFile::resize(recording.dir.filePath(u"screens_geometry.txt"_s), 0));
    }
    QCOMPARE(recording.errors.count(), 0);
}

QTEST_MAIN(TestScreenGeometryRecorder)
#include "tst_ScreenGeometryRecorder.moc"

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

struct GeometryRecording : TestRecording<ScreenGeometryRecorder>
{
    /// The objects of the file; a part that is no valid JSON fails the test.
    QList<QJsonObject> snapshots() const
    {
        QList<QJsonObject> objects;
        // Inside an object braces meet only with a comma between them.
        const QByteArray lines = content(u"screens_geometry.txt"_s).replace("}{", "}\n{");
        const QList<QByteArray> parts = lines.isEmpty() ? QList<QByteArray>() : lines.split('\n');
        for (const QByteArray& part : parts) {
            QJsonParseError error;
            objects << QJsonDocument::fromJson(part, &error).object();
            if (error.error != QJsonParseError::NoError)
                QTest::qFail(part.constData(), __FILE__, __LINE__);
        }
        return objects;
    }

    int time(int i) const { return snapshots().value(i).value("time"_L1).toInt(-1); }
    QJsonArray lastScreens() const
    {
        return snapshots().value(snapshots().size() - 1).value("screens"_L1).toArray();
    }
};

bool setMonitors(const QString& arguments, int count)
{
    return QProcess::execute(u"xrandr"_s, arguments.split(u' ')) == 0
        && QTest::qWaitFor([count] { return QGuiApplication::screens().size() == count; });
}

const QString addRight = u"--setmonitor RIGHT 1920/508x1080/286+1920+0 none"_s;
const QString removeRight = u"--delmonitor RIGHT"_s;

} // namespace

class TestScreenGeometryRecorder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void describesScreens();
    void writesOneSnapshotForEachZero();
    void followsAddedAndRemovedScreens();
    void reportsFailureOnce();
};

void TestScreenGeometryRecorder::initTestCase()
{
    QVERIFY(setMonitors(u"--setmonitor LEFT 1920/508x1080/270+0+0 screen"_s, 1));
    QTRY_COMPARE(QGuiApplication::primaryScreen()->name(), u"LEFT"_s);
}

void TestScreenGeometryRecorder::describesScreens()
{
    const QJsonObject object = screenToJson(3, QGuiApplication::primaryScreen());
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    json.replace("{\"height\":1080,\"width\":1920,\"x\":0,\"y\":0}", "R").replace('"', "");
    QCOMPARE(json.split(',').join('\n'), R"({available_geometry:R
available_virtual_geometry:R
depth:24
device_pixel_ratio:1
geometry:R
index:3
logical_dots_per_inch:96
logical_dots_per_inch_x:96
logical_dots_per_inch_y:96
manufacturer:
model:
name:LEFT
native_orientation:0
orientation:0
physical_dots_per_inch:98.8
physical_dots_per_inch_x:96
physical_dots_per_inch_y:101.6
primary_orientation:2
virtual_geometry:R})"_ba);
}

void TestScreenGeometryRecorder::writesOneSnapshotForEachZero()
{
    GeometryRecording recording;
    ScreenGeometryRecorder* const recorder = recording.recorder.get();
    recorder->restartRecordingTimer(); // not started: nothing, also not later
    recorder->requestStart(&recording.presentation);
    QCOMPARE(recording.snapshots().size(), 0);
    // The audio is faster than the recorder: its zero stays.
    recorder->restartRecordingTimer();
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > 200 && recorder->state() == ScreenGeometryRecorder::Started);
    QCOMPARE(recording.snapshots().size(), 1);
    QVERIFY(recording.time(0) >= 0 && recording.time(0) < 50);
    recorder->saveScreenGeometry(); // counts from the same zero
    QVERIFY(qAbs(recording.time(1) - clock.elapsed()) < 50);
    recorder->restartRecordingTimer();
    QTRY_COMPARE(recording.snapshots().size(), 3);
    QVERIFY(recording.time(2) < 50);

    QVERIFY(recording.stop());
    recorder->restartRecordingTimer();
    QVERIFY(setMonitors(addRight, 2) && setMonitors(removeRight, 1));
    QCOMPARE(recording.snapshots().size(), 3);
    QCOMPARE(recording.errors.count(), 0);
}

void TestScreenGeometryRecorder::followsAddedAndRemovedScreens()
{
    GeometryRecording recording;
    for (int i = 0; i < 2; ++i) { // a second recording doubles no connection
        QVERIFY(recording.start());
        QVERIFY(setMonitors(addRight, 2));
        const QList<QScreen*> screens = QGuiApplication::screens();
        const QJsonArray expected{ screenToJson(0, screens[0]), screenToJson(1, screens[1]) };
        QTRY_COMPARE(recording.lastScreens(), expected);

        // One snapshot for each signal, but none for the added screen's virtual geometry.
        qsizetype count = recording.snapshots().size();
        for (QScreen* screen : screens) {
            emit screen->availableGeometryChanged({});
            emit screen->geometryChanged({});
            emit screen->logicalDotsPerInchChanged(0);
            emit screen->orientationChanged({});
            emit screen->physicalDotsPerInchChanged(0);
            emit screen->physicalSizeChanged({});
            emit screen->primaryOrientationChanged({});
            emit screen->virtualGeometryChanged({});
            count += screen == screens[0] ? 8 : 7;
            QCOMPARE(recording.snapshots().size(), count);
        }
        QVERIFY(setMonitors(removeRight, 1));
        QTRY_COMPARE(recording.lastScreens().size(), 1);
        QVERIFY(recording.stop());
    }
}

void TestScreenGeometryRecorder::reportsFailureOnce()
{
    GeometryRecording recording;
    QVERIFY(recording.dir.remove());
    QVERIFY(recording.start());
    recording.recorder->saveScreenGeometry();
    recording.recorder->saveScreenGeometry();
    QCOMPARE(recording.errors.count(), 1);
    QVERIFY(recording.errors.first().first().toString().contains(recording.dir.path()));
}

QTEST_MAIN(TestScreenGeometryRecorder)
#include "tst_ScreenGeometryRecorder.moc"

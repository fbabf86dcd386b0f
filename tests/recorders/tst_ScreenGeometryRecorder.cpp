// On a real X server, whose monitors xrandr adds and removes.
#include "recorders/ScreenGeometryRecorder.h"

#include "recording/Presentation.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestScreenGeometryRecorder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void describesScreens();
    void writesOneSnapshotWithoutChanges_data();
    void writesOneSnapshotWithoutChanges();
    void followsAddedAndRemovedScreens();
    void reportsFailureOnce();

private:
    bool setMonitors(const QStringList& arguments, int count);
    QByteArray content() const;
    QList<QJsonObject> snapshots() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Presentation> m_presentation;
    std::unique_ptr<ScreenGeometryRecorder> m_recorder;
    std::unique_ptr<QSignalSpy> m_started, m_stopped, m_errors;
};

void TestScreenGeometryRecorder::initTestCase()
{
    QVERIFY(
        setMonitors({ u"--setmonitor"_s, u"LEFT"_s, u"1920/508x1080/286+0+0"_s, u"screen"_s }, 1));
    QTRY_COMPARE(QGuiApplication::primaryScreen()->name(), u"LEFT"_s);
}

void TestScreenGeometryRecorder::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_presentation = std::make_unique<Presentation>(QDir(m_dir->path()));
    m_recorder = std::make_unique<ScreenGeometryRecorder>();
    const auto* recorder = m_recorder.get();
    m_started = std::make_unique<QSignalSpy>(recorder, &ScreenGeometryRecorder::started);
    m_stopped = std::make_unique<QSignalSpy>(recorder, &ScreenGeometryRecorder::stopped);
    m_errors = std::make_unique<QSignalSpy>(recorder, &ScreenGeometryRecorder::recordingError);
}

void TestScreenGeometryRecorder::cleanup()
{
    m_recorder.reset();
}

bool TestScreenGeometryRecorder::setMonitors(const QStringList& arguments, int count)
{
    return QProcess::execute(u"xrandr"_s, arguments) == 0
        && QTest::qWaitFor([count] { return QGuiApplication::screens().size() == count; });
}

QByteArray TestScreenGeometryRecorder::content() const
{
    QFile file(m_dir->filePath(u"screens_geometry.txt"_s));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The objects of the file; a part that is no valid JSON fails the test.
QList<QJsonObject> TestScreenGeometryRecorder::snapshots() const
{
    QList<QJsonObject> objects;
    // Inside an object braces meet only with a comma between them.
    const QList<QByteArray> parts = content().replace("}{", "}\n{").split('\n');
    for (const QByteArray& part : parts) {
        if (part.isEmpty())
            continue;
        QJsonParseError error;
        objects << QJsonDocument::fromJson(part, &error).object();
        if (error.error != QJsonParseError::NoError)
            QTest::qFail(part.constData(), __FILE__, __LINE__);
    }
    return objects;
}

void TestScreenGeometryRecorder::describesScreens()
{
    const QJsonObject rect = rectToJson(QRect(-1280, 20, 1280, 720));
    QCOMPARE(QJsonDocument(rect).toJson(QJsonDocument::Compact),
        "{\"height\":720,\"width\":1280,\"x\":-1280,\"y\":20}"_ba);

    QScreen* const screen = QGuiApplication::primaryScreen();
    const QJsonObject object = screenToJson(3, screen);
    QCOMPARE(object.keys().join(u' '),
        u"available_geometry available_virtual_geometry depth device_pixel_ratio geometry index "
        "logical_dots_per_inch logical_dots_per_inch_x logical_dots_per_inch_y manufacturer model "
        "name native_orientation orientation physical_dots_per_inch physical_dots_per_inch_x "
        "physical_dots_per_inch_y primary_orientation virtual_geometry"_s);
    QCOMPARE(object.value("index"_L1), QJsonValue(3));
    QCOMPARE(object.value("name"_L1), QJsonValue(u"LEFT"_s));
    QCOMPARE(object.value("geometry"_L1), QJsonValue(rectToJson(QRect(0, 0, 1920, 1080))));
    QCOMPARE(object.value("depth"_L1), QJsonValue(24));
    QCOMPARE(object.value("primary_orientation"_L1), QJsonValue(int(Qt::LandscapeOrientation)));
    QCOMPARE(object.value("physical_dots_per_inch_x"_L1).toDouble(), 1920 / 508.0 * 25.4);
}

void TestScreenGeometryRecorder::writesOneSnapshotWithoutChanges_data()
{
    QTest::addColumn<bool>("whileStarting");
    QTest::newRow("the audio starts at once") << true;
    QTest::newRow("the audio starts later") << false;
}

void TestScreenGeometryRecorder::writesOneSnapshotWithoutChanges()
{
    QFETCH(bool, whileStarting);
    m_recorder->restartRecordingTimer(); // not started: nothing, also not later
    QElapsedTimer clock;
    const auto restart = [&] {
        m_recorder->restartRecordingTimer();
        clock.start();
    };
    m_recorder->requestStart(m_presentation.get());
    if (whileStarting)
        restart();
    QVERIFY(m_started->wait());
    if (!whileStarting) {
        QCOMPARE(content(), QByteArray());
        restart();
    }
    QTRY_COMPARE(snapshots().size(), 1);
    QVERIFY(snapshots().first().value("time"_L1).toInt(-1) <= 50);
    // All later times count from that zero.
    m_recorder->saveScreenGeometry();
    QVERIFY(qAbs(snapshots().at(1).value("time"_L1).toInt(-1) - clock.elapsed()) < 50);

    m_recorder->requestStop();
    QVERIFY(m_stopped->wait());
    m_recorder->restartRecordingTimer();
    QVERIFY(setMonitors(
        { u"--setmonitor"_s, u"RIGHT"_s, u"1920/508x1080/286+1920+0"_s, u"none"_s }, 2));
    QVERIFY(setMonitors({ u"--delmonitor"_s, u"RIGHT"_s }, 1));
    QCOMPARE(snapshots().size(), 2);
    QCOMPARE(m_errors->count(), 0);
}

void TestScreenGeometryRecorder::followsAddedAndRemovedScreens()
{
    for (int recording = 0; recording < 2; ++recording) { // a second one doubles no connection
        m_recorder->requestStart(m_presentation.get());
        QVERIFY(m_started->wait());
        QVERIFY(setMonitors(
            { u"--setmonitor"_s, u"RIGHT"_s, u"1920/508x1080/286+1920+0"_s, u"none"_s }, 2));
        QTRY_COMPARE(snapshots().constLast().value("screens"_L1).toArray().size(), 2);
        const QJsonArray screens = snapshots().constLast().value("screens"_L1).toArray();
        for (int i = 0; i < 2; ++i)
            QCOMPARE(screens.at(i).toObject(), screenToJson(i, QGuiApplication::screens().at(i)));

        // Exactly one snapshot for each signal, but none for an added screen's virtual geometry.
        QScreen* const old = QGuiApplication::screens().first();
        QScreen* const added = QGuiApplication::screens().last();
        qsizetype count = snapshots().size();
        emit old->virtualGeometryChanged(old->virtualGeometry());
        QCOMPARE(snapshots().size(), ++count);
        emit added->virtualGeometryChanged(added->virtualGeometry());
        QCOMPARE(snapshots().size(), count);
        for (QScreen* screen : { old, added }) {
            emit screen->availableGeometryChanged({});
            emit screen->geometryChanged({});
            emit screen->logicalDotsPerInchChanged(0);
            emit screen->orientationChanged({});
            emit screen->physicalDotsPerInchChanged(0);
            emit screen->physicalSizeChanged({});
            emit screen->primaryOrientationChanged({});
            count += 7;
            QCOMPARE(snapshots().size(), count);
        }

        QVERIFY(setMonitors({ u"--delmonitor"_s, u"RIGHT"_s }, 1));
        QTRY_COMPARE(snapshots().constLast().value("screens"_L1).toArray().size(), 1);
        m_recorder->requestStop();
        QVERIFY(m_stopped->wait());
    }
}

void TestScreenGeometryRecorder::reportsFailureOnce()
{
    QVERIFY(m_dir->remove());
    m_recorder->requestStart(m_presentation.get());
    QVERIFY(m_started->wait());
    m_recorder->saveScreenGeometry();
    m_recorder->saveScreenGeometry();
    QCOMPARE(m_errors->count(), 1);
    QVERIFY(m_errors->first().first().toString().contains(m_dir->path()));
}

QTEST_MAIN(TestScreenGeometryRecorder)
#include "tst_ScreenGeometryRecorder.moc"

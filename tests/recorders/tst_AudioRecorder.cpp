// Against the real sound server and its virtual microphone (see tests/harness/desktop.sh).
#include "recorders/AudioRecorder.h"

#include "harness/FileSizeLimit.h"
#include "recorders/WavFileHeader.h"
#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAll()).trimmed();
}

} // namespace

class TestAudioRecorder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void recordsWhatTheMicrophoneHears_data();
    void recordsWhatTheMicrophoneHears();
    void goesOnWithoutInput();
    void reportsUnwritableFile();
    void stopsWhileStarting();
    void startsAndStopsFiftyTimes();
    void finishesTheFileWhenDestroyed();
    void reportsTroubleOnce_data();
    void reportsTroubleOnce();

private:
    bool selectInput(const QString& name);
    bool startRecording();
    QString path() const { return m_dir->filePath(u"audio.wav"_s); }
    qint64 size() const { return QFileInfo(path()).size(); }
    WavFileHeader finishedHeader() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Presentation> m_presentation;
    std::unique_ptr<AudioRecorder> m_recorder;
    std::unique_ptr<QSignalSpy> m_started, m_stopped, m_errors;
};

void TestAudioRecorder::initTestCase()
{
    RecorderSettings::instance()->setAudioChannelCount(1);
}

void TestAudioRecorder::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_presentation = std::make_unique<Presentation>(QDir(m_dir->path()));
    m_recorder = std::make_unique<AudioRecorder>();
    m_started = std::make_unique<QSignalSpy>(m_recorder.get(), &AudioRecorder::started);
    m_stopped = std::make_unique<QSignalSpy>(m_recorder.get(), &AudioRecorder::stopped);
    m_errors = std::make_unique<QSignalSpy>(m_recorder.get(), &AudioRecorder::recordingError);
    QVERIFY(m_dir->isValid() && selectInput(u"VirtMic"_s));
}

void TestAudioRecorder::cleanup()
{
    m_recorder.reset();
}

bool TestAudioRecorder::selectInput(const QString& name)
{
    const auto find = [&name] {
        const QList<AudioInputInfo> inputs = AudioInputInfo::availableAudioInputs();
        const auto it = std::find_if(inputs.begin(), inputs.end(),
            [&name](const AudioInputInfo& input) { return input.name() == name; });
        return it == inputs.end() ? AudioInputInfo() : *it;
    };
    const bool found = QTest::qWaitFor([&find] { return find().isValid(); });
    RecorderSettings::instance()->setSelectedAudioInput(find());
    return found;
}

bool TestAudioRecorder::startRecording()
{
    m_recorder->requestStart(m_presentation.get());
    return m_started->wait() && m_recorder->state() == AudioRecorder::Started;
}

/// The header of a file that must be complete: its lengths match the file's size.
WavFileHeader TestAudioRecorder::finishedHeader() const
{
    QFile file(path());
    WavFileHeader header;
    if (file.open(QIODevice::ReadOnly))
        header.read(&file);
    if (file.size() < WavFileHeader::Size || header.length() != file.size() - WavFileHeader::Size)
        QTest::qFail("the lengths do not match the file", __FILE__, __LINE__);
    return header;
}

void TestAudioRecorder::recordsWhatTheMicrophoneHears_data()
{
    QTest::addColumn<int>("channels");
    QTest::newRow("mono") << 1;
    QTest::newRow("stereo") << 2;
}

void TestAudioRecorder::recordsWhatTheMicrophoneHears()
{
    QFETCH(int, channels);
    RecorderSettings::instance()->setAudioChannelCount(channels);
    const auto restore = qScopeGuard([] { RecorderSettings::instance()->setAudioChannelCount(1); });
    const QString tone = m_dir->filePath(u"tone.wav"_s);
    run(u"sox"_s,
        { u"-n"_s, u"-r"_s, u"48000"_s, tone, u"synth"_s, u"30"_s, u"sine"_s, u"1000"_s });
    QProcess player;
    player.start(u"paplay"_s, { u"--device=mic"_s, tone });
    QVERIFY(player.waitForStarted());
    QTRY_VERIFY(!run(u"pactl"_s, { u"list"_s, u"short"_s, u"sink-inputs"_s }).isEmpty());

    QVERIFY(startRecording());
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(size() > qint64(3) * channels * 192000, 10000);
    m_recorder->requestStop();
    const qint64 elapsed = clock.elapsed();
    QTRY_COMPARE(m_stopped->count(), 1);
    player.terminate();
    player.waitForFinished();

    const WavFileHeader header = finishedHeader();
    QCOMPARE(int(header.channelCount()), channels);
    QCOMPARE(int(header.sampleSize()), 32);
    QVERIFY2(qAbs(header.millis() - elapsed) <= 100,
        qPrintable(u"%1 ms in %2 ms"_s.arg(header.millis()).arg(elapsed)));
    const QString stat = run(u"sox"_s, { path(), u"-n"_s, u"remix"_s, u"1"_s, u"stat"_s });
    const auto match = QRegularExpression(u"Rough\\s+frequency:\\s+(\\d+)"_s).match(stat);
    QVERIFY2(qAbs(match.captured(1).toInt() - 1000) < 10, qPrintable(stat));
    QCOMPARE(m_errors->count(), 0);
}

void TestAudioRecorder::goesOnWithoutInput()
{
    RecorderSettings::instance()->setSelectedAudioInput(AudioInputInfo());
    QVERIFY(startRecording());
    QVERIFY(!QFile::exists(path()));
    m_recorder->requestStop();
    QCOMPARE(m_stopped->count(), 1);
    QCOMPARE(m_recorder->state(), AudioRecorder::Stopped);
}

void TestAudioRecorder::reportsUnwritableFile()
{
    QVERIFY(QDir().mkdir(path())); // a directory where the file should be: also root cannot write
    m_recorder->requestStart(m_presentation.get());
    QVERIFY(m_stopped->wait());
    QCOMPARE(m_started->count(), 0);
    QCOMPARE(m_errors->count(), 1);
    QVERIFY(m_errors->first().first().toString().contains(path()));
    QCOMPARE(m_recorder->state(), AudioRecorder::Stopped);
}

void TestAudioRecorder::stopsWhileStarting()
{
    m_recorder->requestStart(m_presentation.get());
    m_recorder->requestStop();
    QCOMPARE(m_stopped->count(), 1);
    QCOMPARE(m_recorder->state(), AudioRecorder::Stopped);
    // The next start is not hastened by what was left of the first.
    QVERIFY(startRecording());
    QCOMPARE(m_started->count(), 1);
    m_recorder->requestStop();
    QCOMPARE(m_recorder->state(), AudioRecorder::Stopped);
    // A stop without a start answers too.
    m_recorder->requestStop();
    QCOMPARE(m_stopped->count(), 3);
}

void TestAudioRecorder::startsAndStopsFiftyTimes()
{
    for (int i = 1; i <= 50; ++i) {
        QVERIFY(startRecording());
        m_recorder->requestStop();
        QTRY_COMPARE(m_stopped->count(), i);
        finishedHeader();
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(m_errors->count(), 0);
}

void TestAudioRecorder::finishesTheFileWhenDestroyed()
{
    QVERIFY(startRecording());
    QTRY_VERIFY(size() > 48000);
    m_recorder.reset();
    QVERIFY(finishedHeader().length() > 48000 - WavFileHeader::Size);
}

void TestAudioRecorder::reportsTroubleOnce_data()
{
    QTest::addColumn<QString>("trouble");
    QTest::addColumn<QString>("words");
    QTest::newRow("disk full") << u"full"_s << u"Free some space"_s;
    QTest::newRow("file removed") << u"removed"_s << u"was removed"_s;
    QTest::newRow("input unplugged") << u"unplugged"_s << u"input \"Usb\""_s;
    QTest::newRow("input gone before the start") << u"gone"_s << u"input \"Usb\""_s;
    // The last row: nothing restarts the server.
    QTest::newRow("sound server killed") << u"killed"_s << u"input \"VirtMic\""_s;
}

void TestAudioRecorder::reportsTroubleOnce()
{
    QFETCH(QString, trouble);
    QFETCH(QString, words);
    const bool ownInput = trouble == "unplugged"_L1 || trouble == "gone"_L1;
    QString module;
    if (ownInput) {
        module = run(u"pactl"_s,
            { u"load-module"_s, u"module-remap-source"_s, u"source_name=usb"_s,
                u"master=mic.monitor"_s, u"source_properties=device.description=Usb"_s });
        QVERIFY(selectInput(u"Usb"_s));
    }
    constexpr rlim_t Limit = 300000;
    std::unique_ptr<FileSizeLimit> limit;
    if (trouble == "full"_L1)
        limit = std::make_unique<FileSizeLimit>(Limit);
    if (trouble == "gone"_L1)
        run(u"pactl"_s, { u"unload-module"_s, module });

    QVERIFY(startRecording());
    if (trouble != "gone"_L1)
        QTRY_VERIFY(size() > 48000);
    if (trouble == "removed"_L1)
        QVERIFY(QFile::remove(path()));
    else if (trouble == "unplugged"_L1)
        run(u"pactl"_s, { u"unload-module"_s, module });
    else if (trouble == "killed"_L1)
        QCOMPARE(::kill(qEnvironmentVariableIntValue("PODIUMCAST_TEST_PULSE_PID"), SIGKILL), 0);

    QTRY_COMPARE_WITH_TIMEOUT(m_errors->count(), 1, 10000);
    const QString message = m_errors->first().first().toString();
    QVERIFY2(message.contains(words), qPrintable(message));
    QCOMPARE(m_recorder->state(), AudioRecorder::Started); // the others go on recording
    QVERIFY(!m_errors->wait(4500)); // longer than a trouble needs to be noticed
    m_recorder->requestStop();
    QTRY_COMPARE(m_stopped->count(), 1);
    QCOMPARE(m_recorder->state(), AudioRecorder::Stopped);
    QCOMPARE(m_errors->count(), 1);
    if (trouble != "removed"_L1) {
        const WavFileHeader header = finishedHeader();
        QCOMPARE(int(header.sampleSize()), 32);
        if (trouble == "full"_L1)
            QVERIFY(size() <= qint64(Limit));
    }
}

int main(int argc, char** argv)
{
    QTemporaryDir config; // before the settings are first used
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
    QGuiApplication app(argc, argv);
    TestAudioRecorder test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_AudioRecorder.moc"

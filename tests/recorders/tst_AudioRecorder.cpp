// Against the real sound server and its virtual microphone (see tests/harness/desktop.sh).
#include "recorders/AudioRecorder.h"

#include "TestRecording.h"
#include "harness/FileSizeLimit.h"
#include "recorders/WavFileHeader.h"
#include "settings/RecorderSettings.h"

#include <QGuiApplication>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString run(const QString& commandLine)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.startCommand(commandLine);
    process.waitForFinished();
    return QString::fromUtf8(process.readAll()).trimmed();
}

bool selectInput(const QString& name)
{
    return QTest::qWaitFor([&name] {
        const QList<AudioInputInfo> inputs = AudioInputInfo::availableAudioInputs();
        for (const AudioInputInfo& input : inputs) {
            if (input.name() == name)
                RecorderSettings::instance()->setSelectedAudioInput(input);
        }
        return RecorderSettings::instance()->selectedAudioInput().name() == name;
    });
}

struct AudioRecording : TestRecording<AudioRecorder>
{
    QString path = dir.filePath(u"audio.wav"_s);

    qint64 size() const { return QFileInfo(path).size(); }

    /// The header; its length is that of the file, or the test fails.
    WavFileHeader finishedHeader() const
    {
        QFile file(path);
        WavFileHeader header;
        if (file.open(QIODevice::ReadOnly))
            header.read(&file);
        if (file.size() < WavFileHeader::Size
            || header.length() != file.size() - WavFileHeader::Size)
            QTest::qFail("the lengths do not match the file", __FILE__, __LINE__);
        return header;
    }
};

} // namespace

class TestAudioRecorder : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(selectInput(u"VirtMic"_s)); }
    /// Three hours of stereo; shorter ones are the fuzzers'.
    void lengthsBeyond4GiB()
    {
        QTemporaryFile file;
        QVERIFY(file.open() && file.resize(0x1'0000'0100)); // sparse
        QVERIFY(WavFileHeader().writeLengths(&file) && file.size() == 0x1'0000'0100);
        QVERIFY(file.seek(0));
        const QByteArray header = file.read(44);
        QCOMPARE(header.mid(4, 4).toHex() + header.mid(40).toHex(), "f8000000d4000000"_ba);
    }

    void startsWithoutInputButNotWithoutFile()
    {
        AudioRecording recording;
        QVERIFY(QDir().mkdir(recording.path)); // in its place: root cannot write there either
        recording.recorder->requestStart(&recording.presentation);
        QVERIFY(recording.stopped.wait());
        QCOMPARE(recording.started.count(), 0);
        QCOMPARE(recording.recorder->state(), AudioRecorder::Stopped);
        QCOMPARE(recording.errors.count(), 1);
        QVERIFY(recording.errors.first().first().toString().contains(recording.path));

        RecorderSettings::instance()->setSelectedAudioInput(AudioInputInfo());
        QVERIFY(recording.start()); // no input, no file
        QVERIFY(recording.stop());
    }

    void givesUpDiskThatHangs()
    {
        AudioRecording recording;
        const QByteArray path = QFile::encodeName(recording.path);
        QCOMPARE(::mkfifo(path.constData(), 0600), 0); // cannot be opened as long as nobody reads
        recording.recorder->requestStart(&recording.presentation);
        QVERIFY(recording.stopped.wait(15000));
        QVERIFY(recording.started.isEmpty());
        QCOMPARE(recording.errors.count(), 1);
        QVERIFY(recording.errors.first().first().toString().contains(u"does not answer"_s));
        const int reader = ::open(path.constData(), O_RDONLY | O_NONBLOCK);
        const auto reads = [reader](qint64 size) {
            char header[WavFileHeader::Size];
            return QTest::qWaitFor([&] { return ::read(reader, header, sizeof header) == size; });
        };
        QVERIFY(reads(WavFileHeader::Size) && reads(0)); // goes on by itself, and ends
        ::close(reader);
    }

    void stopsInEveryState()
    {
        AudioRecording recording;
        QVERIFY(recording.stop()); // never started
        recording.recorder->requestStart(&recording.presentation);
        QVERIFY(recording.stop()); // starting
        QCOMPARE(recording.started.count(), 0);
        RecorderSettings::instance()->setAudioChannelCount(2);
        for (int i = 0; i < 50; ++i) {
            QVERIFY(recording.start()); // each once: nothing is left of an earlier start
            QCOMPARE(recording.started.count(), i + 1);
            QVERIFY(recording.stop());
            recording.finishedHeader();
        }
        QCOMPARE(recording.errors.count(), 0);

        QVERIFY(recording.start());
        QTRY_VERIFY(recording.size() > 48000);
        recording.recorder.reset(); // destroyed while it records
        const WavFileHeader header = recording.finishedHeader();
        QVERIFY(header.length() > 48000 - WavFileHeader::Size);
        QCOMPARE(int(header.channelCount()), 2);
    }

    void reportsTroubleOnce_data()
    {
        QTest::addColumn<QString>("words");
        QTest::newRow("disk full") << u"Free some space"_s;
        QTest::newRow("file removed") << u"was removed"_s;
        QTest::newRow("unplugged") << u"\"Usb\" has been disconnected"_s;
        QTest::newRow("unplugged before the start") << u"\"Usb\" cannot be started"_s;
        QTest::newRow("server killed") << u"\"VirtMic\""_s; // the last row: it stays so
    }

    void reportsTroubleOnce()
    {
        QFETCH(QString, words);
        const QByteArray trouble = QTest::currentDataTag();
        AudioRecording recording;
        std::unique_ptr<FileSizeLimit> limit;
        QString usbModule;
        QElapsedTimer sinceStart;
        if (trouble == "disk full") {
            limit = std::make_unique<FileSizeLimit>(300000);
        } else if (trouble.startsWith("unplugged")) {
            usbModule
                = run(u"pactl load-module module-remap-source source_name=usb master=mic.monitor "
                      "source_properties=device.description=Usb"_s);
            QVERIFY(selectInput(u"Usb"_s));
        }
        if (trouble == "unplugged before the start") {
            run(u"pactl unload-module "_s + usbModule);
            QVERIFY(recording.start());
        } else {
            QVERIFY(recording.start());
            sinceStart.start();
            QTRY_VERIFY(recording.size() > 48000);
        }
        if (trouble == "file removed")
            QVERIFY(QFile::remove(recording.path));
        else if (trouble == "unplugged")
            run(u"pactl unload-module "_s + usbModule);
        else if (trouble == "server killed")
            QCOMPARE(::kill(qEnvironmentVariableIntValue("PODIUMCAST_TEST_PULSE_PID"), SIGKILL), 0);

        QTRY_COMPARE_WITH_TIMEOUT(recording.errors.count(), 1, 10000);
        const QString message = recording.errors.first().first().toString();
        QVERIFY2(message.contains(words), qPrintable(message));
        QCOMPARE(recording.recorder->state(), AudioRecorder::Started); // the others go on recording
        // Longer than a trouble needs to be noticed; the other two end or share what watches them.
        if (trouble == "disk full" || trouble == "unplugged" || trouble == "server killed")
            QVERIFY(!recording.errors.wait(4500));
        limit.reset(); // room again: what waited in memory is written
        const qint64 recorded = sinceStart.elapsed();
        QVERIFY(recording.stop());
        QCOMPARE(recording.errors.count(), 1);
        if (trouble == "disk full")
            QVERIFY(recording.finishedHeader().millis() > recorded - 500);
        if (trouble != "file removed")
            QCOMPARE(int(recording.finishedHeader().sampleSize()), 32);
    }
};

QTEST_MAIN(TestAudioRecorder)
#include "tst_AudioRecorder.moc"

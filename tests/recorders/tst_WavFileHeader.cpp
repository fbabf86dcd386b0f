#include "recorders/WavFileHeader.h"

#include <QAudioFormat>
#include <QBuffer>
#include <QTemporaryFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestWavFileHeader : public QObject
{
    Q_OBJECT

private slots:
    void describesTheFormat_data();
    void describesTheFormat();
    void patchesLengths();
};

void TestWavFileHeader::describesTheFormat_data()
{
    QTest::addColumn<QAudioFormat::SampleFormat>("sampleFormat");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<QByteArray>("fields"); // channels to bits per sample, as in the file
    using Format = QAudioFormat;
    QTest::newRow("32 bit mono") << Format::Int32 << 1 << 48000
                                 << "010080bb000000ee020004002000"_ba;
    QTest::newRow("16 bit stereo")
        << Format::Int16 << 2 << 44100 << "020044ac000010b1020004001000"_ba;
    QTest::newRow("unknown") << Format::Unknown << 1 << 48000 << "010080bb00000000000000000000"_ba;
}

void TestWavFileHeader::describesTheFormat()
{
    QFETCH(QAudioFormat::SampleFormat, sampleFormat);
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(QByteArray, fields);
    QAudioFormat format;
    format.setSampleFormat(sampleFormat);
    format.setChannelCount(channels);
    format.setSampleRate(rate);

    QBuffer buffer;
    QVERIFY(buffer.open(QIODevice::ReadWrite));
    QVERIFY(WavFileHeader(format).writeHeader(&buffer));
    const QByteArray expected
        = "524946460000000057415645666d7420100000000100" + fields + "6461746100000000";
    QCOMPARE(buffer.data().toHex(), expected);

    const qsizetype bytesPerSecond = qsizetype(channels) * rate * format.bytesPerSample();
    buffer.write(QByteArray(bytesPerSecond * 3 / 2, 'x'));
    QVERIFY(WavFileHeader().writeLengths(&buffer));
    buffer.seek(0);
    WavFileHeader header;
    header.read(&buffer);
    QCOMPARE(int(header.channelCount()), channels);
    QCOMPARE(int(header.sampleSize()), format.bytesPerSample() * 8);
    QCOMPARE(qsizetype(header.length()), bytesPerSecond * 3 / 2);
    QCOMPARE(header.seconds(), bytesPerSecond ? 1 : 0);
    QCOMPARE(header.millis(), bytesPerSecond ? 1500 : 0);
}

void TestWavFileHeader::patchesLengths()
{
    const auto patched = [](qint64 size) -> QByteArray {
        QTemporaryFile file;
        const bool ok = file.open() && file.resize(size) // sparse
            && WavFileHeader().writeLengths(&file) && file.pos() == size && file.size() == size;
        file.seek(4);
        const QByteArray riffSize = file.read(4).toHex();
        file.seek(40);
        return (ok ? "" : "failed ") + riffSize + ' ' + file.read(4).toHex();
    };
    QCOMPARE(patched(44), "24000000 00000000"_ba);
    QCOMPARE(patched(1044), "0c040000 e8030000"_ba);
    QCOMPARE(patched(0x1'0000'0100), "f8000000 d4000000"_ba); // beyond 4 GiB
    QCOMPARE(patched(43), "failed 00000000 000000"_ba); // no whole header: left alone
}

QTEST_APPLESS_MAIN(TestWavFileHeader)
#include "tst_WavFileHeader.moc"

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
    void patchesLengths_data();
    void patchesLengths();
    void readsCutOffHeaders_data();
    void readsCutOffHeaders();
};

void TestWavFileHeader::describesTheFormat_data()
{
    QTest::addColumn<QAudioFormat::SampleFormat>("sampleFormat");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<QByteArray>("fields"); // channels to bits per sample, as in the file

    QTest::newRow("32 bit mono") << QAudioFormat::Int32 << 1 << 48000
                                 << "0100 80bb0000 00ee0200 0400 2000"_ba;
    QTest::newRow("32 bit stereo")
        << QAudioFormat::Int32 << 2 << 48000 << "0200 80bb0000 00dc0500 0800 2000"_ba;
    QTest::newRow("16 bit stereo")
        << QAudioFormat::Int16 << 2 << 44100 << "0200 44ac0000 10b10200 0400 1000"_ba;
    QTest::newRow("8 bit mono") << QAudioFormat::UInt8 << 1 << 8000
                                << "0100 401f0000 401f0000 0100 0800"_ba;
    QTest::newRow("float, labelled as PCM all the same")
        << QAudioFormat::Float << 1 << 16000 << "0100 803e0000 00fa0000 0400 2000"_ba;
    QTest::newRow("unknown") << QAudioFormat::Unknown << 1 << 48000
                             << "0100 80bb0000 00000000 0000 0000"_ba;
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
    const QByteArray expected = "RIFF" + QByteArray(4, '\0') + "WAVEfmt "
        + QByteArray::fromHex("10000000 0100") + QByteArray::fromHex(fields) + "data"
        + QByteArray(4, '\0');
    QCOMPARE(buffer.data().toHex(' '), expected.toHex(' '));

    // A second and a half of samples.
    const qsizetype bytesPerSecond = qsizetype(channels) * rate * format.bytesPerSample();
    buffer.write(QByteArray(bytesPerSecond * 3 / 2, 'x'));
    QVERIFY(WavFileHeader().writeLengths(&buffer));
    buffer.seek(0);
    WavFileHeader header;
    header.read(&buffer);
    QCOMPARE(header.byteOrder(), 1);
    QCOMPARE(int(header.channelCount()), channels);
    QCOMPARE(int(header.sampleSize()), format.bytesPerSample() * 8);
    QCOMPARE(qsizetype(header.length()), bytesPerSecond * 3 / 2);
    QCOMPARE(header.seconds(), bytesPerSecond ? 1 : 0);
    QCOMPARE(header.millis(), bytesPerSecond ? 1500 : 0);
}

void TestWavFileHeader::patchesLengths_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("patched");
    QTest::addColumn<QByteArray>("riffSize");
    QTest::addColumn<QByteArray>("dataLength");
    QTest::newRow("no samples") << qint64(44) << true << "24000000"_ba
                                << "00000000"_ba;
    QTest::newRow("1000 bytes") << qint64(1044) << true << "0c040000"_ba
                                << "e8030000"_ba;
    QTest::newRow("beyond 4 GiB") << qint64(0x1'0000'0100) << true << "f8000000"_ba
                                  << "d4000000"_ba;
    QTest::newRow("no whole header") << qint64(43) << false << "00000000"_ba
                                     << "000000"_ba;
}

void TestWavFileHeader::patchesLengths()
{
    QFETCH(qint64, size);
    QFETCH(bool, patched);
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(file.resize(size)); // sparse
    QCOMPARE(WavFileHeader().writeLengths(&file), patched);
    if (patched)
        QCOMPARE(file.pos(), size);
    QCOMPARE(file.size(), size);
    file.seek(4);
    QTEST(file.read(4).toHex(), "riffSize");
    file.seek(40);
    QTEST(file.read(4).toHex(), "dataLength");
}

void TestWavFileHeader::readsCutOffHeaders_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("byteOrder");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("bits");
    QTest::addColumn<quint32>("length");
    const QByteArray whole = "RIFF\xff\xff\xff\xffWAVEfmt "_ba
        + QByteArray::fromHex("10000000 0100 0200 80bb0000 00dc0500 0800 2000") + "data"
        + QByteArray::fromHex("00dc0500");
    QTest::newRow("whole") << whole << 1 << 2 << 32 << 384000u;
    QTest::newRow("big-endian magic, little-endian numbers")
        << "RIFX" + whole.mid(4) << 0 << 2 << 32 << 384000u;
    QTest::newRow("cut in the length") << whole.first(43) << 1 << 2 << 32 << 0u;
    QTest::newRow("cut in the bits") << whole.first(35) << 1 << 2 << 0 << 0u;
    QTest::newRow("cut in the channels") << whole.first(23) << 1 << 0 << 0 << 0u;
    QTest::newRow("cut in the magic") << whole.first(3) << 0 << 0 << 0 << 0u;
    QTest::newRow("empty") << QByteArray() << 0 << 0 << 0 << 0u;
}

void TestWavFileHeader::readsCutOffHeaders()
{
    QFETCH(QByteArray, bytes);
    QBuffer buffer(&bytes);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    WavFileHeader header;
    header.read(&buffer);
    QTEST(int(header.byteOrder()), "byteOrder");
    QTEST(int(header.channelCount()), "channels");
    QTEST(int(header.sampleSize()), "bits");
    QTEST(header.length(), "length");
}

QTEST_APPLESS_MAIN(TestWavFileHeader)
#include "tst_WavFileHeader.moc"

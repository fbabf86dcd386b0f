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
    void patchesLengths();
};

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

    QBuffer empty;
    QVERIFY(empty.open(QIODevice::ReadWrite) && WavFileHeader(QAudioFormat()).writeHeader(&empty));
    QVERIFY(empty.seek(0));
    WavFileHeader header;
    header.read(&empty);
    QCOMPARE(header.seconds() + header.millis(), 0); // no bytes a second: nothing to divide by
}

QTEST_APPLESS_MAIN(TestWavFileHeader)
#include "tst_WavFileHeader.moc"

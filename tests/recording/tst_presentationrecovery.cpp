// What a killed program and a lost power leave behind, made by cutting the files of a recording at
// every byte, and what must never be touched.

#include "harness/Files.h"
#include "recording/PresentationRecovery.h"
#include "recording/RecordingKeeper.h"
#include "recording/RecordingLock.h"

#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QByteArray Lines = "1 1002\n2 5007\n3 -12\n";
const QByteArray Objects = "{\"a\":\"}{\\\"\\\\\"}{\"b\":[{\"c\":\"\xc3\xbc\"}]}{\"time\":3}";

QByteArray bytes(quint32 number)
{
    QByteArray result(4, '\0');
    qToLittleEndian(number, result.data());
    return result;
}

/// One channel pair of 32 bits at 48 kHz, as the recorder writes it.
QByteArray wav(quint32 riffSize, quint32 dataSize, const QByteArray& samples)
{
    return "RIFF" + bytes(riffSize) + "WAVEfmt " + bytes(16) + QByteArray("\1\0\2\0", 4)
        + bytes(48000) + bytes(384000) + QByteArray("\10\0\40\0", 4) + "data" + bytes(dataSize)
        + samples;
}

const QByteArray Samples = QByteArray::fromHex("0102030405060708").repeated(4);

} // namespace

class TestPresentationRecovery : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        write(u"presentation.xml"_s, "<presentation><name>Talk</name></presentation>");
    }

    void cutAnywhere_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("whole");
        QTest::addColumn<QByteArray>("zeros"); // a power cut has written the size, but not the data
        for (const QByteArray& zeros : { QByteArray(), QByteArray(5000, '\0') }) {
            const char* row = zeros.isEmpty() ? ": killed" : ": without power";
            QTest::addRow("slides%s", row) << u"timestamps_ms.txt"_s << Lines << zeros;
            QTest::addRow("live slides%s", row)
                << u"slides_2/timestamps_ms.txt"_s << Lines << zeros;
            QTest::addRow("pointer%s", row) << u"mouse_positions.txt"_s << Lines << zeros;
            QTest::addRow("screens%s", row) << u"screens_geometry.txt"_s << Objects << zeros;
        }
        QTest::newRow("sound") << u"audio.wav"_s << wav(0, 0, Samples) << QByteArray();
        QTest::newRow("sound that never reached the disk")
            << u"audio.wav"_s << QByteArray() << QByteArray(5000, '\0');
        QTest::newRow("sound at its end")
            << u"audio.wav"_s << wav(36 + Samples.size(), 0, Samples) << QByteArray();
    }

    /// Only ends are taken away, no more of them than the part that was cut, and what is left is
    /// what a stop would have left.
    void cutAnywhere()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, whole);
        QFETCH(QByteArray, zeros);
        QVERIFY(QDir(m_dir->path()).mkpath(u"slides_2"_s));
        const bool isStopping = whole.mid(4).startsWith(bytes(36 + 32));
        for (qsizetype cut = isStopping ? whole.size() : 0; cut <= whole.size(); ++cut) {
            write(RecordingLock::FileName, "");
            write(u"0-0002.png.aBcDeF"_s, "half");
            write(u"presentation.xml.UvWxYz"_s, "<pre");
            write(u"0-0001.png"_s, "a picture");
            write(u"0-0001.png.backup"_s, "an operator's own");
            write(name, whole.first(cut) + zeros);
            QCOMPARE(PresentationRecovery::recover(QDir(m_dir->path())),
                PresentationRecovery::Recovered);
            QCOMPARE(QDir(m_dir->path()).entryList({ u"*.??????"_s }, QDir::Files),
                QStringList(u"0-0001.png.backup"_s));
            QVERIFY(!exists(RecordingLock::FileName));
            QVERIFY(PresentationRecovery::isMarked(QDir(m_dir->path())));
            QCOMPARE(read(u"0-0001.png.backup"_s), "an operator's own");

            const QByteArray left = read(name);
            if (name == "audio.wav"_L1) {
                const auto length = std::max<qsizetype>(cut - 44, 0) / 8 * 8;
                QCOMPARE(exists(name), cut >= 44);
                QCOMPARE(left,
                    cut < 44 ? QByteArray()
                             : wav(quint32(length) + 36, quint32(length), Samples.first(length)));
                continue;
            }
            QVERIFY(whole.startsWith(left));
            const char end = whole == Lines ? '\n' : '}';
            QVERIFY(left.isEmpty() || left.endsWith(end));
            // The next line or object does not lie wholly within what was there.
            qsizetype next = left.size();
            do {
                next = whole.indexOf(end, next) + 1;
            } while (next > 0 && end == '}'
                && QJsonDocument::fromJson(whole.mid(left.size(), next - left.size())).isNull());
            QVERIFY2(next == 0 || next > cut, left.constData());
        }
    }

    void repairsOrLeavesAlone_data()
    {
        QTest::addColumn<QByteArray>("lock"); // null: there is none
        QTest::addColumn<QByteArray>("audio");
        QTest::addColumn<bool>("repaired");
        QTest::addColumn<int>("age"); // of the sound's last bytes, in seconds
        const QByteArray none;
        const QByteArray foreign = QByteArray(64, 'f') + '\n';
        QTest::newRow("complete") << none << wav(68, 32, Samples) << false << 90;
        QTest::newRow("zeros without a lock") << none << wav(0, 0, Samples) << true << 90;
        QTest::newRow("no lock, but still growing") << none << wav(0, 0, Samples) << false << 1;
        QTest::newRow("no samples") << none << wav(0, 0, {}) << false << 90;
        QTest::newRow("a length without a lock") << none << wav(68, 0, Samples) << false << 90;
        QTest::newRow("not our header")
            << none << wav(0, 0, Samples).replace("data", "LIST") << false << 90;
        QTest::newRow("recorded by another computer")
            << foreign << wav(0, 0, Samples) << false << 90;
    }

    void repairsOrLeavesAlone()
    {
        QFETCH(QByteArray, lock);
        QFETCH(QByteArray, audio);
        QFETCH(bool, repaired);
        if (!lock.isNull())
            write(RecordingLock::FileName, lock);
        write(u"audio.wav"_s, audio);
        QFETCH(int, age);
        QVERIFY(letSoundRest(age));
        write(u"timestamps_ms.txt"_s, "1 1002\n2 5");
        const QDir dir(m_dir->path());
        QCOMPARE(PresentationRecovery::recover(dir),
            repaired ? PresentationRecovery::Recovered : PresentationRecovery::Untouched);
        QCOMPARE(read(u"audio.wav"_s), repaired ? wav(68, 32, Samples) : audio);
        // Of the other files only a lock tells that nobody writes them any more.
        QCOMPARE(read(u"timestamps_ms.txt"_s), "1 1002\n2 5");
        QCOMPARE(PresentationRecovery::isMarked(dir), repaired);
        // No presentation: not even with a lock.
        QVERIFY(QFile::remove(dir.filePath(u"presentation.xml"_s)));
        write(RecordingLock::FileName, "");
        write(u"audio.wav"_s, wav(0, 0, Samples));
        QCOMPARE(PresentationRecovery::recover(dir), PresentationRecovery::Untouched);
        QVERIFY(exists(RecordingLock::FileName));
    }

    /// A presentation of unknown origin, whose files lead to the operator's own.
    void nothingIsWrittenThroughLinks()
    {
        const QByteArray own = wav(0, 0, Samples);
        for (const QString& name :
            { u"audio.wav"_s, u"timestamps_ms.txt"_s, u"screens_geometry.txt"_s,
                PresentationRecovery::MarkFileName, RecordingLock::FileName }) {
            init();
            QTemporaryDir elsewhere;
            const QString target = elsewhere.filePath(u"own"_s);
            writeFile(target, own);
            write(RecordingLock::FileName, "");
            (void)QFile::remove(m_dir->filePath(name));
            QVERIFY(QFile::link(target, m_dir->filePath(name)));
            (void)PresentationRecovery::recover(QDir(m_dir->path()));
            QVERIFY2(readFile(target) == own, qPrintable(name));
        }
    }

    void liveRecordingIsLeftAlone()
    {
        const QDir dir(m_dir->path());
        auto* keeper = new RecordingKeeper(dir);
        keeper->start();
        write(u"audio.wav"_s, wav(0, 0, Samples));
        QCOMPARE(PresentationRecovery::recover(dir), PresentationRecovery::Untouched);
        QCOMPARE(read(u"audio.wav"_s), wav(0, 0, Samples));
        QCOMPARE(dir.entryList(QDir::Files),
            QStringList({ u"audio.wav"_s, u"presentation.xml"_s })); // the lock is hidden
        keeper->retire();
        QTRY_VERIFY(!exists(RecordingLock::FileName));
        QVERIFY(letSoundRest(90));
        QCOMPARE(PresentationRecovery::recover(dir), PresentationRecovery::Recovered);
    }

private:
    bool letSoundRest(int seconds) const
    {
        QFile file(m_dir->filePath(u"audio.wav"_s));
        return file.open(QFile::ReadWrite)
            && file.setFileTime(
                QDateTime::currentDateTime().addSecs(-seconds), QFileDevice::FileModificationTime);
    }

    void write(const QString& name, const QByteArray& content) const
    {
        writeFile(m_dir->filePath(name), content);
    }
    QByteArray read(const QString& name) const { return readFile(m_dir->filePath(name)); }
    bool exists(const QString& name) const { return QFile::exists(m_dir->filePath(name)); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestPresentationRecovery)
#include "tst_presentationrecovery.moc"

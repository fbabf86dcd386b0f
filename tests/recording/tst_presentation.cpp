#include "recording/Presentation.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

} // namespace

class TestPresentation : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_dir->path());
    }

    void createWritesWhatLoadReads()
    {
        const std::unique_ptr<Presentation> created(Presentation::create(true, true, u"42"_s));
        QVERIFY(created);
        created->setTitle(u"A & B <\u00fc> \x01"_s);
        QVERIFY(created->saveXml());
        const std::unique_ptr<Presentation> loaded(Presentation::load(created->dir()));
        QVERIFY(loaded);
        QCOMPARE(loaded->title(), u"A & B <\u00fc> "_s);
    }

    void loadXml_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<QString>("title");

        const QByteArray head = "<?xml version='1.0' encoding='UTF-8'?>\n";
        QTest::newRow("first name counts")
            << head + "<p><x><name>no</name></x><name>a<b>b</b></name><name>c</name></p>" << true
            << u"ab"_s;
        QTest::newRow("empty file") << QByteArray() << false << QString();
        QTest::newRow("cut off") << head + "<presentation><name>T</na" << false << QString();
        QTest::newRow("rubbish behind the root")
            << head + "<presentation/><presentation/>" << false << QString();
        QTest::newRow("binary") << QByteArray("\x00\xff\x10<\x00", 5) << false << QString();
        QTest::newRow("external entity is not followed") << head
                + "<!DOCTYPE p [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>"
                  "<p><name>a&e;b</name></p>" << true << u"ab"_s;
        QByteArray bomb = head + "<!DOCTYPE p [<!ENTITY a0 \"aaaaaaaaaaaaaaaa\">";
        for (int i = 1; i < 16; ++i) {
            const QByteArray inner = "&a" + QByteArray::number(i - 1) + ";";
            bomb += "<!ENTITY a" + QByteArray::number(i) + " \"" + inner.repeated(16) + "\">";
        }
        QTest::newRow("entity bomb") << bomb + "]><p><name>&a15;</name></p>" << false << QString();
        const int depth = 100'000;
        QTest::newRow("deeply nested") << head + "<p><name>" + QByteArray("<a>").repeated(depth)
                + QByteArray("</a>").repeated(depth)
                + "</name></p>" << true << QString();
        QTest::newRow("huge") << head + "<p><name>" + QByteArray(2'000'000, 'a') + "</name></p>"
                              << false << QString();
        QTest::newRow("long title") << head + "<p><name>" + QByteArray(900, 'a') + "</name></p>"
                                    << true << QString(500, u'a');
    }

    void loadXml()
    {
        QFETCH(QByteArray, xml);
        QFETCH(bool, readable);
        writeFile(m_dir->filePath(u"presentation.xml"_s), xml);
        const std::unique_ptr<Presentation> loaded(Presentation::load(QDir(m_dir->path())));
        QCOMPARE(loaded != nullptr, readable);
        if (loaded) {
            QTEST(loaded->title(), "title");
        }
    }

    /// Nobody writes to it, so reading would wait for ever.
    void pipeIsNotRead()
    {
        if (QProcess::execute(u"mkfifo"_s, { m_dir->filePath(u"presentation.xml"_s) }) != 0)
            QSKIP("no named pipes here");
        QVERIFY(!Presentation::load(QDir(m_dir->path())));
    }

    void slideCount()
    {
        writeFile(m_dir->filePath(u"presentation.xml"_s), "<presentation/>");
        writeFile(m_dir->filePath(u"timestamps_ms.txt"_s), "1 1002\r\n2 5007\r\n\r\n\n");
        QDir dir(m_dir->path());
        QVERIFY(dir.mkpath(u"slides_1/deeper"_s));
        writeFile(dir.filePath(u"slides_1/timestamps_ms.txt"_s), "1 1\n2 2\n3 3");
        // Rubbish: one line feed, so two lines; the block size falls into the second.
        writeFile(dir.filePath(u"slides_1/deeper/timestamps_ms.txt"_s),
            QByteArray("\x00\x01\xff", 3) + '\n' + QByteArray(200'000, '\0'));
        writeFile(dir.filePath(u"slides_1/timestamps_ms.txt.bak"_s), "1 1\n");
        const std::unique_ptr<Presentation> loaded(Presentation::load(dir));
        QVERIFY(loaded);
        QCOMPARE(loaded->slideCount(), 2 + 3 + 2);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestPresentation)
#include "tst_presentation.moc"

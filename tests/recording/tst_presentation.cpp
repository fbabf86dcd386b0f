#include "harness/Files.h"
#include "recording/Presentation.h"

#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestPresentation : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QCoreApplication::instance()->setProperty("workDir", m_dir->path());
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
        QTest::newRow("cut off") << head + "<presentation><name>T</na" << false << QString();
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
    }

    void loadXml()
    {
        QFETCH(QByteArray, xml);
        QFETCH(bool, readable);
        const QDir dir(m_dir->path());
        QVERIFY(dir.mkpath(u"slides_1"_s));
        for (const QString& name : { u"timestamps_ms.txt"_s, u"slides_1/timestamps_ms.txt"_s })
            writeFile(dir.filePath(name), "1 1002\n2 5007\n");
        writeFile(dir.filePath(u"presentation.xml"_s), xml);
        const std::unique_ptr<Presentation> loaded(Presentation::load(dir));
        QCOMPARE(loaded != nullptr, readable);
        if (loaded) {
            QTEST(loaded->title(), "title");
            QCOMPARE(loaded->slideCount(), 4);
        }
    }

    /// Nobody writes to it, so reading would wait for ever.
    void pipeIsNotRead()
    {
        if (QProcess::execute(u"mkfifo"_s, { m_dir->filePath(u"presentation.xml"_s) }) != 0)
            QSKIP("no named pipes here");
        QVERIFY(!Presentation::load(QDir(m_dir->path())));
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestPresentation)
#include "tst_presentation.moc"

#include "app/Logging.h"

#include <QtTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

class TestLogging : public QObject
{
    Q_OBJECT

private slots:
    void everyLineOfTheRunIsInTheFile()
    {
        const QTemporaryDir root;
        const QDir dir(root.filePath(u"missing/parents"_s));
        const QtMessageHandler earlier = qInstallMessageHandler(messageHandler);
        qDebug() << "[Test] before";
        Logging::instance()->setLogDirectory(dir.path());
        qWarning() << "[Test] after" << u"\u00fc"_s;
        // A fatal message would end the process behind the handler, so the handler gets it here.
        messageHandler(QtFatalMsg, QMessageLogContext(), u"[Test] fatal"_s);
        std::vector<std::unique_ptr<QThread>> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back(QThread::create([] {
                for (int i = 0; i < 250; ++i)
                    qInfo() << "[Thread]" << i;
            }));
            threads.back()->start();
        }
        for (const auto& thread : threads)
            QVERIFY(thread->wait());
        qInstallMessageHandler(earlier);
        Logging::instance()->waitUntilWritten(std::chrono::seconds(10));

        const QStringList files = dir.entryList({ u"podiumcast_recorder_*.log"_s });
        QCOMPARE(files.size(), 1);
        QFile file(dir.filePath(files.first()));
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        for (QString& line : lines) {
            static const QRegularExpression stamp(
                u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[(?=[DWCI]\\] \\[)"_s);
            QVERIFY2(line.contains(stamp), qPrintable(line));
            line.remove(stamp);
        }
        QCOMPARE(lines.filter(QRegularExpression(u"^I\\] \\[Thread\\] \\d+$"_s)).size(), 4 * 250);
        QCOMPARE(lines.size(), 5 + 4 * 250);
        QCOMPARE(lines.at(0), u"D] [Test] before"_s);
        QCOMPARE(lines.at(3), u"W] [Test] after \"\u00fc\""_s);
        QCOMPARE(lines.at(4), u"D] [Test] fatal"_s);
    }
};

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"

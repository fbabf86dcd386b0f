#include "app/Logging.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

class TestLogging : public QObject
{
    Q_OBJECT

private slots:
    void everyLineOfTheRunIsInTheFile()
    {
        const QTemporaryDir dir;
        const QString logDir = dir.filePath(u"missing/parents"_s);
        const QtMessageHandler earlier = qInstallMessageHandler(messageHandler);
        qDebug() << "[Test] before";
        Logging::instance()->setLogDirectory(logDir);
        qWarning() << "[Test]"
                   << "after" << u"\u00fc"_s;
        // A fatal message would end the process behind the handler, so the handler gets it here.
        messageHandler(QtFatalMsg, QMessageLogContext(), u"[Test] fatal"_s);
        messageHandler(QtMsgType(9), QMessageLogContext(), u"[Test] odd"_s);
        QList<QThread*> threads;
        for (int t = 0; t < 4; ++t)
            threads.append(QThread::create([t] {
                for (int i = 0; i < 250; ++i)
                    qInfo().noquote() << u"[Thread] %1 %2"_s.arg(t).arg(i);
            }));
        for (QThread* thread : threads)
            thread->start();
        for (QThread* thread : threads)
            QVERIFY(thread->wait());
        qDeleteAll(threads);
        qInstallMessageHandler(earlier);

        const QStringList files = QDir(logDir).entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        QVERIFY(QRegularExpression(u"^podiumcast_recorder_\\d{8}_\\d{6}\\.log$"_s)
                    .match(files.first())
                    .hasMatch());
        QFile file(QDir(logDir).filePath(files.first()));
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 3 + 3 + 4 * 250);

        static const QRegularExpression stamped(
            u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[([DWCIU])\\] (\\[.*)$"_s);
        QStringList texts;
        for (const QString& line : lines) {
            const QRegularExpressionMatch match = stamped.match(line);
            QVERIFY2(match.hasMatch(), qPrintable(line));
            texts.append(match.captured(1) + u' ' + match.captured(2));
        }
        QCOMPARE(texts.at(0), u"D [Test] before"_s);
        QCOMPARE(texts.at(1), u"I [Logging] setting log directory to \"%1\""_s.arg(logDir));
        QVERIFY(texts.at(2).startsWith(u"I [Logging] opening log file \""_s));
        QCOMPARE(texts.at(3), u"W [Test] after \"\u00fc\""_s);
        QCOMPARE(texts.at(4), u"D [Test] fatal"_s);
        QCOMPARE(texts.at(5), u"U [Test] odd"_s);
        for (int t = 0; t < 4; ++t) {
            const QStringList own = texts.filter(u"[Thread] %1 "_s.arg(t));
            QCOMPARE(own.size(), 250);
            QCOMPARE(own.last(), u"I [Thread] %1 249"_s.arg(t));
        }
    }
};

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"

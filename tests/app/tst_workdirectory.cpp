#include "app/WorkDirectory.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestWorkDirectory : public QObject
{
    Q_OBJECT

private slots:
    void settle_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QString>("file"); // the launcher, or what is in a directory's place
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("expected");

        const QString launcher = u"PodiumcastRecorderLauncher.exe"_s;
        QTest::newRow("beside the launcher")
            << u"RecorderAPP"_s << launcher << QString() << u"Presentations"_s;
        QTest::newRow("no directory can be made")
            << u"bin"_s << u"bin/Presentations"_s << QString() << u"bin"_s;
        QTest::newRow("the environment comes first, also where it cannot be made")
            << u"bin"_s << u"my talks"_s << u"my talks/2026"_s << u"my talks/2026"_s;
    }

    void settle()
    {
        QFETCH(QString, directory);
        QFETCH(QString, file);
        QFETCH(QString, variable);
        const QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(directory));
        QVERIFY(QFile(root.filePath(file)).open(QIODevice::WriteOnly));
        if (!variable.isEmpty())
            qputenv("PODIUMCAST_WORK_DIR", root.filePath(variable).toUtf8());
        const QString settled = WorkDirectory::settle(root.filePath(directory));
        qunsetenv("PODIUMCAST_WORK_DIR");
        QTEST(QDir(root.path()).relativeFilePath(settled), "expected");
        QCOMPARE(QDir(settled).exists(), file != "my talks"_L1);
    }
};

QTEST_GUILESS_MAIN(TestWorkDirectory)
#include "tst_workdirectory.moc"

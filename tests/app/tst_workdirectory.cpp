#include "app/WorkDirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestWorkDirectory : public QObject
{
    Q_OBJECT

private slots:
    void settle_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<bool>("launcher");
        QTest::addColumn<QString>("blocked"); // a file where a directory would be made
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("expected");

        QTest::newRow("beside the program")
            << u"bin"_s << false << QString() << QString() << u"bin/Presentations"_s;
        QTest::newRow("beside the launcher")
            << u"recorderapp"_s << true << QString() << QString() << u"Presentations"_s;
        QTest::newRow("capitals count, too")
            << u"RecorderAPP"_s << true << QString() << QString() << u"Presentations"_s;
        QTest::newRow("no launcher") << u"recorderapp"_s << false << QString() << QString()
                                     << u"recorderapp/Presentations"_s;
        QTest::newRow("launcher, but another name")
            << u"bin"_s << true << QString() << QString() << u"bin/Presentations"_s;
        QTest::newRow("no directory can be made")
            << u"bin"_s << false << u"bin/Presentations"_s << QString() << u"bin"_s;
        QTest::newRow("the environment comes first")
            << u"recorderapp"_s << true << QString() << u"my talks/2026"_s << u"my talks/2026"_s;
        QTest::newRow("the environment comes first, also where it cannot be made")
            << u"bin"_s << false << u"my talks"_s << u"my talks/2026"_s << u"my talks/2026"_s;
    }

    void settle()
    {
        QFETCH(QString, directory);
        QFETCH(bool, launcher);
        QFETCH(QString, blocked);
        QFETCH(QString, variable);
        QFETCH(QString, expected);

        const QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(directory));
        const auto touch = [](const QString& path) {
            QFile file(path);
            return file.open(QIODevice::WriteOnly);
        };
        if (launcher)
            QVERIFY(touch(root.filePath(u"PodiumcastRecorderLauncher.exe"_s)));
        if (!blocked.isEmpty())
            QVERIFY(touch(root.filePath(blocked)));
        if (!variable.isEmpty())
            qputenv("PODIUMCAST_WORK_DIR", root.filePath(variable).toUtf8());
        const QString settled = WorkDirectory::settle(root.filePath(directory));
        qunsetenv("PODIUMCAST_WORK_DIR");
        QCOMPARE(settled, root.filePath(expected));
        QCOMPARE(QFileInfo(settled).isDir(), blocked.isEmpty() || variable.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestWorkDirectory)
#include "tst_workdirectory.moc"

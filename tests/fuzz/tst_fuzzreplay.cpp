#include "fuzz/FuzzTargets.h"
#include "harness/Files.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// What the fuzzers found worth keeping, in every build.
class TestFuzzReplay : public QObject
{
    Q_OBJECT

private slots:
    void corpus_data()
    {
        QTest::addColumn<int>("target");
        for (int i = 0; i < int(FuzzTargets.size()); ++i)
            QTest::newRow(FuzzTargets[i].name) << i;
    }
    void corpus()
    {
        QFETCH(const int, target);
        const FuzzTarget& fuzz = FuzzTargets[target];
        const QDir corpus(QStringLiteral(PODIUMCAST_CORPUS "/") + QLatin1StringView(fuzz.name));
        const QStringList names = corpus.entryList(QDir::Files);
        QVERIFY(!names.isEmpty());
        for (const QString& name : names)
            fuzz.run(readFile(corpus.filePath(name)));
    }
};

QTEST_GUILESS_MAIN(TestFuzzReplay)
#include "tst_fuzzreplay.moc"

#include "slidesource/NdiRuntime.h"

#include <QDir>
#include <QLibrary>
#include <QLibraryInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// The search for a usable NDI runtime.
class NdiRuntimeTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const QString& name : { u"libndi.so.6"_s, u"libndi.so.5"_s })
            if (QLibrary(name).load())
                QSKIP("an NDI runtime is installed in the library path");
        QFile text(m_dir.filePath(u"libndi.so.6"_s));
        QVERIFY(text.open(QFile::WriteOnly) && text.write("not a library") > 0);
        const QString other
            = QLibraryInfo::path(QLibraryInfo::LibrariesPath) + u"/libQt6Core.so.6"_s;
        QVERIFY(QDir(m_dir.path()).mkdir(u"other"_s));
        QVERIFY(QFile::link(other, m_dir.filePath(u"other/libndi.so.6"_s)));
    }

    void load_data()
    {
        QTest::addColumn<QString>("v6");
        QTest::addColumn<QString>("v5");
        QTest::addColumn<bool>("usable");
        const QString fake = qEnvironmentVariable("PODIUMCAST_FAKE_NDI");
        QTest::newRow("not a library") << m_dir.path() << u"/nowhere"_s << false;
        QTest::newRow("lacks functions") << m_dir.filePath(u"other"_s) << QString() << false;
        QTest::newRow("version 6") << fake << QString() << true;
        QTest::newRow("version 6 is broken") << m_dir.path() << fake << true;
    }

    void load()
    {
        QFETCH(QString, v6);
        QFETCH(QString, v5);
        qputenv("NDI_RUNTIME_DIR_V6", QFile::encodeName(v6));
        qputenv("NDI_RUNTIME_DIR_V5", QFile::encodeName(v5));
        QString error;
        QTEST(NdiRuntime::load(error) != nullptr, "usable");
        QTEST(error.isEmpty(), "usable");
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(NdiRuntimeTest)
#include "NdiRuntimeTest.moc"

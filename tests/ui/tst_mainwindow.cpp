#include "ui/MainWindow.h"
#include "ui/WindowFixture.h"

#include <QDesktopServices>
#include <QDir>
#include <QTest>

#include <filesystem>

using namespace Qt::StringLiterals;

/// What the window hands to other programs.
class TestMainWindow : public QObject
{
    Q_OBJECT

public slots:
    void recordUrl(const QUrl& url) { m_openedUrls.append(url); }

private slots:
    void initTestCase()
    {
        for (const QString& scheme : { u"file"_s, u"https"_s, u"http"_s })
            QDesktopServices::setUrlHandler(scheme, this, "recordUrl");
    }

    void opensOnlyPresentationsAndWebLinks()
    {
        const WindowFixture fixture;
        const QDir dir(fixture.workDir());
        for (const QString& name : { u"Talk #1 of 3"_s, u"../outside"_s, u"../Presentations2"_s })
            QVERIFY(dir.mkpath(name));
        QFile program(dir.filePath(u"program"_s));
        QVERIFY(program.open(QIODevice::WriteOnly));
        // Where links cannot be made (Windows without the right to), the name leads nowhere.
        std::error_code refused;
        std::filesystem::create_directory_symlink(
            dir.filesystemPath() / ".." / "outside", dir.filesystemPath() / "link", refused);
        MainWindow facade;
        for (const QString& path : { u"nowhere"_s, u"."_s, u"Talk #1 of 3/../../outside"_s,
                 u"link"_s, u"../Presentations2"_s, u"program"_s })
            QVERIFY2(!facade.qml_openDirectory(dir.filePath(path)), qPrintable(path));
        for (const QString& url : { u"file:///etc/passwd"_s, u"javascript:alert(1)"_s, QString() })
            QVERIFY2(!facade.qml_openLink(QUrl(url)), qPrintable(url));
        QCOMPARE(m_openedUrls.size(), 0);

        QVERIFY(facade.qml_openDirectory(dir.filePath(u"Talk #1 of 3"_s)));
        const QString encoded = m_openedUrls.takeFirst().toString(QUrl::FullyEncoded);
        QVERIFY2(encoded.startsWith("file:///"_L1), qPrintable(encoded));
        QVERIFY2(encoded.endsWith("/Talk%20%231%20of%203"_L1), qPrintable(encoded));
        const QString page = u"/-/edit/live"_s;
        QVERIFY(facade.qml_openLink(facade.qml_presentationUrl(u"../a?b#c%2F@d"_s, page)));
        QCOMPARE(m_openedUrls.first().toString(QUrl::FullyEncoded),
            facade.qml_serviceUrl({}).toString() + u"/..%2Fa%3Fb%23c%252F%40d"_s + page);
        for (const QString& id : { QString(), u"."_s, u".."_s })
            QVERIFY2(!facade.qml_openLink(facade.qml_presentationUrl(id, page)), qPrintable(id));
    }

private:
    QList<QUrl> m_openedUrls;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"

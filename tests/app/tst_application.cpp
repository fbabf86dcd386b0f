#include "app/Application.h"
#include "harness/IsolatedSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"
#include "ui/MainWindow.h"
#include "ui/SlideSourcePreview.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>
#include <QTimer>

using namespace Qt::StringLiterals;

// The whole program in one process, on a virtual desktop: what the operator sees of a start that
// comes to nothing, and of the end.
class TestApplication : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName(u"PodiumcastTest"_s);
        QCoreApplication::setApplicationName(u"tst_application"_s);
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        qRegisterMetaType<QList<SlideImage>>("QList<SlideImage>");
        qputenv("PODIUMCAST_WORK_DIR", m_dir.path().toUtf8());
        m_application = new Application(this);
        m_application->run();
        m_window = m_application->findChild<MainWindow*>();
        QVERIFY(m_window);
        QTRY_VERIFY(RecorderSettings::instance()->selectedSlideSource().isValid());
        m_screens = RecorderSettings::instance()->selectedSlideSource();
    }

    void init()
    {
        setWorkDir(m_dir.path());
        // A recording is named by its second, and there is one recording a second.
        const QTime before = QTime::currentTime();
        QTRY_VERIFY(QTime::currentTime().second() != before.second());
    }

    void startThatFails_data()
    {
        QTest::addColumn<QString>("workDir");
        QTest::addColumn<int>("sourceType");
        QTest::addColumn<QString>("words");

        QFile file(m_dir.filePath(u"file"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QTest::newRow("work directory is gone")
            << m_dir.filePath(u"gone"_s) << 2 << u"does not exist"_s;
        QTest::newRow("while the preview starts again")
            << m_dir.filePath(u"gone"_s) << 2 << u"does not exist"_s;
        QTest::newRow("work directory cannot be written")
            << u"/proc"_s << 2
            << u"no folder for it could be made in "_s + QDir::toNativeSeparators(u"/proc"_s);
        QTest::newRow("no such slide source")
            << m_dir.path() << 1 << u"slide source \"Odd\" cannot be used"_s;
    }

    void startThatFails()
    {
        QFETCH(QString, workDir);
        QFETCH(int, sourceType);
        QFETCH(QString, words);
        setWorkDir(workDir);
        if (sourceType != m_screens.type())
            RecorderSettings::instance()->setSelectedSlideSource(SlidesSourceInfo(
                true, SlidesSourceInfo::SlideSourceType(sourceType), "odd"_ba, 0, u"Odd"_s));
        QSignalSpy errors(m_window, &MainWindow::errorMessage);
        QTimer::singleShot(0, m_window, &MainWindow::qml_startRecording);
        if (QByteArray(QTest::currentDataTag()).startsWith("while"))
            m_window->findSlideSourcePreview()->restart(); // the button works meanwhile
        QTRY_COMPARE(errors.size(), 1);
        QTRY_VERIFY(!m_window->isLoading());
        QVERIFY(!m_window->isRecording());
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors.first().first().toString().contains(words),
            qPrintable(errors.first().first().toString()));
        RecorderSettings::instance()->setSelectedSlideSource(m_screens);
        // The start gave the screens away; the preview has them back.
        QTRY_VERIFY(!m_window->findSlideSourcePreview()->property("loading").toBool());
    }

private:
    static void setWorkDir(const QString& path)
    {
        QCoreApplication::instance()->setProperty("workDir", path);
    }

    QTemporaryDir m_dir;
    Application* m_application = nullptr;
    MainWindow* m_window = nullptr;
    SlidesSourceInfo m_screens;
};

QTEST_MAIN(TestApplication)
#include "tst_application.moc"

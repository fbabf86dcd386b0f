// The whole program in one process, on a virtual desktop: starts that come to nothing, and whether
// the system is kept awake from the start of a recording to its end, as the services of a desktop
// see it; they are played here, on a message bus of their own.
#include "app/Application.h"
#include "app/SystemHold.h"
#include "harness/IsolatedSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"
#include "ui/MainWindow.h"
#include "ui/SlideSourcePreview.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QLocalServer>
#include <QQuickWindow>
#include <QtTest>

#include <poll.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/extensions/scrnsaver.h>

using namespace Qt::StringLiterals;

namespace {

/// The login service hands out a pipe's end, and is held while somebody has it open; the screen
/// saver is held while whoever asked is on the bus.
class DesktopServices : public QDBusVirtualObject
{
public:
    QVariantList askedForLogin;

    [[nodiscard]] int held(const QDBusConnection& bus) const
    {
        pollfd end{ m_pipe, POLLIN, 0 };
        const bool isLoginHeld = m_pipe >= 0 && poll(&end, 1, 0) == 0;
        return int(isLoginHeld) + int(bus.interface()->isServiceRegistered(m_screenSaverOwner));
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        if (message.member() != "Inhibit"_L1)
            return false;
        if (message.interface() == "org.freedesktop.ScreenSaver"_L1) {
            m_screenSaverOwner = message.service();
            return bus.send(message.createReply(1U));
        }
        askedForLogin = message.arguments();
        int ends[2];
        if (pipe(ends) != 0)
            return false;
        m_pipe = ends[0];
        const QDBusUnixFileDescriptor descriptor(ends[1]); // a copy
        close(ends[1]);
        return bus.send(message.createReply(QVariant::fromValue(descriptor)));
    }

private:
    int m_pipe = -1;
    QString m_screenSaverOwner;
};

} // namespace

class TestApplication : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_busProcess.start(u"dbus-daemon"_s,
            { u"--session"_s, u"--nofork"_s, u"--print-address"_s,
                u"--address=unix:dir=%1"_s.arg(m_dir.path()) });
        QTRY_VERIFY2(m_busProcess.canReadLine(), "no dbus-daemon");
        const QByteArray address = m_busProcess.readLine().trimmed();
        setBus(address);
        m_bus = QDBusConnection::connectToBus(QString::fromUtf8(address), u"services"_s);
        QVERIFY(m_bus.registerVirtualObject(u"/"_s, &m_services, QDBusConnection::SubPath));
        QVERIFY(m_bus.registerService(u"org.freedesktop.login1"_s));
        QVERIFY(m_bus.registerService(u"org.freedesktop.ScreenSaver"_s));

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

    void awakeFromStartToStopped()
    {
        const std::unique_ptr<Display, int (*)(Display*)> display(
            XOpenDisplay(nullptr), XCloseDisplay);
        XSetScreenSaver(display.get(), 1, 0, PreferBlanking, DefaultExposures);
        const auto isBlank = [&display] {
            XScreenSaverInfo info;
            XScreenSaverQueryInfo(display.get(), DefaultRootWindow(display.get()), &info);
            return info.state == ScreenSaverOn;
        };
        QTRY_VERIFY(isBlank());
        XForceScreenSaver(display.get(), ScreenSaverReset);

        m_window->qml_startRecording();
        QTRY_VERIFY(m_window->isRecording());
        QTRY_COMPARE(m_services.held(m_bus), 2);
        const QVariantList asked{ u"sleep:idle"_s, u"Podiumcast Recorder"_s,
            u"A recording is running."_s, u"block"_s };
        QCOMPARE(m_services.askedForLogin, asked);
        QTest::qWait(2500); // more than the screen saver waits
        QVERIFY(!isBlank());
        QCOMPARE(m_services.held(m_bus), 2);

        m_window->qml_stopRecording();
        QTRY_VERIFY(!m_window->isRecording());
        QTRY_COMPARE(m_services.held(m_bus), 0);
        QTRY_VERIFY(isBlank());
    }

    void startThatFails_data()
    {
        QTest::addColumn<QString>("workDir");
        QTest::addColumn<bool>("oddSource");
        QTest::addColumn<QString>("words");
        QTest::newRow("work directory is gone")
            << m_dir.filePath(u"gone"_s) << false << u"does not exist"_s;
        QTest::newRow("no such slide source")
            << m_dir.path() << true << u"slide source \"Odd\" cannot be used"_s;
    }

    void startThatFails()
    {
        QFETCH(QString, workDir);
        QFETCH(bool, oddSource);
        QFETCH(QString, words);
        setWorkDir(workDir);
        if (oddSource)
            RecorderSettings::instance()->setSelectedSlideSource(SlidesSourceInfo(
                true, SlidesSourceInfo::SlideSourceType(1), "odd"_ba, 0, u"Odd"_s));
        m_services.askedForLogin.clear();
        QSignalSpy errors(m_window, &MainWindow::errorMessage);
        QTimer::singleShot(0, m_window, &MainWindow::qml_startRecording);
        m_window->findSlideSourcePreview()->restart(); // the button works meanwhile
        QTRY_COMPARE(errors.size(), 1);
        QTRY_VERIFY(!m_window->isLoading());
        QVERIFY(!m_window->isRecording());
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors.first().first().toString().contains(words),
            qPrintable(errors.first().first().toString()));
        QTRY_VERIFY(!oddSource || !m_services.askedForLogin.isEmpty());
        QTRY_COMPARE(m_services.held(m_bus), 0);
        RecorderSettings::instance()->setSelectedSlideSource(m_screens);
        // The start gave the screens away; the preview has them back.
        QTRY_VERIFY(!m_window->findSlideSourcePreview()->property("loading").toBool());
    }

    /// The last one: from here on the bus is deaf.
    void busThatDoesNotAnswer()
    {
        QLocalServer deaf; // what connects waits in its queue
        QVERIFY(deaf.listen(m_dir.filePath(u"deaf"_s)));
        setBus("unix:path=" + m_dir.filePath(u"deaf"_s).toUtf8());
        QElapsedTimer timer;
        timer.start();
        {
            SystemHold hold;
            hold.begin(nullptr, u"A test is running."_s);
            hold.end();
            hold.begin(nullptr, u"A test is running."_s);
        }
        QVERIFY(timer.elapsed() < 1000);
    }

private:
    static void setWorkDir(const QString& path)
    {
        QCoreApplication::instance()->setProperty("workDir", path);
    }
    static void setBus(const QByteArray& address)
    {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }

    QTemporaryDir m_dir;
    QProcess m_busProcess;
    QDBusConnection m_bus{ u"services"_s };
    DesktopServices m_services;
    Application* m_application = nullptr;
    MainWindow* m_window = nullptr;
    SlidesSourceInfo m_screens;
};

QTEST_MAIN(TestApplication)
#include "tst_application.moc"

// Whether the system is kept awake from the start of a recording to its end, as the services of a
// desktop see it: they are played by this process on a message bus of its own.
#include "app/Application.h"
#include "harness/IsolatedSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"
#include "ui/MainWindow.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLocalServer>
#include <QProcess>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <poll.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/extensions/scrnsaver.h>

using namespace Qt::StringLiterals;

namespace {

/// Hands out a pipe's end, as the login service does: held while somebody has it open.
class LoginService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    [[nodiscard]] int held()
    {
        for (auto pipe = m_pipes.begin(); pipe != m_pipes.end();) {
            pollfd end{ *pipe, POLLIN, 0 };
            pipe = poll(&end, 1, 0) == 1 && close(*pipe) == 0 ? m_pipes.erase(pipe) : pipe + 1;
        }
        return int(m_pipes.size());
    }
    QStringList asked;

public slots:
    QDBusUnixFileDescriptor Inhibit(
        const QString& what, const QString& who, const QString& why, const QString& mode)
    {
        asked = QStringList{ what, who, why, mode };
        int ends[2];
        if (pipe(ends) != 0)
            return {};
        m_pipes.append(ends[0]);
        const QDBusUnixFileDescriptor descriptor(ends[1]); // a copy
        close(ends[1]);
        return descriptor;
    }

private:
    QList<int> m_pipes;
};

class ScreenSaverService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")

public:
    explicit ScreenSaverService(const QDBusConnection& bus)
    {
        m_watcher.setConnection(bus);
        m_watcher.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
        connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this,
            [this](const QString& owner) { m_cookies.remove(owner); });
    }
    [[nodiscard]] int held() const { return int(m_cookies.size()); }

public slots:
    uint Inhibit(const QString&, const QString&)
    {
        m_watcher.addWatchedService(message().service());
        m_cookies.insert(message().service(), ++m_lastCookie);
        return m_lastCookie;
    }

private:
    QDBusServiceWatcher m_watcher;
    QHash<QString, uint> m_cookies;
    uint m_lastCookie = 0;
};

int holdForALongTime()
{
    SystemHold hold;
    hold.begin(nullptr, u"A test is running."_s);
    return QGuiApplication::exec();
}

/// Prints how long the calls took.
int holdForAMoment()
{
    QElapsedTimer timer;
    timer.start();
    {
        SystemHold hold;
        hold.begin(nullptr, u"A test is running."_s);
        hold.end();
        hold.begin(nullptr, u"A test is running."_s);
    }
    QTextStream(stdout) << timer.elapsed() << Qt::endl;
    return 0; // the libraries' ends must not wait either
}

} // namespace

class TestSystemHold : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fromStartToStopped();
    void startThatFails();
    void crash();
    void busThatDoesNotAnswer();

private:
    bool isHeld() { return m_login.held() == 1 && m_screenSaver->held() == 1; }
    bool isFree() { return m_login.held() == 0 && m_screenSaver->held() == 0; }
    std::unique_ptr<QProcess> startAgain(const QString& mode) const;

    QTemporaryDir m_dir;
    QProcess m_bus;
    LoginService m_login;
    std::unique_ptr<ScreenSaverService> m_screenSaver;
    Application* m_application = nullptr;
    MainWindow* m_window = nullptr;
};

void TestSystemHold::initTestCase()
{
    m_bus.start(u"dbus-daemon"_s,
        { u"--session"_s, u"--nofork"_s, u"--print-address"_s,
            u"--address=unix:dir=%1"_s.arg(m_dir.path()) });
    QTRY_VERIFY2(m_bus.canReadLine(), "no dbus-daemon");
    const QByteArray address = m_bus.readLine().trimmed();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(address), u"services"_s);
    m_screenSaver = std::make_unique<ScreenSaverService>(bus);
    QVERIFY(bus.registerObject(
        u"/org/freedesktop/login1"_s, &m_login, QDBusConnection::ExportAllSlots));
    QVERIFY(bus.registerObject(
        u"/org/freedesktop/ScreenSaver"_s, m_screenSaver.get(), QDBusConnection::ExportAllSlots));
    QVERIFY(bus.registerService(u"org.freedesktop.login1"_s));
    QVERIFY(bus.registerService(u"org.freedesktop.ScreenSaver"_s));

    qputenv("PODIUMCAST_WORK_DIR", m_dir.path().toUtf8());
    m_application = new Application(this);
    m_application->run();
    m_window = m_application->findChild<MainWindow*>();
    QTRY_VERIFY(RecorderSettings::instance()->selectedSlideSource().isValid());
}

void TestSystemHold::fromStartToStopped()
{
    const std::unique_ptr<Display, int (*)(Display*)> display(XOpenDisplay(nullptr), XCloseDisplay);
    XSetScreenSaver(display.get(), 1, 0, PreferBlanking, DefaultExposures);
    const auto isBlank = [&display] {
        XScreenSaverInfo info;
        XScreenSaverQueryInfo(display.get(), DefaultRootWindow(display.get()), &info);
        return info.state == ScreenSaverOn;
    };
    QVERIFY(isFree());
    QTRY_VERIFY(isBlank());
    XForceScreenSaver(display.get(), ScreenSaverReset);

    m_window->qml_startRecording();
    QTRY_VERIFY(m_window->isRecording());
    QTRY_VERIFY(isHeld());
    const QStringList asked{ u"sleep:idle"_s, u"Podiumcast Recorder"_s,
        u"A recording is running."_s, u"block"_s };
    QCOMPARE(m_login.asked, asked);
    QTest::qWait(2500); // more than the screen saver waits
    QVERIFY(!isBlank());
    QVERIFY(isHeld());

    m_window->qml_stopRecording();
    QTRY_VERIFY(!m_window->isRecording());
    QTRY_VERIFY(isFree());
    QTRY_VERIFY(isBlank());
}

void TestSystemHold::startThatFails()
{
    RecorderSettings::instance()->setSelectedSlideSource(
        SlidesSourceInfo(true, SlidesSourceInfo::SlideSourceType(1), "odd"_ba, 0, u"Odd"_s));
    m_login.asked.clear();
    m_window->qml_startRecording();
    QTRY_VERIFY(!m_window->isLoading());
    QTRY_VERIFY(!m_login.asked.isEmpty());
    QTRY_VERIFY(isFree());
}

std::unique_ptr<QProcess> TestSystemHold::startAgain(const QString& mode) const
{
    auto process = std::make_unique<QProcess>();
    process->start(QCoreApplication::applicationFilePath(), { mode });
    return process;
}

void TestSystemHold::crash()
{
    const std::unique_ptr<QProcess> process = startAgain(u"--hold"_s);
    QTRY_VERIFY(isHeld());
    process->kill();
    QTRY_VERIFY(isFree());
    process->waitForFinished();
}

void TestSystemHold::busThatDoesNotAnswer()
{
    QLocalServer deaf; // what connects waits in its queue
    QVERIFY(deaf.listen(m_dir.filePath(u"deaf"_s)));
    const QByteArray address = "unix:path=" + m_dir.filePath(u"deaf"_s).toUtf8();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    const std::unique_ptr<QProcess> process = startAgain(u"--moment"_s);
    QVERIFY(process->waitForFinished(10'000));
    const QByteArray printed = process->readAllStandardOutput();
    bool isNumber = false;
    QVERIFY2(printed.trimmed().toInt(&isNumber) < 1000 && isNumber, printed.constData());
}

int main(int argc, char** argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    qRegisterMetaType<QList<SlideImage>>("QList<SlideImage>");
    QGuiApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--hold") == 0)
        return holdForALongTime();
    if (argc > 1 && qstrcmp(argv[1], "--moment") == 0)
        return holdForAMoment();
    TestSystemHold test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_systemhold.moc"

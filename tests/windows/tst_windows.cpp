// The Windows sides of the pointer and of the listing of cameras, with events of another process
// and with cameras that are entries of Wine's registry.
#include "app/SystemHold.h"
#include "recorders/MouseListenerPrivateWindows.h"
#include "slidesource/SlidesSourceInfo.h"

#include <QGuiApplication>
#include <QPoint>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QWindow>

#include <memory>
#include <objbase.h>
#include <windows.h>

using namespace Qt::StringLiterals;

namespace {

const QList<QPoint> Path{ { 300, 200 }, { 301, 200 }, { 640, 400 }, { 300, 200 } };

void send(DWORD flags, QPoint point = {}, DWORD data = 0)
{
    // From pixels to 65536ths of the screen, in the pixel's middle.
    const auto scaled = [](int value, int metric) {
        return LONG((qint64(value) * 2 + 1) * 32768 / GetSystemMetrics(metric));
    };
    INPUT input = {};
    input.type = INPUT_MOUSE;
    input.mi.dx = scaled(point.x(), SM_CXSCREEN);
    input.mi.dy = scaled(point.y(), SM_CYSCREEN);
    input.mi.mouseData = data;
    input.mi.dwFlags = flags;
    SendInput(1, &input, sizeof input);
}

int sendPath()
{
    for (const QPoint& point : Path) {
        send(MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE, point);
        send(MOUSEEVENTF_WHEEL, {}, WHEEL_DELTA);
        send(MOUSEEVENTF_MIDDLEDOWN);
        send(MOUSEEVENTF_MIDDLEUP);
    }
    return 0;
}

// This thread must go on pumping messages: the hook is called on it.
bool sendFromAnotherProcess()
{
    QProcess process;
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QCoreApplication::applicationFilePath(), { u"--send"_s });
    return finished.wait(20000) && process.exitCode() == 0;
}

const std::wstring Cameras
    = L"Software\\Classes\\CLSID\\{860BB310-5D01-11D0-BD3B-00A0C911CE86}\\Instance";

void addCamera(const std::wstring& key, const QMap<QString, QString>& values)
{
    for (auto value = values.begin(); value != values.end(); ++value) {
        const std::wstring text = value.value().toStdWString();
        QCOMPARE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, (Cameras + L'\\' + key).c_str(),
                     value.key().toStdWString().c_str(), REG_SZ, text.c_str(),
                     DWORD((text.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
    }
}

QStringList listed()
{
    QStringList lines;
    for (const auto& info : SlidesSourceInfo::availableSlideSourcesWindowsDirectShow())
        lines << u"%1 %2 %3 %4"_s.arg(info.index())
                     .arg(info.enabled())
                     .arg(info.name(), QString::fromUtf8(info.id()));
    return lines;
}

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT

private slots:
    void hookSeesTheMovesOfOtherProcesses();
    void listsCameras();
    void staysAwake();
};

void TestWindows::hookSeesTheMovesOfOtherProcesses()
{
    for (int round = 0; round < 2; ++round) { // a listener that is deleted while it listens
        MouseListenerPrivateWindows listener;
        MouseListenerPrivateWindows second;
        QList<QPoint> points;
        connect(&listener, &MouseListenerPrivate::mousePositionChanged, this,
            [&points](qint64, qint64 x, qint64 y) { points << QPoint(int(x), int(y)); });
        QSignalSpy inert(&second, &MouseListenerPrivate::mousePositionChanged);
        listener.start();
        second.start();
        QVERIFY(listener.hook());
        QVERIFY(!second.hook());
        QVERIFY(sendFromAnotherProcess());
        QTRY_COMPARE(points, Path);
        QCOMPARE(inert.count(), 0);
        if (round == 1)
            return;

        QSignalSpy secondStopped(&second, &MouseListenerPrivate::stopped);
        second.requestStop();
        QVERIFY(secondStopped.wait());
        QVERIFY(sendFromAnotherProcess());
        QTRY_COMPARE(points.size(), 2 * Path.size() - 1); // it begins where the first one ended

        listener.requestStop();
        QVERIFY(QSignalSpy(&listener, &MouseListenerPrivate::stopped).wait());
        QVERIFY(!listener.hook());
        QVERIFY(sendFromAnotherProcess());
        QCOMPARE(points.size(), 2 * Path.size() - 1);
        listener.start();
        QVERIFY(listener.hook());
    }
}

void TestWindows::listsCameras()
{
    if (!GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version"))
        QSKIP("would change the cameras of this computer");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, Cameras.c_str());
    QTest::ignoreMessage(QtWarningMsg, "[SlidesSourceInfo] cannot enumerate video inputs");
    QCOMPARE(listed(), QStringList());

    const QString clsid = u"{17CCA71B-ECD7-11D0-B908-00A0C9223196}"_s;
    addCamera(L"1",
        { { u"CLSID"_s, clsid }, { u"FriendlyName"_s, u"Kamera für Hörsaal 教室"_s },
            { u"DevicePath"_s, u"\\\\?\\usb#vid_1"_s } });
    addCamera(L"2", { { u"CLSID"_s, clsid }, { u"DevicePath"_s, u"nameless"_s } });
    addCamera(L"3", { { u"CLSID"_s, clsid }, { u"FriendlyName"_s, u"OBS Virtual Camera"_s } });
    addCamera(L"4",
        { { u"CLSID"_s, clsid }, { u"Description"_s, u"Described"_s },
            { u"DevicePath"_s, u"p4"_s } });
    QTest::ignoreMessage(
        QtWarningMsg, "[SlidesSourceInfo] cannot get a device name for a video input");
    const QStringList expected{ u"0 1 Kamera für Hörsaal 教室 \\\\?\\usb#vid_1"_s,
        u"1 0 OBS Virtual Camera OBS Virtual Camera"_s, u"2 1 Described p4"_s };
    QCOMPARE(listed(), expected);

    // On a thread of COM's other mode there is no listing, and that mode is left as it is.
    QStringList elsewhere{ u"not run"_s };
    HRESULT mode = E_FAIL;
    const std::unique_ptr<QThread> thread(QThread::create([&elsewhere, &mode] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        elsewhere = listed();
        mode = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    }));
    thread->start();
    QVERIFY(thread->wait());
    QCOMPARE(elsewhere, QStringList());
    QCOMPARE(mode, S_FALSE); // still initialised
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, Cameras.c_str());
}

void TestWindows::staysAwake()
{
    const auto isHeld = [] {
        const EXECUTION_STATE state = SetThreadExecutionState(ES_CONTINUOUS);
        SetThreadExecutionState(state);
        return state == (ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED);
    };
    QWindow window;
    SystemHold hold;
    hold.begin(&window, u"Füße"_s);
    QVERIFY(isHeld());
    hold.end();
    QVERIFY(!isHeld());
}

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--send") == 0)
        return sendPath();
    QGuiApplication application(argc, argv);
    TestWindows test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_windows.moc"

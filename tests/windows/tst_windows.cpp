// What only Windows does: the pointer with events of another process, the listing of cameras and
// the entry point.
#include "FakeVideoInputs.h"
#include "app/SystemHold.h"
#include "recorders/MouseListenerPrivateWindows.h"
#include "recorders/MouseRecorder.h"
#include "recorders/TestRecording.h"
#include "slidesource/SlidesSourceInfo.h"

#include <QGuiApplication>
#include <QWindow>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

bool hooksRefused = false;
int hooks = 0; // that are installed

HHOOK WINAPI installHook(int type, HOOKPROC procedure, HINSTANCE module, DWORD thread)
{
    if (hooksRefused)
        return nullptr;
    static const auto install = reinterpret_cast<decltype(&SetWindowsHookExW)>(
        QFunctionPointer(GetProcAddress(GetModuleHandleW(L"user32.dll"), "SetWindowsHookExW")));
    const HHOOK hook = install(type, procedure, module, thread);
    hooks += hook ? 1 : 0;
    return hook;
}

WINBOOL WINAPI removeHook(HHOOK hook)
{
    static const auto remove = reinterpret_cast<decltype(&UnhookWindowsHookEx)>(
        QFunctionPointer(GetProcAddress(GetModuleHandleW(L"user32.dll"), "UnhookWindowsHookEx")));
    const WINBOOL removed = remove(hook);
    hooks -= removed ? 1 : 0;
    return removed;
}

} // namespace

// Take the places of the imports of the same names.
extern "C" {
decltype(&SetWindowsHookExW) __imp_SetWindowsHookExW = installHook;
decltype(&UnhookWindowsHookEx) __imp_UnhookWindowsHookEx = removeHook;
}

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

/// On a thread of its own whose COM is initialised in that mode, before and still afterwards.
QStringList listedOnThread(COINIT mode, const FakeVideoInputs::List* fake)
{
    QStringList lines;
    HRESULT before = E_FAIL;
    HRESULT inside = E_FAIL;
    HRESULT after = S_OK;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        before = CoInitializeEx(nullptr, mode);
        {
            std::optional<FakeVideoInputs::Scope> scope;
            if (fake)
                scope.emplace(*fake);
            lines = listed();
        }
        APTTYPE type;
        APTTYPEQUALIFIER qualifier;
        inside = CoGetApartmentType(&type, &qualifier);
        CoUninitialize();
        after = CoGetApartmentType(&type, &qualifier);
    }));
    thread->start();
    thread->wait();
    if (before != S_OK || inside != S_OK || after != CO_E_NOTINITIALIZED)
        return { u"COM: %1 %2 %3"_s.arg(before).arg(inside).arg(after) };
    return lines;
}

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT

private slots:
    void hookSeesTheMovesOfOtherProcesses()
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

    /// Pointer recording goes on without one, and a recorder that is destroyed in mid-recording, as
    /// at quit, leaves none behind and loses nothing.
    void hookThatIsRefused()
    {
        const auto lines = [](const TestRecording<MouseRecorder>& recording) {
            return recording.content(u"mouse_positions.txt"_s).count("\r\n");
        };
        QCOMPARE(hooks, 0);
        TestRecording<MouseRecorder> recording;
        hooksRefused = true;
        QVERIFY(recording.start());
        QVERIFY(sendFromAnotherProcess());
        QVERIFY(recording.stop(2)); // the listener's answer and the saver's
        QCOMPARE(lines(recording), 0);

        hooksRefused = false;
        QVERIFY(recording.start());
        QCOMPARE(hooks, 1);
        QVERIFY(sendFromAnotherProcess());
        QTRY_COMPARE(recording.recorder->positionX(), Path.last().x());
        recording.recorder.reset();
        QCOMPARE(hooks, 0);
        QVERIFY(lines(recording) >= Path.size() - 1);
        QCOMPARE(recording.errors.count(), 0);
    }

    /// The system's own enumerator, with cameras that are entries of Wine's registry.
    void listsCamerasOfTheSystem()
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
        addCamera(L"2", { { u"CLSID"_s, clsid }, { u"FriendlyName"_s, u"OBS Virtual Camera"_s } });
        const QStringList expected{ u"0 1 Kamera für Hörsaal 教室 \\\\?\\usb#vid_1"_s,
            u"1 0 OBS Virtual Camera OBS Virtual Camera"_s };
        QCOMPARE(listed(), expected);
        QCOMPARE(listedOnThread(COINIT_APARTMENTTHREADED, nullptr), expected);
        // On a thread of COM's other mode there is no listing, and that mode is left as it is.
        QTest::ignoreMessage(
            QtWarningMsg, "[SlidesSourceInfo] cannot initialise COM to list video inputs");
        QCOMPARE(listedOnThread(COINIT_MULTITHREADED, nullptr), QStringList());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, Cameras.c_str());
    }

    void listsCameras_data()
    {
        using FakeVideoInputs::List;
        using FakeVideoInputs::Properties;
        QTest::addColumn<List>("list");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("warnings");

        const Properties second{ { u"FriendlyName"_s, u"Б камера"_s },
            { u"DevicePath"_s, u"p2"_s } };
        const Properties first{ { u"FriendlyName"_s, u"A"_s },
            { u"Description"_s, u"not asked"_s } };
        const Properties nameless{ { u"DevicePath"_s, u"p3"_s } };
        const Properties described{ { u"Description"_s, u"Described"_s },
            { u"DevicePath"_s, u"p4"_s } };
        const Properties obs{ { u"FriendlyName"_s, u"OBS Virtual Camera"_s } };
        const QString cannotEnumerate = u"cannot enumerate video inputs"_s;
        const QString cannotBind = u"cannot bind to storage for video input"_s;
        const QString noName = u"cannot get a device name for a video input"_s;
        QTest::newRow("in the system's order, the listed ones counted")
            << List{ S_OK, { {}, second, first, nameless, described, obs, {} } }
            << QStringList{ u"0 1 Б камера p2"_s, u"1 1 A A"_s, u"2 1 Described p4"_s,
                   u"3 0 OBS Virtual Camera OBS Virtual Camera"_s }
            << QStringList{ cannotBind, noName, cannotBind };
        QTest::newRow("a list without devices")
            << List{ S_OK, {} } << QStringList() << QStringList();
        QTest::newRow("an empty category")
            << List{ S_FALSE, {} } << QStringList() << QStringList{ cannotEnumerate };
        QTest::newRow("a system that fails")
            << List{ E_OUTOFMEMORY, {} } << QStringList() << QStringList{ cannotEnumerate };
    }

    void listsCameras()
    {
        QFETCH(FakeVideoInputs::List, list);
        QFETCH(QStringList, warnings);
        for (const QString& warning : std::as_const(warnings))
            QTest::ignoreMessage(QtWarningMsg, qPrintable(u"[SlidesSourceInfo] "_s + warning));
        QTest::failOnWarning(QRegularExpression(u"SlidesSourceInfo"_s));
        QTEST(listedOnThread(COINIT_APARTMENTTHREADED, &list), "expected");
        QCOMPARE(FakeVideoInputs::alive, 0);
    }

    void staysAwake()
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

    void entryPoint_data()
    {
        QTest::addColumn<QString>("commandLine"); // behind the program's name
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("none") << QString() << QStringList();
        QTest::newRow("blanks, quotes, backslashes")
            << u"a  \"b c\" \"say \\\"hi\\\"\" C:\\dir\\ \"C:\\my dir\\\\\" \"\" end"_s
            << QStringList{ u"a"_s, u"b c"_s, u"say \"hi\""_s, u"C:\\dir\\"_s, u"C:\\my dir\\"_s,
                   QString(), u"end"_s };
        QTest::newRow("non-Latin") << u"Hörsaal \"Ø å\" 教室 Лекция"_s
                                   << QStringList{ u"Hörsaal"_s, u"Ø å"_s, u"教室"_s, u"Лекция"_s };
    }

    void entryPoint()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, commandLine);
        QProcess process;
        process.setNativeArguments(commandLine);
        process.start(QCoreApplication::applicationDirPath() + u"/entrypointprobe.exe"_s);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 7);
        QByteArray expected; // in the process's code page, which may lack letters
        for (const QString& argument : std::as_const(arguments))
            expected += argument.toLocal8Bit().toHex() + ' ';
        QCOMPARE(process.readAllStandardOutput(), expected);
    }
};

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--send") == 0)
        return sendPath();
    QGuiApplication application(argc, argv);
    TestWindows test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_windows.moc"

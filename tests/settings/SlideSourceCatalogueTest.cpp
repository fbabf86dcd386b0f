#include "harness/IsolatedSettings.h"
#include "settings/RecorderSettings.h"
#include "ui/MainWindow.h"

#include <QGuiApplication>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

const SlidesSourceInfo Screens = SlidesSourceInfo::availableSlideSourcesGeneral().first();
const SlidesSourceInfo Camera(true, SlidesSourceInfo::VideoInput, "cam"_ba, 0, u"Lectern cam"_s);
const SlidesSourceInfo Virtual(
    false, SlidesSourceInfo::VideoInput, "obs"_ba, 1, u"OBS Virtual Camera"_s);
const SlidesSourceInfo Deck(
    true, SlidesSourceInfo::NDISource, "1.2.3.4:5961"_ba, 0, u"PC (Deck)"_s);

/// What is plugged in, changed by the test while the listing thread reads it.
struct Devices
{
    std::mutex mutex;
    QList<SlidesSourceInfo> list;
    std::atomic<bool> hang = false;
    std::atomic<int> running = 0;
    std::atomic<int> mostRunning = 0;

    void plug(const QList<SlidesSourceInfo>& devices)
    {
        const std::lock_guard lock(mutex);
        list = devices;
    }
};
Devices* devices = new Devices; // outlives a listing that hangs at the end of the process

QList<SlidesSourceInfo> listKind(const std::function<bool(const SlidesSourceInfo&)>& isOfKind)
{
    const std::lock_guard lock(devices->mutex);
    QList<SlidesSourceInfo> kind;
    std::copy_if(devices->list.begin(), devices->list.end(), std::back_inserter(kind), isOfKind);
    return kind;
}

QList<SlidesSourceInfo> listCameras()
{
    const int running = ++devices->running;
    if (running > devices->mostRunning)
        devices->mostRunning = running;
    while (devices->hang)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    --devices->running;
    return listKind([](const auto& source) { return source == Camera; });
}

QStringList names(const QList<SlidesSourceInfo>& sources)
{
    QStringList names;
    for (const SlidesSourceInfo& source : sources)
        names.append(source.name());
    return names;
}

} // namespace

/// The live catalogue of slide sources, and the selection that follows it.
class SlideSourceCatalogueTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QSettings().setValue(u"recorderSettings/selectedSlideSource"_s, Deck.id());
        SlideSourceLister::enumerations() = {
            [] {
                return listKind(
                    [](auto& source) { return source == Screens || source == Virtual; });
            },
            listCameras,
            [] { return listKind([](auto& source) { return source == Deck; }); },
        };
    }

    /// A camera's driver does not answer from the start: the other kinds follow what is there.
    void hangingFirstListing()
    {
        devices->plug({ Screens });
        devices->hang = true;
        m_settings->load(); // from now on the catalogue follows the devices by itself
        QTRY_COMPARE(devices->running, 1);
        QTRY_COMPARE_WITH_TIMEOUT(
            names(m_settings->availableSlideSources()), names({ Screens }), 10000);
        QCOMPARE(m_settings->selectedSlideSource(), Screens);
        devices->plug({ Screens, Camera, Deck });
        QTRY_COMPARE(names(m_settings->availableSlideSources()), names({ Screens, Deck }));
        QCOMPARE(devices->mostRunning, 1);
        devices->hang = false;
        QTRY_COMPARE(names(m_settings->availableSlideSources()), names({ Screens, Camera, Deck }));
        // What was offered meanwhile has not taken the place of the stored choice.
        QCOMPARE(m_settings->selectedSlideSource(), Deck);
    }

    void followsDevices_data()
    {
        QTest::addColumn<QList<SlidesSourceInfo>>("before");
        QTest::addColumn<SlidesSourceInfo>("choice");
        QTest::addColumn<QList<SlidesSourceInfo>>("after");
        QTest::addColumn<SlidesSourceInfo>("selected");
        QTest::addColumn<QString>("missing");
        using List = QList<SlidesSourceInfo>;
        const List all{ Screens, Virtual, Camera, Deck };
        QTest::newRow("another one goes")
            << all << Camera << List{ Screens, Camera } << Camera << QString();
        QTest::newRow("the chosen one goes")
            << all << Camera << List{ Screens, Deck } << Screens << Camera.name();
        QTest::newRow("the chosen one goes, default disabled") << List{ Virtual, Screens,
            Deck } << Deck << List{ Virtual, Screens } << Deck << Deck.name();
        QTest::newRow("disabled one is refused")
            << all << Virtual << List{ Screens } << Screens << QString();
    }

    void followsDevices()
    {
        QFETCH(QList<SlidesSourceInfo>, before);
        QFETCH(SlidesSourceInfo, choice);
        QFETCH(QList<SlidesSourceInfo>, after);
        QFETCH(SlidesSourceInfo, selected);
        QFETCH(QString, missing);
        devices->plug(before);
        QTRY_COMPARE(names(m_settings->availableSlideSources()), names(before));
        m_settings->setSelectedSlideSource(Screens);
        m_settings->setSelectedSlideSource(choice);
        QCOMPARE(m_settings->slideSourceProblem(), QString());

        devices->plug(after);
        QTRY_COMPARE_WITH_TIMEOUT(names(m_settings->availableSlideSources()), names(after), 3000);
        QCOMPARE(m_settings->selectedSlideSource(), selected);
        QVERIFY(m_settings->slideSourceProblem().contains(missing));

        // Nothing else is recorded unasked: the button says why.
        QSignalSpy start(&m_window, &MainWindow::startRecording);
        QSignalSpy error(&m_window, &MainWindow::errorMessage);
        m_window.qml_startRecording();
        QCOMPARE(start.size(), missing.isEmpty() ? 1 : 0);
        QCOMPARE(error.size(), missing.isEmpty() ? 0 : 1);
        m_window.setRecording(false);

        // It comes back: nothing is chosen for the operator, and the problem stays until a choice.
        devices->plug(before);
        QTRY_COMPARE(names(m_settings->availableSlideSources()), names(before));
        QCOMPARE(m_settings->selectedSlideSource(), selected);
        m_settings->setSelectedSlideSource(selected);
        QCOMPARE(m_settings->slideSourceProblem(), QString());
        QTRY_COMPARE(QSettings().value(u"recorderSettings/selectedSlideSource"_s).toByteArray(),
            selected.id());
    }

    /// The end of the process does not wait for it (the test's time limit would tell).
    void hangsAtTheEnd()
    {
        devices->hang = true;
        QTRY_COMPARE(devices->running, 1);
        QElapsedTimer timer;
        timer.start();
        {
            SlideSourceLister lister;
            lister.request();
        }
        QVERIFY(timer.elapsed() < 2000);
    }

private:
    MainWindow m_window;
    RecorderSettings* m_settings = RecorderSettings::instance();
};

QTEST_MAIN(SlideSourceCatalogueTest)
#include "SlideSourceCatalogueTest.moc"

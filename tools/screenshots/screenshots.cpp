// Draws every page and screen of the window into the directory given as argument, on real data:
// recordings on disk, the screen as slide source, the texts of real failures.

#include "settings/LoginSettings.h"
#include "settings/RecorderSettings.h"
#include "ui/SlideSourcePreview.h"
#include "ui/WindowFixture.h"

#include <QDir>
#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

class Photographer
{
public:
    Photographer(WindowFixture& fixture, const QDir& dir)
        : m_fixture(fixture)
        , m_dir(dir)
    {
    }

    void take(const QString& name)
    {
        const QString path = m_dir.filePath(name + ".png"_L1);
        if (!m_fixture.grab().convertToFormat(QImage::Format_RGB32).save(path))
            qFatal("cannot write %s", qPrintable(path));
        qInfo() << "[Screenshots]"
                << "wrote" << path;
    }

    void choosePage(const QString& page)
    {
        m_fixture.item(u"menu"_s)->setProperty("selected", page);
        m_fixture.settle();
    }

    void scroll(const QString& itemInPage, qreal position)
    {
        for (QQuickItem* item = m_fixture.item(itemInPage); item; item = item->parentItem()) {
            if (!item->inherits("QQuickFlickable"))
                continue;
            const qreal range
                = item->property("contentHeight").toReal() - item->property("height").toReal();
            item->setProperty("contentY", range * position);
            return;
        }
    }

private:
    WindowFixture& m_fixture;
    const QDir m_dir;
};

void idlePages(WindowFixture& fixture, Photographer& photographer)
{
    fixture.facade().setDiskMinutesLeft(2310);
    photographer.take(u"list"_s);
    fixture.facade().setDiskMinutesLeft(31);
    fixture.facade().setDiskLevel(DiskMonitor::Low);
    photographer.take(u"disk-low"_s);
    fixture.facade().setDiskLevel(DiskMonitor::Enough);
    fixture.facade().setDiskMinutesLeft(2310);
    photographer.choosePage(u"settings"_s);
    photographer.take(u"settings-1"_s);
    RecorderSettings::instance()->setUseNativeSlideSourceResolution(false);
    photographer.scroll(u"nativeResolution"_s, 0.5);
    photographer.take(u"settings-2"_s);
    photographer.scroll(u"nativeResolution"_s, 1);
    photographer.take(u"settings-3"_s);
    photographer.choosePage(u"liveStream"_s);
    LoginSettings::instance()->setLoginEmail(u"speaker@podiumcast.example"_s);
    photographer.take(u"live-stream"_s);
    LoginSettings::instance()->setLiveStreamResume(true);
    fixture.facade().loginFailed();
    photographer.take(u"live-stream-failed"_s);
    LoginSettings::instance()->setLiveStreamResume(false);
    photographer.choosePage(u"presentationList"_s);
    fixture.facade().showStartFailed(
        u"The recording could not be started: the directory "
        "/home/speaker/Presentations cannot be written. Free some space or choose another "
        "directory."_s);
    fixture.waitForPreview();
    photographer.take(u"start-failed"_s);
    emit fixture.facade().startRecording(); // clears the message

    const SlidesSourceInfo selected = RecorderSettings::instance()->selectedSlideSource();
    RecorderSettings::instance()->setSelectedSlideSource(SlidesSourceInfo(
        true, SlidesSourceInfo::VideoInput, "gone"_ba, 63, u"Lecture hall camera (unplugged)"_s));
    auto* preview = fixture.facade().findSlideSourcePreview();
    preview->restart();
    if (!QTest::qWaitFor([&] { return !preview->errorMessage().isEmpty(); }, 10000))
        qFatal("the missing camera is not noticed");
    photographer.take(u"preview-failed"_s);
    RecorderSettings::instance()->setSelectedSlideSource(selected);
    fixture.waitForPreview();
}

void recordingScreens(WindowFixture& fixture, Photographer& photographer)
{
    MainWindow& facade = fixture.facade();
    facade.qml_startRecording();
    photographer.take(u"starting"_s);

    const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    facade.setLiveStreamDetails({}, u"Presentation 2026-11-22T10-00-00"_s);
    facade.setRecording(true);
    facade.setSlidesResolutions({ QVariantMap{ { u"width"_s, 1920 }, { u"height"_s, 1080 } } });
    facade.setSlidesCaptured(12);
    facade.setSlidesSaved(12);
    facade.setMousePositionX(812);
    facade.setMousePositionY(440);
    facade.showSlides({ screen });
    QTest::qWait(1200);
    photographer.take(u"recording"_s);

    facade.setDiskMinutesLeft(31);
    facade.setDiskLevel(DiskMonitor::Low);
    photographer.take(u"recording-disk-low"_s);
    facade.setDiskLevel(DiskMonitor::Enough);
    facade.setDiskMinutesLeft(2310);

    facade.setSlidesFrozen(true);
    for (int i = 1; i <= 7; ++i) {
        emit facade.errorMessage(u"Slide %1 could not be written: no space left on the device. "
                                 "Free some space; the recording goes on."_s.arg(i));
    }
    facade.showSlides({ screen, screen });
    photographer.take(u"recording-errors"_s);

    facade.setSlidesFrozen(false);
    facade.setLiveStreamDetails(u"7f3a91"_s, u"Opening lecture: how a talk becomes a podcast"_s);
    facade.setLiveStream(true);
    facade.setSlidesUploaded(11);
    facade.setSlidesToUpload(1);
    facade.setLastSlideInfoWebError(QNetworkReply::TimeoutError);
    facade.setLastSlideInfoWebErrorString(u"The connection timed out"_s);
    photographer.take(u"recording-live"_s);
    facade.qml_stopRecording();
    photographer.take(u"finishing-live"_s);
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    if (argc != 2 || !QDir().mkpath(QString::fromLocal8Bit(argv[1])))
        qFatal("usage: screenshots DIRECTORY");
    WindowFixture fixture;
    fixture.addPresentation(
        u"Opening lecture: how a talk becomes a podcast"_s, u"2026-11-20T09:00:00"_s, 48);
    fixture.addPresentation(u"Presentation 2026-11-18T14-30-00"_s, u"2026-11-18T14:30:00"_s, 31);
    fixture.addPresentation(u"Live Stream 2026-11-11T10-15-00"_s, u"2026-11-11T10:15:00"_s, 117);
    fixture.markRecovered();
    fixture.addPresentation(u"Presentation 2026-11-04T08-00-12"_s, u"2026-11-04T08:00:12"_s, 1);
    fixture.addPresentation(u"A title that is far too long for its row, so that it has to be cut "
                            "off <b>somewhere</b>"_s,
        u"2026-10-28T16:45:00"_s, 64);
    RecorderSettings::instance()->load();
    fixture.open();
    fixture.window()->setPosition(0, 0);

    fixture.waitForPreview();
    Photographer photographer(fixture, QDir(QString::fromLocal8Bit(argv[1])));
    idlePages(fixture, photographer);
    recordingScreens(fixture, photographer);
    fixture.facade().setRecording(false);
    return 0;
}

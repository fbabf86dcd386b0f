#include "NdiSender.h"
#include "SourceProbe.h"
#include "harness/IsolatedSettings.h"
#include "ndisender/NdiSenderClock.h"
#include "recording/Presentation.h"
#include "recording/SlideRecorder.h"
#include "settings/RecorderSettings.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// The codec loses up to about 20 levels a channel on plain colours.
constexpr int ColourTolerance = 30;
// A receiver finds a new sender, and a sender that is back, within this time.
constexpr int ConnectMs = 40000;

std::optional<SlidesSourceInfo> find(const QString& name)
{
    for (const SlidesSourceInfo& info : SlidesSourceInfo::availableSlideSources())
        if (info.name().endsWith(u'(' + name + u')'))
            return info;
    return {};
}

bool shows(const QImage& image, const QColor& colour)
{
    if (image.isNull())
        return false;
    const QColor seen = image.pixelColor(image.width() / 3, image.height() / 3);
    return std::abs(seen.red() - colour.red()) <= ColourTolerance
        && std::abs(seen.green() - colour.green()) <= ColourTolerance
        && std::abs(seen.blue() - colour.blue()) <= ColourTolerance;
}

QString fill(const QString& name, const QColor& colour)
{
    return u"fill %1 %2 %3 %4"_s.arg(name).arg(colour.red()).arg(colour.green()).arg(colour.blue());
}

} // namespace

/// The program's part against the real NDI runtime and a sender on loopback.
class NdiNetworkTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::instance()->setProperty("workDir", m_dir.path());
        QVERIFY(m_sender.order(u"create Large 1920 1080 60"_s));
        QVERIFY(m_sender.order(u"create Slow 320 240 5"_s));
        QTRY_VERIFY_WITH_TIMEOUT(find(u"Large"_s) && find(u"Slow"_s), ConnectMs);
        QVERIFY(find(u"Large"_s)->id().startsWith("127.0.0.1:"));
    }

    /// What a slide shows is on air now: the runtime's queue of ten frames is 2 s deep.
    void newestFrame()
    {
        QVERIFY(m_sender.order(u"clock Slow"_s));
        SourceProbe probe(*find(u"Slow"_s));
        QVERIFY(probe.becomesReady());
        QTRY_VERIFY_WITH_TIMEOUT(!probe.captures.isEmpty(), ConnectMs);
        int best = ClockPeriodMs;
        for (int i = 0; i < 3; ++i) {
            probe.captures.clear();
            QTRY_VERIFY(!probe.captures.isEmpty()); // by the timer
            const int now = clockMs();
            const QImage& image = probe.captures.first().images.first();
            int brightest = 0;
            for (int x = 0; x < image.width(); ++x)
                if (qRed(image.pixel(x, 100)) > qRed(image.pixel(brightest, 100)))
                    brightest = x;
            QVERIFY(qRed(image.pixel(brightest, 100)) > 128);
            const int shown = brightest * ClockPeriodMs / (image.width() - ClockBarWidth);
            best = std::min(best, (now - shown + ClockPeriodMs) % ClockPeriodMs);
        }
        QVERIFY2(best <= 500, qPrintable(u"%1 ms old"_s.arg(best)));
    }

    /// One slide for each change, also over a change of size and a sender that goes and comes back.
    void recording()
    {
        QVERIFY(m_sender.order(fill(u"Large"_s, Qt::black)));
        RecorderSettings::instance()->setSelectedSlideSource(*find(u"Large"_s));
        const std::unique_ptr<Presentation> presentation(Presentation::create(false, false, {}));
        QVERIFY(presentation);
        SlideRecorder recorder;
        QSignalSpy started(&recorder, &SlideRecorder::started);
        QSignalSpy stopped(&recorder, &SlideRecorder::stopped);
        recorder.requestStart(presentation.get());
        QVERIFY(started.wait());
        QTRY_COMPARE_WITH_TIMEOUT(recorder.slidesSaved(), 1, ConnectMs);

        const QList<QColor> colours{ Qt::black, QColor(220, 30, 60), Qt::black };
        QVERIFY(m_sender.order(fill(u"Large"_s, colours[1])));
        QTRY_COMPARE_WITH_TIMEOUT(recorder.slidesSaved(), 2, ConnectMs);
        // Gone without a word, and back with another size of picture.
        m_sender.kill();
        m_sender.start();
        QVERIFY(m_sender.order(u"create Large 800 600 25"_s));
        QTRY_COMPARE_WITH_TIMEOUT(recorder.slidesSaved(), 3, ConnectMs);
        recorder.requestStop();
        QVERIFY(stopped.wait(20000));

        const QDir dir = presentation->dir();
        const QStringList files = dir.entryList({ u"*.png"_s }, QDir::Files, QDir::Name);
        QCOMPARE(files.size(), 3);
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QImage slide(dir.filePath(files[i]));
            QVERIFY2(shows(slide, colours[i]), qPrintable(files[i]));
            QCOMPARE(slide.size(), i < 2 ? QSize(1920, 1080) : QSize(800, 600));
        }
    }

private:
    QTemporaryDir m_dir;
    NdiSender m_sender;
};

QTEST_GUILESS_MAIN(NdiNetworkTest)
#include "NdiNetworkTest.moc"

// Records screens that all change at once, again and again, and watches the queues:
//   podiumcast_bench_load SECONDS PERIOD_MS SLIDE
// One row of a Markdown table. Fails when slides are left behind. bench/run.sh sets up the
// monitors.

#include "processing/SlideProcessor.h"
#include "processing/SlideSaver.h"
#include "slidesource/SlideSource.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPainter>
#include <QRasterWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>

using namespace Qt::StringLiterals;

namespace {

// Between two captures, so that each sees a whole slide.
constexpr int FirstTurnMs = 500;

/// A screen full of the slide, upright or upside down.
class SlideWindow : public QRasterWindow
{
public:
    SlideWindow(QScreen* screen, const QImage& slide)
        : m_slides{ slide.scaled(screen->size()),
            slide.scaled(screen->size()).mirrored(true, true) }
    {
        setFlags(Qt::BypassWindowManagerHint);
        setGeometry(screen->geometry());
        show();
    }
    void turn()
    {
        m_turned = !m_turned;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).drawImage(0, 0, m_slides[m_turned]); }

private:
    const QImage m_slides[2];
    bool m_turned = false;
};

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    const QImage slide(arguments.value(3));
    if (slide.isNull()) {
        std::fprintf(stderr, "usage: podiumcast_bench_load SECONDS PERIOD_MS SLIDE\n");
        return 2;
    }
    const int seconds = arguments[1].toInt();
    const int period = arguments[2].toInt();
    QLoggingCategory::setFilterRules(u"default.debug=false"_s);

    std::vector<std::unique_ptr<SlideWindow>> windows;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens)
        windows.push_back(std::make_unique<SlideWindow>(screen, slide));

    // Wired as in a recording.
    const QTemporaryDir directory;
    const std::unique_ptr<SlideSource> source(
        SlideSource::create(SlidesSourceInfo::availableSlideSourcesGeneral().first()));
    SlideProcessor processor;
    SlideSaver saver{ QDir(directory.path()) };
    QObject::connect(
        source.get(), &SlideSource::slidesCaptured, &processor, &SlideProcessor::addSlides);
    QObject::connect(&processor, &SlideProcessor::slidesProcessed, &saver, &SlideSaver::addSlides);
    QObject::connect(&saver, &SlideSaver::slideSavingError,
        [](const QString& error) { qFatal("%ls", qUtf16Printable(error)); });

    qint64 longest = 0; // of the backlog: slides found and not yet written
    qint64 left = 0;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        left = processor.capturedSlideCount() - saver.savedSlideCount();
        longest = std::max(longest, left);
    });
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, [&] {
        for (const auto& window : windows)
            window->turn();
    });
    QObject::connect(source.get(), &SlideSource::ready, &turn, [&] {
        watch.start(50);
        QTimer::singleShot(FirstTurnMs, &turn, [&] { turn.start(period); });
        QTimer::singleShot(seconds * 1000, &application, &QCoreApplication::quit);
    });
    const double cpu = double(std::clock());
    saver.start();
    processor.start();
    source->start();
    QCoreApplication::exec();
    const qint64 found = processor.capturedSlideCount();
    source->requestStop();
    source->wait();
    QCoreApplication::sendPostedEvents();
    processor.requestStop();
    processor.wait();
    QCoreApplication::sendPostedEvents();
    saver.requestStop();
    saver.wait();

    const qint64 shown = 1 + (seconds * 1000 - FirstTurnMs) / period;
    std::printf(
        "| %lld of %dx%d, a slide every %g s, %d s | %lld of %lld | %lld, %lld | %.0f %% of a "
        "core |\n",
        static_cast<long long>(screens.size()), screens[0]->size().width(),
        screens[0]->size().height(), period / 1000.0, seconds, static_cast<long long>(found),
        static_cast<long long>(shown), static_cast<long long>(longest),
        static_cast<long long>(left),
        (double(std::clock()) - cpu) / CLOCKS_PER_SEC / seconds * 100);
    const bool enough = found >= shown - 1;
    return enough && longest <= 2 && left <= 1 ? 0 : 1;
}

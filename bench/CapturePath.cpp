// Times the road of one capture, step by step, on a real desktop of 3840x2160 with a monitor of
// that size and one of 1920x1080 in its top left corner (bench/run.sh makes them).

#include "Comparison.h"
#include "processing/SlideSaver.h"
#include "slidesource/ScreenGrabber.h"
#include "slidesource/SlideSourceScreenInterval.h"

#include <QDebug>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPixmap>
#include <QScreen>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

class Source : public SlideSourceScreenInterval
{
public:
    Source()
        : SlideSourceScreenInterval(SlidesSourceInfo::availableSlideSourcesGeneral().first())
    {
    }
    using SlideSourceScreenInterval::qImageToCvMat;
};

class Saver : public SlideSaver
{
public:
    using SlideSaver::saveSlide;
    using SlideSaver::saveSlides;
    using SlideSaver::SlideSaver;
};

QScreen* monitor(int width, int height)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        if (screen->size() == QSize(width, height))
            return screen;
    }
    qFatal("bench/run.sh sets up the monitors");
}

QImage grab(int width, int height)
{
    return monitor(width, height)->grabWindow(0).toImage();
}

// What the screen shows (a wallpaper that run.sh has put there), as the processor gets it.
cv::Mat screenFrame(int width, int height)
{
    Source source;
    const std::unique_ptr<cv::Mat> mat(source.qImageToCvMat(grab(width, height)));
    return *mat;
}

void grabScreen(benchmark::State& state)
{
    QScreen* screen = monitor(int(state.range(0)), int(state.range(1)));
    ScreenGrabber grabber;
    for (auto _ : state)
        benchmark::DoNotOptimize(grabber.grab(screen));
}

void grabScreenByQt(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(grab(int(state.range(0)), int(state.range(1))));
}

void convertScreenshot(benchmark::State& state)
{
    Source source;
    const QImage image = grab(int(state.range(0)), int(state.range(1)));
    for (auto _ : state)
        delete source.qImageToCvMat(image);
}

void preprocessFrame(benchmark::State& state)
{
    const ComparingProcessor processor;
    const cv::Mat frame = screenFrame(int(state.range(0)), int(state.range(1)));
    for (auto _ : state)
        delete processor.preprocessSlide(&frame);
}

void compareFrames(benchmark::State& state, Change change, bool plainly)
{
    const Comparison comparison(screenFrame(int(state.range(0)), int(state.range(1))), change);
    for (auto _ : state) {
        if (!comparison.decidesWell(plainly))
            state.SkipWithError("wrong decision");
    }
}

// What every second of a talk costs.
void preprocessAndCompare(benchmark::State& state)
{
    const ComparingProcessor processor;
    const cv::Mat frame = screenFrame(int(state.range(0)), int(state.range(1)));
    const std::unique_ptr<cv::Mat> previous(processor.preprocessSlide(&frame));
    for (auto _ : state) {
        const std::unique_ptr<cv::Mat> current(processor.preprocessSlide(&frame));
        if (processor.areSlidesDifferent(previous.get(), current.get()))
            state.SkipWithError("wrong decision");
    }
}

void savePng(benchmark::State& state)
{
    const QTemporaryDir dir;
    Saver saver{ QDir(dir.path()) };
    const SlideImage slide{ nullptr, grab(int(state.range(0)), int(state.range(1))) };
    for (auto _ : state)
        saver.saveSlide(1, 0, 0, slide);
}

void saveThreeScreens(benchmark::State& state)
{
    const QTemporaryDir dir;
    Saver saver{ QDir(dir.path()) };
    const SlideImage slide{ nullptr, grab(int(state.range(0)), int(state.range(1))) };
    for (auto _ : state)
        saver.saveSlides(0, { slide, slide, slide });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({ "w", "h" })->Args({ 1920, 1080 })->Args({ 3840, 2160 });
    // The processor works on a pool of threads, so wall-clock time is what a capture costs.
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
}

// bench/capture.py knows these names: a step beside the same done plainly or by Qt.
#define COMPARE(change, name)                                                                      \
    BENCHMARK_CAPTURE(compareFrames, ours, change, false)->Apply(sizes)->Name(name);               \
    BENCHMARK_CAPTURE(compareFrames, plain, change, true)->Apply(sizes)->Name(name " (plain)")

BENCHMARK(grabScreen)->Apply(sizes)->Name("grab a screen");
BENCHMARK(grabScreenByQt)->Apply(sizes)->Name("grab a screen (by Qt)");
BENCHMARK(convertScreenshot)->Apply(sizes)->Name("convert a screenshot");
BENCHMARK(preprocessFrame)->Apply(sizes)->Name("preprocess a frame");
BENCHMARK(preprocessAndCompare)->Apply(sizes)->Name("preprocess and compare, unchanged frame");
COMPARE(Change::None, "compare, unchanged frame");
COMPARE(Change::Noise, "compare, noise in one of two frames");
COMPARE(Change::NoiseInBoth, "compare, noise in both frames");
COMPARE(Change::StrongNoise, "compare, noise of σ = 3 in one");
COMPARE(Change::NewSlide, "compare, changed frame");
BENCHMARK(savePng)->Apply(sizes)->Name("write a PNG file");
BENCHMARK(saveThreeScreens)->Apply(sizes)->Name("write a slide of three screens");

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    QLoggingCategory::setFilterRules(u"default.debug=false"_s);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

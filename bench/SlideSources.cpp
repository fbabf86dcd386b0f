// Measures a recording of an NDI source and of a camera, and prints rows of a Markdown table:
//   ndi-network.sh RUNTIME -- slidesource_bench SECONDS
// with the sender in PODIUMCAST_NDI_SENDER. Both deliver 1920x1080, NDI at 60 frames a second, the
// camera at 30 and already decoded, so that what is measured is this program's part; the picture
// changes every ten seconds.
#include "recording/Presentation.h"
#include "recording/SlideRecorder.h"
#include "settings/RecorderSettings.h"
#include "slidesource/CameraDevice.h"
#include "slidesource/NdiSender.h"
#include "slidesource/SlideSource.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <opencv2/videoio.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A camera without a driver: a new frame every 33 ms, decoded to BGR at no cost but one copy.
class PreparedCamera : public cv::VideoCapture
{
public:
    bool open(int, int) override { return true; }
    bool isOpened() const override { return true; }
    void release() override { }
    bool grab() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(33));
        return true;
    }
    bool retrieve(cv::OutputArray image, int) override
    {
        const auto tens
            = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::seconds(10);
        m_frame.setTo(cv::Scalar(int(tens % 4) * 60, 80, 120));
        m_frame.copyTo(image);
        return true;
    }

private:
    cv::Mat m_frame = cv::Mat(1080, 1920, CV_8UC3);
};

using Threads = QMap<QString, double>; // seconds of CPU by the thread's name

Threads threads()
{
    Threads cpu;
    const QStringList ids = QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& id : ids) {
        QFile stat(u"/proc/self/task/%1/stat"_s.arg(id));
        if (!stat.open(QFile::ReadOnly))
            continue;
        const QByteArray line = stat.readAll();
        const auto from = line.indexOf('(');
        const auto to = line.lastIndexOf(')');
        const QList<QByteArray> fields = line.mid(to + 2).split(' ');
        const double ticks = fields.value(11).toDouble() + fields.value(12).toDouble();
        cpu[QString::fromLatin1(line.mid(from + 1, to - from - 1))]
            += ticks / double(sysconf(_SC_CLK_TCK));
    }
    return cpu;
}

double residentMb()
{
    QFile statm(u"/proc/self/statm"_s);
    if (!statm.open(QFile::ReadOnly))
        return 0;
    return statm.readAll().split(' ').value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Milliseconds from the request of a capture to its frame, on the source's thread.
double captureTime(const SlidesSourceInfo& info)
{
    const std::unique_ptr<SlideSource> source(SlideSource::create(info));
    std::vector<double> times; // written on the source's thread, read after its end
    QElapsedTimer timer;
    QObject::connect(
        source.get(), &SlideSource::slidesCaptured, source.get(),
        [&](qint64, const QList<SlideImage>& slides, bool) {
            times.push_back(double(timer.nsecsElapsed()) / 1e6);
            deleteMatrices(slides);
        },
        Qt::DirectConnection);
    source->start();
    QTest::qWait(5000);
    for (int i = 0; i < 50; ++i) {
        QMetaObject::invokeMethod(source.get(), [&] {
            timer.start();
            source->captureSlide();
        });
        QTest::qWait(73);
    }
    source->requestStop();
    source->wait();
    std::sort(times.begin(), times.end());
    return times.empty() ? 0 : times[times.size() / 2];
}

void measure(const char* name, const SlidesSourceInfo& info, int seconds, NdiSender& sender)
{
    const double capture = captureTime(info);
    RecorderSettings::instance()->setSelectedSlideSource(info);
    const std::unique_ptr<Presentation> presentation(Presentation::create(false, false, {}));
    SlideRecorder recorder;
    QSignalSpy stopped(&recorder, &SlideRecorder::stopped);
    recorder.requestStart(presentation.get());
    QTest::qWait(10000); // connections, buffers and caches
    const double memory = residentMb();
    const Threads before = threads();
    QElapsedTimer timer;
    timer.start();
    for (int tens = 0; timer.elapsed() < seconds * 1000; ++tens) {
        if (!sender.order(u"fill Hall %1 80 120"_s.arg(tens % 4 * 60)))
            qWarning("the sender does not answer");
        QTest::qWait(10000);
    }
    const double elapsed = double(timer.elapsed()) / 1000;
    const Threads after = threads();
    const double memoryAfter = residentMb();
    const qint64 slides = recorder.slidesSaved();
    recorder.requestStop();
    stopped.wait(20000);

    double own = 0;
    double all = 0;
    QString details;
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        const double percent = (it.value() - before.value(it.key())) / elapsed * 100;
        all += percent;
        if (!it.key().startsWith(u"Slide"_s))
            continue;
        own += percent;
        details += u" %1 %2"_s.arg(it.key()).arg(percent, 0, 'f', 2);
    }
    std::printf("| %s | %.2f ms | %.1f %% |%s | %.1f %% | %.0f → %.0f MB | %lld |\n", name, capture,
        own, qPrintable(details), all, memory, memoryAfter, static_cast<long long>(slides));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir dir;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(dir.path()));
    QGuiApplication app(argc, argv);
    app.setProperty("workDir", dir.path());
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    const int seconds = argc > 1 ? atoi(argv[1]) : 60;
    RecorderSettings::instance()->setUseNativeSlideSourceResolution(true);

    CameraDevice::defaultOptions().createCapture
        = [] { return std::make_unique<PreparedCamera>(); };

    std::puts("| recording of | request → frame | own CPU | of it, by thread | with the runtime "
              "| memory | slides |\n|---|---|---|---|---|---|---|");
    NdiSender sender;
    SlidesSourceInfo ndi;
    if (sender.order(u"create Hall 1920 1080 60"_s)) {
        const auto find = [&ndi] {
            ndi = SlidesSourceInfo::availableSlideSourcesNDI().value(0);
            return ndi.isValid();
        };
        if (QTest::qWaitFor(find, 40000))
            measure("NDI 1920x1080 at 60", ndi, seconds, sender);
    }
    measure("camera 1920x1080 at 30",
        SlidesSourceInfo(true, SlidesSourceInfo::VideoInput, "camera", 0, u"Camera"_s), seconds,
        sender);
    return 0;
}

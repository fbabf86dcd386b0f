// Measures a live stream's way from the slide's file to the service: the real uploader and session,
// a real S3 server and the test service, all on loopback. Prints a Markdown table.
#include "harness/S3Server.h"
#include "recording/Presentation.h"
#include "service/TestCertificates.h"
#include "service/TestService.h"
#include "web/LiveStream.h"
#include "web/LiveStreamUploader.h"
#include "web/WebApi.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int SlideCount = 100;
constexpr int QueuedCount = 500;
constexpr int PatienceMs = 120'000;

[[noreturn]] void giveUp(const QString& why)
{
    std::fprintf(stderr, "upload benchmark: %s\n", qUtf8Printable(why));
    std::exit(1);
}

void printRow(const char* what, const QString& value)
{
    std::printf("| %s | %s |\n", what, qUtf8Printable(value));
    std::fflush(stdout);
}

double processCpuMs()
{
    return 1000.0 * double(std::clock()) / CLOCKS_PER_SEC;
}

double residentMiB()
{
    QFile file(u"/proc/self/statm"_s);
    const bool open = file.open(QIODevice::ReadOnly);
    const QList<QByteArray> pages = open ? file.readAll().split(' ') : QList<QByteArray>();
    return pages.value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

/// A slide of 1920x1080: blocks of colour, lines like text, and a picture's noise in a corner.
void writeSlide(const QString& path)
{
    QImage image(1920, 1080, QImage::Format_RGB32);
    QRandomGenerator random(1);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const bool picture = x > 1400 && y > 700;
            const bool text = !picture && y % 60 < 30 && random.generate() % 8 == 0;
            line[x] = picture ? random.generate() | 0xff000000
                : text        ? 0xff202020
                              : 0xfff0f0ff - y / 8;
        }
    }
    if (!image.save(path))
        giveUp(u"the slide cannot be written"_s);
}

LiveStreamUploaderConfig configFor(const S3Server& server)
{
    LiveStreamUploaderConfig config;
    config.bucket = u"slides"_s;
    config.prefix = u"bench/"_s;
    config.accessKeyId = server.value(u"accessKey"_s);
    config.secretAccessKey = server.value(u"secret"_s);
    config.sessionToken = server.value(u"token"_s);
    return config;
}

void measureThroughput(const S3Server& server, const QStringList& files)
{
    LiveStreamUploader uploader(configFor(server));
    QSignalSpy stopped(&uploader, &LiveStreamUploader::stopped);
    for (const QString& file : files)
        uploader.addSlide(0, 0, file);
    QElapsedTimer timer;
    timer.start();
    const double cpu = processCpuMs();
    uploader.requestStop();
    uploader.start();
    if (!stopped.wait(PatienceMs) || uploader.slidesUploaded() != files.size())
        giveUp(u"uploads failed"_s);
    printRow("slides uploaded per second, one after the other",
        QString::number(1000.0 * double(files.size()) / double(timer.elapsed()), 'f', 1));
    printRow("CPU of the recorder per slide",
        QString::number((processCpuMs() - cpu) / double(files.size()), 'f', 2) + u" ms"_s);
}

void measureQueue(S3Server& server, const QString& file)
{
    server.setFaults({ QJsonObject{ { u"stall"_s, true }, { u"count"_s, 99 } } });
    LiveStreamUploader uploader(configFor(server));
    uploader.start();
    uploader.addSlide(0, 0, file);
    if (!server.waitUntilStalled())
        giveUp(u"the server does not stall"_s);
    const double before = residentMiB();
    for (int i = 0; i < QueuedCount; ++i)
        uploader.addSlide(0, i, u"%1.%2"_s.arg(file).arg(i));
    printRow("memory for 500 slides queued behind a stalled server",
        QString::number(residentMiB() - before, 'f', 2) + u" MiB"_s);
}

/// From the written file to the report that the service has taken, each slide alone as in a talk.
void measureLatency(const S3Server& server, const QStringList& files, const QString& directory)
{
    const auto certificates = TestCertificates::create(directory);
    if (!certificates)
        giveUp(u"no certificates"_s);
    certificates->trustInThisProcess();
    const LiveStreamUploaderConfig config = configFor(server);
    const TestService::Account account{ u"ada@podiumcast.example"_s, u"password"_s, u"token"_s,
        config.bucket, u"bench/%1/v%2/"_s, config.accessKeyId, config.secretAccessKey,
        config.sessionToken };
    TestService service(account);
    if (!service.listenTls(certificates->serverConfiguration(), 0))
        giveUp(u"the service does not listen"_s);
    qputenv("PODIUMCAST_SERVICE_URL", "https://localhost:" + QByteArray::number(service.port()));
    QSignalSpy loggedIn(WebApi::instance(), &WebApi::loginSuccessful);
    WebApi::instance()->login(account.email, account.password);
    if (!loggedIn.wait(PatienceMs))
        giveUp(u"the login failed"_s);

    Presentation presentation{ QDir(directory) };
    LiveStream stream(&presentation, false, QString());
    QSignalSpy started(&stream, &LiveStream::started);
    QSignalSpy uploaded(&stream, &LiveStream::slidesUploadedChanged);
    QSignalSpy reported(&stream, &LiveStream::slideInfoWebSuccessCountChanged);
    stream.requestStart();
    if (!started.wait(PatienceMs))
        giveUp(u"the stream does not start"_s);

    QElapsedTimer timer;
    qint64 uploadedAt = 0;
    QObject::connect(&stream, &LiveStream::slidesUploadedChanged, &presentation,
        [&] { uploadedAt = timer.nsecsElapsed(); });
    std::vector<double> uploads;
    std::vector<double> reports;
    for (const QString& file : files) {
        timer.start();
        reported.clear();
        stream.uploadSlide(0, 0, file);
        if (reported.isEmpty() && !reported.wait(PatienceMs))
            giveUp(u"a slide was not reported: %1"_s.arg(stream.lastSlideInfoWebErrorString()));
        uploads.push_back(double(uploadedAt) / 1e6);
        reports.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    QSignalSpy stopped(&stream, &LiveStream::stopped);
    stream.requestStop();
    if (!stopped.wait(PatienceMs))
        giveUp(u"the stream does not stop"_s);

    const auto print = [](const char* what, std::vector<double>& times) {
        std::sort(times.begin(), times.end());
        printRow(what,
            u"%1 ms; %2 ms"_s.arg(times[times.size() / 2], 0, 'f', 1).arg(times.back(), 0, 'f', 1));
    };
    print("file written → object in the bucket: median; worst of 100", uploads);
    print("file written → object in the bucket and reported: median; worst of 100", reports);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("AWS_EC2_METADATA_DISABLED", "true");
    QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg)
            std::fprintf(stderr, "%s\n", qUtf8Printable(text));
    });
    Aws::SDKOptions options;
    Aws::InitAPI(options);
    {
        S3Server server;
        if (!server.start())
            giveUp(server.errorText());
        qputenv("AWS_ENDPOINT_URL_S3", server.value(u"endpoint"_s).toUtf8());
        const QTemporaryDir directory;
        qputenv("XDG_CONFIG_HOME", directory.path().toUtf8());
        const QString slide = directory.filePath(u"slide.png"_s);
        writeSlide(slide);
        QStringList files;
        for (int i = 0; i < SlideCount; ++i) {
            files += directory.filePath(u"0-%1.png"_s.arg(i, 4, 10, QLatin1Char('0')));
            QFile::copy(slide, files.constLast());
        }
        std::printf("| live stream, slides of 1920x1080 (%lld KiB), on loopback | |\n|---|---|\n",
            QFile(slide).size() / 1024);
        measureThroughput(server, files);
        measureLatency(server, files, directory.path());
        measureQueue(server, slide);
    }
    Aws::ShutdownAPI(options);
    return 0;
}

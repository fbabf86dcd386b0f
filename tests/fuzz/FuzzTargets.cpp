#include "fuzz/FuzzTargets.h"

#include "harness/Files.h"
#include "recorders/WavFileHeader.h"
#include "recording/Presentation.h"
#include "recording/PresentationRecovery.h"
#include "recording/RecordingLock.h"
#include "settings/LiveStreamSettings.h"
#include "settings/LoginSettings.h"
#include "settings/RecorderSettings.h"
#include "web/StreamReply.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QSettings>
#include <QSignalBlocker>
#include <QTemporaryDir>
#include <QtEndian>

#include <memory>

#ifdef PODIUMCAST_COMPAT_AWS
#include "S3Reply.h"
#endif

using namespace Qt::StringLiterals;

namespace {

void require(bool promise, const char* words)
{
    if (!promise)
        qFatal("broken promise: %s", words);
}

std::unique_ptr<Presentation> load(const QTemporaryDir& directory)
{
    return std::unique_ptr<Presentation>(Presentation::load(QDir(directory.path())));
}

/// What could be read can be written and read again, with the same title.
void fuzzPresentationXml(const QByteArray& input)
{
    static const QTemporaryDir directory;
    writeFile(directory.filePath(u"presentation.xml"_s), input);
    const std::unique_ptr<Presentation> presentation = load(directory);
    if (!presentation)
        return;
    const QString title = presentation->title();
    require(presentation->saveXml() && presentation->loadXml(), "it is readable after saving");
    require(presentation->title() == title && title.size() <= 500,
        "the title is the same after saving, and short");
}

/// The count is that of the lines with anything in them.
void fuzzTimestamps(const QByteArray& input)
{
    static const QTemporaryDir directory;
    static const bool prepared = [] {
        writeFile(directory.filePath(u"presentation.xml"_s), "<presentation/>");
        return true;
    }();
    writeFile(directory.filePath(u"timestamps_ms.txt"_s), input);
    int lines = 0;
    const QList<QByteArray> split = QByteArray(input).replace('\r', QByteArray()).split('\n');
    for (const QByteArray& line : split)
        lines += line.isEmpty() ? 0 : 1;
    const std::unique_ptr<Presentation> presentation = load(directory);
    require(prepared && presentation && presentation->slideCount() == lines, "every line counts");
}

/// Lengths are patched where a header can be, and nothing else is touched.
void fuzzWavHeader(const QByteArray& input)
{
    QByteArray bytes = input;
    QBuffer file(&bytes);
    file.open(QIODevice::ReadWrite);
    WavFileHeader header;
    header.read(&file);
    require(header.seconds() >= 0 && header.millis() / 1000 <= header.seconds() + 1,
        "the durations fit together");

    const bool written = header.writeLengths(&file);
    require(written == (input.size() >= WavFileHeader::Size), "lengths need a whole header");
    QByteArray wanted = input;
    if (written) {
        qToLittleEndian(quint32(input.size() - 8), wanted.data() + 4);
        qToLittleEndian(quint32(input.size() - WavFileHeader::Size), wanted.data() + 40);
    }
    require(bytes == wanted, "only the lengths change");
}

/// What a dead recording left is cut at its end at most, its sound gets its lengths, and then it is
/// whole: a second look finds nothing to do. The first byte chooses the file.
void fuzzRecovery(const QByteArray& input)
{
    static const QTemporaryDir directory;
    static const QStringList names{ u"audio.wav"_s, u"timestamps_ms.txt"_s,
        u"mouse_positions.txt"_s, u"screens_geometry.txt"_s };
    for (const QString& name : names + QStringList(PresentationRecovery::MarkFileName))
        QFile::remove(directory.filePath(name));
    writeFile(directory.filePath(u"presentation.xml"_s), "<presentation/>");
    writeFile(directory.filePath(RecordingLock::FileName), {});
    const qsizetype which = input.isEmpty() ? 0 : quint8(input.at(0)) % names.size();
    const QString path = directory.filePath(names.at(which));
    const QByteArray before = input.mid(1);
    writeFile(path, before);

    const QDir dir(directory.path());
    require(
        PresentationRecovery::recover(dir) == PresentationRecovery::Recovered, "it is repaired");
    require(PresentationRecovery::recover(dir) == PresentationRecovery::Untouched, "it is whole");
    if (which == 0 && !QFile::exists(path)) {
        require(before.size() < WavFileHeader::Size || before.count('\0') == before.size(),
            "only a file without sound is removed");
        return;
    }
    const QByteArray after = readFile(path);
    QByteArray wanted = before.left(after.size());
    if (which == 0 && after.size() >= WavFileHeader::Size && after != wanted) {
        qToLittleEndian(quint32(after.size() - 8), wanted.data() + 4);
        qToLittleEndian(quint32(after.size() - WavFileHeader::Size), wanted.data() + 40);
    }
    require(after == wanted, "nothing else is changed");
}

/// Texts are short enough for the window and presentation.xml, and no secret gets into the log.
void fuzzServiceReply(const QByteArray& input)
{
    const QJsonObject json = QJsonDocument::fromJson(input).object();
    const StreamReply reply = StreamReply::read(json);
    require(reply.presentationTitle.size() <= 500 && reply.uploader.presentationId.size() <= 500,
        "title and id are short");
    const QString failure = StreamReply::failure(json, QNetworkReply::InternalServerError);
    require(!failure.isEmpty() && failure.size() <= 500, "a failure has words, and not too many");

    const QByteArray log = QJsonDocument(StreamReply::printable(json)).toJson();
    const QString& secret = reply.uploader.secretAccessKey;
    // In the input it may stand a second time, written with escapes.
    if (secret.startsWith("s3cr3t"_L1) && QJsonDocument(json).toJson().count("s3cr3t") == 1)
        require(!log.contains("s3cr3t"), "a secret key is not printed");
}

/// What was read once is written and read as the same values.
void fuzzSettings(const QByteArray& input)
{
    static const QTemporaryDir directory;
    static int run = 0;
    // Qt keeps the latest thirty files in memory; another directory makes it read this one.
    const QString path = directory.filePath(QString::number(++run % 40));
    QCoreApplication::setOrganizationName(u"Podiumcast"_s);
    QCoreApplication::setApplicationName(u"PodiumcastRecorder"_s);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, path);
    QDir().mkpath(path + u"/Podiumcast");
    writeFile(path + u"/Podiumcast/PodiumcastRecorder.conf", input);

    RecorderSettings* recorder = RecorderSettings::instance();
    LoginSettings* login = LoginSettings::instance();
    LiveStreamSettings* stream = LiveStreamSettings::instance();
    // They write each change back at once, which is a file for each.
    const QSignalBlocker blockers[] = { QSignalBlocker(login), QSignalBlocker(stream) };
    const auto values = [&] {
        recorder->load();
        login->load();
        stream->load();
        return QVariantList{ recorder->slideWidth(), recorder->slideHeight(),
            recorder->audioChannelCount(), recorder->pointerRecordingEnabled(),
            recorder->useNativeSlideSourceResolution(), login->loginEmail(),
            login->liveStreamResume(), login->liveStreamPresentationId(), stream->pollVMixApi(),
            stream->vMixApiEndpoint(), stream->vMixApiPollInterval() };
    };
    const QVariantList first = values();
    recorder->save();
    login->save();
    stream->save();
    require(values() == first, "settings are the same after saving");
}

#ifdef PODIUMCAST_COMPAT_AWS
/// The first byte stands for the status; what is an error has a description.
void fuzzS3Reply(const QByteArray& input)
{
    constexpr std::array<long, 6> statuses{ 200, 301, 400, 403, 404, 503 };
    HttpResponse response;
    response.status = input.isEmpty() ? 0 : statuses.at(std::size_t(input.at(0)) % statuses.size());
    response.body = input.mid(1).toStdString();
    if (isSuccess(response)) {
        const std::string id = xmlElementText(response.body, "UploadId");
        require(id.size() <= response.body.size(), "an id is a part of the reply");
        return;
    }
    require(!errorFromResponse(response).GetMessage().empty() || !response.body.empty(),
        "an error is described");
}
#endif

} // namespace

const QList<FuzzTarget> FuzzTargets{
    { "presentation_xml", fuzzPresentationXml },
    { "timestamps", fuzzTimestamps },
    { "wav_header", fuzzWavHeader },
    { "recovery", fuzzRecovery },
    { "service_reply", fuzzServiceReply },
    { "settings", fuzzSettings },
#ifdef PODIUMCAST_COMPAT_AWS
    { "s3_reply", fuzzS3Reply },
#endif
};

#include "slidesource/VideoInputsV4L2.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <cerrno>
#include <map>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The character arrays of the kernel's structure end with a zero or are full.
template <size_t size> QByteArray text(const __u8 (&field)[size])
{
    const char* begin = reinterpret_cast<const char*>(field);
    return QByteArray(begin, qsizetype(qstrnlen(begin, size)));
}

// Link paths by the device that they lead to; by-id names a device wherever it is plugged in.
QHash<QString, QByteArray> stableLinks(const QString& deviceDirectory)
{
    QHash<QString, QByteArray> links;
    for (const QString& kind : { u"by-path"_s, u"by-id"_s }) {
        const QDir directory(deviceDirectory + u"/v4l/"_s + kind);
        const QStringList names = directory.entryList(QDir::System | QDir::Files, QDir::Name);
        for (const QString& name : names) {
            const QString path = directory.filePath(name);
            links.insert(QFileInfo(path).canonicalFilePath(), path.toUtf8());
        }
    }
    return links;
}

std::map<int, QString> numberedDevices(const QString& deviceDirectory)
{
    std::map<int, QString> devices;
    const QDir directory(deviceDirectory);
    const QStringList names = directory.entryList({ u"video*"_s }, QDir::System | QDir::Files);
    for (const QString& name : names) {
        bool numbered = false;
        const int number = name.mid(int(qstrlen("video"))).toInt(&numbered);
        if (numbered)
            devices.emplace(number, directory.filePath(name));
    }
    return devices;
}

} // namespace

std::optional<VideoInputsV4L2::Answer> VideoInputsV4L2::queryDriver(const QString& devicePath)
{
    const int device = ::open(QFile::encodeName(devicePath).constData(), O_RDONLY | O_NONBLOCK);
    if (device < 0)
        return std::nullopt;
    v4l2_capability capability{};
    int result = -1;
    do {
        result = ::ioctl(device, VIDIOC_QUERYCAP, &capability);
    } while (result < 0 && errno == EINTR);
    ::close(device);
    if (result < 0)
        return std::nullopt;
    // The device's own part: its siblings (metadata, output) share the other field.
    const __u32 capabilities = (capability.capabilities & V4L2_CAP_DEVICE_CAPS)
        ? capability.device_caps
        : capability.capabilities;
    return Answer{ (capabilities & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE)) != 0,
        text(capability.card), text(capability.bus_info) };
}

QList<SlidesSourceInfo> VideoInputsV4L2::list(const QString& deviceDirectory, const Query& query)
{
    const QHash<QString, QByteArray> links = stableLinks(deviceDirectory);
    QList<SlidesSourceInfo> infos;
    QSet<QByteArray> ids;
    for (const auto& [number, path] : numberedDevices(deviceDirectory)) {
        const std::optional<Answer> answer = query(path);
        if (!answer || !answer->canCapture)
            continue;
        const QString name
            = answer->card.isEmpty() ? QFileInfo(path).fileName() : QString::fromUtf8(answer->card);
        QByteArray id = links.value(QFileInfo(path).canonicalFilePath());
        if (id.isEmpty())
            id = "v4l2:" + answer->busInfo + ':' + answer->card;
        // Two inputs of one device without links: ids must differ.
        const QByteArray base = id;
        for (int copy = 2; ids.contains(id); ++copy)
            id = base + '#' + QByteArray::number(copy);
        ids.insert(id);
        infos.append(SlidesSourceInfo(SlidesSourceInfo::videoInputEnabledByName(name),
            SlidesSourceInfo::VideoInput, id, number, name));
    }
    return infos;
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesV4L2()
{
    return VideoInputsV4L2::list(u"/dev"_s, VideoInputsV4L2::queryDriver);
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesWindowsDirectShow()
{
    return {}; // this platform has its own listing
}

#include "slidesource/VideoInputsV4L2.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// The listing of Linux video devices over a directory that looks like /dev.
class VideoInputsV4L2Test : public QObject
{
    Q_OBJECT

private slots:
    void list()
    {
        const QTemporaryDir dev;
        const QMap<QString, VideoInputsV4L2::Answer> drivers{
            { u"video0"_s, { true, "Integrated Kamera Ü", "usb-1" } },
            { u"video1"_s, { false, "Integrated Kamera Ü", "usb-1" } }, // its metadata
            { u"video2"_s, { true, "Grabber", "pci-3" } }, // two inputs without links
            { u"video3"_s, { true, "Grabber", "pci-3" } },
            { u"video10"_s, { true, "OBS Virtual Camera", "platform:v4l2loopback-000" } },
            { u"video11"_s, { true, "", "pci-4" } },
            { u"video-dec0"_s, { true, "Decoder", "platform:x" } },
        };
        QStringList devices = drivers.keys();
        devices.append(u"video7"_s); // does not answer
        for (const QString& device : devices)
            QVERIFY(QFile(dev.filePath(device)).open(QFile::WriteOnly));
        const auto link = [&dev](const QString& path, const QString& device) {
            const QString file = dev.filePath(path);
            return QDir().mkpath(QFileInfo(file).path()) && QFile::link(u"../../"_s + device, file);
        };
        QVERIFY(link(u"v4l/by-path/pci-0-usb-video-index0"_s, u"video0"_s));
        QVERIFY(link(u"v4l/by-id/usb-Integrated-video-index0"_s, u"video0"_s));
        QVERIFY(link(u"v4l/by-path/platform-loop"_s, u"video10"_s));

        const QList<SlidesSourceInfo> infos
            = VideoInputsV4L2::list(dev.path(), [&drivers](const QString& path) {
                  const auto driver = drivers.constFind(QFileInfo(path).fileName());
                  return driver == drivers.cend() ? std::nullopt : std::optional(*driver);
              });
        QStringList lines;
        for (const SlidesSourceInfo& info : infos)
            lines.append(u"%1 %2 %3 %4"_s.arg(info.index())
                             .arg(int(info.enabled()))
                             .arg(info.name(),
                                 QString::fromUtf8(info.id()).remove(dev.path() + u"/v4l/"_s)));
        QCOMPARE(lines,
            (QStringList{ u"0 1 Integrated Kamera Ü by-id/usb-Integrated-video-index0"_s,
                u"2 1 Grabber v4l2:pci-3:Grabber"_s, u"3 1 Grabber v4l2:pci-3:Grabber#2"_s,
                u"10 0 OBS Virtual Camera by-path/platform-loop"_s,
                u"11 1 video11 v4l2:pci-4:"_s }));
    }

    void whatIsNoVideoDevice()
    {
        QVERIFY(!VideoInputsV4L2::queryDriver(u"/dev/null"_s)); // the real question
        QVERIFY(!VideoInputsV4L2::queryDriver(u"/dev/is-not-there"_s));
    }
};

QTEST_GUILESS_MAIN(VideoInputsV4L2Test)
#include "VideoInputsV4L2Test.moc"

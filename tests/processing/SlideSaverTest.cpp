#include "processing/SlideSaver.h"
#include "harness/FileSizeLimit.h"

#include <QtTest>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

QImage noise(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int row = 0; row < height; ++row)
        QRandomGenerator::global()->fillRange(
            reinterpret_cast<quint32*>(image.scanLine(row)), width);
    return image;
}

QList<SlideImage> toSlides(const QList<QImage>& images)
{
    QList<SlideImage> slides;
    for (const QImage& image : images)
        slides.append({ new cv::Mat(2, 2, CV_8UC3), image });
    return slides;
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly | QIODevice::Text) ? file.readAll() : QByteArray("?");
}

class TestedSaver : public SlideSaver
{
public:
    using SlideSaver::run;
    using SlideSaver::saveSlide;
    using SlideSaver::saveSlides;
    using SlideSaver::SlideSaver;
};

} // namespace

class SlideSaverTest : public QObject
{
    Q_OBJECT

private slots:
    // Everything is queued before the stop. Screens are encoded side by side, the first one
    // longest; their order on disk and in signals is the same.
    void filesAndLines()
    {
        const QTemporaryDir dir;
        TestedSaver saver{ QDir(dir.path()) };
        QSignalSpy files(&saver, &SlideSaver::slideSaved);
        QSignalSpy slides(&saver, &SlideSaver::slidesSaved);
        QSignalSpy stopped(&saver, &SlideSaver::stopped);
        const QList<QImage> screens{ noise(900, 600), noise(101, 33), noise(3, 3), noise(50, 50) };

        saver.addSlides(1002, toSlides(screens.mid(1, 1)));
        saver.addSlides(2500, toSlides({}));
        saver.addSlides(4000, toSlides(screens));
        saver.requestStop();
        saver.addSlides(5000, toSlides(screens)); // refused, and not leaked
        saver.run(); // the worker's loop, on this thread

        QCOMPARE(stopped.size(), 1);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).join(u' '),
            u"0-0001.png 0-0003.png 1-0003.png 2-0003.png 3-0003.png timestamps_ms.txt"_s);
        QCOMPARE(content(dir.filePath(u"timestamps_ms.txt"_s)), "1 1002\n2 2500\n3 4000\n"_ba);
        QCOMPARE(files.size(), 1 + screens.size());
        const auto last = slides.last().first().value<QList<SlideSaver::SavedSlide>>();
        QCOMPARE(last.size(), screens.size());
        for (int screen = 0; screen < screens.size(); ++screen) {
            const SlideSaver::SavedSlide& slide = last[screen];
            QCOMPARE(slide.pngFilePath, dir.filePath(u"%1-0003.png"_s.arg(screen)));
            QCOMPARE(files[1 + screen],
                (QVariantList{ screen, qint64(4000), slide.name, slide.pngFilePath }));
            QCOMPARE(QImage(slide.pngFilePath), screens[screen]);
        }
        QCOMPARE(saver.saveSlide(12345, 11, 1, { nullptr, screens[2] }).name, u"11-12345"_s);
    }

    // Nothing is dropped, and the operator is told once. What waits is encoded, and its pixels are
    // gone.
    void diskThatDoesNotKeepUp()
    {
        const QTemporaryDir dir;
        TestedSaver saver{ QDir(dir.path()) };
        QSignalSpy waiting(&saver, &SlideSaver::slidesWaiting);
        std::atomic<int> left = 0;
        const auto release = [](void* count) { --*static_cast<std::atomic<int>*>(count); };
        static const uchar pixels[16 * 4 * 16] = {};
        for (int slide = 1; slide <= 9; ++slide) {
            ++left;
            saver.addSlides(slide * 1000,
                toSlides({ QImage(pixels, 16, 16, QImage::Format_RGB32, release, &left) }));
            QCOMPARE(waiting.size(), slide < 5 ? 0 : 1);
        }
        QTRY_COMPARE(left, 1); // the first one did not have to wait
        saver.requestStop();
        saver.run();
        QCOMPARE(waiting.size(), 1);
        QCOMPARE(saver.savedSlideCount(), 9);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("fail"); // shell commands; %1 is the directory
        QTest::addColumn<QString>("mend");
        QTest::addColumn<qint64>("space"); // bytes for each file; 0: enough
        QTest::addColumn<QString>("errors"); // which of picture and time
        QTest::addColumn<QString>("files"); // what lies there after the failing slide
        QTest::addColumn<QByteArray>("times"); // after the mended slide
        const auto row
            = [](const char* name, const QString& fail, const QString& mend, qint64 space,
                  const QString& errors, const QString& files, const QByteArray& times) {
                  QTest::newRow(name) << fail << mend << space << errors << files << times;
              };
        row("directory removed", u"rm -r %1"_s, u"mkdir %1"_s, 0, u"picture time"_s, {},
            "3 3000\n"_ba);
        row("picture cannot be written", u"mkdir %1/0-0002.png"_s, u"true"_s, 0, u"picture"_s,
            u"0-0001.png timestamps_ms.txt"_s, "1 1000\n2 2000\n3 3000\n"_ba);
        row("time cannot be written", u"cd %1; rm timestamps_ms.txt; mkdir timestamps_ms.txt"_s,
            u"rmdir %1/timestamps_ms.txt"_s, 0, u"time"_s, u"0-0001.png 0-0002.png"_s,
            "3 3000\n"_ba);
        row("disk full in mid-picture", u"true"_s, u"true"_s, 5000, u"picture"_s,
            u"0-0001.png timestamps_ms.txt"_s, "1 1000\n2 2000\n3 3000\n"_ba);
        row("disk full in mid-line", u"true"_s, u"true"_s, 10, u"picture time"_s,
            u"0-0001.png timestamps_ms.txt"_s, "1 1000\n3 3000\n"_ba);
    }

    // Slide 1 is good, slide 2 meets the fault, slide 3 comes after it.
    void failures()
    {
        QFETCH(QString, fail);
        QFETCH(QString, mend);
        QFETCH(qint64, space);
        if (QProcess::execute(u"sh"_s, { u"-c"_s, u"true"_s }) != 0)
            QSKIP("there is no shell to make the fault");
        const QTemporaryDir parent;
        const QDir dir(parent.filePath(u"slides"_s));
        QVERIFY(dir.mkpath(u"."_s));
        TestedSaver saver(dir);
        QStringList errors;
        connect(&saver, &SlideSaver::slideSavingError, this, [&](const QString& message) {
            const bool picture = message == u"Saving slide 0-0002 in PNG format failed."_s;
            errors.append(picture                  ? u"picture"_s
                    : message.contains(dir.path()) ? u"time"_s
                                                   : message);
        });
        QSignalSpy recovered(&saver, &SlideSaver::slideSavingRecovered);
        QSignalSpy saved(&saver, &SlideSaver::slideSaved);
        const QImage image = noise(200, 200);

        saver.saveSlides(1000, toSlides({ image }));
        QCOMPARE(QProcess::execute(u"sh"_s, { u"-c"_s, fail.arg(dir.path()) }), 0);
        {
            const FileSizeLimit limit(space ? rlim_t(space) : RLIM_INFINITY);
            saver.saveSlides(2000, toSlides({ image }));
        }
        QTEST(dir.entryList(QDir::Files | QDir::Hidden).join(u' '), "files");
        QTEST(errors.join(u' '), "errors");
        QCOMPARE(recovered.size(), 0);

        QCOMPARE(QProcess::execute(u"sh"_s, { u"-c"_s, mend.arg(dir.path()) }), 0);
        saver.saveSlides(3000, toSlides({ image }));
        QTEST(errors.join(u' '), "errors");
        QCOMPARE(recovered.size(), 1);
        QCOMPARE(saved.size(), 3); // also the failed one, which keeps its number
        QTEST(content(dir.filePath(u"timestamps_ms.txt"_s)), "times");
        QCOMPARE(QImage(dir.filePath(u"0-0003.png"_s)), image);
    }
};

QTEST_GUILESS_MAIN(SlideSaverTest)
#include "SlideSaverTest.moc"

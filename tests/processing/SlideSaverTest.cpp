#include "processing/SlideSaver.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <functional>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

QImage noise(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int row = 0; row < height; ++row)
        QRandomGenerator::global()->fillRange(
            reinterpret_cast<quint32*>(image.scanLine(row)), width);
    return image.convertToFormat(QImage::Format_RGB888);
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

// No file may grow beyond this: what a process sees of a full disk, without filling one.
void limitFileSize(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{ bytes, RLIM_INFINITY };
    setrlimit(RLIMIT_FSIZE, &limit);
}

class TestedSaver : public SlideSaver
{
public:
    using SlideSaver::saveSlide;
    using SlideSaver::saveSlides;
    using SlideSaver::SlideSaver;
};

using Action = std::function<void(const QDir&)>;

} // namespace
Q_DECLARE_METATYPE(Action)

class SlideSaverTest : public QObject
{
    Q_OBJECT

private slots:
    void filesAndLines();
    void numberIsPaddedToFourDigitsAtLeast();
    void failures_data();
    void failures();
};

// Everything is queued before the stop, on a thread that may not even have started to run.
void SlideSaverTest::filesAndLines()
{
    const QTemporaryDir dir;
    SlideSaver saver{ QDir(dir.path()) };
    QSignalSpy saved(&saver, &SlideSaver::slideSaved);
    QSignalSpy errors(&saver, &SlideSaver::slideSavingError);
    QList<SlideSaver::SavedSlide> list;
    QStringList order;
    connect(
        &saver, &SlideSaver::slidesSaved, &saver,
        [&](const QList<SlideSaver::SavedSlide>& slides) {
            list = slides;
            order.append(u"slide"_s);
        },
        Qt::DirectConnection);
    connect(
        &saver, &SlideSaver::stopped, &saver, [&] { order.append(u"stopped"_s); },
        Qt::DirectConnection);
    const QImage left = noise(320, 200);
    const QImage right = noise(101, 33);

    saver.start();
    saver.addSlides(1002, toSlides({ left }));
    saver.addSlides(2500, toSlides({}));
    saver.addSlides(4000, toSlides({ left, right }));
    saver.requestStop();
    saver.addSlides(5000, toSlides({ left })); // refused, and not leaked
    QVERIFY(saver.wait(60'000));

    QCOMPARE(order, (QStringList{ u"slide"_s, u"slide"_s, u"slide"_s, u"stopped"_s }));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
        (QStringList{ u"0-0001.png"_s, u"0-0003.png"_s, u"1-0003.png"_s, u"timestamps_ms.txt"_s }));
    QCOMPARE(content(dir.filePath(u"timestamps_ms.txt"_s)), "1 1002\n2 2500\n3 4000\n"_ba);
    QCOMPARE(QImage(dir.filePath(u"0-0003.png"_s)).convertToFormat(QImage::Format_RGB888), left);
    QCOMPARE(QImage(dir.filePath(u"1-0003.png"_s)).convertToFormat(QImage::Format_RGB888), right);
    QCOMPARE(saver.savedSlideCount(), 3);
    QCOMPARE(errors.size(), 0);
    QTRY_COMPARE(saved.size(), 3);
    QCOMPARE(saved.last(),
        (QVariantList{ 1, qint64(4000), u"1-0003"_s, dir.filePath(u"1-0003.png"_s) }));
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.last().time, 4000);
    QCOMPARE(list.last().name, u"1-0003"_s);
    QCOMPARE(list.last().pngFilePath, dir.filePath(u"1-0003.png"_s));
}

void SlideSaverTest::numberIsPaddedToFourDigitsAtLeast()
{
    const QTemporaryDir dir;
    TestedSaver saver{ QDir(dir.path()) };
    QCOMPARE(saver.saveSlide(123, 0, 1, { nullptr, noise(3, 3) }).name, u"0-0123"_s);
    QCOMPARE(saver.saveSlide(12345, 11, 1, { nullptr, noise(3, 3) }).name, u"11-12345"_s);
    QVERIFY(QFile::exists(dir.filePath(u"11-12345.png"_s)));
}

void SlideSaverTest::failures_data()
{
    QTest::addColumn<Action>("fail");
    QTest::addColumn<Action>("mend");
    QTest::addColumn<QStringList>("errors"); // how each message of the failing slide begins
    QTest::addColumn<QStringList>("files"); // what lies there after the failing slide
    QTest::addColumn<QByteArray>("times"); // after the mended slide
    const QString png = u"Saving slide 0-0002 in PNG format failed."_s;
    const QString line = u"The time of slide 2 could not be written to"_s;
    const QString first = u"0-0001.png"_s;
    const QString times = u"timestamps_ms.txt"_s;
    const Action nothing = [](const QDir&) {};

    QTest::newRow("directory removed")
        << Action([](const QDir& dir) { QDir(dir).removeRecursively(); })
        << Action([](const QDir& dir) { dir.mkpath(u"."_s); }) << QStringList{ png, line }
        << QStringList{} << "3 3000\n"_ba;
    QTest::newRow("file in place of the directory") << Action([](const QDir& dir) {
        QDir(dir).removeRecursively();
        QFile file(dir.path());
        QVERIFY(file.open(QIODevice::WriteOnly));
    }) << Action([](const QDir& dir) { QFile::remove(dir.path()), dir.mkpath(u"."_s); })
                                                    << QStringList{ png, line } << QStringList{}
                                                    << "3 3000\n"_ba;
    QTest::newRow("picture cannot be written")
        << Action([](const QDir& dir) { dir.mkdir(u"0-0002.png"_s); }) << nothing
        << QStringList{ png } << QStringList{ first, times } << "1 1000\n2 2000\n3 3000\n"_ba;
    QTest::newRow("time cannot be written")
        << Action([](const QDir& dir) {
               QFile::remove(dir.filePath(u"timestamps_ms.txt"_s));
               dir.mkdir(u"timestamps_ms.txt"_s);
           })
        << Action([](const QDir& dir) { dir.rmdir(u"timestamps_ms.txt"_s); }) << QStringList{ line }
        << QStringList{ first, u"0-0002.png"_s } << "3 3000\n"_ba;
    QTest::newRow("disk full in mid-picture")
        << Action([](const QDir&) { limitFileSize(5000); })
        << Action([](const QDir&) { limitFileSize(RLIM_INFINITY); }) << QStringList{ png }
        << QStringList{ first, times } << "1 1000\n2 2000\n3 3000\n"_ba;
    QTest::newRow("disk full in mid-line")
        << Action([](const QDir&) { limitFileSize(10); })
        << Action([](const QDir&) { limitFileSize(RLIM_INFINITY); }) << QStringList{ png, line }
        << QStringList{ first, times } << "1 1000\n3 3000\n"_ba;
}

// Slide 1 is good, slide 2 meets the fault, slide 3 comes after it.
void SlideSaverTest::failures()
{
    QFETCH(Action, fail);
    QFETCH(Action, mend);
    QFETCH(QStringList, errors);
    const QTemporaryDir parent;
    const QDir dir(parent.filePath(u"slides"_s));
    QVERIFY(dir.mkpath(u"."_s));
    TestedSaver saver(dir);
    QSignalSpy messages(&saver, &SlideSaver::slideSavingError);
    QSignalSpy recovered(&saver, &SlideSaver::slideSavingRecovered);
    QSignalSpy saved(&saver, &SlideSaver::slideSaved);
    const QImage image = noise(200, 200);

    saver.saveSlides(1000, toSlides({ image }));
    fail(dir);
    saver.saveSlides(2000, toSlides({ image }));
    const QStringList files = dir.entryList(QDir::Files | QDir::Hidden);
    mend(dir);
    QTEST(files, "files");
    QCOMPARE(messages.size(), errors.size());
    for (qsizetype i = 0; i < errors.size(); ++i)
        QVERIFY2(
            messages[i][0].toString().startsWith(errors[i]), qPrintable(messages[i][0].toString()));
    QCOMPARE(saver.savedSlideCount(), 2); // keeps its number
    QCOMPARE(recovered.size(), 0);

    saver.saveSlides(3000, toSlides({ image }));
    QCOMPARE(messages.size(), errors.size());
    QCOMPARE(recovered.size(), 1);
    QCOMPARE(saved.size(), 3);
    QTEST(content(dir.filePath(u"timestamps_ms.txt"_s)), "times");
    QCOMPARE(QImage(dir.filePath(u"0-0003.png"_s)).convertToFormat(QImage::Format_RGB888), image);
}

QTEST_GUILESS_MAIN(SlideSaverTest)
#include "SlideSaverTest.moc"

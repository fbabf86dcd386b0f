#include "FakeNdi.h"
#include "SourceProbe.h"
#include "harness/Files.h"
#include "slidesource/NdiRuntime.h"

#include <QtTest>

#include <tuple>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(QList<FakeNdiFrame>)

namespace {

QList<FakeNdiFrame> run(int count)
{
    QList<FakeNdiFrame> frames;
    for (int i = 1; i <= count; ++i)
        frames.append({ NdiRuntime::Video, i });
    return frames;
}

constexpr int NoSlide = -1;

} // namespace

/// The NDI source against a stand-in for the runtime whose queue the test fills.
class SlideSourceNDITest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("NDI_RUNTIME_DIR_V6", PODIUMCAST_FAKE_NDI);
        QLibrary library(NdiRuntime::candidates().first());
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        m_push = FakeNdiPush(library.resolve("fakendi_push"));
        m_held = FakeNdiHeld(library.resolve("fakendi_held"));
        QVERIFY(m_push && m_held);
    }

    void capture_data()
    {
        QTest::addColumn<QList<FakeNdiFrame>>("held");
        QTest::addColumn<int>("red"); // of the slide that comes out
        QTest::addColumn<int>("errorType");

        using List = QList<FakeNdiFrame>;
        const FakeNdiFrame frame{ NdiRuntime::Video, 7 };
        const FakeNdiFrame status{ NdiRuntime::StatusChange };
        const FakeNdiFrame error{ NdiRuntime::Error };
        QTest::newRow("nothing waits") << List{} << NoSlide << 0;
        QTest::newRow("a full queue: the newest") << run(10) << 10 << 0;
        QTest::newRow("faster than it can be drained") << run(40) << 12 << 0;
        QTest::newRow("connection, then a frame") << List{ status, frame } << 7 << 0;
        QTest::newRow("status change is the newest") << List{ frame, status } << NoSlide << 100;
        QTest::newRow("connection without a frame") << List{ status } << NoSlide << 100;
        QTest::newRow("lost connection") << List{ error } << NoSlide << 4;
        QTest::newRow("padded lines") << List{ { NdiRuntime::Video, 80, 52 } } << 80 << 0;
        QTest::newRow("without alpha")
            << List{ { NdiRuntime::Video, 90, 0, NdiRuntime::FourCcRgbx } } << 90 << 0;
        QTest::newRow("another pixel format")
            << List{ { NdiRuntime::Video, 90, 0, 0x59565955 } } << NoSlide << 4;
    }

    void capture()
    {
        QFETCH(QList<FakeNdiFrame>, held);
        QFETCH(int, red);
        QFETCH(int, errorType);
        SourceProbe probe(m_info);
        QVERIFY(probe.becomesReady());
        QMetaObject::invokeMethod(probe.source.get(), &SlideSource::freezeSlides); // no timed ones
        m_push(nullptr);
        for (const FakeNdiFrame& frame : held)
            m_push(&frame);
        if (errorType != 0)
            QTest::ignoreMessage(QtWarningMsg,
                qPrintable(u"[SlideSourceNDI] invalid frame type %1"_s.arg(errorType)));
        probe.force();

        QCOMPARE(m_held(), 1); // the receiver: every frame has gone back
        QCOMPARE(probe.errors,
            errorType == 0 ? QStringList() : QStringList{ u"Invalid frame captured from NDI."_s });
        QCOMPARE(probe.captures.size(), red == NoSlide ? 0 : 1);
        if (red == NoSlide)
            return;
        SourceProbe::Capture& capture = probe.captures.first();
        QVERIFY(capture.forced && capture.sharesPixels && capture.mats.size() == 1);
        const cv::Mat& mat = capture.mats.first();
        QVERIFY(mat.type() == CV_8UC4 && mat.isContinuous());
        QCOMPARE(cv::Scalar(mat.at<cv::Vec4b>(47, 63)), cv::Scalar(red, 63, 47, 255));
        capture.mats.clear();
        // The picture outlives the matrix whose pixels it shares.
        QCOMPARE(capture.images.first().size(), QSize(64, 48));
        QCOMPARE(capture.images.first().pixelColor(5, 40), QColor(red, 5, 40));
    }

    /// The last one: it changes where the runtime is looked for.
    void search()
    {
#ifdef Q_OS_WIN
        QSKIP("Windows finds a library that is loaded by its name alone");
#endif
        for (const QString& name : { u"libndi.so.6"_s, u"libndi.so.5"_s })
            if (QLibrary(name).load())
                QSKIP("an NDI runtime is installed in the library path");
        const QTemporaryDir rubbish;
        writeFile(rubbish.filePath(u"libndi.so.6"_s), "not a library");
        const QTemporaryDir other;
        QVERIFY(QFile::link(QLibraryInfo::path(QLibraryInfo::LibrariesPath) + u"/libQt6Core.so.6"_s,
            other.filePath(u"libndi.so.6"_s)));
        const QString good = qEnvironmentVariable("NDI_RUNTIME_DIR_V6");
        const std::tuple<QString, QString, bool> places[] = { { rubbish.path(), {}, false },
            { other.path(), {}, false }, { good, {}, true }, { rubbish.path(), good, true } };
        for (const auto& [v6, v5, usable] : places) {
            qputenv("NDI_RUNTIME_DIR_V6", QFile::encodeName(v6));
            qputenv("NDI_RUNTIME_DIR_V5", QFile::encodeName(v5));
            QString error;
            QCOMPARE(NdiRuntime::load(error) != nullptr, usable);
            QVERIFY2(error.isEmpty() == usable, qPrintable(error));
        }
    }

    void cleanup()
    {
        QCOMPARE(m_held(), 0);
    }

private:
    SlidesSourceInfo m_info{ true, SlidesSourceInfo::NDISource, "127.0.0.1:1", 0, u"X (Y)"_s };
    FakeNdiPush m_push = nullptr;
    FakeNdiHeld m_held = nullptr;
};

QTEST_GUILESS_MAIN(SlideSourceNDITest)
#include "SlideSourceNDITest.moc"

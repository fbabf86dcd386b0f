#include "settings/RecorderSettings.h"
#include "slidesource/SlideSource.h"
#include "ui/SlideSourcePreview.h"
#include "ui/WindowFixture.h"

#include <QElapsedTimer>
#include <QPainter>
#include <QPointer>
#include <QQuickWindow>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

/// A source whose captures, errors and end are in the test's hands.
class FakeSource : public SlideSource
{
    Q_OBJECT

public:
    /// Shared with the test, which may outlive the source.
    struct Script
    {
        QList<QImage> images = { QImage(32, 32, QImage::Format_RGB32) };
        QString openError;
        int capturesPerRequest = 1;
        std::atomic<int> requests = 0;
        QSemaphore captureGate{ 1'000'000 }; ///< a capture takes one; none: the camera is slow
        QSemaphore endGate{ 1'000'000 }; ///< the thread takes one before it ends
        /// Every matrix shares these pixels, so their reference count tells how many are left.
        cv::Mat pixels = cv::Mat::zeros(32, 32, CV_8UC3);

        int matricesLeft() const { return CV_XADD(&pixels.u->refcount, 0) - 1; }
    };

    explicit FakeSource(Script& script)
        : SlideSource(SlidesSourceInfo(
            true, SlidesSourceInfo::IntervalScreenCapture, "fake"_ba, 0, u"Fake"_s))
        , m_script(script)
    {
    }

    void captureSlide() override
    {
        ++m_script.requests;
        m_script.captureGate.acquire();
        for (int i = 0; i < m_script.capturesPerRequest; ++i) {
            QList<SlideImage> slides;
            for (const QImage& image : m_script.images)
                slides.append({ new cv::Mat(m_script.pixels), image });
            updateSlidesResolutions(slides);
            emit slidesCaptured(0, slides, true);
        }
    }

protected:
    void run() override
    {
        if (!m_script.openError.isEmpty()) {
            emit captureError(m_script.openError);
            return;
        }
        emit ready();
        exec();
        m_script.endGate.acquire();
        emit stopped();
    }

private:
    Script& m_script;
};

class TestedPreview : public SlideSourcePreview
{
public:
    TestedPreview() = default;
    explicit TestedPreview(FakeSource::Script& script)
        : m_script(&script)
    {
    }

    mutable QPointer<SlideSource> source;
    mutable int sourcesMade = 0;

protected:
    SlideSource* createSource() const override
    {
        source = m_script ? new FakeSource(*m_script) : SlideSourcePreview::createSource();
        sourcesMade += source ? 1 : 0;
        return source;
    }

private:
    FakeSource::Script* m_script = nullptr;
};

QImage filled(const QSize& size, Qt::GlobalColor color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

/// What @p item paints, on yellow, one letter for each of the points asked for.
QString painted(QQuickPaintedItem& item, const QList<QPoint>& points)
{
    QImage canvas(int(item.width()), int(item.height()), QImage::Format_RGB32);
    canvas.fill(Qt::yellow);
    QPainter painter(&canvas);
    item.paint(&painter);
    painter.end();
    const QMap<QRgb, QString> letters{ { 0xffff0000, u"r"_s }, { 0xff00ff00, u"g"_s },
        { 0xffffff00, u"-"_s } };
    QString result;
    for (const QPoint& point : points)
        result += letters.value(canvas.pixel(point), u"?"_s);
    return result;
}

} // namespace

class TestSlideSourcePreview : public QObject
{
    Q_OBJECT

private slots:
    void paintsFramesInColumns_data()
    {
        QTest::addColumn<QList<QImage>>("frames");
        QTest::addColumn<QString>("expected"); // left, middle, right at top, middle, bottom
        QTest::newRow("one is centred vertically")
            << QList<QImage>{ filled({ 400, 100 }, Qt::red) } << u"---rrr---"_s;
        QTest::newRow("one is left-aligned")
            << QList<QImage>{ filled({ 100, 100 }, Qt::red) } << u"r--r--r--"_s;
        QTest::newRow("two halves")
            << QList<QImage>{ filled({ 99, 100 }, Qt::red), filled({ 99, 100 }, Qt::green) }
            << u"rggrggrgg"_s;
    }
    void paintsFramesInColumns()
    {
        QFETCH(QList<QImage>, frames);
        QFETCH(QString, expected);
        const QList<QPoint> points{ { 5, 3 }, { 105, 3 }, { 190, 3 }, { 5, 50 }, { 105, 50 },
            { 190, 50 }, { 5, 96 }, { 105, 96 }, { 190, 96 } };
        FakeSource::Script script;
        script.images = frames;
        TestedPreview preview(script);
        preview.setSize({ 200, 100 });
        preview.restart();
        QTRY_VERIFY(!preview.loading());
        QCOMPARE(painted(preview, points), expected);
        QCOMPARE(preview.slidesResolutions().size(), frames.size());
    }

    void slowSourceGetsOneRequestAtATime()
    {
        FakeSource::Script script;
        script.captureGate.acquire(script.captureGate.available());
        TestedPreview preview(script);
        preview.restart();
        QTRY_COMPARE(script.requests, 1);
        for (int i = 0; i < 20; ++i)
            preview.doRefresh();
        script.captureGate.release(2);
        QTRY_COMPARE(script.requests, 3); // 1 slow, 1 after it, 1 that waits again
        script.captureGate.release(1000);
    }

    void unseenPreviewAsksForNothing()
    {
        FakeSource::Script script;
        QQuickWindow window;
        TestedPreview preview(script);
        preview.setParentItem(window.contentItem());
        preview.setSize({ 200, 100 });
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        preview.restart();
        QTRY_VERIFY(!preview.loading());
        preview.setVisible(false); // another screen of the window is shown
        const auto requestsAfterRefresh = [&] {
            preview.doRefresh();
            QMetaObject::invokeMethod(
                preview.source, [] {}, Qt::BlockingQueuedConnection);
            return int(script.requests);
        };
        const int before = requestsAfterRefresh();
        QCOMPARE(requestsAfterRefresh(), before);
        preview.setVisible(true);
        QVERIFY(requestsAfterRefresh() > before);
        preview.stop();
        preview.setParentItem(nullptr);
    }

    void nothingIsShownOrLeakedAfterStop()
    {
        FakeSource::Script script;
        script.capturesPerRequest = 20;
        TestedPreview preview(script);
        for (int round = 0; round < 20; ++round) {
            const int before = script.requests;
            preview.restart();
            QTRY_VERIFY(script.requests > before);
            preview.stop();
            QVERIFY(preview.source.isNull());
            QVERIFY(preview.loading());
        }
        QTRY_COMPARE(script.matricesLeft(), 0);
        QVERIFY(preview.loading());
    }

    void sourceThatFailsToOpen()
    {
        FakeSource::Script script;
        script.openError = u"Camera <b>1</b> is in use."_s;
        TestedPreview preview(script);
        preview.restart();
        QTRY_COMPARE(preview.errorMessage(), script.openError);
        preview.stop();
        QVERIFY(preview.errorMessage().isEmpty());
    }

    void stopDuringRestartKeepsTheDeviceFree()
    {
        FakeSource::Script script;
        script.endGate.acquire(script.endGate.available());
        TestedPreview preview(script);
        preview.restart();
        // A recording is started while the preview, clicked, is still winding down.
        QTimer::singleShot(0, &preview, [&] {
            QTimer::singleShot(0, &preview, [&] { script.endGate.release(1000); });
            preview.stop();
            QVERIFY(!preview.source || preview.source->isFinished());
        });
        preview.restart();
        QCOMPARE(preview.sourcesMade, 1);
        QCOMPARE(preview.slideSourceName(), u"<not set>"_s);
    }

    void hangingSourceIsLeftBehind()
    {
        FakeSource::Script script;
        script.endGate.acquire(script.endGate.available());
        TestedPreview preview(script);
        preview.restart();
        QPointer<SlideSource> hanging = preview.source;
        QTest::ignoreMessage(
            QtWarningMsg, "[SlideSourcePreview] slide source does not stop, leaving it behind");
        preview.stop();
        QVERIFY(hanging);
        QVERIFY(!preview.stopping());
        script.endGate.release(1000);
        preview.restart();
        QTRY_VERIFY(hanging.isNull());
        QTRY_VERIFY(!preview.loading());
    }

    void destroyedAtAnyTime()
    {
        FakeSource::Script script;
        const auto make = [&] {
            auto preview = std::make_unique<TestedPreview>(script);
            preview->restart();
            return preview;
        };
        make().reset(); // before the thread has come up

        auto running = make();
        QTRY_VERIFY(!running->loading());
        running.reset();

        auto* stopping = make().release();
        QTimer::singleShot(0, this, [stopping] { delete stopping; });
        stopping->stop(); // its own event loop runs the deletion
        QTRY_COMPARE(script.matricesLeft(), 0);
    }

    void realScreenThroughFiftyRestarts()
    {
        WindowFixture settings;
        auto* recorderSettings = RecorderSettings::instance();
        TestedPreview preview;
        recorderSettings->refreshAvailableSlideSources();
        QTRY_VERIFY(recorderSettings->selectedSlideSource().isValid());
        for (int round = 0; round < 50; ++round) {
            preview.restart();
            if (round % 10 == 0)
                QTRY_VERIFY(!preview.loading());
            else if (round % 3 == 0)
                QCoreApplication::processEvents();
        }
        QTRY_VERIFY(!preview.loading());
        QCOMPARE(preview.slideSourceName(), u"Interval screen capture"_s);
        QCOMPARE(preview.sourcesMade, 50);
    }
};

QTEST_MAIN(TestSlideSourcePreview)
#include "tst_slidesourcepreview.moc"

#include "slidesource/SlideSource.h"
#include "ui/SlideSourcePreview.h"

#include <QPainter>
#include <QtTest>

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
    explicit TestedPreview(FakeSource::Script& script)
        : m_script(script)
    {
    }

    mutable QPointer<SlideSource> source;
    mutable int sourcesMade = 0;

protected:
    SlideSource* createSource() const override
    {
        source = new FakeSource(m_script);
        ++sourcesMade;
        return source;
    }

private:
    FakeSource::Script& m_script;
};

} // namespace

class TestSlideSourcePreview : public QObject
{
    Q_OBJECT

private slots:
    void paintsFramesInColumns()
    {
        FakeSource::Script script;
        script.images
            = { QImage(99, 100, QImage::Format_RGB32), QImage(99, 50, QImage::Format_RGB32) };
        script.images[0].fill(Qt::red);
        script.images[1].fill(Qt::green);
        TestedPreview preview(script);
        preview.setSize({ 200, 100 });
        preview.restart();
        QTRY_VERIFY(!preview.loading());
        QImage canvas(200, 100, QImage::Format_RGB32);
        canvas.fill(Qt::yellow);
        QPainter painter(&canvas);
        preview.paint(&painter);
        painter.end();
        const std::pair<QPoint, QColor> expected[]
            = { { { 5, 3 }, Qt::red }, { { 5, 96 }, Qt::red }, { { 105, 20 }, Qt::yellow },
                  { { 105, 50 }, Qt::green }, { { 190, 70 }, Qt::green } };
        for (const auto& [point, colour] : expected)
            QCOMPARE(canvas.pixelColor(point), colour);
        QCOMPARE(preview.slidesResolutions().size(), 2);
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
};

QTEST_MAIN(TestSlideSourcePreview)
#include "tst_slidesourcepreview.moc"

// The recorder's own window must not make slides: it is on the screen that is being recorded.

#include "processing/SlideProcessor.h"
#include "ui/WindowFixture.h"

#include <QPainter>
#include <QQuickItem>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int TileOnScreen = 150; // 50 pixels of the comparison, which sees a third of the screen
constexpr int Step = 13; // coprime to the tile's size and to the reduction: all phases are seen

struct Comparison : SlideProcessor
{
    /// @p window at @p offset on a screen as wide as the real one, as the comparison sees it.
    std::unique_ptr<cv::Mat> screen(const QPoint& offset, const QImage& window) const
    {
        QImage screen(1920, 3 * TileOnScreen, QImage::Format_BGR888);
        screen.fill(QColor(0x1d, 0x3b, 0x66));
        QPainter(&screen).drawImage(offset, window);
        const cv::Mat bgr(screen.height(), screen.width(), CV_8UC3, screen.bits());
        return std::unique_ptr<cv::Mat>(preprocessSlide(&bgr));
    }
    using SlideProcessor::areSlidesDifferent;
};

} // namespace

class TestRecordingScreen : public QObject
{
    Q_OBJECT

private slots:
    void runningScreenMakesNoSlide_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("slides");
        QTest::addColumn<QPoint>("pointer");
        QTest::newRow("ten hours") << u"09:59:59.017"_s << u"10:00:00.188"_s << 0 << QPoint();
        QTest::newRow("late capture") << u"01:11:19.111"_s << u"01:11:24.888"_s << 0 << QPoint();
        // Were the count of a slide a new slide, there would be no end.
        QTest::newRow("hundredth slide")
            << u"00:01:11.111"_s << u"00:01:12.222"_s << 99 << QPoint();
        QTest::newRow("pointer") << u"00:01:11.111"_s << u"00:01:12.222"_s << 0
                                 << QPoint(1919, 1079);
    }

    void runningScreenMakesNoSlide()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(int, slides);
        QFETCH(QPoint, pointer);
        QLoggingCategory::setFilterRules(u"default.debug=false"_s); // a line for each comparison
        WindowFixture fixture;
        fixture.open();
        fixture.item(u"mainScreen"_s)->setVisible(false);
        // Without a running recording, so that only this test changes the duration.
        fixture.item(u"recordingScreen"_s)->setVisible(true);
        fixture.facade().setLiveStreamDetails({}, u"Presentation 2026-11-22T10-00-00"_s);
        // What changes of the window, on an otherwise empty screen, at offsets that put it
        // everywhere between the lines of the tiles.
        const int top = int(fixture.item(u"duration"_s)->mapToScene({}).y()) - 20;
        const auto strip = [&](const QString& duration, int count, const QPoint& position) {
            fixture.facade().setProperty("recordingDurationString", duration);
            fixture.facade().setSlidesCaptured(count);
            fixture.facade().setSlidesSaved(count);
            fixture.facade().setMousePositionX(position.x());
            fixture.facade().setMousePositionY(position.y());
            const QImage window = fixture.grab();
            return window.copy(0, top, window.width(), 180);
        };
        const QImage first = strip(before, slides, {});
        const QImage second = strip(after, slides + (slides > 0 ? 1 : 0), pointer);
        QVERIFY(first != second);
        const Comparison comparison;
        for (int x = 0; x < TileOnScreen; x += Step)
            for (int y = 0; y < TileOnScreen; y += Step)
                QVERIFY2(!comparison.areSlidesDifferent(comparison.screen({ x, y }, first).get(),
                             comparison.screen({ x, y }, second).get()),
                    qPrintable(u"at %1, %2"_s.arg(x).arg(y)));
    }
};

QTEST_MAIN(TestRecordingScreen)
#include "tst_recordingscreen.moc"

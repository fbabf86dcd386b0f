// The recorder's own window must not make slides: it is on the screen that is being recorded.

#include "processing/SlideProcessor.h"
#include "ui/WindowFixture.h"

#include <QLoggingCategory>
#include <QPainter>
#include <QQuickItem>
#include <QTest>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int ScreenWidth = 1920;
constexpr int TileOnScreen = 150; // 50 pixels of the comparison, which sees a third of the screen
constexpr int Step = 13; // coprime to the tile's size and to the reduction: all phases are seen

class Comparison : public SlideProcessor
{
public:
    std::unique_ptr<cv::Mat> preprocess(const QImage& image) const
    {
        const QImage screen = image.convertToFormat(QImage::Format_RGB32);
        const cv::Mat bgra(screen.height(), screen.width(), CV_8UC4,
            const_cast<uchar*>(screen.constBits()), size_t(screen.bytesPerLine()));
        cv::Mat bgr;
        cv::cvtColor(bgra, bgr, cv::COLOR_BGRA2BGR);
        return std::unique_ptr<cv::Mat>(preprocessSlide(&bgr));
    }

    /// The similarity of the two frames' least similar tile.
    static double worstTile(const cv::Mat& previous, const cv::Mat& current)
    {
        double worst = 1;
        for (int x = 0; x < current.cols; x += 50) {
            for (int y = 0; y < current.rows; y += 50) {
                const cv::Rect tile(
                    x, y, std::min(50, current.cols - x), std::min(50, current.rows - y));
                if (cv::norm(previous(tile), current(tile), cv::NORM_INF) == 0)
                    continue;
                const cv::Scalar similarity = getMSSIM(previous(tile), current(tile));
                worst = std::min({ worst, similarity[0], similarity[1], similarity[2] });
            }
        }
        return worst;
    }
};

} // namespace

class TestRecordingScreen : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"default.debug=false"_s); // a line for each comparison
        m_fixture = std::make_unique<WindowFixture>();
        m_fixture->open();
        QVERIFY(m_fixture->window());
        m_fixture->item(u"mainScreen"_s)->setVisible(false);
        // Without a running recording, so that only this test changes the duration.
        m_fixture->item(u"recordingScreen"_s)->setVisible(true);
        m_fixture->facade().setLiveStreamDetails({}, u"Presentation 2026-11-22T10-00-00"_s);
    }
    void cleanupTestCase() { m_fixture.reset(); }

    void durationMakesNoSlide_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");

        QTest::newRow("tens") << u"00:00:09.912"_s << u"00:00:10.945"_s;
        QTest::newRow("ten hours") << u"09:59:59.017"_s << u"10:00:00.188"_s;
        QTest::newRow("late capture") << u"01:11:19.111"_s << u"01:11:24.888"_s;
    }

    void durationMakesNoSlide()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        const QImage first = windowShowing(before);
        const QImage second = windowShowing(after);
        QVERIFY(first != second);

        const QQuickItem* label = m_fixture->item(u"duration"_s);
        QVERIFY(label);
        // The strip of the window around the label, on an otherwise empty screen, at offsets that
        // put the label everywhere between the lines of the tiles. Only the strip's own rows are
        // looked at, the rest of the screen does not change.
        const QRect strip(0, int(label->mapToScene({}).y()) - 40, first.width(), 100);
        double worst = 1;
        for (int x = 0; x < TileOnScreen; x += Step) {
            for (int y = 0; y < TileOnScreen; y += Step) {
                worst = std::min(
                    worst, similarityAt({ x, y }, first.copy(strip), second.copy(strip)));
            }
        }
        QVERIFY2(worst >= 0.96, qPrintable(QString::number(worst)));
    }

private:
    QImage windowShowing(const QString& duration)
    {
        m_fixture->facade().setProperty("recordingDurationString", duration);
        return m_fixture->grab().convertToFormat(QImage::Format_RGB32);
    }

    static double similarityAt(const QPoint& offset, const QImage& first, const QImage& second)
    {
        const Comparison comparison;
        std::unique_ptr<cv::Mat> frames[2];
        const QImage* images[] = { &first, &second };
        for (int i = 0; i < 2; ++i) {
            QImage screen(ScreenWidth, 2 * TileOnScreen, QImage::Format_RGB32);
            screen.fill(0xff1d3b66);
            QPainter(&screen).drawImage(offset, *images[i]);
            frames[i] = comparison.preprocess(screen);
        }
        return Comparison::worstTile(*frames[0], *frames[1]);
    }

    std::unique_ptr<WindowFixture> m_fixture;
};

QTEST_MAIN(TestRecordingScreen)
#include "tst_recordingscreen.moc"

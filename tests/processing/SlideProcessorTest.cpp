#include "processing/SlideProcessor.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <memory>

namespace {

// The captures of a recording, one frame per screen each.
using Captures = QList<QList<cv::Mat>>;

// Owned by the receiver, as the sources hand frames on.
QList<SlideImage> toSlides(const QList<cv::Mat>& frames)
{
    QList<SlideImage> slides;
    for (const cv::Mat& frame : frames)
        slides.append(SlideImage{ new cv::Mat(frame.clone()), {} });
    return slides;
}

// A slide as it is shown in a lecture: a gradient, some lines of text.
cv::Mat deckSlide(cv::Size size = { 1920, 1080 })
{
    cv::Mat slide(size, CV_8UC3);
    for (int row = 0; row < slide.rows; ++row)
        slide.row(row).setTo(cv::Scalar(230, 235, 255 - 60 * row / slide.rows));
    for (int line = 1; line < 5; ++line)
        cv::putText(slide, "Fourier: f(x) = sum", { size.width / 12, line * size.height / 9 },
            cv::FONT_HERSHEY_SIMPLEX, size.width / 1000.0, cv::Scalar(20, 20, 20), 2);
    return slide;
}

cv::Mat noisy(const cv::Mat& slide, double sigma)
{
    cv::Mat noise(slide.size(), CV_16SC3);
    cv::theRNG().fill(noise, cv::RNG::NORMAL, 0, sigma);
    cv::Mat result;
    cv::add(slide, noise, result, cv::noArray(), CV_8U);
    return result;
}

class TestedProcessor : public SlideProcessor
{
public:
    using SlideProcessor::getMSSIM;
    using SlideProcessor::preprocessSlide;
    using SlideProcessor::run;
};

// The formula, written down pixel by pixel in double precision.
double similarity(const cv::Mat& a, const cv::Mat& b, int channel)
{
    double sum = 0;
    for (int i = 0; i < a.rows * a.cols; ++i) {
        double sums[6] = {};
        for (int j = 0; j < 11 * 11; ++j) {
            const int dx = j % 11 - 5, dy = j / 11 - 5;
            const int y = cv::borderInterpolate(i / a.cols + dy, a.rows, cv::BORDER_REFLECT_101);
            const int x = cv::borderInterpolate(i % a.cols + dx, a.cols, cv::BORDER_REFLECT_101);
            const double weight = std::exp(-(dx * dx + dy * dy) / (2 * 1.5 * 1.5));
            const double p = a.at<cv::Vec3b>(y, x)[channel], q = b.at<cv::Vec3b>(y, x)[channel];
            const double terms[6] = { 1, p, q, p * p, q * q, p * q };
            for (int term = 0; term < 6; ++term)
                sums[term] += weight * terms[term];
        }
        const auto mean = [&sums](int term) { return sums[term] / sums[0]; };
        const double m1 = mean(1), m2 = mean(2);
        const double v1 = mean(3) - m1 * m1, v2 = mean(4) - m2 * m2;
        sum += (2 * m1 * m2 + 6.5025) * (2 * (mean(5) - m1 * m2) + 58.5225)
            / ((m1 * m1 + m2 * m2 + 6.5025) * (v1 + v2 + 58.5225));
    }
    return sum / (a.rows * a.cols);
}

} // namespace

class SlideProcessorTest : public QObject
{
    Q_OBJECT

private slots:
    void newSlides_data()
    {
        QTest::addColumn<Captures>("captures");
        QTest::addColumn<QList<qint64>>("expected"); // indices of the captures that are new slides
        QTest::addColumn<int>("forced"); // index of a forced capture
        QTest::addColumn<int>("errors");
        const auto row = [](const char* name, const Captures& captures,
                             const QList<qint64>& expected, int forced = -1, int errors = 0) {
            QTest::newRow(name) << captures << expected << forced << errors;
        };

        const cv::Mat empty;
        const cv::Mat slide = deckSlide();
        const cv::Mat other = deckSlide();
        other({ 200, 700, 300, 200 }).setTo(cv::Scalar(0, 0, 200));
        const cv::Mat corner = deckSlide();
        corner({ 1880, 1056, 40, 24 }).setTo(0);
        cv::Mat blueOnly = deckSlide();
        const cv::Rect patch(600, 150, 150, 150);
        cv::subtract(blueOnly(patch), cv::Scalar(120, 0, 0), blueOnly(patch));
        const cv::Mat grey(90, 90, CV_8U, cv::Scalar(7));
        const cv::Mat opaque(90, 90, CV_8UC4, cv::Scalar(9, 9, 9, 255));
        const cv::Mat transparent(90, 90, CV_8UC4, cv::Scalar(9, 9, 9, 0));
        const cv::Mat notResizable(90, 700, CV_32SC3, cv::Scalar(0));
        Captures fading;
        for (int level = 100; level <= 200; level += 5)
            fading.append(QList<cv::Mat>{ cv::Mat(400, 400, CV_8UC3, cv::Scalar::all(level)) });

        row("unchanged", { { slide }, { slide }, { slide } }, { 0 });
        row("the narrow last tile", { { slide }, { corner } }, { 0, 1 });
        row("one channel of three", { { slide }, { blueOnly } }, { 0, 1 });
        row("slow change", fading, { 0 });
        row("the same change at once", { fading.first(), fading.last() }, { 0, 1 });
        row("second screen comes and goes",
            { { slide }, { slide, slide }, { slide, slide }, { slide } }, { 0, 1, 3 });
        row("forced, and the next reference", { { slide }, { other }, { other }, { slide } },
            { 0, 1, 3 }, 1);
        row("another size", { { slide }, { deckSlide({ 640, 480 }) } }, { 0, 1 });
        row("single channel", { { grey }, { grey } }, { 0, 1 });
        row("fourth channel is not compared", { { opaque }, { transparent } }, { 0 });
        row("frame lost and found", { { slide }, { empty }, { slide } }, { 0, 2 });
        row("failing comparison", { { slide }, { notResizable }, { slide }, { slide } },
            { 0, 1, 2 }, -1, 1);
    }

    void newSlides()
    {
        QFETCH(Captures, captures);
        QFETCH(int, forced);
        TestedProcessor processor;
        QList<qint64> processed;
        QSignalSpy errors(&processor, &SlideProcessor::processingError);
        QSignalSpy stopped(&processor, &SlideProcessor::stopped);
        connect(&processor, &SlideProcessor::slidesProcessed, this,
            [&processed](qint64 time, const QList<SlideImage>& slides) {
                processed.append(time);
                deleteMatrices(slides); // handed over: the leak check and this agree
            });
        for (int i = 0; i < captures.size(); ++i)
            processor.addSlides(i, toSlides(captures[i]), i == forced);
        processor.requestStop();
        processor.addSlides(99, toSlides({ deckSlide() }), true); // refused, and not leaked
        processor.run(); // the worker's loop, on this thread
        QCOMPARE(stopped.size(), 1);
        QTEST(processed, "expected");
        QTEST(int(errors.size()), "errors");
        QCOMPARE(processor.capturedSlideCount(), processed.size());
    }

    void preprocessing_data()
    {
        QTest::addColumn<QSize>("frame");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("very flat, one row at least") << QSize(5000, 2) << QSize(640, 1);
        QTest::newRow("truncated, not rounded") << QSize(1366, 768) << QSize(640, 359);
        QTest::newRow("exactly 640 wide") << QSize(640, 700) << QSize(640, 700);
    }

    // The same pixels as resizing and smoothing a copy gives; the frame stays as it was for the
    // saver.
    void preprocessing()
    {
        QFETCH(QSize, frame);
        QFETCH(QSize, expected);
        const cv::Mat original = noisy(deckSlide({ frame.width(), frame.height() }), 20);
        const cv::Mat mat = original.clone();
        cv::Mat plain = original.clone();
        if (frame != expected)
            cv::resize(
                plain, plain, { expected.width(), expected.height() }, 0, 0, cv::INTER_LINEAR);
        cv::blur(plain, plain, { 3, 3 });
        const std::unique_ptr<cv::Mat> result(TestedProcessor().preprocessSlide(&mat));
        QCOMPARE(QSize(result->cols, result->rows), expected);
        QCOMPARE(cv::norm(*result, plain, cv::NORM_INF), 0.0);
        QCOMPARE(cv::norm(mat, original, cv::NORM_INF), 0.0);
    }

    void similarityFormula()
    {
        for (const cv::Size size : { cv::Size(50, 50), cv::Size(40, 10), cv::Size(1, 7) }) {
            cv::Mat a(size, CV_8UC3);
            cv::randu(a, 0, 25); // dark and weak, where the constants count
            const cv::Mat b = noisy(a + cv::Scalar::all(8), 5);
            const cv::Scalar result = TestedProcessor::getMSSIM(a, b);
            for (int channel = 0; channel < 3; ++channel) {
                const double expected = similarity(a, b, channel);
                QVERIFY2(std::abs(result[channel] - expected) < 1e-4,
                    qPrintable(QString::number(result[channel]) + u" instead of "
                        + QString::number(expected)));
            }
            QCOMPARE(result[3], 0.0);
        }
    }
};

QTEST_GUILESS_MAIN(SlideProcessorTest)
#include "SlideProcessorTest.moc"

#include "processing/TileComparison.h"
#include "processing/SlideProcessor.h"

#include <QtTest>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <map>

namespace {

// Sanitizers look for faults of memory, and make the plain formula ten times dearer.
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
constexpr int Rounds = 3'000;
#else
constexpr int Rounds = 50'000;
#endif

struct Plain : SlideProcessor
{
    using SlideProcessor::getMSSIM;
};

int pick(int below)
{
    return int(cv::theRNG().uniform(0, below));
}

cv::Mat noise(const cv::Mat& tile, double sigma)
{
    cv::Mat noise(tile.size(), CV_MAKETYPE(CV_16S, tile.channels()));
    cv::theRNG().fill(noise, cv::RNG::NORMAL, 0, sigma);
    cv::Mat result;
    cv::add(tile, noise, result, cv::noArray(), CV_8U);
    return result;
}

cv::Mat content(cv::Size size, int type)
{
    cv::Mat tile(size, type);
    switch (pick(5)) {
    case 0: // flat: black, dark, bright, white, any
        return tile.setTo(
            cv::Scalar::all(std::array{ 0, pick(12), 255 - pick(12), 255, pick(256) }[pick(5)]));
    case 1: // a gradient
        for (int row = 0; row < tile.rows; ++row)
            tile.row(row).setTo(cv::Scalar(5 * row, 250 - 5 * row, pick(2) * 3 * row, 255));
        return tile;
    case 2: // text
        tile.setTo(cv::Scalar::all(pick(2) * 255));
        cv::putText(tile, "Rg8", { pick(20) - 5, pick(60) }, cv::FONT_HERSHEY_SIMPLEX, 0.9,
            cv::Scalar::all(pick(256)), 2);
        return tile;
    case 3: // the sharpest texture there is
        cv::randu(tile, 0, 2);
        return tile * 255;
    default: // a photograph
        cv::randu(tile, pick(128), 129 + pick(128));
        cv::blur(tile, tile, { 1 + pick(9), 1 + pick(9) });
        return tile;
    }
}

cv::Mat changed(const cv::Mat& tile)
{
    cv::Mat result = tile.clone();
    switch (pick(5)) {
    case 0: // one pixel, at the border as often as not, by any amount
        result({ std::min(pick(12), tile.cols - 1), pick(tile.rows), 1, 1 })
            .setTo(cv::Scalar(pick(256), pick(256), pick(256)));
        return result;
    case 1: // another brightness
        return result + cv::Scalar(pick(9) - 4, pick(41) - 20, pick(5) - 2);
    case 2: // a rectangle
        cv::rectangle(result, { pick(tile.cols), pick(tile.rows), 1 + pick(20), 1 + pick(20) },
            cv::Scalar::all(pick(256)), pick(2) ? 1 : cv::FILLED);
        return result;
    default: // noise, nearly always around the threshold
        return noise(tile, cv::theRNG().uniform(0.2, pick(4) ? 4.0 : 40.0));
    }
}

} // namespace

class TileComparisonTest : public QObject
{
    Q_OBJECT

private slots:
    void decidesAsThePlainFormula_data()
    {
        QTest::addColumn<bool>("optimised");
        QTest::newRow("widest registers of this processor") << true;
        QTest::newRow("baseline") << false;
    }

    void decidesAsThePlainFormula()
    {
        QFETCH(bool, optimised);
        cv::setUseOptimized(optimised);
        cv::setNumThreads(1);
        cv::theRNG().state = 20'260'101 + optimised;
        using Verdict = TileComparison::Verdict;
        const std::array<cv::Size, 10> sizes{ cv::Size{ 50, 50 }, { 25, 20 }, { 40, 50 },
            { 50, 10 }, { 40, 10 }, { 10, 50 }, { 16, 11 }, { 11, 12 }, { 3, 7 }, { 1, 1 } };
        TileComparison tiles;
        std::map<Verdict, int> verdicts;
        int passed = 0; // by the lower bound
        int near = 0; // to the threshold
        double largestError = 0;
        double tightest = 1; // between the bound and the similarity
        for (int round = 0; round < Rounds; ++round) {
            const cv::Size size = sizes[round % sizes.size()];
            // Part of a larger matrix, as the tiles of a frame are.
            const cv::Mat frame
                = content({ size.width + 7, size.height }, pick(4) ? CV_8UC3 : CV_8UC4);
            const cv::Mat other = changed(frame);
            const cv::Mat a = frame({ { 3, 0 }, size });
            const cv::Mat b = other({ { 3, 0 }, size });

            const cv::Scalar plain = Plain::getMSSIM(a, b);
            const double smallest = std::min({ plain[0], plain[1], plain[2] });
            const Verdict verdict = tiles.compare(a, b);
            ++verdicts[verdict];
            near += std::abs(smallest - TileComparison::Threshold) < 0.01;
            if (verdict != Verdict::Undecided)
                QCOMPARE(verdict == Verdict::Different, smallest < TileComparison::Threshold);
            tiles.load(a, b);
            for (int channel = 0; channel < 3; ++channel) {
                const double bound = tiles.lowerBound(channel);
                passed += bound >= TileComparison::Threshold + TileComparison::Margin && bound < 1;
                tightest = std::min(tightest, plain[channel] - bound);
                largestError
                    = std::max(largestError, std::abs(tiles.similarity(channel) - plain[channel]));
            }
        }
        cv::setUseOptimized(true);
        const auto text = [](double number) { return qPrintable(QString::number(number)); };
        QVERIFY2(largestError < TileComparison::Margin / 5, text(largestError));
        QVERIFY2(tightest > -TileComparison::Margin / 5, text(tightest));
        // Every way was gone often, and the plain formula was hardly ever needed.
        QVERIFY(
            verdicts[Verdict::Similar] > Rounds / 5 && verdicts[Verdict::Different] > Rounds / 5);
        QVERIFY(passed > Rounds / 5 && near > Rounds / 50 && verdicts[Verdict::Undecided] < near);
    }
};

QTEST_GUILESS_MAIN(TileComparisonTest)
#include "TileComparisonTest.moc"

// Times the comparison where there is no benchmark library and no desktop of our own, as the
// Windows program (bench/windows.sh):
//   podiumcast_bench_compare SLIDE RESULT.json
// Medians of five repetitions, in the form in which bench/capture.py reads them.

#include "Comparison.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int Repetitions = 5;
constexpr qint64 RepetitionNs = 200'000'000;

struct Row
{
    QString name;
    bool plainly;
    const Comparison* comparison;
    std::vector<double> milliseconds; // each the mean of a repetition
};

void repeat(Row& row)
{
    QElapsedTimer timer;
    timer.start();
    int count = 0;
    for (; timer.nsecsElapsed() < RepetitionNs; ++count) {
        if (!row.comparison->decidesWell(row.plainly))
            qFatal("wrong decision");
    }
    row.milliseconds.push_back(double(timer.nsecsElapsed()) / 1e6 / count);
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    const QImage slide(arguments.value(1));
    QFile result(arguments.value(2));
    if (slide.isNull() || !result.open(QFile::WriteOnly))
        qFatal("usage: podiumcast_bench_compare SLIDE RESULT.json");
    QLoggingCategory::setFilterRules(u"default.debug=false"_s);

    std::vector<std::unique_ptr<Comparison>> comparisons;
    std::vector<Row> rows;
    for (const QSize& size : { QSize(1920, 1080), QSize(3840, 2160) }) {
        // As on a screen: a smaller one shows the upper left part.
        const QImage image
            = slide.copy(QRect({ 0, 0 }, size)).convertToFormat(QImage::Format_BGR888);
        const cv::Mat frame(image.height(), image.width(), CV_8UC3,
            const_cast<uchar*>(image.constBits()), size_t(image.bytesPerLine()));
        for (const auto& [change, what] : { std::pair(Change::None, u"unchanged frame"_s),
                 std::pair(Change::Noise, u"noise in one of two frames"_s),
                 std::pair(Change::NoiseInBoth, u"noise in both frames"_s),
                 std::pair(Change::StrongNoise, u"noise of σ = 3 in one"_s),
                 std::pair(Change::NewSlide, u"changed frame"_s) }) {
            comparisons.push_back(std::make_unique<Comparison>(frame, change));
            for (const bool plainly : { false, true }) {
                rows.push_back({ u"compare, %1%2/w:%3"_s.arg(what, plainly ? u" (plain)"_s : u""_s)
                                     .arg(size.width()),
                    plainly, comparisons.back().get(), {} });
            }
        }
    }
    for (int repetition = 0; repetition < Repetitions; ++repetition) {
        for (Row& row : rows)
            repeat(row);
    }
    QJsonArray benchmarks;
    for (Row& row : rows) {
        std::sort(row.milliseconds.begin(), row.milliseconds.end());
        benchmarks.append(
            QJsonObject{ { u"name"_s, row.name }, { u"aggregate_name"_s, u"median"_s },
                { u"real_time"_s, row.milliseconds[Repetitions / 2] }, { u"cpu_time"_s, 0 } });
    }
    result.write(QJsonDocument(QJsonObject{ { u"benchmarks"_s, benchmarks } }).toJson());
    return 0;
}

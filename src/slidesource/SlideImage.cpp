#include "slidesource/SlideImage.h"

void deleteMatrices(const QList<SlideImage>& slides)
{
    for (const SlideImage& slide : slides)
        delete slide.mat;
}

QImage sharedImage(const cv::Mat& mat, QImage::Format format)
{
    if (mat.empty())
        return {};
    auto* reference = new cv::Mat(mat);
    return QImage(
        mat.data, mat.cols, mat.rows, qsizetype(mat.step), format,
        [](void* owner) { delete static_cast<cv::Mat*>(owner); }, reference);
}

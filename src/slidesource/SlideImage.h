#pragma once

#include <QImage>
#include <QList>
#include <QMetaType>

#include <opencv2/core/mat.hpp>

/// One captured frame of one screen or input; in a list, the index is the screen's number.
///
/// A plain value: copying it copies the pointer, destroying it destroys only the image. The matrix
/// travels with the list along the pipeline and is deleted by whoever drops the list last: the
/// processor for captures that are no new slides, the saver as soon as it gets one (it writes the
/// image), the preview once the image is copied; and by any receiver that refuses a list because it
/// is stopping.
///
/// Where @c image shares the matrix's pixels (camera, NDI) it holds a reference to the pixel
/// buffer of its own (see sharedImage()), so it stays valid when the matrix is deleted.
struct SlideImage
{
    cv::Mat* mat = nullptr; ///< 8 bit: BGR (screen, camera), RGBA (NDI), BGRA (odd screenshots)
    QImage image; ///< the same frame for display and for the PNG file
};
Q_DECLARE_METATYPE(SlideImage)
Q_DECLARE_METATYPE(cv::Mat)

/// Deletes the matrices of @p slides that are not null. The list's images stay valid.
void deleteMatrices(const QList<SlideImage>& slides);

/// A QImage over the pixels of @p mat, without a copy. The image keeps the pixel buffer alive (the
/// matrix header is reference counted), so it may outlive @p mat; an empty matrix gives a null
/// image. @p format must describe the matrix's channels, 8 bit each.
[[nodiscard]] QImage sharedImage(const cv::Mat& mat, QImage::Format format);

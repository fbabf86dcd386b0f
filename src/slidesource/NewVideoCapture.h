#pragma once

#include <memory>

namespace cv {
class VideoCapture;
}

/// An unopened capture object of OpenCV's.
///
/// On Linux this loads the module podiumcast-camera, and with it OpenCV's video library and the 150
/// libraries that come after that: 55 MB and a part of a second, which a recorder of screens does
/// without. The first call takes that long. Any thread; null (and a warning) when the module, which
/// lies beside the program, cannot be loaded.
[[nodiscard]] std::unique_ptr<cv::VideoCapture> newVideoCapture();

// The module that NewVideoCaptureX11.cpp loads.

#include <opencv2/videoio.hpp>

extern "C" __attribute__((visibility("default"))) cv::VideoCapture* podiumcastNewVideoCapture()
{
    return new cv::VideoCapture;
}

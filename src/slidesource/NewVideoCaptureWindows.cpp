#include "slidesource/NewVideoCapture.h"

#include <opencv2/videoio.hpp>

std::unique_ptr<cv::VideoCapture> newVideoCapture()
{
    return std::make_unique<cv::VideoCapture>();
}

#include "slidesource/CameraDevice.h"

#include <QTest>

#include <opencv2/videoio.hpp>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace {

std::atomic<int> alive = 0;
std::atomic<int> inUse = 0;
std::atomic<bool> shared = false; // two captures used the device at once

/// A device that is slow, fails at times, and notices when it is used by two.
class MoodyCapture : public cv::VideoCapture
{
public:
    MoodyCapture() { ++alive; }
    ~MoodyCapture() override { --alive; }
    bool open(int, int) override
    {
        if (++inUse > 1)
            shared = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        m_open = true;
        return true;
    }
    bool isOpened() const override { return m_open; }
    void release() override
    {
        if (m_open)
            --inUse;
        m_open = false;
    }
    bool grab() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return ++m_frames % 7 != 0;
    }
    bool retrieve(cv::OutputArray image, int) override
    {
        cv::Mat(16, 16, CV_8UC1, cv::Scalar(9)).copyTo(image);
        return true;
    }

private:
    bool m_open = false;
    int m_frames = 0;
};

} // namespace

/// The device's thread alone, without Qt between the threads: what the thread sanitizer can judge.
class CameraDeviceTest : public QObject
{
    Q_OBJECT

private slots:
    void interruptedAtAnyMoment()
    {
        CameraDevice::Options options;
        options.createCapture = [] { return std::make_unique<MoodyCapture>(); };
        options.readTimeoutMs = 50;
        std::mt19937 random(1);
        int frames = 0;
        for (int i = 0; i < 150; ++i) {
            CameraDevice device(1, QSize(), options);
            device.open();
            std::thread stopper([&device, delay = random() % 12] {
                std::this_thread::sleep_for(std::chrono::milliseconds(delay));
                device.interrupt();
            });
            if (device.waitOpened(1000) == CameraDevice::State::Open) {
                while (!device.interrupted()) {
                    const cv::Mat frame = device.read();
                    if (frame.empty())
                        device.requestReopen();
                    else if (frame.type() == CV_8UC3 && frame.at<cv::Vec3b>(0, 0)[2] == 9)
                        ++frames; // grey has become BGR
                }
            }
            stopper.join();
        }
        QTRY_COMPARE(alive, 0);
        QCOMPARE(inUse, 0);
        QVERIFY(!shared);
        QVERIFY(frames > 50);
    }
};

QTEST_GUILESS_MAIN(CameraDeviceTest)
#include "CameraDeviceTest.moc"

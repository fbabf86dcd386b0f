#pragma once

#include <QElapsedTimer>
#include <QString>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// What the camera does, ordered by the test while it runs, and what was asked of it.
struct CameraScript
{
    QString videoFile;
    std::atomic<bool> openFails = false;
    std::atomic<bool> readFails = false;
    std::atomic<bool> openHangs = false;
    std::atomic<bool> readHangs = false;
    std::atomic<bool> releaseHangs = false;
    std::atomic<int> opens = 0;
    std::atomic<int> alive = 0; ///< capture objects in the world
    std::atomic<int> open = 0;
    std::atomic<int> mostOpen = 0;
    QElapsedTimer clock; ///< frame N exists from N * FrameMs on
    std::mutex mutex;
    std::vector<std::pair<int, double>> settings; ///< of set(), before the first grab()

    static constexpr int FrameMs = 33;
    static constexpr int DriverBuffers = 4;
};

/// A camera made of a video file: it delivers the file's frames in real time and round and round,
/// through a driver's queue that, when it is full, keeps the old frames and drops the new ones.
class FileCamera : public cv::VideoCapture
{
public:
    explicit FileCamera(CameraScript& script)
        : m_script(script)
    {
        ++m_script.alive;
    }
    ~FileCamera() override
    {
        if (m_isOpen)
            --m_script.open;
        --m_script.alive;
    }

    bool open(int, int) override
    {
        ++m_script.opens;
        hang(m_script.openHangs);
        if (m_script.openFails || !cv::VideoCapture::open(m_script.videoFile.toStdString()))
            return false;
        m_isOpen = true;
        const int open = ++m_script.open;
        if (open > m_script.mostOpen)
            m_script.mostOpen = open;
        m_fileFrames = int(cv::VideoCapture::get(cv::CAP_PROP_FRAME_COUNT));
        m_produced = m_script.clock.elapsed() / CameraScript::FrameMs;
        return true;
    }
    bool isOpened() const override { return m_isOpen; }
    void release() override
    {
        hang(m_script.releaseHangs);
        if (m_isOpen)
            --m_script.open;
        m_isOpen = false;
        cv::VideoCapture::release();
    }
    bool set(int property, double value) override
    {
        const std::lock_guard lock(m_script.mutex);
        m_script.settings.emplace_back(property, value);
        return true;
    }
    bool grab() override
    {
        produce();
        while (m_queue.empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            produce();
        }
        m_current = m_queue.front();
        m_queue.pop_front();
        hang(m_script.readHangs);
        return !m_script.readFails;
    }
    bool retrieve(cv::OutputArray image, int) override
    {
        cv::VideoCapture::set(cv::CAP_PROP_POS_FRAMES, double(m_current % m_fileFrames));
        return cv::VideoCapture::grab() && cv::VideoCapture::retrieve(image);
    }

private:
    static void hang(const std::atomic<bool>& hangs)
    {
        while (hangs)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    void produce()
    {
        const qint64 due = m_script.clock.elapsed() / CameraScript::FrameMs;
        for (; m_produced < due; ++m_produced)
            if (m_queue.size() < CameraScript::DriverBuffers)
                m_queue.push_back(m_produced + 1);
    }

    CameraScript& m_script;
    bool m_isOpen = false;
    int m_fileFrames = 1;
    qint64 m_produced = 0;
    qint64 m_current = 0;
    std::deque<qint64> m_queue;
};

/// Writes a Motion-JPEG file of @p count frames, each one plain colour.
inline bool writeVideo(const QString& path, const cv::Size& size, int count,
    const std::function<cv::Scalar(int)>& colour)
{
    cv::VideoWriter writer(path.toStdString(), cv::CAP_OPENCV_MJPEG,
        cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 30, size);
    for (int i = 0; writer.isOpened() && i < count; ++i)
        writer.write(cv::Mat(size, CV_8UC3, colour(i)));
    return writer.isOpened();
}

#pragma once

#include <QElapsedTimer>

#include <opencv2/videoio.hpp>

#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <vector>

/// What the camera does, ordered by the test while it runs, and what was asked of it.
struct CameraScript
{
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
    std::vector<std::pair<int, double>> settings; ///< of set(), before ready()

    static constexpr int FrameMs = 33;
    static constexpr int DriverBuffers = 4;
    static constexpr int Levels = 256; ///< of grey: frame N has N % Levels
};

/// A camera that delivers grey frames in real time, through a driver's queue that, when it is full,
/// keeps the old frames and drops the new ones.
class FakeCamera : public cv::VideoCapture
{
public:
    explicit FakeCamera(CameraScript& script)
        : m_script(script)
    {
        ++m_script.alive;
    }
    ~FakeCamera() override
    {
        if (m_isOpen)
            --m_script.open;
        --m_script.alive;
    }

    bool open(int, int) override
    {
        ++m_script.opens;
        hang(m_script.openHangs);
        if (m_script.openFails)
            return false;
        m_isOpen = true;
        const int open = ++m_script.open;
        if (open > m_script.mostOpen)
            m_script.mostOpen = open;
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
    }
    bool set(int property, double value) override
    {
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
        const auto level = double(m_current % CameraScript::Levels);
        cv::Mat(240, 320, CV_8UC3, cv::Scalar::all(level)).copyTo(image);
        return true;
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
    qint64 m_produced = 0;
    qint64 m_current = 0;
    std::deque<qint64> m_queue;
};

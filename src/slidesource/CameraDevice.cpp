#include "slidesource/CameraDevice.h"
#include "slidesource/NewVideoCapture.h"

#include <QDebug>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

using std::chrono::milliseconds;

namespace {

// Some back-ends answer grab() at once without a new frame; faster than this no camera delivers.
constexpr milliseconds GrabPause(5);
// How long a device that delivers nothing is left alone before it is asked again.
constexpr milliseconds FailedGrabPause(100);
// A healthy device finishes its current frame and lets go within this time.
constexpr milliseconds ReleaseTimeout(300);

// The devices that a thread of this process holds, by index. Never destroyed: a thread that a
// driver holds up may return while the process ends.
struct Leases
{
    std::mutex mutex;
    std::condition_variable changed;
    std::set<int> held;
};

Leases& leases()
{
    static auto* leases = new Leases;
    return *leases;
}

cv::Mat toBgr(const cv::Mat& frame)
{
    cv::Mat bgr;
    switch (frame.type()) {
    case CV_8UC3:
        return frame.isContinuous() ? frame : frame.clone();
    case CV_8UC1:
        cv::cvtColor(frame, bgr, cv::COLOR_GRAY2BGR);
        return bgr;
    case CV_8UC4:
        cv::cvtColor(frame, bgr, cv::COLOR_BGRA2BGR);
        return bgr;
    default:
        qWarning() << "[CameraDevice]"
                   << "frame of unknown type" << frame.type();
        return {};
    }
}

} // namespace

/// Everything that the device's thread and its user share; the last of them destroys it.
struct CameraDevice::Shared
{
    Shared(int deviceIndex, const QSize& size, const Options& deviceOptions)
        : index(deviceIndex)
        , resolution(size)
        , options(deviceOptions)
    {
    }

    // Called by the device's thread only.
    [[nodiscard]] bool openCapture();
    [[nodiscard]] bool grab();
    [[nodiscard]] cv::Mat retrieve();
    void release();
    void run();

    const int index;
    const QSize resolution;
    const Options options;
    std::unique_ptr<cv::VideoCapture> capture; // the device's thread only

    std::mutex mutex; // guards all below
    std::condition_variable changed;
    State state = State::Opening;
    bool started = false;
    bool finished = false;
    bool interrupted = false;
    bool letGo = false; // then interrupted as well
    bool reopen = false;
    quint64 requested = 0; // reads asked for, and answered
    quint64 served = 0;
    cv::Mat frame; // the answer to the last one
};

bool CameraDevice::Shared::openCapture()
{
    try {
        capture = options.createCapture ? options.createCapture() : newVideoCapture();
        if (!capture)
            return false;
        capture->open(index, cv::CAP_ANY);
        if (resolution.isValid()) {
            capture->set(cv::CAP_PROP_FRAME_WIDTH, resolution.width());
            capture->set(cv::CAP_PROP_FRAME_HEIGHT, resolution.height());
        }
        return capture->isOpened();
    } catch (const std::exception& error) {
        qWarning() << "[CameraDevice]"
                   << "opening device" << index << "failed" << error.what();
        return false;
    }
}

bool CameraDevice::Shared::grab()
{
    try {
        return capture && capture->grab();
    } catch (const std::exception& error) {
        qWarning() << "[CameraDevice]"
                   << "reading from device" << index << "failed" << error.what();
        return false;
    }
}

cv::Mat CameraDevice::Shared::retrieve()
{
    try {
        cv::Mat image;
        return capture->retrieve(image) ? toBgr(image) : cv::Mat();
    } catch (const std::exception& error) {
        qWarning() << "[CameraDevice]"
                   << "decoding a frame of device" << index << "failed" << error.what();
        return {};
    }
}

void CameraDevice::Shared::release()
{
    try {
        if (capture)
            capture->release();
        capture.reset();
    } catch (const std::exception& error) {
        qWarning() << "[CameraDevice]"
                   << "releasing device" << index << "failed" << error.what();
    }
}

// The device is used with the mutex released, so that nobody waits for the driver.
void CameraDevice::Shared::run()
{
    std::unique_lock lock(mutex, std::defer_lock);
    bool isOpen = openCapture();
    lock.lock();
    state = isOpen ? State::Open : State::Failed;
    changed.notify_all();
    if (!isOpen)
        return;
    while (!letGo) {
        const auto start = std::chrono::steady_clock::now();
        const quint64 request = requested;
        lock.unlock();
        const bool grabbed = isOpen && grab();
        lock.lock();
        // Also one that came while the driver waited for the frame.
        const quint64 answer = requested;
        if (answer != served) {
            lock.unlock();
            const cv::Mat image = grabbed ? retrieve() : cv::Mat();
            lock.lock();
            frame = image;
            served = answer;
            changed.notify_all();
        }
        if (grabbed) {
            reopen = false;
        } else if (reopen && !letGo) {
            reopen = false;
            state = State::Opening;
            lock.unlock();
            release();
            isOpen = openCapture();
            lock.lock();
            state = State::Open; // reads fail until it delivers
        }
        const auto pause = grabbed ? GrabPause : FailedGrabPause;
        changed.wait_until(lock, start + pause, [&] { return letGo || requested != request; });
    }
}

CameraDevice::Options& CameraDevice::defaultOptions()
{
    static Options options;
    return options;
}

CameraDevice::CameraDevice(int index, const QSize& resolution, const Options& options)
    : m_shared(std::make_shared<Shared>(index, resolution, options))
{
}

CameraDevice::~CameraDevice()
{
    letGo(); // the thread keeps what it needs; nobody here has time to wait for it
}

void CameraDevice::letGo()
{
    {
        const std::lock_guard lock(m_shared->mutex);
        m_shared->letGo = true;
    }
    interrupt();
}

void CameraDevice::close()
{
    letGo();
    std::unique_lock lock(m_shared->mutex);
    if (m_shared->started)
        m_shared->changed.wait_for(lock, ReleaseTimeout, [this] { return m_shared->finished; });
}

void CameraDevice::open()
{
    const std::lock_guard lock(m_shared->mutex);
    try {
        std::thread(serve, m_shared).detach();
        m_shared->started = true;
    } catch (const std::exception& error) {
        qWarning() << "[CameraDevice]"
                   << "starting a thread failed" << error.what();
        m_shared->state = State::Failed;
    }
}

void CameraDevice::serve(const std::shared_ptr<Shared>& shared)
{
    const auto isInterrupted = [&shared] {
        const std::lock_guard lock(shared->mutex);
        return shared->interrupted;
    };
    bool leased = false;
    {
        std::unique_lock lock(leases().mutex);
        leases().changed.wait(
            lock, [&] { return isInterrupted() || leases().held.count(shared->index) == 0; });
        if (!isInterrupted())
            leased = leases().held.insert(shared->index).second;
    }
    if (leased) {
        shared->run();
        shared->release();
        const std::lock_guard lock(leases().mutex);
        leases().held.erase(shared->index);
        leases().changed.notify_all();
    }
    const std::lock_guard lock(shared->mutex);
    shared->finished = true;
    shared->changed.notify_all();
}

CameraDevice::State CameraDevice::waitOpened(int timeoutMs)
{
    std::unique_lock lock(m_shared->mutex);
    m_shared->changed.wait_for(lock, milliseconds(timeoutMs),
        [this] { return m_shared->interrupted || m_shared->state != State::Opening; });
    return m_shared->interrupted ? State::Interrupted : m_shared->state;
}

cv::Mat CameraDevice::read(Patience patience)
{
    const bool insists = patience == Patience::UntilLetGo;
    std::unique_lock lock(m_shared->mutex);
    const auto isOver
        = [this, insists] { return m_shared->letGo || (m_shared->interrupted && !insists); };
    const bool driverWaits = m_shared->served != m_shared->requested;
    if (isOver() || m_shared->state != State::Open || (driverWaits && !insists))
        return {};
    const quint64 request = ++m_shared->requested;
    m_shared->changed.notify_all();
    m_shared->changed.wait_for(lock, milliseconds(m_shared->options.readTimeoutMs),
        [&] { return isOver() || m_shared->served >= request; });
    return m_shared->served >= request ? std::exchange(m_shared->frame, {}) : cv::Mat();
}

void CameraDevice::requestReopen()
{
    const std::lock_guard lock(m_shared->mutex);
    m_shared->reopen = true;
    m_shared->changed.notify_all();
}

void CameraDevice::interrupt()
{
    {
        const std::lock_guard lock(m_shared->mutex);
        m_shared->interrupted = true;
        m_shared->changed.notify_all();
    }
    // Under the lock, so that a thread between its test and its wait for the device is not missed.
    const std::lock_guard lock(leases().mutex);
    leases().changed.notify_all();
}

bool CameraDevice::interrupted() const
{
    const std::lock_guard lock(m_shared->mutex);
    return m_shared->interrupted;
}

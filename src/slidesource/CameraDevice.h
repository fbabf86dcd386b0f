#pragma once

#include <QSize>

#include <opencv2/core/mat.hpp>

#include <functional>
#include <memory>

namespace cv {
class VideoCapture;
}

/// One camera or capture card, used by a thread of its own, so that a driver that holds up a call
/// (an open of eight seconds, a read that never returns) holds up nobody else.
///
/// That thread keeps taking frames out of the driver's queue: a frame handed out by read() was
/// taken after the call, not seconds ago. It owns the capture object alone; when a CameraDevice is
/// destroyed while the driver hangs, the thread ends by itself as soon as the driver returns, and
/// holds nothing but its own state until then. A device has one such thread at a time in the whole
/// process: the next CameraDevice of the same index waits until the device has been released.
class CameraDevice
{
public:
    struct Options
    {
        /// Makes an unopened capture object; empty: a plain cv::VideoCapture. The device's thread
        /// calls it, and all members of the object.
        std::function<std::unique_ptr<cv::VideoCapture>()> createCapture;
        int readTimeoutMs = 2000; ///< cameras need over a second for their first frame
        int reopenIntervalMs = 10000;
        int slowOpenMs = 3000; ///< an open that takes longer is worth a word to the operator
        int openTimeoutMs = 30000;
    };
    /// What new camera sources use; main thread only.
    static Options& defaultOptions();

    enum class State { Opening, Open, Failed, Interrupted };

    /// @p index as the capture library counts; an invalid @p resolution leaves the device's own.
    CameraDevice(int index, const QSize& resolution, const Options& options);
    ~CameraDevice();
    CameraDevice(const CameraDevice&) = delete;
    CameraDevice& operator=(const CameraDevice&) = delete;

    /// Starts the thread, which opens the device.
    void open();
    /// Waits until the device is open, has failed or interrupt() was called; Opening: none of them
    /// within @p timeoutMs.
    [[nodiscard]] State waitOpened(int timeoutMs);
    enum class Patience {
        UntilInterrupted, ///< and not at all while an earlier read still waits for the driver
        UntilLetGo,
    };
    /// The next frame, BGR, continuous memory of its own. Empty when the device delivers none
    /// within Options::readTimeoutMs.
    [[nodiscard]] cv::Mat read(Patience patience = Patience::UntilInterrupted);
    /// Closes the device and opens it again, unless it delivers frames by then. Does not wait.
    void requestReopen();
    /// Ends the waiting for the device to open and for frames that nobody insists on, now and
    /// later. Any thread, does not wait.
    void interrupt();
    /// Ends all waiting; the device's thread closes the device. Any thread, does not wait.
    void letGo();
    /// The same, and waits as long as a healthy device needs for that.
    void close();
    [[nodiscard]] bool interrupted() const;

private:
    struct Shared;
    static void serve(const std::shared_ptr<Shared>& shared);

    const std::shared_ptr<Shared> m_shared;
};

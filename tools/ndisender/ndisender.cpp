// Sends NDI sources for the tests and the measurements, all from one process, as its standard input
// says:
//   create NAME WIDTH HEIGHT FPS    a source with a black picture
//   fill NAME RED GREEN BLUE        one colour
//   clock NAME                      a white bar whose position tells the time (clockBarX)
//   remove NAME
// Each line is answered with "ok" or "failed" once it has taken effect.
#include "NdiSenderClock.h"
#include "slidesource/NdiRuntime.h"

#include <QLibrary>

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

namespace {

struct SendCreate
{
    const char* name;
    const char* groups;
    bool clockVideo;
    bool clockAudio;
};
void* (*sendCreate)(const SendCreate*) = nullptr;
void (*sendVideo)(void*, const NdiRuntime::VideoFrame*) = nullptr;
void (*sendDestroy)(void*) = nullptr;

class Source
{
public:
    Source(const std::string& name, int width, int height, int fps)
        : m_width(width)
        , m_height(height)
        , m_fps(fps)
        , m_pixels(size_t(width) * size_t(height) * 4)
    {
        const SendCreate settings{ name.c_str(), nullptr, true, false };
        m_sender = sendCreate(&settings);
        paintAll({ 0, 0, 0 });
        if (m_sender)
            m_thread = std::thread([this] { send(); });
    }
    ~Source()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
        if (m_sender)
            sendDestroy(m_sender);
    }

    [[nodiscard]] bool works() const { return m_sender; }
    /// Both are carried out by the sending thread, before its next frame.
    void fill(const std::array<int, 3>& colour)
    {
        change([this, colour] {
            m_clock = false;
            paintAll(colour);
        });
    }
    void clock()
    {
        change([this] {
            m_clock = true;
            paintAll({ 0, 0, 0 });
        });
    }

private:
    void change(const std::function<void()>& change)
    {
        std::unique_lock lock(m_mutex);
        m_change = change;
        m_changed.wait(lock, [this] { return !m_change; });
    }
    void paintAll(const std::array<int, 3>& colour)
    {
        for (int y = 0; y < m_height; ++y)
            for (int x = 0; x < m_width; ++x)
                paint(x, y, colour);
    }
    void paint(int x, int y, const std::array<int, 3>& colour)
    {
        std::uint8_t* pixel = m_pixels.data() + (size_t(y) * size_t(m_width) + size_t(x)) * 4;
        for (size_t channel = 0; channel < 3; ++channel)
            pixel[channel] = std::uint8_t(colour[channel]);
        pixel[3] = 255;
    }
    void moveBar()
    {
        const int from = m_bar;
        m_bar = clockBarX(m_width);
        for (int y = 0; y < m_height; ++y)
            for (int x = 0; x < ClockBarWidth; ++x) {
                paint(from + x, y, { 0, 0, 0 });
                paint(m_bar + x, y, { 255, 255, 255 });
            }
    }
    void send()
    {
        NdiRuntime::VideoFrame frame{};
        frame.width = m_width;
        frame.height = m_height;
        frame.fourCc = NdiRuntime::FourCcRgba;
        frame.frameRateN = m_fps * 1000;
        frame.frameRateD = 1000;
        frame.frameFormat = 1; // progressive
        frame.timecode = INT64_MAX; // made by the runtime
        frame.data = m_pixels.data();
        frame.lineStride = m_width * 4;
        while (!m_stop) {
            {
                const std::lock_guard lock(m_mutex);
                if (m_change)
                    m_change();
                m_change = nullptr;
                m_changed.notify_all();
            }
            if (m_clock)
                moveBar();
            sendVideo(m_sender, &frame); // waits until the frame is due
        }
    }

    const int m_width;
    const int m_height;
    const int m_fps;
    std::vector<std::uint8_t> m_pixels;
    void* m_sender = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void()> m_change;
    bool m_clock = false;
    int m_bar = 0;
    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};

std::map<std::string, std::unique_ptr<Source>> sources;

bool obey(const std::string& line)
{
    std::istringstream words(line);
    std::string order;
    std::string name;
    words >> order >> name;
    if (order == "create") {
        int width = 0;
        int height = 0;
        int fps = 0;
        words >> width >> height >> fps;
        sources[name] = std::make_unique<Source>(name, width, height, fps);
        return sources[name]->works();
    }
    if (sources.count(name) == 0)
        return false;
    if (order == "fill") {
        std::array<int, 3> colour{};
        words >> colour[0] >> colour[1] >> colour[2];
        sources[name]->fill(colour);
    } else if (order == "clock") {
        sources[name]->clock();
    } else if (order == "remove") {
        sources.erase(name);
    }
    return true;
}

template <typename Function> bool resolve(QLibrary& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(name));
    return function;
}

} // namespace

int main()
{
    bool (*initialize)() = nullptr;
    for (const QString& path : NdiRuntime::candidates()) {
        QLibrary library(path);
        if (resolve(library, "NDIlib_initialize", initialize) && initialize()
            && resolve(library, "NDIlib_send_create", sendCreate)
            && resolve(library, "NDIlib_send_send_video_v2", sendVideo)
            && resolve(library, "NDIlib_send_destroy", sendDestroy))
            break;
    }
    if (!sendDestroy)
        return 1;
    for (std::string line; std::getline(std::cin, line);)
        std::cout << (obey(line) ? "ok" : "failed") << std::endl;
    sources.clear();
    return 0;
}

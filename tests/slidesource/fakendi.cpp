// A stand-in for the NDI runtime: the same C interface, with a queue that the test fills. It makes
// what a real sender cannot be asked for: padded lines, errors, other pixel formats.
#include "FakeNdi.h"
#include "slidesource/NdiRuntime.h"

#include <deque>
#include <mutex>

#define FAKE_NDI extern "C" __attribute__((visibility("default")))

namespace {

std::mutex mutex;
std::deque<FakeNdiFrame> frames;
int held = 0;

} // namespace

FAKE_NDI void fakendi_push(const FakeNdiFrame* frame)
{
    const std::lock_guard lock(mutex);
    if (frame)
        frames.push_back(*frame);
    else
        frames.clear();
}

FAKE_NDI int fakendi_held()
{
    const std::lock_guard lock(mutex);
    return held;
}

FAKE_NDI bool NDIlib_initialize()
{
    return true;
}

FAKE_NDI void* NDIlib_find_create_v2(const void*)
{
    return nullptr;
}

FAKE_NDI void* NDIlib_find_get_current_sources(void*, std::uint32_t*)
{
    return nullptr;
}

FAKE_NDI void NDIlib_find_destroy(void*) { }

FAKE_NDI void* NDIlib_recv_create_v3(const NdiRuntime::RecvCreate* settings)
{
    const std::lock_guard lock(mutex);
    if (settings->colorFormat != 2 || settings->bandwidth != 100 || !settings->allowVideoFields)
        return nullptr;
    ++held;
    return &frames;
}

FAKE_NDI void NDIlib_recv_connect(void*, const NdiRuntime::Source*) { }

FAKE_NDI int NDIlib_recv_capture_v3(
    void*, NdiRuntime::VideoFrame* video, void*, void*, std::uint32_t timeout)
{
    const std::lock_guard lock(mutex);
    if (frames.empty() || timeout != 0)
        return timeout == 0 ? NdiRuntime::None : NdiRuntime::Error;
    const FakeNdiFrame frame = frames.front();
    frames.pop_front();
    if (frame.type != NdiRuntime::Video)
        return frame.type;
    *video = {};
    video->width = 64;
    video->height = 48;
    video->fourCc = frame.fourCc;
    video->lineStride = video->width * 4 + frame.padding;
    video->data = new std::uint8_t[size_t(video->lineStride) * 48]();
    for (int i = 0; i < 64 * 48; ++i) {
        std::uint8_t* pixel = video->data + i / 64 * video->lineStride + i % 64 * 4;
        pixel[0] = std::uint8_t(frame.red);
        pixel[1] = std::uint8_t(i % 64);
        pixel[2] = std::uint8_t(i / 64);
        pixel[3] = 255;
    }
    ++held;
    return NdiRuntime::Video;
}

FAKE_NDI void NDIlib_recv_free_video_v2(void*, const NdiRuntime::VideoFrame* video)
{
    const std::lock_guard lock(mutex);
    delete[] video->data;
    --held;
}

FAKE_NDI void NDIlib_recv_destroy(void*)
{
    const std::lock_guard lock(mutex);
    --held;
}

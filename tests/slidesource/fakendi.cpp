// A stand-in for the NDI runtime: the same C interface, with a queue that the test fills. It makes
// what a real sender cannot be asked for: padded lines, errors, other pixel formats.
#include "FakeNdi.h"
#include "slidesource/NdiRuntime.h"

#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#define FAKE_NDI_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

std::mutex mutex;
std::deque<FakeNdiFrame> frames;
std::vector<std::pair<std::string, std::string>> announced;
std::vector<NdiRuntime::Source> listed;
int held = 0;

} // namespace

FAKE_NDI_EXPORT void fakendi_push(const FakeNdiFrame* frame)
{
    const std::lock_guard lock(mutex);
    if (frame)
        frames.push_back(*frame);
    else
        frames.clear();
}

FAKE_NDI_EXPORT int fakendi_held()
{
    const std::lock_guard lock(mutex);
    return held;
}

FAKE_NDI_EXPORT void fakendi_announce(const char* name, const char* url)
{
    const std::lock_guard lock(mutex);
    announced.emplace_back(name, url);
}

FAKE_NDI_EXPORT bool NDIlib_initialize()
{
    return true;
}

FAKE_NDI_EXPORT void* NDIlib_find_create_v2(const NdiRuntime::FindCreate*)
{
    return &announced;
}

FAKE_NDI_EXPORT const NdiRuntime::Source* NDIlib_find_get_current_sources(
    void*, std::uint32_t* count)
{
    const std::lock_guard lock(mutex);
    listed.clear();
    for (const auto& [name, url] : announced)
        listed.push_back({ name.c_str(), url.c_str() });
    *count = std::uint32_t(listed.size());
    return listed.data();
}

FAKE_NDI_EXPORT void NDIlib_find_destroy(void*) { }

FAKE_NDI_EXPORT void* NDIlib_recv_create_v3(const NdiRuntime::RecvCreate* settings)
{
    const std::lock_guard lock(mutex);
    const bool asAgreed = settings->colorFormat == NdiRuntime::ColorFormatRgbxRgba
        && settings->bandwidth == NdiRuntime::BandwidthHighest && settings->allowVideoFields
        && !settings->source.name && !settings->source.url && !settings->name;
    if (!asAgreed)
        return nullptr;
    ++held;
    return &frames;
}

FAKE_NDI_EXPORT void NDIlib_recv_connect(void*, const NdiRuntime::Source*) { }

FAKE_NDI_EXPORT int NDIlib_recv_capture_v3(
    void*, NdiRuntime::VideoFrame* video, void*, void*, std::uint32_t timeout)
{
    const std::lock_guard lock(mutex);
    if (timeout != 0)
        return NdiRuntime::Error;
    if (frames.empty())
        return NdiRuntime::None;
    const FakeNdiFrame frame = frames.front();
    frames.pop_front();
    if (frame.type != NdiRuntime::Video)
        return frame.type;
    const int stride = frame.width * 4 + frame.padding;
    auto* data = new std::uint8_t[size_t(stride) * size_t(frame.height)];
    std::memset(data, 0xEE, size_t(stride) * size_t(frame.height));
    for (int y = 0; y < frame.height; ++y)
        for (int x = 0; x < frame.width; ++x) {
            std::uint8_t* pixel = data + y * stride + x * 4;
            pixel[0] = std::uint8_t(frame.red);
            pixel[1] = std::uint8_t(x);
            pixel[2] = std::uint8_t(y);
            pixel[3] = 255;
        }
    *video = {};
    video->width = frame.width;
    video->height = frame.height;
    video->fourCc = frame.fourCc;
    video->data = data;
    video->lineStride = stride;
    ++held;
    return NdiRuntime::Video;
}

FAKE_NDI_EXPORT void NDIlib_recv_free_video_v2(void*, const NdiRuntime::VideoFrame* video)
{
    const std::lock_guard lock(mutex);
    delete[] video->data;
    --held;
}

FAKE_NDI_EXPORT void NDIlib_recv_destroy(void*)
{
    const std::lock_guard lock(mutex);
    --held;
}

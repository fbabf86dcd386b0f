#pragma once

#include <QImage>
#include <QRect>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

struct xcb_connection_t;

/// Memory that the X server writes pictures of the desktop into (MIT-SHM), in segments: each
/// belongs to one picture until the last copy of that is gone, and then serves the next one.
///
/// Requests go over Qt's own connection, which all threads may use; their errors come back as
/// replies and never reach Xlib, which would end the process. The segments have no name in the
/// system, so that a killed process leaves nothing behind.
///
/// grab() and close() belong to one thread at a time. Pictures are dropped on any thread.
class SharedScreenMemory : public std::enable_shared_from_this<SharedScreenMemory>
{
public:
    /// Null where the server shares no memory with this process, or has another idea of pixels than
    /// QImage::Format_RGB32.
    [[nodiscard]] static std::shared_ptr<SharedScreenMemory> create();
    explicit SharedScreenMemory(xcb_connection_t* connection, std::uint32_t root);
    ~SharedScreenMemory();

    /// A part of the desktop, in native pixels. Null when it cannot be read, for example because it
    /// is not all inside the desktop any more.
    [[nodiscard]] QImage grab(const QRect& area);
    /// Takes all segments from the server; pictures keep theirs. Nothing more can be grabbed.
    void close();

private:
    using Clock = std::chrono::steady_clock;
    struct Segment;
    struct Lease;

    [[nodiscard]] std::unique_ptr<Segment> take(std::size_t size);
    [[nodiscard]] std::unique_ptr<Segment> newSegment(std::size_t size);
    void giveBack(std::unique_ptr<Segment> segment);

    xcb_connection_t* const m_connection;
    const std::uint32_t m_root;
    std::mutex m_mutex;
    bool m_closed = false;
    std::vector<std::unique_ptr<Segment>> m_idle; ///< the longest idle first
    // Of the grabbing thread:
    std::vector<std::uint32_t> m_attached; ///< the server's names of all segments
    bool m_refused = false; ///< the server did not take a segment: no more are offered
};

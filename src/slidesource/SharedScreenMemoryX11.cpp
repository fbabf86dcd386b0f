#include "slidesource/SharedScreenMemoryX11.h"

#include <QGuiApplication>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace {

// Long enough for segments to serve from one capture to the next, short enough for those of a
// monitor that was unplugged, or of a backlog of slides, not to stay.
constexpr std::chrono::seconds MaximumIdleTime(3);

template <typename Reply> using Freed = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply> Freed<Reply> freed(Reply* reply)
{
    return { reply, &std::free };
}

// Descriptors, by which the memory is handed over, go through local sockets only.
bool isLocal(xcb_connection_t* connection)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    return getsockname(
               xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&address), &length)
        == 0
        && address.ss_family == AF_UNIX;
}

// The first version that takes descriptors is 1.2. To ask for an extension that is not there would
// shut the connection down.
bool canShareMemory(xcb_connection_t* connection)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_shm_id);
    if (!extension || !extension->present)
        return false;
    const auto version = freed(
        xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr));
    return version && version->major_version * 100 + version->minor_version >= 102;
}

bool hasPixelsLikeQImage(const xcb_setup_t* setup, const xcb_screen_t& screen)
{
    if (screen.root_depth != 24 || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST
        || Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
        return false;
    for (auto i = xcb_setup_pixmap_formats_iterator(setup); i.rem; xcb_format_next(&i)) {
        if (i.data->depth == 24 && (i.data->bits_per_pixel != 32 || i.data->scanline_pad != 32))
            return false;
    }
    for (auto i = xcb_screen_allowed_depths_iterator(&screen); i.rem; xcb_depth_next(&i)) {
        for (auto k = xcb_depth_visuals_iterator(i.data); k.rem; xcb_visualtype_next(&k)) {
            if (k.data->visual_id == screen.root_visual)
                return k.data->red_mask == 0xff0000 && k.data->green_mask == 0xff00
                    && k.data->blue_mask == 0xff;
        }
    }
    return false;
}

} // namespace

struct SharedScreenMemory::Segment
{
    Segment(void* memory, std::size_t bytes)
        : pixels(static_cast<uchar*>(memory))
        , size(bytes)
    {
    }
    ~Segment() { munmap(pixels, size); }
    Q_DISABLE_COPY_MOVE(Segment)

    uchar* const pixels;
    const std::size_t size;
    xcb_shm_seg_t id = 0; ///< the server's name for it
    Clock::time_point idleSince;
};

// What a picture holds.
struct SharedScreenMemory::Lease
{
    ~Lease() { memory->giveBack(std::move(segment)); }

    const std::shared_ptr<SharedScreenMemory> memory;
    std::unique_ptr<Segment> segment;
};

std::shared_ptr<SharedScreenMemory> SharedScreenMemory::create()
{
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                              : nullptr; // null: another platform of Qt
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection || !isLocal(connection) || !canShareMemory(connection))
        return nullptr;
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    // Several roots are several desktops, of which each has its own coordinates.
    if (xcb_setup_roots_length(setup) != 1 || !hasPixelsLikeQImage(setup, *screen))
        return nullptr;
    return std::make_shared<SharedScreenMemory>(connection, screen->root);
}

SharedScreenMemory::SharedScreenMemory(xcb_connection_t* connection, std::uint32_t root)
    : m_connection(connection)
    , m_root(root)
{
}

SharedScreenMemory::~SharedScreenMemory() = default;

QImage SharedScreenMemory::grab(const QRect& area)
{
    constexpr int Limit = std::numeric_limits<std::int16_t>::max(); // of the protocol
    if (area.isEmpty() || area.left() < 0 || area.top() < 0 || area.right() > Limit
        || area.bottom() > Limit)
        return {};
    const std::size_t count = std::size_t(area.width()) * std::size_t(area.height());
    auto segment = take(count * sizeof(QRgb));
    if (!segment)
        return {};
    const auto reply = freed(xcb_shm_get_image_reply(m_connection,
        xcb_shm_get_image(m_connection, m_root, std::int16_t(area.x()), std::int16_t(area.y()),
            std::uint16_t(area.width()), std::uint16_t(area.height()), ~0U,
            XCB_IMAGE_FORMAT_Z_PIXMAP, segment->id, 0),
        nullptr));
    if (!reply || reply->size != segment->size) {
        giveBack(std::move(segment));
        return {};
    }
    // The server leaves the fourth byte of a pixel to chance, Qt wants it opaque.
    auto* pixels = reinterpret_cast<QRgb*>(segment->pixels);
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] |= 0xff000000;
    uchar* const bits = segment->pixels;
    return QImage(
        bits, area.width(), area.height(), area.width() * qsizetype(sizeof(QRgb)),
        QImage::Format_RGB32, [](void* lease) { delete static_cast<Lease*>(lease); },
        new Lease{ shared_from_this(), std::move(segment) });
}

std::unique_ptr<SharedScreenMemory::Segment> SharedScreenMemory::take(std::size_t size)
{
    std::unique_ptr<Segment> found;
    {
        const std::lock_guard lock(m_mutex);
        // The latest first, so that those that are too many become stale.
        const auto latest = std::find_if(m_idle.rbegin(), m_idle.rend(),
            [size](const auto& segment) { return segment->size == size; });
        if (latest != m_idle.rend()) {
            found = std::move(*latest);
            m_idle.erase(std::next(latest).base());
        }
        const Clock::time_point now = Clock::now();
        while (!m_idle.empty() && now - m_idle.front()->idleSince > MaximumIdleTime) {
            xcb_shm_detach(m_connection, m_idle.front()->id);
            m_attached.erase(std::find(m_attached.begin(), m_attached.end(), m_idle.front()->id));
            m_idle.erase(m_idle.begin());
        }
    }
    return found || m_refused ? std::move(found) : newSegment(size);
}

std::unique_ptr<SharedScreenMemory::Segment> SharedScreenMemory::newSegment(std::size_t size)
{
    const int file = memfd_create("podiumcast-screen", MFD_CLOEXEC);
    if (file < 0)
        return {};
    // Allocated now: memory that is short shows here and not when somebody writes.
    void* pixels = posix_fallocate(file, 0, off_t(size)) == 0
        ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
        : MAP_FAILED;
    if (pixels == MAP_FAILED) {
        ::close(file);
        return {};
    }
    auto segment = std::make_unique<Segment>(pixels, size);
    segment->id = xcb_generate_id(m_connection);
    // Closes the descriptor.
    const auto error = freed(xcb_request_check(m_connection,
        xcb_shm_attach_fd_checked(m_connection, segment->id, file, /* read_only */ false)));
    if (error) {
        m_refused = true;
        return {};
    }
    m_attached.push_back(segment->id);
    return segment;
}

void SharedScreenMemory::giveBack(std::unique_ptr<Segment> segment)
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return;
    segment->idleSince = Clock::now();
    m_idle.push_back(std::move(segment));
}

void SharedScreenMemory::close()
{
    for (const xcb_shm_seg_t id : std::exchange(m_attached, {}))
        xcb_shm_detach(m_connection, id);
    xcb_flush(m_connection);
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_idle.clear();
}

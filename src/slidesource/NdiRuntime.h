#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <memory>

/// The part of the NDI C interface that this program calls: our own declarations of its types
/// (64-bit layouts, natural alignment) and its functions, found in the runtime library that the
/// operator has installed. Nothing is linked and nothing of the runtime is shipped.
class NdiRuntime
{
public:
    enum FrameType : int {
        None = 0,
        Video = 1,
        Audio = 2,
        Metadata = 3,
        Error = 4,
        StatusChange = 100
    };
    static constexpr std::int32_t ColorFormatRgbxRgba = 2;
    static constexpr std::int32_t BandwidthHighest = 100;
    static constexpr std::uint32_t FourCcRgba = 0x41424752; ///< "RGBA", little endian
    static constexpr std::uint32_t FourCcRgbx = 0x58424752; ///< "RGBX"

    struct Source
    {
        const char* name;
        const char* url;
    };
    struct FindCreate
    {
        bool showLocalSources;
        const char* groups;
        const char* extraIps;
    };
    struct RecvCreate
    {
        Source source;
        std::int32_t colorFormat;
        std::int32_t bandwidth;
        bool allowVideoFields;
        const char* name;
    };
    struct VideoFrame
    {
        std::int32_t width;
        std::int32_t height;
        std::uint32_t fourCc;
        std::int32_t frameRateN;
        std::int32_t frameRateD;
        float pictureAspectRatio;
        std::int32_t frameFormat;
        std::int64_t timecode;
        std::uint8_t* data;
        std::int32_t lineStride; ///< bytes from one line to the next
        const char* metadata;
        std::int64_t timestamp;
    };
    using Finder = void*;
    using Receiver = void*;

    /// The process's runtime, loaded and initialised on first use; null when there is none (then
    /// errorString() says why). Any thread; the first call may take as long as loading does.
    [[nodiscard]] static const NdiRuntime* instance();
    /// Why instance() is null, in words for the log.
    [[nodiscard]] static QString errorString();

    /// Loads a runtime; null and @p error when no usable one is found in candidates().
    [[nodiscard]] static std::unique_ptr<NdiRuntime> load(QString& error);
    /// The files that are tried, in this order: those of NDI_RUNTIME_DIR_V6, of NDI_RUNTIME_DIR_V5,
    /// then the bare names, which the system looks up in its library path.
    [[nodiscard]] static QStringList candidates();

    bool (*initialize)() = nullptr;
    Finder (*findCreate)(const FindCreate*) = nullptr;
    const Source* (*findGetCurrentSources)(Finder, std::uint32_t* count) = nullptr;
    void (*findDestroy)(Finder) = nullptr;
    Receiver (*recvCreate)(const RecvCreate*) = nullptr;
    void (*recvConnect)(Receiver, const Source*) = nullptr;
    int (*recvCapture)(Receiver, VideoFrame*, void* audio, void* metadata, std::uint32_t ms)
        = nullptr;
    void (*recvFreeVideo)(Receiver, const VideoFrame*) = nullptr;
    void (*recvDestroy)(Receiver) = nullptr;

private:
    NdiRuntime() = default;
};

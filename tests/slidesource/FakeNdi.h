#pragma once

#include <cstdint>

/// Orders to the stand-in for the NDI runtime (fakendi.cpp), found in the loaded library by name.
struct FakeNdiFrame
{
    int type = 1; ///< as NdiRuntime::FrameType
    int width = 64;
    int height = 48;
    int padding = 0; ///< bytes after each line
    std::uint32_t fourCc = 0x41424752;
    int red = 0; ///< green and blue are the pixel's x and y
};
/// Null empties the queue.
using FakeNdiPush = void (*)(const FakeNdiFrame*);
/// Frames handed out and not given back, plus receivers and finders not destroyed.
using FakeNdiHeld = int (*)();
using FakeNdiAnnounce = void (*)(const char* name, const char* url);

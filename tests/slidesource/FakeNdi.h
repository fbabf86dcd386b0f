#pragma once

#include <cstdint>

/// Orders to the stand-in for the NDI runtime (fakendi.cpp), found in the loaded library by name.
struct FakeNdiFrame
{
    int type = 1; ///< as NdiRuntime::FrameType
    int red = 0; ///< of every pixel; green and blue are its x and y
    int padding = 0; ///< bytes after each line
    std::uint32_t fourCc = 0x41424752;
};
using FakeNdiPush = void (*)(const FakeNdiFrame*); ///< null empties the queue
using FakeNdiHeld = int (*)(); ///< frames handed out and not given back, and receivers

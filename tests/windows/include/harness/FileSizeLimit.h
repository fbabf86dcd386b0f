#pragma once

#include <QtGlobal>

/// Windows has no such limit; the tests that need it are skipped there.
using rlim_t = quint64;
inline constexpr rlim_t RLIM_INFINITY = ~rlim_t(0);

class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t) { }
    ~FileSizeLimit() { } // else it would be an unused variable
    Q_DISABLE_COPY_MOVE(FileSizeLimit)
};

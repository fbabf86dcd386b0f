#pragma once

#include <QString>

class QFileDevice;

/// Why the last operation on @p file failed, in the system's words, to stand within a sentence:
/// without the full stop that Windows ends its messages with.
[[nodiscard]] QString fileErrorReason(const QFileDevice& file);

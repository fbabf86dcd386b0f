#pragma once

#include "slidesource/SlidesSourceInfo.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// The listing of Linux video devices, with the directory and the question to the driver as
/// parameters.
namespace VideoInputsV4L2 {

struct Answer
{
    bool canCapture = false;
    QByteArray card; ///< the driver's name of the device
    QByteArray busInfo;
};
using Query = std::function<std::optional<Answer>(const QString& devicePath)>;

/// Asks the driver; empty when the device cannot be opened or is no video device. May block for as
/// long as the driver does.
[[nodiscard]] std::optional<Answer> queryDriver(const QString& devicePath);

/// The devices that can capture, by their number N in "videoN", which is their index. The id is the
/// link in v4l/by-id, else in v4l/by-path, else made from bus and name: it stays the same when the
/// device gets another number.
[[nodiscard]] QList<SlidesSourceInfo> list(const QString& deviceDirectory, const Query& query);

} // namespace VideoInputsV4L2

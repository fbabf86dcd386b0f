#pragma once

#include <QByteArray>
#include <QString>

/// Appends @p text to the file, which is made when it does not exist, with the platform's line
/// endings. Opens and closes the file, so that a crash later loses nothing of it. All or nothing:
/// on failure the file is as it was and @p error tells why. Any thread, one at a time for a file.
[[nodiscard]] bool appendToTextFile(const QString& path, const QByteArray& text, QString* error);

#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

/// Typed reading of the settings store. A key that is missing, or that holds something which cannot
/// be read as the wanted type, gives the default: a store edited by hand must not stop a recording.
namespace SettingsValue {

[[nodiscard]] bool readBool(const QSettings& settings, const QString& key, bool defaultValue);
[[nodiscard]] int readInt(const QSettings& settings, const QString& key, int defaultValue);
[[nodiscard]] qint64 readInt64(const QSettings& settings, const QString& key, qint64 defaultValue);
[[nodiscard]] QString readString(
    const QSettings& settings, const QString& key, const QString& defaultValue);

} // namespace SettingsValue

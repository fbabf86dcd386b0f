#pragma once

#include <QSettings>
#include <QTemporaryDir>

/// From now on the settings are INI files below the directory, on every platform: neither those of
/// whoever runs the tests nor Windows' registry.
inline void keepSettingsIn(const QString& directory)
{
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, directory);
}

/// Including this gives a test program a store of settings of its own, before main() begins.
inline const struct IsolatedSettings
{
    IsolatedSettings() { keepSettingsIn(directory.path()); }
    QTemporaryDir directory;
} isolatedSettings;

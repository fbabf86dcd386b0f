#pragma once

#include <QFile>
#include <QTemporaryDir>

/// Including this gives a test program a store of settings of its own, before main() begins.
inline const struct IsolatedSettings
{
    IsolatedSettings() { qputenv("XDG_CONFIG_HOME", QFile::encodeName(directory.path())); }
    QTemporaryDir directory;
} isolatedSettings;

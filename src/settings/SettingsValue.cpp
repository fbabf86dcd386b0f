#include "settings/SettingsValue.h"

using namespace Qt::StringLiterals;

namespace SettingsValue {

bool readBool(const QSettings& settings, const QString& key, bool defaultValue)
{
    const QVariant value = settings.value(key, defaultValue);
    if (value.typeId() == QMetaType::QString) {
        // Text stores hand out text; QVariant would take every word but "false" and "0" for true.
        const QString text = value.toString().trimmed().toLower();
        if (text == "true"_L1 || text == "1"_L1)
            return true;
        if (text == "false"_L1 || text == "0"_L1)
            return false;
        return defaultValue;
    }
    return value.canConvert<bool>() ? value.toBool() : defaultValue;
}

int readInt(const QSettings& settings, const QString& key, int defaultValue)
{
    bool ok = false;
    const int value = settings.value(key, defaultValue).toInt(&ok);
    return ok ? value : defaultValue;
}

qint64 readInt64(const QSettings& settings, const QString& key, qint64 defaultValue)
{
    bool ok = false;
    const qint64 value = settings.value(key, defaultValue).toLongLong(&ok);
    return ok ? value : defaultValue;
}

QString readString(const QSettings& settings, const QString& key, const QString& defaultValue)
{
    const QVariant value = settings.value(key, defaultValue);
    // Text with a comma, written by hand without quotes, is read back as a list.
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(u", "_s);
    return value.canConvert<QString>() ? value.toString() : defaultValue;
}

} // namespace SettingsValue

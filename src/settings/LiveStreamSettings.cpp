#include "settings/LiveStreamSettings.h"

#include "settings/SettingsValue.h"

#include <QDebug>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

const QString PollVMixApiKey = u"liveStreamSettings/pollVMixApi"_s;
const QString VMixApiEndpointKey = u"liveStreamSettings/vMixApiEndpoint"_s;
const QString VMixApiPollIntervalKey = u"liveStreamSettings/vMixApiPollInterval"_s;

} // namespace

LiveStreamSettings* LiveStreamSettings::instance()
{
    static LiveStreamSettings settings;
    return &settings;
}

LiveStreamSettings::LiveStreamSettings()
{
    for (const auto changed : { &LiveStreamSettings::property_pollVMixApiChanged,
             &LiveStreamSettings::property_vMixApiEndpointChanged,
             &LiveStreamSettings::property_vMixApiPollIntervalChanged })
        connect(this, changed, this, &LiveStreamSettings::save);
}

void LiveStreamSettings::load()
{
    // All keys are read before the first value is set, as each change is written back at once.
    const QSettings settings;
    const LiveStreamSettings defaults;
    const bool poll = SettingsValue::readBool(settings, PollVMixApiKey, defaults.m_pollVMixApi);
    const QString endpoint
        = SettingsValue::readString(settings, VMixApiEndpointKey, defaults.m_vMixApiEndpoint);
    const qint64 interval = SettingsValue::readInt64(
        settings, VMixApiPollIntervalKey, defaults.m_vMixApiPollInterval);
    qDebug() << "[LiveStreamSettings]"
             << "load" << settings.fileName() << endpoint;
    setPollVMixApi(poll);
    setVMixApiEndpoint(endpoint);
    setVMixApiPollInterval(interval);
}

void LiveStreamSettings::save() const
{
    QSettings settings;
    qDebug() << "[LiveStreamSettings]"
             << "save";
    settings.setValue(PollVMixApiKey, m_pollVMixApi);
    settings.setValue(VMixApiEndpointKey, m_vMixApiEndpoint);
    settings.setValue(VMixApiPollIntervalKey, m_vMixApiPollInterval);
}

void LiveStreamSettings::setPollVMixApi(bool newVal)
{
    if (m_pollVMixApi == newVal)
        return;
    m_pollVMixApi = newVal;
    emit property_pollVMixApiChanged();
}

void LiveStreamSettings::setVMixApiEndpoint(const QString& newVal)
{
    if (m_vMixApiEndpoint == newVal)
        return;
    m_vMixApiEndpoint = newVal;
    emit property_vMixApiEndpointChanged();
}

void LiveStreamSettings::setVMixApiPollInterval(qint64 newVal)
{
    if (m_vMixApiPollInterval == newVal)
        return;
    m_vMixApiPollInterval = newVal;
    emit property_vMixApiPollIntervalChanged();
}

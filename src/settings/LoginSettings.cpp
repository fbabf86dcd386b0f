#include "settings/LoginSettings.h"

#include "settings/SettingsValue.h"

#include <QDebug>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

const QString LoginEmailKey = u"loginSettings/loginEmail"_s;
const QString LiveStreamResumeKey = u"loginSettings/liveStreamResume"_s;
const QString LiveStreamPresentationIdKey = u"loginSettings/liveStreamPresentationId"_s;

} // namespace

LoginSettings* LoginSettings::instance()
{
    static LoginSettings settings;
    return &settings;
}

LoginSettings::LoginSettings()
{
    for (const auto changed : { &LoginSettings::property_loginEmailChanged,
             &LoginSettings::property_liveStreamResumeChanged,
             &LoginSettings::property_liveStreamPresentationIdChanged })
        connect(this, changed, this, &LoginSettings::save);
}

void LoginSettings::load()
{
    // All keys are read before the first value is set: each change is written back at once, and
    // that must not overwrite a key that is still to be read.
    const QSettings settings;
    qDebug() << "[LoginSettings]"
             << "load" << settings.fileName();
    const QString loginEmail = SettingsValue::readString(settings, LoginEmailKey, m_loginEmail);
    const bool liveStreamResume = SettingsValue::readBool(settings, LiveStreamResumeKey, false);
    const QString presentationId = SettingsValue::readString(
        settings, LiveStreamPresentationIdKey, m_liveStreamPresentationId);
    setLoginEmail(loginEmail);
    setLiveStreamResume(liveStreamResume);
    setLiveStreamPresentationId(presentationId);
}

void LoginSettings::save() const
{
    QSettings settings;
    qDebug() << "[LoginSettings]"
             << "save";
    settings.setValue(LoginEmailKey, m_loginEmail);
    settings.setValue(LiveStreamResumeKey, m_liveStreamResume);
    settings.setValue(LiveStreamPresentationIdKey, m_liveStreamPresentationId);
}

void LoginSettings::setLoginEmail(const QString& newVal)
{
    if (m_loginEmail == newVal)
        return;
    m_loginEmail = newVal;
    emit property_loginEmailChanged();
}

void LoginSettings::setLiveStreamResume(bool newVal)
{
    if (m_liveStreamResume == newVal)
        return;
    m_liveStreamResume = newVal;
    emit property_liveStreamResumeChanged();
}

void LoginSettings::setLiveStreamPresentationId(const QString& newVal)
{
    if (m_liveStreamPresentationId == newVal)
        return;
    m_liveStreamPresentationId = newVal;
    emit property_liveStreamPresentationIdChanged();
}

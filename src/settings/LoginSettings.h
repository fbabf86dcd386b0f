#pragma once

#include <QObject>
#include <QString>

/// The login e-mail and which live stream to resume; never the password. Main thread; every
/// change is written to the settings store at once.
class LoginSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        QString loginEmail READ loginEmail WRITE setLoginEmail NOTIFY property_loginEmailChanged)
    Q_PROPERTY(bool liveStreamResume READ liveStreamResume WRITE setLiveStreamResume NOTIFY
            property_liveStreamResumeChanged)
    Q_PROPERTY(QString liveStreamPresentationId READ liveStreamPresentationId WRITE
            setLiveStreamPresentationId NOTIFY property_liveStreamPresentationIdChanged)

public:
    static LoginSettings* instance();

    void load();
    void save() const;

    QString loginEmail() const { return m_loginEmail; }
    bool liveStreamResume() const { return m_liveStreamResume; }
    QString liveStreamPresentationId() const { return m_liveStreamPresentationId; }

    void setLoginEmail(const QString& newVal);
    void setLiveStreamResume(bool newVal);
    void setLiveStreamPresentationId(const QString& newVal);

signals:
    void property_loginEmailChanged();
    void property_liveStreamResumeChanged();
    void property_liveStreamPresentationIdChanged();

private:
    LoginSettings();

    QString m_loginEmail;
    bool m_liveStreamResume = false;
    QString m_liveStreamPresentationId;
};

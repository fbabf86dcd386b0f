#pragma once

#include <QObject>
#include <QString>

/// Whether, where and how often a vMix switcher is polled during a live stream. Main thread; every
/// change is written to the settings store at once.
class LiveStreamSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        bool pollVMixApi READ pollVMixApi WRITE setPollVMixApi NOTIFY property_pollVMixApiChanged)
    Q_PROPERTY(QString vMixApiEndpoint READ vMixApiEndpoint WRITE setVMixApiEndpoint NOTIFY
            property_vMixApiEndpointChanged)
    Q_PROPERTY(qint64 vMixApiPollInterval READ vMixApiPollInterval WRITE setVMixApiPollInterval
            NOTIFY property_vMixApiPollIntervalChanged)

public:
    static LiveStreamSettings* instance();

    void load();
    void save() const;

    bool pollVMixApi() const { return m_pollVMixApi; }
    QString vMixApiEndpoint() const { return m_vMixApiEndpoint; }
    qint64 vMixApiPollInterval() const { return m_vMixApiPollInterval; } ///< milliseconds

    void setPollVMixApi(bool newVal);
    void setVMixApiEndpoint(const QString& newVal);
    void setVMixApiPollInterval(qint64 newVal);

signals:
    void property_pollVMixApiChanged();
    void property_vMixApiEndpointChanged();
    void property_vMixApiPollIntervalChanged();

private:
    LiveStreamSettings();

    bool m_pollVMixApi = false;
    QString m_vMixApiEndpoint = QStringLiteral("http://127.0.0.1:8088/api/");
    qint64 m_vMixApiPollInterval = 5000;
};

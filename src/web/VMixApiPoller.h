#pragma once

#include <QDateTime>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>

/// Fetches the XML of a vMix video switcher at an interval and keeps the latest one, uninterpreted,
/// for the status ping. Main thread only.
class VMixApiPoller : public QObject
{
    Q_OBJECT

public:
    /// One that the interval asks for and one more: a slow switcher is not buried in requests.
    static constexpr qsizetype maxRequestsInFlight = 2;
    /// Keeps an interval of 0 from settings from polling in a tight loop.
    static constexpr qint64 minInterval = 100;

    VMixApiPoller();
    ~VMixApiPoller() override;

    [[nodiscard]] QDateTime lastPollAt() const { return m_lastPollAt; } ///< UTC
    [[nodiscard]] QDateTime lastPollSuccessAt() const { return m_lastPollSuccessAt; } ///< UTC
    /// Stays until stop(), also when later polls succeed.
    [[nodiscard]] QString lastError() const { return m_lastError; }
    [[nodiscard]] QString xml() const { return m_xml; }

signals:
    void pollingError(const QString& error);

public slots:
    /// Polls @p endpoint now and then every @p interval milliseconds (at least minInterval).
    void start(const QString& endpoint, qint64 interval);
    /// Forgets all results; answers that are still under way change nothing.
    void stop();
    void poll();

protected:
    void setTimeLimit(std::chrono::milliseconds limit) { m_timeLimit = limit; }

private:
    void dropRequests();
    void reportError(QNetworkReply::NetworkError code, const QString& words);

    QString m_endpoint;
    QTimer m_timer;
    QDateTime m_lastPollAt;
    QDateTime m_lastPollSuccessAt;
    QString m_lastError;
    QString m_xml;
    QNetworkAccessManager m_network;
    QList<QNetworkReply*> m_requests;
    std::chrono::milliseconds m_timeLimit = std::chrono::seconds(10);
};

#include "web/VMixApiPoller.h"

#include "web/ReplyLimits.h"

#include <QDebug>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// The address for the log: as typed, unless a password was typed with it.
QString printable(const QString& endpoint)
{
    const QUrl url(endpoint, QUrl::TolerantMode);
    return url.password().isEmpty() ? endpoint : url.toDisplayString();
}

} // namespace

VMixApiPoller::VMixApiPoller()
{
    m_timer.setSingleShot(false);
    connect(&m_timer, &QTimer::timeout, this, &VMixApiPoller::poll);
}

VMixApiPoller::~VMixApiPoller()
{
    dropRequests();
}

void VMixApiPoller::start(const QString& endpoint, qint64 interval)
{
    qWarning() << "[VMixApiPoller]"
               << "start" << printable(endpoint) << interval;
    dropRequests();
    m_endpoint = endpoint;
    m_timer.start(int(std::clamp<qint64>(interval, minInterval, std::numeric_limits<int>::max())));
    poll();
}

void VMixApiPoller::stop()
{
    qWarning() << "[VMixApiPoller]"
               << "stop";
    m_timer.stop();
    dropRequests();
    m_lastPollAt = {};
    m_lastPollSuccessAt = {};
    m_lastError.clear();
    m_xml.clear();
}

void VMixApiPoller::poll()
{
    if (m_requests.size() >= maxRequestsInFlight)
        return;
    qWarning() << "[VMixApiPoller]"
               << "poll" << printable(m_endpoint);
    m_lastPollAt = QDateTime::currentDateTimeUtc();

    const QUrl url(m_endpoint, QUrl::TolerantMode);
    if (url.scheme() != "http"_L1 && url.scheme() != "https"_L1) {
        // Anything else (a file, for one) would be read and handed to the service.
        if (m_timer.isActive())
            reportError(QNetworkReply::ProtocolUnknownError,
                tr("the address must begin with http:// or https://"));
        return;
    }
    QNetworkRequest request(url);
    // What another host answers must not be handed to the service as the switcher's state.
    request.setAttribute(
        QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    QNetworkReply* reply = m_network.get(request);
    m_requests.append(reply);
    ReplyLimits::apply(reply, m_timeLimit);
    connect(reply, &QNetworkReply::errorOccurred, this,
        [this, reply](QNetworkReply::NetworkError code) {
            if (m_timer.isActive())
                reportError(code, ReplyLimits::errorString(reply, code));
        });
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        m_requests.removeOne(reply);
        reply->deleteLater();
        if (reply->error() != QNetworkReply::NoError || !m_timer.isActive())
            return;
        const QByteArray body = reply->readAll();
        const QNetworkReply::NetworkError code = ReplyLimits::outcome(reply, body.size());
        if (code != QNetworkReply::NoError) {
            reportError(code, ReplyLimits::errorString(reply, code));
            return;
        }
        m_lastPollSuccessAt = QDateTime::currentDateTimeUtc();
        m_xml = QString::fromUtf8(body);
    });
}

void VMixApiPoller::reportError(QNetworkReply::NetworkError code, const QString& words)
{
    // Qt's words name the whole address, or the one that it was led to, with the password. That is
    // percent-encoded where it could be taken for something else.
    static const QRegularExpression userInfo(u"(?<=://)[^/?#]*@"_s);
    QString text = words;
    text.remove(userInfo);
    qWarning() << "[VMixApiPoller]" << text << code;
    m_lastError = tr("Polling vMix API failed: %1 (%2).").arg(int(code)).arg(text);
    emit pollingError(m_lastError);
}

void VMixApiPoller::dropRequests()
{
    for (QNetworkReply* reply : std::exchange(m_requests, {})) {
        disconnect(reply, nullptr, this, nullptr);
        reply->abort();
        reply->deleteLater();
    }
}

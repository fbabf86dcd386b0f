#pragma once

#include "service/TestCertificates.h"
#include "service/TestService.h"
#include "web/WebApi.h"

#include <QtTest>

#include <memory>

/// Reaches the time limits, which only tests change.
struct WebApiLimits : WebApi
{
    static void set(WebApi* api, std::chrono::milliseconds silence, std::chrono::milliseconds total)
    {
        (api->*&WebApiLimits::setTimeLimits)(silence, total);
    }
    static qsizetype inFlight(const WebApi* api)
    {
        return (api->*&WebApiLimits::requestsInFlight)();
    }
};

/// A service with TLS on loopback, trusted by this process and used by WebApi::instance(). Make it
/// before anything calls WebApi::instance(), after the QCoreApplication, once in a program.
class LiveFixture
{
public:
    LiveFixture()
    {
        const auto certificates = TestCertificates::create(directory.path());
        if (!certificates)
            qFatal("no certificates");
        certificates->trustInThisProcess();
        tls = certificates->serverConfiguration();
        restart();
        qputenv("PODIUMCAST_SERVICE_URL", url());
    }

    /// A new service, on the same port as the one before.
    void restart()
    {
        const quint16 port = service ? service->port() : 0;
        service = std::make_unique<TestService>(account);
        if (!service->listenTls(tls, port))
            qFatal("the service cannot listen");
    }

    [[nodiscard]] QByteArray url() const
    {
        return "https://localhost:" + QByteArray::number(service->port());
    }

    /// Logs in with the right password; false when that fails.
    [[nodiscard]] bool login() const
    {
        QSignalSpy successful(WebApi::instance(), &WebApi::loginSuccessful);
        WebApi::instance()->login(account.email, account.password);
        return successful.wait();
    }

    const TestService::Account account{ QStringLiteral("ada@podiumcast.example"),
        QStringLiteral("pass-Wort 1843"), QStringLiteral("token-7f3a"), QStringLiteral("slides"),
        QStringLiteral("streams/%1/v%2/"), QStringLiteral("AKIDTEST"),
        QStringLiteral("secret-key-91"), QStringLiteral("session-token-55") };
    QTemporaryDir directory;
    QSslConfiguration tls;
    std::unique_ptr<TestService> service;
};

// The service and a video switcher as a program, for demonstrations: listens on loopback until it
// is ended, and records every request as a line of JSON. The line "down" on standard input has the
// service cut all its connections and refuse new ones, "up" brings it back; each is repeated when
// it is done.
#include "service/TestCertificates.h"
#include "service/TestService.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QMetaEnum>
#include <QSocketNotifier>
#include <QTextStream>

#include <unistd.h>

using namespace Qt::StringLiterals;

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QList<QCommandLineOption> options{
        { u"directory"_s, u"Existing directory for certificates and records."_s, u"path"_s },
        { u"email"_s, {}, u"text"_s, u"operator@podiumcast.example"_s },
        { u"token"_s, {}, u"text"_s, u"token-of-the-operator"_s },
        { u"bucket"_s, {}, u"name"_s, u"slides"_s },
        { u"prefix"_s, u"%1: presentation id, %2: version."_s, u"text"_s, u"streams/%1/v%2/"_s },
        { u"stream"_s, u"An existing presentation to join."_s, u"id"_s },
        { u"fault"_s, u"FAULT:PATH[:TIMES], may be repeated."_s, u"text"_s },
    };
    parser.addOptions(options);
    parser.process(application);

    const QDir directory(parser.value(u"directory"_s));
    // Secrets come by the environment: a command line is readable by everybody on the machine.
    const TestService::Account account{ parser.value(u"email"_s),
        qEnvironmentVariable("TEST_SERVICE_PASSWORD"), parser.value(u"token"_s),
        parser.value(u"bucket"_s), parser.value(u"prefix"_s),
        qEnvironmentVariable("TEST_SERVICE_ACCESS_KEY_ID"),
        qEnvironmentVariable("TEST_SERVICE_SECRET_ACCESS_KEY"),
        qEnvironmentVariable("TEST_SERVICE_SESSION_TOKEN") };
    const auto certificates = TestCertificates::create(directory.path());
    TestService service(account);
    TestSwitcher switcher;
    if (!certificates || !service.listenTls(certificates->serverConfiguration())
        || !switcher.listenPlain() || !service.recordTo(directory.filePath(u"service.jsonl"_s))
        || !switcher.recordTo(directory.filePath(u"switcher.jsonl"_s)))
        return 1;
    if (parser.isSet(u"stream"_s))
        service.addStream(parser.value(u"stream"_s), u"An earlier talk"_s, 3);
    for (const QString& text : parser.values(u"fault"_s)) {
        const QStringList parts = text.split(u':');
        bool known = false;
        const int fault = QMetaEnum::fromType<HttpTestServer::Fault>().keyToValue(
            parts.value(0).toLatin1().constData(), &known);
        if (!known)
            return 2;
        service.setFault(
            parts.value(1), HttpTestServer::Fault(fault), parts.value(2, u"-1"_s).toInt());
    }
    QTextStream(stdout) << "SERVICE https://localhost:" << service.port() << '\n'
                        << "SWITCHER http://127.0.0.1:" << switcher.port() << "/api/\n"
                        << "AUTHORITY " << directory.absoluteFilePath(u"ca.pem"_s) << Qt::endl;

    const quint16 port = service.port();
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, &service, [&] {
        char text[64] = {};
        const ssize_t size = read(STDIN_FILENO, text, sizeof text - 1);
        commands.setEnabled(size > 0);
        const QByteArray command = QByteArray(text).trimmed();
        if (command == "down")
            service.shutDown();
        else if (command != "up" || !service.listenTls(certificates->serverConfiguration(), port))
            return;
        QTextStream(stdout) << command << Qt::endl;
    });
    return application.exec();
}

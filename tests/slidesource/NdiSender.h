#pragma once

#include <QtTest>

/// The sending process (tools/ndisender), whose path is in PODIUMCAST_NDI_SENDER.
class NdiSender
{
public:
    NdiSender()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        start();
    }
    ~NdiSender() { kill(); }

    void start() { m_process.start(qEnvironmentVariable("PODIUMCAST_NDI_SENDER"), QStringList()); }
    /// Without a word to its receivers.
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    bool order(const QString& line)
    {
        m_process.write(line.toUtf8() + '\n');
        return QTest::qWaitFor([this] { return m_process.canReadLine(); })
            && m_process.readLine() == "ok\n";
    }

private:
    QProcess m_process;
};

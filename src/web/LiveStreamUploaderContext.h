#pragma once

#include <QDebug>
#include <QString>

#include <aws/core/client/AsyncCallerContext.h>

/// Travels with one transfer, so that the callbacks on the SDK's threads know its slide.
/// Immutable, hence usable on every thread.
class LiveStreamUploaderContext : public Aws::Client::AsyncCallerContext
{
public:
    LiveStreamUploaderContext(int screen, qint64 time, const QString& localPath,
        const QString& remoteBucket, const QString& remotePath);

    [[nodiscard]] int screen() const { return m_screen; }
    [[nodiscard]] qint64 time() const { return m_time; } ///< milliseconds on the slide clock
    [[nodiscard]] QString localPath() const { return m_localPath; }
    [[nodiscard]] QString remoteBucket() const { return m_remoteBucket; }
    [[nodiscard]] QString remotePath() const { return m_remotePath; }

    /// The last component of the local path.
    [[nodiscard]] QString localName() const;
    /// By the local path's suffix: PNG, JPEG, or bytes of any kind.
    [[nodiscard]] QString contentType() const;

private:
    const int m_screen;
    const qint64 m_time;
    const QString m_localPath;
    const QString m_remoteBucket;
    const QString m_remotePath;
};

QDebug operator<<(QDebug debug, const LiveStreamUploaderContext& context);

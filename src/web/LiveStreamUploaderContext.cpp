#include "web/LiveStreamUploaderContext.h"

#include <QDebugStateSaver>

using namespace Qt::StringLiterals;

LiveStreamUploaderContext::LiveStreamUploaderContext(int screen, qint64 time,
    const QString& localPath, const QString& remoteBucket, const QString& remotePath)
    : m_screen(screen)
    , m_time(time)
    , m_localPath(localPath)
    , m_remoteBucket(remoteBucket)
    , m_remotePath(remotePath)
{
}

QString LiveStreamUploaderContext::localName() const
{
    return m_localPath.section(u'/', -1);
}

QString LiveStreamUploaderContext::contentType() const
{
    const QString path = m_localPath.toLower();
    if (path.endsWith(".png"_L1))
        return u"image/png"_s;
    if (path.endsWith(".jpg"_L1) || path.endsWith(".jpeg"_L1))
        return u"image/jpeg"_s;
    return u"application/octet-stream"_s;
}

QDebug operator<<(QDebug debug, const LiveStreamUploaderContext& context)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "LiveStreamUploaderContext{screen=" << context.screen()
                    << ", time=" << context.time() << ", localPath=" << context.localPath()
                    << ", remoteBucket=" << context.remoteBucket()
                    << ", remotePath=" << context.remotePath() << "}";
    return debug;
}

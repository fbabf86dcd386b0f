#include "ui/ExternalLinks.h"

#include "BuildConfig.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QVariant>

using namespace Qt::StringLiterals;

bool ExternalLinks::openDirectory(const QString& directory)
{
    // Canonical paths, so that neither ".." nor a symbolic link leads out of the work directory.
    const QString workDir
        = QDir(QCoreApplication::instance()->property("workDir").toString()).canonicalPath();
    const QString path = QDir(directory).canonicalPath();
    const QString below = workDir.endsWith(u'/') ? workDir : QString(workDir + u'/');
    // A file, which the system would run or show, is no directory either.
    if (workDir.isEmpty() || !path.startsWith(below) || !QFileInfo(path).isDir()) {
        qWarning() << "[ExternalLinks]"
                   << "not opening" << directory;
        return false;
    }
    // Without the slash, Windows would rather start a program of that name that lies beside it.
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path + u'/'));
}

bool ExternalLinks::open(const QUrl& url)
{
    if (!url.isValid() || (url.scheme() != "https"_L1 && url.scheme() != "http"_L1)) {
        qWarning() << "[ExternalLinks]"
                   << "not opening" << url;
        return false;
    }
    return QDesktopServices::openUrl(url);
}

QUrl ExternalLinks::service(const QString& path)
{
    QUrl url;
    url.setScheme(u"https"_s);
    url.setAuthority(QStringLiteral(PODIUMCAST_SERVICE_HOST));
    url.setPath(path, QUrl::DecodedMode);
    return url;
}

QUrl ExternalLinks::presentation(const QString& id, const QString& page)
{
    // Dots as a whole segment lead to another page, also percent-encoded.
    if (id.isEmpty() || id == "."_L1 || id == ".."_L1)
        return {};
    QUrl url = service({});
    url.setPath(u'/' + QString::fromLatin1(QUrl::toPercentEncoding(id)) + page, QUrl::StrictMode);
    return url;
}

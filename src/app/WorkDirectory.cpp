#include "app/WorkDirectory.h"

#include <QDebug>
#include <QDir>

using namespace Qt::StringLiterals;

namespace WorkDirectory {

QString settle(const QString& applicationDir)
{
    const QString wanted = qEnvironmentVariable("PODIUMCAST_WORK_DIR");
    if (!wanted.isEmpty()) {
        const QDir dir(wanted);
        // Where it cannot be made it still is the place that was asked for: the recorder then says
        // that it cannot record there, instead of recording somewhere else.
        if (!dir.mkpath(u"."_s))
            qWarning() << "[Application]"
                       << "creating work directory" << wanted << "failed";
        return dir.absolutePath();
    }

    QDir dir(applicationDir);
    if (dir.absolutePath().toLower().endsWith("app"_L1)) {
        QDir parent(dir);
        parent.cdUp();
        if (!parent.entryList({ u"PodiumcastRecorderLauncher.exe"_s }).isEmpty())
            dir.cdUp();
    }
    const QString name = u"Presentations"_s;
    if (dir.cd(name) || (dir.mkdir(name) && dir.cd(name)))
        return dir.absolutePath();
    return applicationDir;
}

} // namespace WorkDirectory

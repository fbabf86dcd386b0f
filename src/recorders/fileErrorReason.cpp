#include "recorders/fileErrorReason.h"

#include <QFileDevice>

QString fileErrorReason(const QFileDevice& file)
{
    QString reason = file.errorString().trimmed();
    if (reason.endsWith(u'.'))
        reason.chop(1);
    return reason;
}

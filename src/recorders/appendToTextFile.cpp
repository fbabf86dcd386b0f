#include "recorders/appendToTextFile.h"
#include "recorders/fileErrorReason.h"

#include <QFile>

bool appendToTextFile(const QString& path, const QByteArray& text, QString* error)
{
    QFile file(path);
    // Unbuffered: what a full disk refuses must not be tried again when the file is closed.
    const bool open = file.open(
        QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text | QIODevice::Unbuffered);
    const qint64 end = open ? file.size() : 0;
    if (open && file.write(text) == text.size())
        return true;
    *error = fileErrorReason(file);
    if (open)
        file.resize(end); // a full disk may have taken the first bytes
    return false;
}

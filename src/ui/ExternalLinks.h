#pragma once

#include <QString>
#include <QUrl>

/// What the window hands to the system's browser and file manager. Texts of others (the service, a
/// presentation on a disk that somebody had) come in here: what could lead elsewhere is refused and
/// logged. Main thread.
namespace ExternalLinks {

/// Shows @p directory in the file manager; false for what is not a directory in the work directory.
bool openDirectory(const QString& directory);

/// Opens an http or https address in the browser; false for everything else.
bool open(const QUrl& url);

/// The address of @p path ("/…") on the service's site.
[[nodiscard]] QUrl service(const QString& path);

/// The page of a presentation, whose @p id is one segment of the address whatever is in it; empty
/// for an id that cannot be one.
[[nodiscard]] QUrl presentation(const QString& id, const QString& page);

} // namespace ExternalLinks

#pragma once

#include <QString>

/// Decides where the presentations are kept and makes the directory.
namespace WorkDirectory {

/// The directory that PODIUMCAST_WORK_DIR names, when that is set. Otherwise "Presentations" beside
/// the program; or beside its launcher, when the program sits in a directory whose name ends in
/// "app" next to it, so that replacing the program leaves the presentations alone; or, where no
/// directory can be made, the program's own directory.
/// @p applicationDir is the program's directory. Returns an absolute path.
[[nodiscard]] QString settle(const QString& applicationDir);

} // namespace WorkDirectory

#pragma once

#include <QDir>
#include <QString>

/// Makes whole what a recording left behind when its program was killed or its computer lost power.
///
/// What the recorder writes is whole by itself or ends with what was written last; so only ends are
/// repaired: the lengths in the header of "audio.wav", where they are the zeros of the start and
/// samples follow; lines and JSON objects that were cut off; temporary files of pictures that never
/// got their name; an "audio.wav" without anything in it. Nothing that can be read is taken away.
/// See docs/decisions.
namespace PresentationRecovery {

/// The file in a presentation's directory that says that it was recovered.
extern const QString MarkFileName;

enum Result {
    Untouched, ///< complete, still being recorded, or no presentation at all
    Recovered,
    Failed, ///< cut off, but the directory or a file in it cannot be written
};

/// Looks at the presentation in @p dir and repairs it where it was cut off. Any thread; never
/// touches a recording under way, whichever process or computer it belongs to.
[[nodiscard]] Result recover(const QDir& dir);

/// Whether @p dir was recovered at some time.
[[nodiscard]] bool isMarked(const QDir& dir);

} // namespace PresentationRecovery

#pragma once

#include <QThread>

/// The end of threads that may sit in a call which never returns: on a disk that hangs, in a
/// driver. The program must end all the same.
///
/// A thread that does not end is left alone for ever, with its object and everything that it uses:
/// a thread that is terminated may hold a lock that others need, and QThread's destructor ends the
/// program when its thread still runs. The process then has to end without the destructors of
/// static objects, see anyLeftAlone().
///
/// Main thread only, where objects are destroyed at the end of the program.
namespace WorkerEnd {

/// Waits for @p worker, which was asked to end. False when it does not: then it has no parent any
/// more and must not be deleted. What is waited in vain counts for all workers together, because
/// the disk that holds up one of them holds up the others: five seconds, then a moment for each.
[[nodiscard]] bool wait(QThread* worker);

/// The same, and deletes a worker that has ended.
void waitAndDelete(QThread* worker);

/// Notes that somebody gave up a thread in another way.
void noteLeftAlone();

/// Whether threads may still use what static destructors destroy.
[[nodiscard]] bool anyLeftAlone();

} // namespace WorkerEnd

#include "processing/WorkerEnd.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QElapsedTimer>

#include <algorithm>

namespace {

// A drive that wakes up takes that long, and a sync of what an ordinary disk has cached. With what
// the application waited before, the program ends in less time than a person takes to kill it.
constexpr qint64 PatienceMs = 5000;
// For a worker that does not hang: to notice that it was asked.
constexpr qint64 MomentMs = 250;

qint64 waitedInVainMs = 0;
bool leftAlone = false;

} // namespace

namespace WorkerEnd {

bool wait(QThread* worker)
{
    QElapsedTimer timer;
    timer.start();
    if (worker->wait(QDeadlineTimer(std::max(MomentMs, PatienceMs - waitedInVainMs))))
        return true;
    waitedInVainMs += timer.elapsed();
    worker->setParent(nullptr);
    noteLeftAlone();
    qCritical() << "[WorkerEnd]" << worker->metaObject()->className()
                << "does not end and is left alone";
    return false;
}

void waitAndDelete(QThread* worker)
{
    if (wait(worker))
        delete worker;
}

void noteLeftAlone()
{
    leftAlone = true;
}

bool anyLeftAlone()
{
    return leftAlone;
}

} // namespace WorkerEnd

#pragma once

#include "harness/Files.h"
#include "recording/Presentation.h"

#include <QtTest>

#include <memory>

/// One of the side recorders with a presentation of its own and an eye on its signals.
template <typename Recorder> struct TestRecording
{
    QTemporaryDir dir;
    Presentation presentation{ QDir(dir.path()) };
    std::unique_ptr<Recorder> recorder = std::make_unique<Recorder>();
    QSignalSpy started{ recorder.get(), &Recorder::started };
    QSignalSpy stopped{ recorder.get(), &Recorder::stopped };
    QSignalSpy errors{ recorder.get(), &Recorder::recordingError };

    bool start()
    {
        recorder->requestStart(&presentation);
        return started.wait() && recorder->state() == Recorder::Started;
    }

    /// True when the stop is answered @p answers times.
    bool stop(int answers = 1)
    {
        stopped.clear();
        recorder->requestStop();
        return QTest::qWaitFor([this, answers] { return stopped.count() == answers; })
            && recorder->state() == Recorder::Stopped;
    }

    QByteArray content(const QString& fileName) const { return readFile(dir.filePath(fileName)); }
};

#pragma once

#include "recording/Recorder.h"

#include <QSignalSpy>

/// A recorder and what it says.
struct WatchedRecorder : Recorder
{
    QSignalSpy starts{ this, &Recorder::started };
    QSignalSpy stops{ this, &Recorder::stopped };
    QSignalSpy errors{ this, &Recorder::recordingError };

    [[nodiscard]] QString told() const
    {
        QStringList texts;
        for (const QVariantList& error : errors)
            texts.append(error.first().toString());
        return texts.join(u'\n');
    }
};

#pragma once

#include "harness/IsolatedSettings.h"
#include "recording/Recorder.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideImage.h"

#include <QtTest>

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

    /// Once, before the first one: the screens and the microphone of the test's desktop are chosen.
    static void prepare()
    {
        qRegisterMetaType<QList<SlideImage>>("QList<SlideImage>");
        RecorderSettings* settings = RecorderSettings::instance();
        settings->refreshAvailableSlideSources();
        settings->refreshAvailableAudioInputs();
        settings->setAudioChannelCount(1);
        QVERIFY(settings->selectedAudioInput().isValid());
        QTRY_COMPARE(
            settings->selectedSlideSource().type(), SlidesSourceInfo::IntervalScreenCapture);
    }
};

#pragma once

#include "settings/AudioInputInfo.h"
#include "slidesource/SlideSourceLister.h"
#include "slidesource/SlidesSourceInfo.h"

#include <QList>
#include <QObject>
#include <QTimer>

/// The operator's persistent recording choices and the live catalogues of slide sources and audio
/// inputs, re-read once a second. Process-wide; main thread only.
class RecorderSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<SlidesSourceInfo> availableSlideSources READ availableSlideSources NOTIFY
            property_availableSlideSourcesChanged)
    Q_PROPERTY(bool useNativeSlideSourceResolution READ useNativeSlideSourceResolution WRITE
            setUseNativeSlideSourceResolution NOTIFY property_useNativeSlideSourceResolutionChanged)
    Q_PROPERTY(int slideWidth READ slideWidth WRITE setSlideWidth NOTIFY property_slideWidthChanged)
    Q_PROPERTY(
        int slideHeight READ slideHeight WRITE setSlideHeight NOTIFY property_slideHeightChanged)
    Q_PROPERTY(bool pointerRecordingEnabled READ pointerRecordingEnabled WRITE
            setPointerRecordingEnabled NOTIFY property_pointerRecordingEnabledChanged)
    Q_PROPERTY(QList<AudioInputInfo> availableAudioInputs READ availableAudioInputs NOTIFY
            property_availableAudioInputsChanged)
    Q_PROPERTY(AudioInputInfo selectedAudioInput READ selectedAudioInput WRITE setSelectedAudioInput
            NOTIFY property_selectedAudioInputChanged)
    Q_PROPERTY(int audioChannelCount READ audioChannelCount WRITE setAudioChannelCount NOTIFY
            property_audioChannelCountChanged)
    Q_PROPERTY(SlidesSourceInfo selectedSlideSource READ selectedSlideSource WRITE
            setSelectedSlideSource NOTIFY property_selectedSlideSourceChanged)

    /// Why a recording cannot start, in words for the operator; empty: it can. The chosen slide
    /// source has gone and the default has taken its place unasked; a choice ends this.
    Q_PROPERTY(QString slideSourceProblem READ slideSourceProblem NOTIFY
            property_slideSourceProblemChanged)

public:
    static RecorderSettings* instance();

    /// Reads the scalar values and starts the refresh timer. The stored selections are applied by
    /// the first refresh of each catalogue, one second later.
    void load();

    QList<SlidesSourceInfo> availableSlideSources() const { return m_availableSlideSources; }
    bool useNativeSlideSourceResolution() const { return m_useNativeSlideSourceResolution; }
    int slideWidth() const { return m_slideWidth; }
    int slideHeight() const { return m_slideHeight; }
    bool pointerRecordingEnabled() const { return m_pointerRecordingEnabled; }
    QList<AudioInputInfo> availableAudioInputs() const { return m_availableAudioInputs; }
    AudioInputInfo selectedAudioInput() const { return m_selectedAudioInput; }
    int audioChannelCount() const { return m_audioChannelCount; }
    SlidesSourceInfo selectedSlideSource() const { return m_selectedSlideSource; }
    QString slideSourceProblem() const { return m_slideSourceProblem; }

public slots:
    void setUseNativeSlideSourceResolution(bool newVal);
    void setSlideWidth(int newVal);
    void setSlideHeight(int newVal);
    void setPointerRecordingEnabled(bool newVal);
    void setSelectedAudioInput(const AudioInputInfo& newVal);
    void setAudioChannelCount(int newVal);
    /// A disabled source is refused without a word.
    void setSelectedSlideSource(const SlidesSourceInfo& newVal);
    /// Asks for a new catalogue, which is listed on another thread and applied when it is there.
    void refreshAvailableSlideSources();
    void selectDefaultSlideSource();
    void refreshAvailableAudioInputs();
    void selectDefaultAudioInput();
    /// Any number of changes in one turn of the event loop make one save().
    void scheduleSave();
    void save();

signals:
    void property_availableSlideSourcesChanged();
    void property_useNativeSlideSourceResolutionChanged();
    void property_slideWidthChanged();
    void property_slideHeightChanged();
    void property_pointerRecordingEnabledChanged();
    void property_availableAudioInputsChanged();
    void property_selectedAudioInputChanged();
    void property_audioChannelCountChanged();
    void property_selectedSlideSourceChanged();
    void property_slideSourceProblemChanged();

private:
    RecorderSettings();

    void loadBasicSettings();
    void applySlideSources(const QList<SlidesSourceInfo>& sources, bool complete);
    void assignSlideSource(const SlidesSourceInfo& source);
    void setSlideSourceProblem(const QString& problem);
    void loadSelectedSlideSourceSettings();
    [[nodiscard]] bool isSlideSourceSettled() const;
    void loadSelectedAudioInputSettings();

    QList<SlidesSourceInfo> m_availableSlideSources;
    bool m_useNativeSlideSourceResolution = false;
    int m_slideWidth = 0;
    int m_slideHeight = 0;
    bool m_pointerRecordingEnabled = false;
    QList<AudioInputInfo> m_availableAudioInputs;
    AudioInputInfo m_selectedAudioInput;
    int m_audioChannelCount = 0;
    SlidesSourceInfo m_selectedSlideSource;
    QString m_slideSourceProblem;
    SlideSourceLister m_slideSourceLister;
    QTimer m_saveTimer;
    QTimer m_refreshTimer;
    bool m_slideSourcesLoaded = false; ///< the stored choice has been looked for in all kinds
    bool m_slideSourceChosen = false; ///< by the operator, in this run
    bool m_audioInputsLoaded = false;
};

#include "settings/RecorderSettings.h"

#include "settings/SettingsValue.h"

#include <QDebug>
#include <QSettings>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString UseNativeSlideSourceResolutionKey
    = u"recorderSettings/useNativeSlideSourceResolution"_s;
const QString SlideWidthKey = u"recorderSettings/slideWidth"_s;
const QString SlideHeightKey = u"recorderSettings/slideHeight"_s;
const QString PointerRecordingEnabledKey = u"recorderSettings/pointerRecordingEnabled"_s;
const QString AudioChannelCountKey = u"recorderSettings/audioChannelCount"_s;
const QString SelectedSlideSourceKey = u"recorderSettings/selectedSlideSource"_s;
const QString SelectedAudioInputKey = u"recorderSettings/selectedAudioInput"_s;

constexpr int RefreshIntervalMs = 1000;

// Entries are compared by id and without regard to their order.
template <typename Entry> bool sameCatalogue(const QList<Entry>& stored, const QList<Entry>& fresh)
{
    return stored.size() == fresh.size()
        && std::all_of(fresh.begin(), fresh.end(),
            [&stored](const Entry& entry) { return stored.contains(entry); });
}

} // namespace

RecorderSettings* RecorderSettings::instance()
{
    static RecorderSettings settings;
    return &settings;
}

RecorderSettings::RecorderSettings()
{
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(0);
    connect(&m_saveTimer, &QTimer::timeout, this, &RecorderSettings::save);

    connect(&m_slideSourceLister, &SlideSourceLister::listed, this,
        &RecorderSettings::applySlideSources);

    m_refreshTimer.setInterval(RefreshIntervalMs);
    connect(
        &m_refreshTimer, &QTimer::timeout, this, &RecorderSettings::refreshAvailableSlideSources);
    connect(
        &m_refreshTimer, &QTimer::timeout, this, &RecorderSettings::refreshAvailableAudioInputs);

    for (const auto changed : { &RecorderSettings::property_selectedSlideSourceChanged,
             &RecorderSettings::property_useNativeSlideSourceResolutionChanged,
             &RecorderSettings::property_slideWidthChanged,
             &RecorderSettings::property_slideHeightChanged,
             &RecorderSettings::property_pointerRecordingEnabledChanged,
             &RecorderSettings::property_selectedAudioInputChanged,
             &RecorderSettings::property_audioChannelCountChanged })
        connect(this, changed, this, &RecorderSettings::scheduleSave);
}

void RecorderSettings::setUseNativeSlideSourceResolution(bool newVal)
{
    if (m_useNativeSlideSourceResolution == newVal)
        return;
    m_useNativeSlideSourceResolution = newVal;
    emit property_useNativeSlideSourceResolutionChanged();
}

void RecorderSettings::setSlideWidth(int newVal)
{
    if (m_slideWidth == newVal)
        return;
    m_slideWidth = newVal;
    emit property_slideWidthChanged();
}

void RecorderSettings::setSlideHeight(int newVal)
{
    if (m_slideHeight == newVal)
        return;
    m_slideHeight = newVal;
    emit property_slideHeightChanged();
}

void RecorderSettings::setPointerRecordingEnabled(bool newVal)
{
    if (m_pointerRecordingEnabled == newVal)
        return;
    m_pointerRecordingEnabled = newVal;
    emit property_pointerRecordingEnabledChanged();
}

void RecorderSettings::setSelectedAudioInput(const AudioInputInfo& newVal)
{
    if (!(m_selectedAudioInput != newVal))
        return;
    m_selectedAudioInput = newVal;
    emit property_selectedAudioInputChanged();
}

void RecorderSettings::setAudioChannelCount(int newVal)
{
    if (m_audioChannelCount == newVal)
        return;
    m_audioChannelCount = newVal;
    emit property_audioChannelCountChanged();
}

void RecorderSettings::setSelectedSlideSource(const SlidesSourceInfo& newVal)
{
    // Also when the operator confirms what the default rule has put in.
    if (newVal.enabled()) {
        setSlideSourceProblem({});
        m_slideSourceChosen = true;
    }
    assignSlideSource(newVal);
}

void RecorderSettings::assignSlideSource(const SlidesSourceInfo& source)
{
    if (!source.enabled() || !(m_selectedSlideSource != source))
        return;
    m_selectedSlideSource = source;
    emit property_selectedSlideSourceChanged();
}

void RecorderSettings::setSlideSourceProblem(const QString& problem)
{
    if (m_slideSourceProblem == problem)
        return;
    m_slideSourceProblem = problem;
    emit property_slideSourceProblemChanged();
}

void RecorderSettings::scheduleSave()
{
    m_saveTimer.start();
}

void RecorderSettings::save()
{
    QSettings settings;
    qDebug() << "[RecorderSettings]"
             << "saveSettings" << settings.fileName();
    settings.setValue(UseNativeSlideSourceResolutionKey, m_useNativeSlideSourceResolution);
    settings.setValue(SlideWidthKey, m_slideWidth);
    settings.setValue(SlideHeightKey, m_slideHeight);
    settings.setValue(PointerRecordingEnabledKey, m_pointerRecordingEnabled);
    settings.setValue(AudioChannelCountKey, m_audioChannelCount);
    // Until the first list of each kind is there, its stored choice has not been applied yet.
    if (isSlideSourceSettled())
        settings.setValue(SelectedSlideSourceKey, m_selectedSlideSource.id());
    if (m_audioInputsLoaded)
        settings.setValue(SelectedAudioInputKey, m_selectedAudioInput.id());
}

void RecorderSettings::load()
{
    loadBasicSettings();
    m_refreshTimer.start();
}

void RecorderSettings::loadBasicSettings()
{
    const QSettings settings;
    qDebug() << "[RecorderSettings]"
             << "loadBasicSettings" << settings.fileName();
    setUseNativeSlideSourceResolution(
        SettingsValue::readBool(settings, UseNativeSlideSourceResolutionKey, true));
    setSlideWidth(SettingsValue::readInt(settings, SlideWidthKey, 1920));
    setSlideHeight(SettingsValue::readInt(settings, SlideHeightKey, 1080));
    setPointerRecordingEnabled(SettingsValue::readBool(settings, PointerRecordingEnabledKey, true));
    setAudioChannelCount(SettingsValue::readInt(settings, AudioChannelCountKey, 1));
}

void RecorderSettings::refreshAvailableSlideSources()
{
    m_slideSourceLister.request();
}

void RecorderSettings::applySlideSources(const QList<SlidesSourceInfo>& sources, bool complete)
{
    // The same sources may have got other indices: a camera's index moves when one before it goes.
    const bool same = sameCatalogue(m_availableSlideSources, sources);
    m_availableSlideSources = sources;
    const qsizetype selected = sources.indexOf(m_selectedSlideSource);
    if (selected >= 0)
        m_selectedSlideSource = sources.at(selected);
    if (!same) {
        qDebug() << "[RecorderSettings]"
                 << "available cameras changed";
        emit property_availableSlideSourcesChanged();
        if (isSlideSourceSettled() && !m_availableSlideSources.contains(m_selectedSlideSource)) {
            // Recording something else than the operator chose must not happen unnoticed.
            if (m_selectedSlideSource.isValid())
                setSlideSourceProblem(tr("The slide source \"%1\" is no longer there. Connect it "
                                         "and choose it again, or choose another one in the "
                                         "settings.")
                                          .arg(m_selectedSlideSource.name()));
            selectDefaultSlideSource();
        }
    }
    // Until all kinds are there, what is stored may still come: then it takes the place of what
    // was put in meanwhile, but not of what the operator has chosen meanwhile.
    if (!isSlideSourceSettled() && (!same || complete))
        loadSelectedSlideSourceSettings();
    m_slideSourcesLoaded |= complete;
}

/// Whether the selection is more than something to record with for the time being.
bool RecorderSettings::isSlideSourceSettled() const
{
    return m_slideSourcesLoaded || m_slideSourceChosen;
}

void RecorderSettings::loadSelectedSlideSourceSettings()
{
    const QSettings settings;
    qDebug() << "[RecorderSettings]"
             << "loadSelectedSlideSourceSettings" << settings.fileName();
    const QByteArray id = settings.value(SelectedSlideSourceKey).toByteArray();
    const auto found = std::find_if(m_availableSlideSources.cbegin(),
        m_availableSlideSources.cend(),
        [&id](const SlidesSourceInfo& source) { return source.enabled() && source.id() == id; });
    if (found == m_availableSlideSources.cend())
        selectDefaultSlideSource();
    else
        assignSlideSource(*found);
}

void RecorderSettings::selectDefaultSlideSource()
{
    // Only the first entry is a default: a disabled one leaves the selection as it was.
    assignSlideSource(m_availableSlideSources.value(0));
}

void RecorderSettings::refreshAvailableAudioInputs()
{
    const QList<AudioInputInfo> inputs = AudioInputInfo::availableAudioInputs();
    if (!sameCatalogue(m_availableAudioInputs, inputs)) {
        qDebug() << "[RecorderSettings]"
                 << "available audio inputs changed";
        m_availableAudioInputs = inputs;
        emit property_availableAudioInputsChanged();
        if (m_audioInputsLoaded && !m_availableAudioInputs.contains(m_selectedAudioInput))
            selectDefaultAudioInput();
    }
    if (!m_audioInputsLoaded) {
        m_audioInputsLoaded = true;
        loadSelectedAudioInputSettings();
    }
}

void RecorderSettings::loadSelectedAudioInputSettings()
{
    const QSettings settings;
    qDebug() << "[RecorderSettings]"
             << "loadSelectedAudioInputSettings" << settings.fileName();
    const QByteArray id = settings.value(SelectedAudioInputKey).toByteArray();
    const auto found = std::find_if(m_availableAudioInputs.cbegin(), m_availableAudioInputs.cend(),
        [&id](const AudioInputInfo& input) { return input.id() == id; });
    if (found == m_availableAudioInputs.cend())
        selectDefaultAudioInput();
    else
        setSelectedAudioInput(*found);
}

void RecorderSettings::selectDefaultAudioInput()
{
    setSelectedAudioInput(m_availableAudioInputs.value(0));
}

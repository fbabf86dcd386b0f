#include "settings/AudioInputInfo.h"

#include <QDebugStateSaver>
#include <QMediaDevices>

using namespace Qt::StringLiterals;

QString AudioInputInfo::name() const
{
    return isValid() ? m_device.description() : u"<invalid audio input>"_s;
}

bool AudioInputInfo::operator==(const AudioInputInfo& other) const
{
    if (!isValid() && !other.isValid())
        return false;
    return id() == other.id();
}

bool AudioInputInfo::operator!=(const AudioInputInfo& other) const
{
    if (!isValid() && !other.isValid())
        return false;
    return id() != other.id();
}

bool AudioInputInfo::sameAs(const AudioInputInfo& other) const
{
    return *this == other;
}

QList<AudioInputInfo> AudioInputInfo::availableAudioInputs()
{
    const QList<QAudioDevice> devices = QMediaDevices::audioInputs();
    QList<AudioInputInfo> inputs;
    inputs.reserve(devices.size());
    for (const QAudioDevice& device : devices)
        inputs.append(AudioInputInfo(device));
    return inputs;
}

QDebug operator<<(QDebug debug, const AudioInputInfo& info)
{
    const QDebugStateSaver saver(debug);
    // Sources and inputs carry the same label in the log.
    debug.nospace() << "SlidesSourceInfo"
                    << "(" << info.name() << ")";
    return debug;
}

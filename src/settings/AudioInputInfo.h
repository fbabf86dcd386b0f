#pragma once

#include <QAudioDevice>
#include <QByteArray>
#include <QDebug>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

/// One entry of the audio input catalogue: a value around a QAudioDevice.
class AudioInputInfo
{
    Q_GADGET

public:
    AudioInputInfo() = default;
    explicit AudioInputInfo(const QAudioDevice& device)
        : m_device(device)
    {
    }

    [[nodiscard]] Q_INVOKABLE QString name() const;
    [[nodiscard]] Q_INVOKABLE bool sameAs(const AudioInputInfo& other) const;
    [[nodiscard]] Q_INVOKABLE QByteArray id() const { return m_device.id(); }
    [[nodiscard]] bool isValid() const { return !m_device.isNull(); }
    [[nodiscard]] QAudioDevice audioDevice() const { return m_device; }

    /// Equality by id. Two invalid inputs are neither equal nor different, so that an invalid
    /// selection never matches a list entry and is never replaced by another invalid one.
    bool operator==(const AudioInputInfo& other) const;
    bool operator!=(const AudioInputInfo& other) const;

    /// The system's audio inputs, in the order that Qt gives. Main thread.
    [[nodiscard]] static QList<AudioInputInfo> availableAudioInputs();

private:
    QAudioDevice m_device;
};
Q_DECLARE_METATYPE(AudioInputInfo)

QDebug operator<<(QDebug debug, const AudioInputInfo& info);

#pragma once

#include <QByteArray>
#include <QDebug>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariant>

/// Names one selectable slide source: all screens, a camera or capture card, or an NDI source.
/// A plain value, immutable by convention; two sources are the same when their ids are.
class SlidesSourceInfo
{
    Q_GADGET

public:
    enum SlideSourceType : qint32 {
        InvalidSlideSource = 0,
        // 1 is reserved: nothing lists it and the factory refuses it.
        IntervalScreenCapture = 2,
        VideoInput = 3,
        NDISource = 4,
    };
    Q_ENUM(SlideSourceType)

    SlidesSourceInfo() = default;
    SlidesSourceInfo(
        bool enabled, SlideSourceType type, const QByteArray& id, int index, const QString& name);

    [[nodiscard]] Q_INVOKABLE bool enabled() const { return m_enabled; }
    [[nodiscard]] Q_INVOKABLE SlidesSourceInfo::SlideSourceType type() const { return m_type; }
    [[nodiscard]] Q_INVOKABLE QString name() const { return m_name; }
    [[nodiscard]] QByteArray id() const { return m_id; }
    /// Position among the sources of its kind (what the capture library opens); −1: not applicable.
    [[nodiscard]] int index() const { return m_index; }
    [[nodiscard]] bool isValid() const { return m_type != InvalidSlideSource; }

    /// Extra values by key; for NDI "ndiUrlAddress". An unknown key gives an invalid QVariant.
    [[nodiscard]] QVariant data(const QString& key) const { return m_data.value(key); }
    void setData(const QString& key, const QVariant& value) { m_data.insert(key, value); }

    /// Equality by id. Two invalid values are neither equal nor unequal, so that an invalid
    /// selection never matches a list entry and is never replaced by another invalid one.
    bool operator==(const SlidesSourceInfo& other) const;
    bool operator!=(const SlidesSourceInfo& other) const;
    [[nodiscard]] Q_INVOKABLE bool sameAs(const SlidesSourceInfo& other) const;

    /// False for devices that are listed but cannot be recorded.
    [[nodiscard]] static bool videoInputEnabledByName(const QString& name);

    /// All selectable sources: screens, then video inputs, then NDI sources. Enumerates devices on
    /// the calling thread and may block for as long as their drivers do.
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSources();
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSourcesGeneral();
    /// Cameras and capture cards: the platform's own listing; the other one is empty.
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSourcesWindowsDirectShow();
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSourcesV4L2();
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSourcesNDI();
    /// Empty: macOS is not supported.
    [[nodiscard]] static QList<SlidesSourceInfo> availableSlideSourcesMacOS() { return {}; }

private:
    bool m_enabled = true;
    SlideSourceType m_type = InvalidSlideSource;
    QByteArray m_id;
    int m_index = -1;
    QString m_name = QStringLiteral("<invalid slide source>");
    QMap<QString, QVariant> m_data;
};

QDebug operator<<(QDebug debug, const SlidesSourceInfo& info);

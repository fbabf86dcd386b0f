#pragma once

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QDomDocument;
class QDomElement;

/// One recording: a directory below the work directory with everything that was recorded, named by
/// its "presentation.xml". Stands for a recording under way (create()) or an earlier one (load()).
///
/// Used on the thread that created it; owned by the caller of create() or load().
class Presentation : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        bool isLiveStream READ isLiveStream WRITE setLiveStream NOTIFY property_isLiveStreamChanged)
    Q_PROPERTY(QString livestreamPresentationId READ livestreamPresentationId WRITE
            setLivestreamPresentationId NOTIFY property_livestreamPresentationIdChanged)
    Q_PROPERTY(bool connectToExistingLiveStream READ connectToExistingLiveStream WRITE
            setConnectToExistingLiveStream NOTIFY property_connectToExistingLiveStreamChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY property_titleChanged)
    Q_PROPERTY(
        QDateTime recordedAt READ recordedAt WRITE setRecordedAt NOTIFY property_recordedAtChanged)
    Q_PROPERTY(int slideCount READ slideCount WRITE setSlideCount NOTIFY property_slideCountChanged)
    Q_PROPERTY(bool recovered READ isRecovered CONSTANT)

public:
    explicit Presentation(const QDir& dir);

    [[nodiscard]] QDir dir() const { return m_dir; }
    [[nodiscard]] bool isLiveStream() const { return m_isLiveStream; }
    [[nodiscard]] QString livestreamPresentationId() const { return m_livestreamPresentationId; }
    [[nodiscard]] bool connectToExistingLiveStream() const { return m_connectToExistingLiveStream; }
    [[nodiscard]] QString title() const { return m_title; }
    [[nodiscard]] QDateTime recordedAt() const { return m_recordedAt; } ///< local time
    [[nodiscard]] int slideCount() const { return m_slideCount; }

    /// Found by load(): the recording was cut off and repaired later.
    [[nodiscard]] bool isRecovered() const { return m_recovered; }

    void setLiveStream(bool isLiveStream);
    void setLivestreamPresentationId(const QString& id);
    void setConnectToExistingLiveStream(bool connectToExisting);
    void setTitle(const QString& title);
    void setRecordedAt(const QDateTime& recordedAt);
    void setSlideCount(int slideCount);

    /// Milliseconds since the last restartRecordingTimer().
    [[nodiscard]] qint64 recordingTime() const;
    qint64 restartRecordingTimer();

    /// Makes a new directory with its "presentation.xml" in the work directory (the application
    /// property "workDir"). Null on failure, with a line in the log.
    [[nodiscard]] static Presentation* create(
        bool liveStream, bool connectToExistingLiveStream, const QString& livestreamPresentationId);
    /// Opens an existing presentation and counts its slides; null when @p dir holds no readable
    /// "presentation.xml". Any thread; the object belongs to the calling thread.
    [[nodiscard]] static Presentation* load(const QDir& dir);

    [[nodiscard]] bool saveXml() const;
    [[nodiscard]] bool loadXml();

signals:
    void property_isLiveStreamChanged(bool isLiveStream);
    void property_livestreamPresentationIdChanged(const QString& id);
    void property_connectToExistingLiveStreamChanged(bool connectToExisting);
    void property_titleChanged(const QString& title);
    void property_recordedAtChanged(const QDateTime& recordedAt);
    void property_slideCountChanged(int slideCount);

private:
    void appendChildElement(QDomDocument& document, QDomElement& parent, const QString& name,
        const QString& text) const;

    QDir m_dir;
    bool m_isLiveStream = false;
    QString m_livestreamPresentationId;
    bool m_connectToExistingLiveStream = false;
    QString m_title;
    QDateTime m_recordedAt;
    int m_slideCount = 0;
    bool m_recovered = false;
    QElapsedTimer m_recordingTimer;
};

#pragma once

#include <QDir>
#include <QObject>
#include <QString>
#include <QThread>
#include <QTimer>

#include <deque>

class DiskQuestion;

/// Watches the free space of the disk that is recorded to, and for how long it will last.
///
/// Before a recording the rate is an estimate: sound as the settings have it, and for the slides
/// what the last recording of this run took, or a modest deck. During a recording it is measured
/// over the last minutes. Lives on the main thread; the disk is asked on another one, because a
/// network drive may take long to answer, and then only the figures are late.
class DiskMonitor : public QObject
{
    Q_OBJECT

public:
    enum Level {
        Unknown, ///< not asked yet, or the disk does not say
        Enough,
        Low, ///< below LowBytes
        Exhausted, ///< below ExhaustedBytes: there is no room for a recording
    };
    Q_ENUM(Level)

    static constexpr qint64 LowBytes = 500'000'000;
    /// Enough to write what still waits in the queues, and for the system to live on.
    static constexpr qint64 ExhaustedBytes = 50'000'000;

    explicit DiskMonitor(QObject* parent = nullptr);
    ~DiskMonitor() override;

    [[nodiscard]] Level level() const { return m_level; }
    /// Whole minutes, rounded down, until the disk is exhausted; -1 when unknown.
    [[nodiscard]] int minutesLeft() const { return m_minutesLeft; }

public slots:
    /// Watches the disk of @p directory from now on.
    void watch(const QString& directory);
    void recordingStarted(const QDir& presentationDir);
    void recordingStopped();

signals:
    void levelChanged(DiskMonitor::Level level);
    void minutesLeftChanged(int minutes);

private:
    struct Sample
    {
        qint64 time; ///< ms
        qint64 bytes; ///< that the recording has
    };

    void poll();
    void measured(qint64 available, qint64 recordedBytes, const QString& recording);
    void setLevel(qint64 available);
    [[nodiscard]] double bytesPerSecond() const;
    [[nodiscard]] double expectedBytesPerSecond() const;

    /// Asks the disk on m_thread; both outlive this object when the disk hangs.
    DiskQuestion* m_question;
    QThread* m_thread;
    QTimer m_timer;
    QString m_directory;
    QString m_recording; ///< the presentation's directory; empty before and after
    bool m_polling = false;
    Level m_level = Unknown;
    int m_minutesLeft = -1;
    std::deque<Sample> m_samples; ///< of the recording, oldest first
    double m_slideRate = 0; ///< bytes a second of slides in the last recording; 0: there was none
};

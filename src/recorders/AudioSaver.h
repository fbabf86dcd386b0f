#pragma once

#include "processing/BlockingQueue.h"

#include <QByteArray>
#include <QString>
#include <QThread>

#include <mutex>

class QAudioFormat;
class QFile;

/// Writes the sound of one recording to its file, on a thread of its own: whoever adds sound never
/// waits for the disk, however long that takes.
///
/// The file is made when the thread starts and begins with the header. Sound is written as soon as
/// it is added; what the disk does not take (it is full, slow, or fails) waits in memory, in order,
/// and is tried again with the next sound. A stop writes what waits, patches the header's lengths
/// and closes the file. The object lives on the thread that created it; all public members may be
/// called from any thread. Its destructor waits for the disk: whoever deletes a saver whose thread
/// may still run goes through WorkerEnd.
class AudioSaver : public QThread
{
    Q_OBJECT

public:
    struct Status
    {
        bool opened = false; ///< the file was made
        bool complete = false; ///< the file is closed, with all sound and its lengths
        bool removed = false; ///< the file is no longer where it was made
        QString error; ///< why the disk did not take the last bytes, or the file; else empty
        qint64 added = 0; ///< bytes, the header's included
        qint64 written = 0; ///< of these
    };

    AudioSaver(const QString& path, const QAudioFormat& format, QObject* parent = nullptr);
    ~AudioSaver() override;

    [[nodiscard]] const QString& path() const { return m_path; }
    [[nodiscard]] Status status() const;
    /// Interleaved samples in the format. Never blocks; ignored once a stop was requested.
    void addSound(const QByteArray& samples);

public slots:
    void requestStop();

signals:
    /// The file is there, with its header if the disk took that.
    void opened();
    /// After a stop: the disk has taken some more of what waits.
    void soundSaved();
    /// Nothing more will be written, see status(); also when the file could not be made. The thread
    /// ends right after. Emitted on the saver's thread, as opened().
    void stopped();

protected:
    void run() override;

private:
    void save(QFile& file);
    void write(QFile& file, QByteArray& sound);
    void setError(const QString& reason);

    const QString m_path;
    BlockingQueue<QByteArray> m_queue;
    mutable std::mutex m_mutex;
    Status m_status; ///< under m_mutex
};

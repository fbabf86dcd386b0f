#pragma once

#include "app/SystemHold.h"
#include "recording/DiskMonitor.h"
#include "recording/Recorder.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>

class MainWindow;

/// The switchboard: decides the work directory, loads the settings, creates the window and connects
/// it with the recorder. One object per process; main thread.
class Application : public QObject
{
    Q_OBJECT

public:
    explicit Application(QObject* parent = nullptr);
    ~Application() override;

    static Application* instance();

public slots:
    /// The start-up that needs a running event loop.
    void run();

    /// As if the operator closed the window: a recording under way is finished first. A second call
    /// does not wait for uploads.
    void requestQuit();

    /// Brings the window to the front.
    void show();

private slots:
    void quit();
    void finishForSessionEnd();

private:
    static void initializeWorkDir();

    void connectRecorder();
    void connectWindow();
    void connectDisk();
    void connectQuit();
    void stopWhenDiskIsFull();

    void start(bool liveStream, bool connectToExistingLiveStream, const QString& presentationId);
    void tellWhenDiskHangs();
    void onRecorderStopped();
    void finishRecording();
    void waitForRecorder(std::chrono::seconds timeout);
    void giveUpAfter(
        std::chrono::seconds timeout, QObject* context, const std::function<void()>& giveUp);

    MainWindow* m_mainWindow = nullptr; ///< child object
    Recorder m_recorder;
    SystemHold m_systemHold;
    DiskMonitor m_diskMonitor;

    // What the words for a start that failed depend on.
    bool m_recorderStarted = false;
    bool m_stopRequested = false;
    bool m_startFailureTold = false;
    bool m_quitting = false;
    bool m_diskHangs = false; ///< found out while waiting for the end of a recording
    QElapsedTimer m_lastProgress; ///< of a recording that is being finished
    QStringList m_errorsAtEnd;
};

#pragma once

#include "ScopeFrame.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class TavrelScope;

// Every instrument call of the view, on a thread of its own: the window asks through queued calls
// and hears back through signals, so it never waits for the instrument. One acquisition is in
// flight at a time: the next starts when the window asks for it, after drawing the last one.
class ScopeWorker : public QObject {
    Q_OBJECT
public:
    explicit ScopeWorker(TavrelScope& control, QObject* parent = nullptr);

    // The acquisition of one frame, without the view's thread: the benchmark calls it directly.
    ScopeFrame acquire(RecordLength length, bool measure);

public slots:
    // Opens the control's address (closing a previous session) and reads the scope's settings.
    void open();
    void close();
    // Run: frames come one after another (nextFrame). Single: one frame. Stop: none.
    void run();
    void single();
    void stop();
    void autoScale();
    // The window drew the last frame and wants another, if the scope is running.
    void nextFrame();
    void setRecordLength(RecordLength length);
    void applyChannel(int channel, ChannelSettings settings);
    void applyTimebase(double scale, double position);
    void applyTrigger(Tavrel_TriggerSource source, double level, Tavrel_TriggerSlope slope);
    void applyPod(bool on);
    void saveScreenImage(const QString& fileName);

signals:
    void opened(const QString& connectionName, const ScopeSettings& settings);
    void settingsRead(const ScopeSettings& settings);
    void frameReady(const ScopeFrame& frame);
    // The instrument failed or stopped answering; the session is closed and nothing runs until open().
    void failed(const QString& message);
    void stateChanged(const QString& state);
    void screenImageSaved(const QString& fileName);

private:
    // Runs one instrument step; a failure closes the session and is told as failed().
    template <typename Step> bool attempt(Step&& step);
    ScopeSettings readSettings();
    void acquireAndSend();

    enum class Mode { Stopped, Running, Single };
    TavrelScope& m_control;
    Mode m_mode = Mode::Stopped;
    RecordLength m_length = RecordLength::Screen;
    ScopeSettings m_settings;
    QElapsedTimer m_settingsAge;
    bool m_open = false;
    bool m_frameInFlight = false;
    qint64 m_sequence = 0;
};

#pragma once

#include "ScopeFrame.h"

#include <QMainWindow>
#include <QThread>

class ControlPanel;
class QActionGroup;
class QLabel;
class QTableWidget;
class ScopeDisplay;
class ScopeWorker;
class TavrelScopeWidget;

// tavrel-view's main form: the control on it, the scope's screen, its front panel, measurements and
// cursors. The instrument is driven by a worker thread; the window only asks and shows.
class ViewWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit ViewWindow(QWidget* parent = nullptr);
    ~ViewWindow() override;

    TavrelScopeWidget& controlWidget() { return *m_controlWidget; }
    ScopeDisplay& display() { return *m_display; }
    // Opens a host document into the control; false (with a message) when it is refused.
    bool openDocument(const QString& path);
    // Opens the control's address and starts running.
    void connectAndRun();
    // The scope scales itself to its signals once the session is open (its AutoScale).
    void autoScaleOnOpen();
    // After the first frame is drawn, saves the window as an image there and ends the application
    // (with 1 if the instrument failed first).
    void screenshotAfterFirstFrame(const QString& path);

signals:
    void frameShown(qint64 sequence);
    void instrumentFailed(const QString& message);

private:
    void buildMenus();
    void buildToolBar();
    void buildDocks();
    void showFrame(const ScopeFrame& frame);
    void showFailure(const QString& message);
    void showCursors(double t1, double t2);
    void saveDocument(bool askName);
    void saveScreenImage();
    void showPages(int page);
    void selectLanguage(int countryCode);
    void finishScreenshot(int exitCode);
    template <typename Call> void ask(Call&& call);

    TavrelScopeWidget* m_controlWidget;
    ScopeDisplay* m_display;
    ControlPanel* m_panel;
    QTableWidget* m_measurements;
    QLabel* m_cursorReadout;
    QLabel* m_state;
    QActionGroup* m_languages = nullptr;
    QThread m_thread;
    ScopeWorker* m_worker;
    QString m_documentPath;
    QString m_screenshotPath;
    bool m_running = false;
    bool m_autoScaleOnOpen = false;
};

#include "ViewWindow.h"

#include "ControlPanel.h"
#include "ScopeDisplay.h"
#include "ScopeWorker.h"
#include "base/Languages.h"
#include "base/TavrelError.h"
#include "control/ControlDocument.h"
#include "control/EngineeringText.h"
#include "control/TavrelScope.h"
#include "pages/ControlIcon.h"
#include "pages/TavrelScopeWidget.h"

#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QTableWidget>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>
#include <cmath>

namespace {

QString measurementText(double value, const QString& unit) {
    return std::isnan(value) ? QStringLiteral("—") : EngineeringText(value, unit);
}

} // namespace

ViewWindow::ViewWindow(QWidget* parent)
    : QMainWindow(parent), m_controlWidget(new TavrelScopeWidget(this)), m_display(new ScopeDisplay(this)),
      m_panel(new ControlPanel(this)), m_measurements(new QTableWidget(0, 5, this)),
      m_cursorReadout(new QLabel(this)), m_state(new QLabel(this)),
      m_worker(new ScopeWorker(m_controlWidget->control())) {
    setWindowTitle(tr("Tavrel View"));
    setWindowIcon(ControlIcon());
    setCentralWidget(m_display);
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start();

    buildMenus();
    buildToolBar();
    buildDocks();
    statusBar()->addPermanentWidget(m_state);
    m_state->setMinimumWidth(m_state->fontMetrics().horizontalAdvance(tr("Not connected")) + 12);
    m_panel->setEnabled(false); // until the scope's settings are known

    connect(m_worker, &ScopeWorker::opened, this, [this](const QString& name, const ScopeSettings& settings) {
        m_panel->setEnabled(true);
        m_display->setBanner({});
        m_panel->showSettings(settings);
        m_display->setSettings(settings);
        statusBar()->showMessage(tr("Connected to %1").arg(name));
        if (std::exchange(m_autoScaleOnOpen, false)) ask([w = m_worker] { w->autoScale(); });
        if (m_running) ask([w = m_worker] { w->run(); });
    });
    connect(m_worker, &ScopeWorker::settingsRead, this, [this](const ScopeSettings& settings) {
        m_panel->showSettings(settings);
        m_display->setSettings(settings);
    });
    connect(m_worker, &ScopeWorker::frameReady, this, &ViewWindow::showFrame);
    connect(m_worker, &ScopeWorker::failed, this, &ViewWindow::showFailure);
    connect(m_worker, &ScopeWorker::stateChanged, this, [this](const QString& state) {
        m_state->setText(state);
        m_display->setStatusText(state);
    });
    connect(m_worker, &ScopeWorker::screenImageSaved, this, [this](const QString& file) {
        statusBar()->showMessage(tr("Screen image saved to %1").arg(file));
    });
    connect(m_display, &ScopeDisplay::cursorsChanged, this, &ViewWindow::showCursors);

    connect(m_panel, &ControlPanel::channelChanged, this, [this](int channel, ChannelSettings s) {
        ask([w = m_worker, channel, s] { w->applyChannel(channel, s); });
    });
    connect(m_panel, &ControlPanel::timebaseChanged, this, [this](double scale, double position) {
        ask([w = m_worker, scale, position] { w->applyTimebase(scale, position); });
    });
    connect(m_panel, &ControlPanel::triggerChanged, this,
            [this](Tavrel_TriggerSource source, double level, Tavrel_TriggerSlope slope) {
                ask([w = m_worker, source, level, slope] { w->applyTrigger(source, level, slope); });
            });
    connect(m_panel, &ControlPanel::podChanged, this,
            [this](bool on) { ask([w = m_worker, on] { w->applyPod(on); }); });
    connect(m_panel, &ControlPanel::recordLengthChanged, this,
            [this](RecordLength length) { ask([w = m_worker, length] { w->setRecordLength(length); }); });
    showCursors(m_display->cursor(0), m_display->cursor(1));
    resize(1280, 760);
}

ViewWindow::~ViewWindow() {
    // The worker finishes its current step (bounded by the session's timeout) and closes the session.
    ask([w = m_worker] { w->close(); });
    m_thread.quit();
    m_thread.wait();
}

template <typename Call> void ViewWindow::ask(Call&& call) {
    QMetaObject::invokeMethod(m_worker, std::forward<Call>(call), Qt::QueuedConnection);
}

void ViewWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open Document…"), QKeySequence::Open, this, [this] {
        const QString path = QFileDialog::getOpenFileName(this, tr("Open Host Document"), m_documentPath,
                                                          tr("Host documents (*.json);;All files (*)"));
        if (!path.isEmpty() && openDocument(path)) connectAndRun();
    });
    file->addAction(tr("&Save Document"), QKeySequence::Save, this, [this] { saveDocument(false); });
    file->addAction(tr("Save Document &As…"), QKeySequence::SaveAs, this, [this] { saveDocument(true); });
    file->addSeparator();
    file->addAction(tr("Save Screen &Image…"), this, &ViewWindow::saveScreenImage);
    file->addSeparator();
    file->addAction(tr("&Quit"), QKeySequence::Quit, this, &QWidget::close);

    QMenu* instrument = menuBar()->addMenu(tr("&Instrument"));
    instrument->addAction(tr("&Reconnect"), QKeySequence(Qt::CTRL | Qt::Key_R), this,
                          &ViewWindow::connectAndRun);
    instrument->addAction(tr("&Disconnect"), this, [this] {
        m_running = false;
        ask([w = m_worker] { w->close(); });
    });
    instrument->addSeparator();
    instrument->addAction(tr("&Property Pages…"), this,
                          [this] { showPages(Tavrel_ShowPropertyPage_Default); });
    instrument->addAction(tr("S&etups…"), this, [this] { showPages(Tavrel_ShowPropertyPage_Setups); });
    instrument->addSeparator();
    instrument->addAction(tr("&About Tavrel Scope Control"), this,
                          [this] { m_controlWidget->control().AboutBox(); });

    QMenu* language = menuBar()->addMenu(tr("&Language"));
    m_languages = new QActionGroup(this);
    for (const LanguageInfo& info : Languages()) {
        QAction* action = language->addAction(info.name);
        action->setCheckable(true);
        action->setData(info.countryCode);
        action->setChecked(info.countryCode == m_controlWidget->control().CountryCode());
        m_languages->addAction(action);
        connect(action, &QAction::triggered, this, [this, code = info.countryCode] { selectLanguage(code); });
    }
}

void ViewWindow::buildToolBar() {
    QToolBar* bar = addToolBar(tr("Acquisition"));
    bar->setObjectName(QStringLiteral("acquisition"));
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    bar->addAction(tr("Run"), this, [this] {
        m_running = true;
        ask([w = m_worker] { w->run(); });
    });
    bar->addAction(tr("Stop"), this, [this] {
        m_running = false;
        ask([w = m_worker] { w->stop(); });
    });
    bar->addAction(tr("Single"), this, [this] {
        m_running = false;
        ask([w = m_worker] { w->single(); });
    });
    bar->addAction(tr("AutoScale"), this, [this] { ask([w = m_worker] { w->autoScale(); }); });
    bar->addSeparator();
    bar->addAction(tr("Reconnect"), this, &ViewWindow::connectAndRun);
    auto* spacer = new QWidget(bar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(spacer);
    // The control on the form: its face shows the connection; double-click opens its pages.
    m_controlWidget->setMinimumWidth(260);
    bar->addWidget(m_controlWidget);
}

void ViewWindow::buildDocks() {
    auto* panelDock = new QDockWidget(tr("Scope"), this);
    panelDock->setObjectName(QStringLiteral("panel"));
    panelDock->setWidget(m_panel);
    panelDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::RightDockWidgetArea, panelDock);

    auto* bottom = new QWidget(this);
    auto* layout = new QVBoxLayout(bottom);
    layout->setContentsMargins(4, 0, 4, 4);
    m_measurements->setHorizontalHeaderLabels(
        {tr("Channel"), tr("Frequency"), tr("Peak to peak"), tr("Average"), tr("RMS")});
    m_measurements->verticalHeader()->hide();
    m_measurements->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_measurements->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_measurements->setSelectionMode(QAbstractItemView::NoSelection);
    m_measurements->setMinimumHeight(m_measurements->horizontalHeader()->sizeHint().height() +
                                     4 * m_measurements->verticalHeader()->defaultSectionSize() + 4);
    layout->addWidget(m_measurements);
    layout->addWidget(m_cursorReadout);
    auto* bottomDock = new QDockWidget(tr("Measurements and cursors"), this);
    bottomDock->setObjectName(QStringLiteral("measurements"));
    bottomDock->setWidget(bottom);
    bottomDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::BottomDockWidgetArea, bottomDock);
}

void ViewWindow::connectAndRun() {
    m_running = true;
    statusBar()->showMessage(tr("Connecting to %1…").arg(m_controlWidget->control().Address()));
    ask([w = m_worker] { w->open(); });
}

void ViewWindow::showFrame(const ScopeFrame& frame) {
    m_display->setFrame(frame);
    m_measurements->setRowCount(int(frame.measurements.size()));
    for (int row = 0; row < frame.measurements.size(); ++row) {
        const ChannelMeasurements& m = frame.measurements[row];
        const QStringList cells = {
            QString::number(m.channel), measurementText(m.frequency, QStringLiteral("Hz")),
            measurementText(m.vpp, QStringLiteral("V")), measurementText(m.average, QStringLiteral("V")),
            measurementText(m.rms, QStringLiteral("V"))};
        for (int column = 0; column < cells.size(); ++column) {
            auto* item = new QTableWidgetItem(cells[column]);
            item->setTextAlignment(column == 0 ? Qt::AlignCenter : Qt::AlignRight | Qt::AlignVCenter);
            m_measurements->setItem(row, column, item);
        }
    }
    emit frameShown(frame.sequence);
    if (!m_screenshotPath.isEmpty()) {
        QTimer::singleShot(0, this, [this] { finishScreenshot(0); });
        return;
    }
    // The next acquisition starts once this one is on the screen.
    QTimer::singleShot(0, this, [this] { ask([w = m_worker] { w->nextFrame(); }); });
}

void ViewWindow::showFailure(const QString& message) {
    m_state->setText(tr("Not connected"));
    m_panel->setEnabled(false);
    m_display->setStatusText(tr("Not connected"));
    m_display->setBanner(message + QStringLiteral("\n\n") +
                         tr("Instrument ▸ Reconnect (Ctrl+R) tries again."));
    statusBar()->showMessage(message);
    emit instrumentFailed(message);
    if (!m_screenshotPath.isEmpty()) finishScreenshot(1);
}

void ViewWindow::showCursors(double t1, double t2) {
    const double dt = t2 - t1;
    m_cursorReadout->setText(
        tr("C1 %1    C2 %2    Δt %3    1/Δt %4")
            .arg(EngineeringText(t1, QStringLiteral("s")), EngineeringText(t2, QStringLiteral("s")),
                 EngineeringText(dt, QStringLiteral("s")),
                 dt == 0 ? QStringLiteral("—") : EngineeringText(1 / std::fabs(dt), QStringLiteral("Hz"))));
}

bool ViewWindow::openDocument(const QString& path) {
    try {
        ControlDocument::Load(m_controlWidget->control(), path);
    } catch (const TavrelError& error) {
        QMessageBox::warning(this, tr("Open Host Document"), error.description() + u'\n' + error.detail());
        return false;
    }
    m_documentPath = path;
    for (QAction* action : m_languages->actions())
        action->setChecked(action->data().toInt() == m_controlWidget->control().CountryCode());
    setWindowTitle(tr("Tavrel View — %1").arg(path));
    return true;
}

void ViewWindow::saveDocument(bool askName) {
    QString path = m_documentPath;
    if (askName || path.isEmpty())
        path =
            QFileDialog::getSaveFileName(this, tr("Save Host Document"), path, tr("Host documents (*.json)"));
    if (path.isEmpty()) return;
    try {
        ControlDocument::Save(m_controlWidget->control(), path);
    } catch (const TavrelError& error) {
        QMessageBox::warning(this, tr("Save Host Document"), error.description() + u'\n' + error.detail());
        return;
    }
    m_documentPath = path;
    statusBar()->showMessage(tr("Saved %1").arg(path));
}

void ViewWindow::saveScreenImage() {
    const QString path = QFileDialog::getSaveFileName(this, tr("Save Screen Image"), QString(),
                                                      tr("Images (*.png *.bmp *.gif *.jpg)"));
    if (!path.isEmpty()) ask([w = m_worker, path] { w->saveScreenImage(path); });
}

void ViewWindow::showPages(int page) {
    // The pages talk to the instrument themselves (a test, a setup's get and send), so the worker lets
    // go of the session first; the view reconnects when they close.
    const bool wasRunning = m_running;
    m_running = false;
    QMetaObject::invokeMethod(
        m_worker,
        [this, page, wasRunning] {
            m_worker->close();
            QMetaObject::invokeMethod(this, [this, page, wasRunning] {
                m_controlWidget->control().ShowPropertyPages(page);
                m_controlWidget->control().CloseConnection();
                m_controlWidget->refreshState();
                m_running = wasRunning;
                ask([w = m_worker] { w->open(); });
            });
        },
        Qt::QueuedConnection);
}

void ViewWindow::selectLanguage(int countryCode) {
    try {
        m_controlWidget->setCountryCode(countryCode);
    } catch (const TavrelError& error) {
        QMessageBox::warning(this, tr("Language"), error.description());
    }
    for (QAction* action : m_languages->actions())
        action->setChecked(action->data().toInt() == m_controlWidget->control().CountryCode());
    m_controlWidget->refreshState();
}

void ViewWindow::autoScaleOnOpen() {
    m_autoScaleOnOpen = true;
}

void ViewWindow::screenshotAfterFirstFrame(const QString& path) {
    m_screenshotPath = path;
}

void ViewWindow::finishScreenshot(int exitCode) {
    const QString path = std::exchange(m_screenshotPath, QString());
    if (!grab().save(path)) {
        std::fprintf(stderr, "tavrel-view: cannot write %s\n", qPrintable(path));
        exitCode = 1;
    }
    QApplication::exit(exitCode);
}

// tavrel-view: its screen keeps every spike of a long record, its worker survives an instrument that
// stops answering and comes back, and --screenshot writes the window after the first acquisition.

#include "ScopeDisplay.h"
#include "ScopeWorker.h"
#include "control/TavrelScope.h"
#include "control/WaveformPlot.h"

#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <QApplication>
#include <QTemporaryDir>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>

namespace {

constexpr qsizetype kRecord = 1000000;

// Whether any pixel of the image's column x, between two rows, has the colour.
bool columnHasColour(const QImage& image, int x, int top, int bottom, QColor colour) {
    for (int y = top; y <= bottom; ++y)
        if (image.pixelColor(x, y) == colour) return true;
    return false;
}

// tavrel-sim on 127.0.0.1, serving the default bench; its scope's raw socket address.
struct SimProcess {
    QString start() {
        process.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel-sim"), {QStringLiteral("--quiet")});
        if (!process.waitForStarted(10000)) return {};
        QString address;
        while (process.waitForReadyRead(10000) || process.canReadLine()) {
            while (process.canReadLine()) {
                const QStringList f = QString::fromUtf8(process.readLine()).trimmed().split(u' ');
                if (f == QStringList{QStringLiteral("ready")}) return address;
                if (f.size() == 4 && f[0] == QLatin1String("GPIB0::7::INSTR") && f[2] == QLatin1String("tcp"))
                    address = QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(f[3].section(u':', 1));
            }
        }
        return {};
    }
    void signal(int number) { ::kill(pid_t(process.processId()), number); }
    ~SimProcess() {
        signal(SIGCONT);
        process.terminate();
        process.waitForFinished(10000);
    }
    QProcess process;
};

} // namespace

TEST(ScopeDisplay, ASpikeOfOneSampleInAMillionIsDrawnWhereverItIs) {
    ScopeFrame frame;
    frame.settings.channels[0] = {true, 1.0, 0.0, Tavrel_ProbeCoupling_DC};
    frame.settings.timeScale = 1e-3; // the record spans the screen: 10 ms
    ChannelTrace trace;
    trace.channel = 1;
    trace.first = -5e-3;
    trace.increment = 10e-3 / kRecord;
    trace.volts = QVector<double>(kRecord, 0.0);
    ScopeDisplay display;
    display.resize(1000, 600);
    for (const qsizetype at : {qsizetype(0), qsizetype(123457), qsizetype(500000), kRecord - 1}) {
        trace.volts[at] = 3.0; // three divisions above the center
        frame.traces = {trace};
        display.setFrame(frame);
        QImage image(display.size(), QImage::Format_RGB32);
        QPainter painter(&image);
        display.paintScope(painter, image.rect());
        painter.end();
        // Find the graticule from the spike's expected place: a quarter of the screen height up from
        // the center, in the column of its time.
        const double share = double(at) / kRecord;
        bool drawn = false;
        for (int x = 0; x < image.width(); ++x) {
            const double column = double(x) / image.width();
            if (std::abs(column - share) > 0.05) continue;
            drawn = drawn || columnHasColour(image, x, 0, image.height() / 3, ChannelColour(1));
        }
        EXPECT_TRUE(drawn) << "spike at sample " << at;
        trace.volts[at] = 0.0;
    }
}

TEST(ScopeDisplay, TheWheelZoomsDraggingPansAndTheCursorsFollowTheMouse) {
    ScopeDisplay display;
    display.resize(1000, 600);
    ScopeFrame frame;
    frame.settings.timeScale = 1e-3;
    display.setFrame(frame); // the scope's screen: -5 ms .. 5 ms, cursors at -2 ms and 2 ms
    EXPECT_DOUBLE_EQ(display.windowStart(), -5e-3);
    EXPECT_DOUBLE_EQ(display.windowEnd(), 5e-3);

    display.zoom(0.5, 0); // about the trigger
    EXPECT_DOUBLE_EQ(display.windowStart(), -2.5e-3);
    EXPECT_DOUBLE_EQ(display.windowEnd(), 2.5e-3);
    display.pan(1e-3);
    EXPECT_DOUBLE_EQ(display.windowStart(), -1.5e-3);
    display.zoom(1e-12, 0); // narrower than the view goes: refused
    EXPECT_DOUBLE_EQ(display.windowEnd() - display.windowStart(), 5e-3);

    // A wheel notch toward the user zooms in about the pointer; double-click shows the screen again.
    QWheelEvent wheel(QPointF(500, 300), display.mapToGlobal(QPointF(500, 300)), {}, {0, 120}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&display, &wheel);
    EXPECT_NEAR(display.windowEnd() - display.windowStart(), 4e-3, 1e-9);
    QTest::mouseDClick(&display, Qt::LeftButton, {}, QPoint(500, 300));
    EXPECT_DOUBLE_EQ(display.windowStart(), -5e-3);

    // Dragging a cursor's line moves the cursor; dragging elsewhere pans.
    QSignalSpy cursors(&display, &ScopeDisplay::cursorsChanged);
    const int x1 = 18 + 3 * (964 / 10); // the graticule's left edge and three divisions in: -2 ms
    QTest::mousePress(&display, Qt::LeftButton, {}, QPoint(x1, 300));
    QTest::mouseMove(&display, QPoint(x1 + 96, 300));
    QTest::mouseRelease(&display, Qt::LeftButton, {}, QPoint(x1 + 96, 300));
    ASSERT_FALSE(cursors.isEmpty());
    EXPECT_NEAR(display.cursor(0), -1e-3, 0.1e-3);
    EXPECT_DOUBLE_EQ(display.cursor(1), 2e-3);
    QTest::mousePress(&display, Qt::LeftButton, {}, QPoint(700, 300));
    QTest::mouseMove(&display, QPoint(604, 300));
    QTest::mouseRelease(&display, Qt::LeftButton, {}, QPoint(604, 300));
    EXPECT_NEAR(display.windowStart(), -4e-3, 0.1e-3);
}

TEST(ScopeWorker, SurvivesAnInstrumentThatStopsAnsweringAndReconnects) {
    SimProcess sim;
    const QString address = sim.start();
    ASSERT_FALSE(address.isEmpty()) << "tavrel-sim did not get ready";
    qunsetenv("TAVREL_IO"); // the computer's own I/O: the socket
    TavrelScope control;
    control.InitProperties();
    control.SetAddress(address);
    QThread thread;
    auto* worker = new ScopeWorker(control);
    worker->moveToThread(&thread);
    thread.start();
    const auto ask = [&](auto call) { QMetaObject::invokeMethod(worker, call, Qt::QueuedConnection); };
    QSignalSpy opened(worker, &ScopeWorker::opened);
    QSignalSpy frames(worker, &ScopeWorker::frameReady);
    QSignalSpy failures(worker, &ScopeWorker::failed);

    ask([worker] { worker->open(); });
    ASSERT_TRUE(opened.wait(15000));
    ask([worker] { worker->run(); });
    ASSERT_TRUE(frames.wait(15000));
    EXPECT_FALSE(frames.last().at(0).value<ScopeFrame>().traces.isEmpty());

    sim.signal(SIGSTOP); // the instrument hangs
    ask([worker] { worker->nextFrame(); });
    ASSERT_TRUE(failures.wait(20000)) << "no failure within the session's timeout";
    EXPECT_TRUE(failures.last().at(0).toString().contains(address))
        << qPrintable(failures.last().at(0).toString());

    sim.signal(SIGCONT); // and is back
    ask([worker] { worker->open(); });
    ASSERT_TRUE(opened.wait(15000)) << "no reconnection";
    const qsizetype before = frames.size();
    ask([worker] { worker->single(); });
    ASSERT_TRUE(frames.wait(15000));
    EXPECT_GT(frames.size(), before);
    EXPECT_EQ(failures.size(), 1);

    ask([worker] { worker->close(); });
    QMetaObject::invokeMethod(worker, &QObject::deleteLater, Qt::QueuedConnection);
    thread.quit();
    thread.wait();
}

TEST(ScopeWorker, ThePanelsChangesReachTheScopeAndItsAnswersComeBack) {
    qputenv("TAVREL_IO", "sim");
    TavrelScope control;
    control.InitProperties();
    ScopeWorker worker(control); // on this thread: its signals arrive at once
    QSignalSpy opened(&worker, &ScopeWorker::opened);
    QSignalSpy settings(&worker, &ScopeWorker::settingsRead);
    QSignalSpy frames(&worker, &ScopeWorker::frameReady);
    QSignalSpy failures(&worker, &ScopeWorker::failed);
    worker.open();
    ASSERT_EQ(opened.size(), 1) << qPrintable(failures.value(0).value(0).toString());
    const auto last = [&] { return settings.last().at(0).value<ScopeSettings>(); };

    worker.applyChannel(2, {true, 0.5, -0.25, Tavrel_ProbeCoupling_AC});
    ASSERT_FALSE(settings.isEmpty());
    EXPECT_TRUE(last().channels[1].on);
    EXPECT_DOUBLE_EQ(last().channels[1].scale, 0.5);
    EXPECT_DOUBLE_EQ(last().channels[1].offset, -0.25);
    EXPECT_EQ(last().channels[1].coupling, Tavrel_ProbeCoupling_AC);
    worker.applyTimebase(2e-4, 1e-4);
    EXPECT_DOUBLE_EQ(last().timeScale, 2e-4);
    EXPECT_DOUBLE_EQ(last().timePosition, 1e-4);
    worker.applyTrigger(Tavrel_TriggerSource_Channel2, 0.3, Tavrel_TriggerSlope_Negative);
    EXPECT_EQ(last().triggerSource, Tavrel_TriggerSource_Channel2);
    EXPECT_DOUBLE_EQ(last().triggerLevel, 0.3);
    EXPECT_EQ(last().triggerSlope, Tavrel_TriggerSlope_Negative);
    worker.applyPod(true);
    EXPECT_TRUE(last().podOn);

    // One frame: channels 1 and 2, the pod's words, a row of measurements a channel.
    worker.single();
    ASSERT_EQ(frames.size(), 1);
    const ScopeFrame frame = frames.last().at(0).value<ScopeFrame>();
    ASSERT_EQ(frame.traces.size(), 2);
    EXPECT_EQ(frame.traces[1].channel, 2);
    EXPECT_EQ(frame.traces[1].volts.size(), 2000);
    EXPECT_GT(frame.traces[1].increment, 0);
    EXPECT_EQ(frame.logic.words.size(), 2000);
    ASSERT_EQ(frame.measurements.size(), 2);
    EXPECT_NEAR(frame.measurements[0].frequency, 1000, 1);
    EXPECT_TRUE(failures.isEmpty());

    // The scope's screen image, in the format its name asks for.
    QTemporaryDir dir;
    const QString imagePath = dir.filePath(QStringLiteral("screen.png"));
    QSignalSpy saved(&worker, &ScopeWorker::screenImageSaved);
    worker.saveScreenImage(imagePath);
    ASSERT_EQ(saved.size(), 1);
    EXPECT_FALSE(QImage(imagePath, "PNG").isNull());

    // A refused value is the scope's answer too: the worker says so and closes the session.
    worker.applyChannel(1, {true, -3, 0, Tavrel_ProbeCoupling_DC});
    ASSERT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures.last().at(0).toString().startsWith(control.Address()));
    EXPECT_FALSE(control.InstrumentConnected());

    // The display draws the pod's lines under the graticule.
    ScopeDisplay display;
    display.resize(900, 600);
    display.setFrame(frame);
    QImage image(display.size(), QImage::Format_RGB32);
    QPainter painter(&image);
    display.paintScope(painter, image.rect());
    painter.end();
    bool logicDrawn = false;
    for (int y = image.height() - 130; y < image.height() && !logicDrawn; ++y)
        for (int x = 0; x < image.width() && !logicDrawn; ++x)
            logicDrawn = image.pixelColor(x, y) == QColor(0, 200, 220);
    EXPECT_TRUE(logicDrawn);
    if (!qEnvironmentVariableIsEmpty("TAVREL_VIEW_PNG")) image.save(qEnvironmentVariable("TAVREL_VIEW_PNG"));
}

TEST(TavrelView, ScreenshotAfterTheFirstAcquisition) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("view.png"));
    QProcess view;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    view.setProcessEnvironment(environment);
    view.start(QStringLiteral(TAVREL_BINARY_DIR "/bin/tavrel-view"),
               {QStringLiteral("--sim"), QStringLiteral("--screenshot"), path});
    ASSERT_TRUE(view.waitForFinished(60000));
    EXPECT_EQ(view.exitCode(), 0) << view.readAllStandardError().constData();
    const QImage image(path);
    ASSERT_FALSE(image.isNull());
    EXPECT_GE(image.width(), 800);
    // Channel 1's trace is on it.
    bool trace = false;
    for (int x = 0; x < image.width() && !trace; x += 3)
        trace = columnHasColour(image, x, 0, image.height() - 1, ChannelColour(1));
    EXPECT_TRUE(trace);
}

// tavrel-view's frame rate: four channels from tavrel-sim over a localhost socket, each frame an
// acquisition, its transfer, the conversion to volts and the drawing of the scope's screen; and the
// same with the four measurements a channel that the view's table shows. Run by bench/run.sh; the
// first argument is the number of frames.
#include "BenchSupport.h"
#include "ScopeDisplay.h"
#include "ScopeWorker.h"
#include "tavrel/Driver.h"
#include "tavrel/TavrelScope.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

using namespace bench;

namespace {

struct FrameTimes {
    Timing frame; // acquire, transfer, convert, measure and draw
    Timing draw;
};

FrameTimes measureFrames(ScopeWorker& worker, ScopeDisplay& display, RecordLength length, int frames,
                         bool measure) {
    std::vector<double> frameSeconds, drawSeconds;
    QImage image(display.size(), QImage::Format_RGB32);
    for (int i = -2; i < frames; ++i) { // two frames to warm up
        QElapsedTimer timer;
        timer.start();
        const ScopeFrame frame = worker.acquire(length, measure);
        if (frame.traces.size() != 4)
            fail(QStringLiteral("a frame with %1 channels").arg(frame.traces.size()));
        const qint64 acquired = timer.nsecsElapsed();
        display.setFrame(frame);
        QPainter painter(&image);
        display.paintScope(painter, image.rect());
        painter.end();
        const qint64 total = timer.nsecsElapsed();
        if (i < 0) continue;
        frameSeconds.push_back(double(total) / 1e9);
        drawSeconds.push_back(double(total - acquired) / 1e9);
    }
    return {summarize(frameSeconds), summarize(drawSeconds)};
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(3, std::atoi(argv[1])) : 20;
    QProcess sim;
    const SimPorts ports = startSimulator(sim, QCoreApplication::applicationDirPath() + "/tavrel-sim");

    TavrelScope control;
    control.InitProperties();
    control.SetAddress(lanAddress(ports.scopeTcp));
    control.Initialize();
    for (auto channel : {Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3, Tavrel_Channel_4})
        control.AnalogChannels().Item(channel).SetDisplay(Tavrel_On);
    control.Acquisition().SetPoints(1000000);
    ScopeWorker worker(control);
    ScopeDisplay display;
    display.resize(940, 520); // the screen in tavrel-view's window at its first size

    const int fullFrames = std::max(3, frames / 4);
    const FrameTimes screen = measureFrames(worker, display, RecordLength::Screen, frames, false);
    const FrameTimes full = measureFrames(worker, display, RecordLength::Full, fullFrames, false);
    const FrameTimes screenMeasured = measureFrames(worker, display, RecordLength::Screen, frames, true);
    const FrameTimes fullMeasured = measureFrames(worker, display, RecordLength::Full, fullFrames, true);
    control.CloseConnection();

    std::printf("tavrel-view frames: 4 channels from tavrel-sim on 127.0.0.1, a %dx%d screen, medians\n\n",
                display.width(), display.height());
    std::printf("| points per channel | measurements | frame (ms) | frames per second | drawing (ms) | "
                "drawing's share |\n|---|---|---:|---:|---:|---:|\n");
    const struct {
        const char *points, *measured;
        FrameTimes t;
    } rows[] = {{"2,000", "none", screen},
                {"1,000,000", "none", full},
                {"2,000", "16 a frame", screenMeasured},
                {"1,000,000", "16 a frame", fullMeasured}};
    for (const auto& r : rows)
        std::printf("| %s | %s | %.2f | %.1f | %.2f | %.0f %% |\n", r.points, r.measured,
                    r.t.frame.median * 1e3, 1 / r.t.frame.median, r.t.draw.median * 1e3,
                    100 * r.t.draw.median / r.t.frame.median);
    std::printf("\n");
    Verdicts verdicts;
    verdicts.atLeast(QStringLiteral("view, 4 x 2,000 points: frames per second"), 1 / screen.frame.median, 30,
                     QString::number(1 / screen.frame.median, 'f', 1), QStringLiteral("at least 30"));
    const double share = full.draw.median / full.frame.median;
    verdicts.atMost(QStringLiteral("view, 4 x 1,000,000 points: drawing's share of a frame"), share, 0.2,
                    percent(share), QStringLiteral("at most 20 %"));
    verdicts.info(QStringLiteral("view, 4 x 1,000,000 points: frames per second"),
                  QString::number(1 / full.frame.median, 'f', 1));
    verdicts.info(QStringLiteral("view, 4 x 2,000 points with the measurements table: frames per second"),
                  QString::number(1 / screenMeasured.frame.median, 'f', 1));
    verdicts.print();
    sim.terminate();
    sim.waitForFinished(5000);
    return 0;
}

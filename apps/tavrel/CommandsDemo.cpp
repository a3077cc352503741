// tavrel demo: the product's main job on the embedded simulated bench, from search to setup file.
#include "Cli.h"
#include "CliConnection.h"
#include "CliControl.h"

#include "automation/MeasureTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/WaveformTavrel.h"
#include "control/CTavrelEZ.h"
#include "control/WaveformPlot.h"
#include "discovery/InstrumentSearch.h"
#include "setups/SetupTavrelScope.h"

#include <QDir>
#include <QFileInfo>

namespace {

using Quantity = BrumelTB::MeasureTavrel::Quantity;

QString measured(double value, const QString& unit) {
    if (value >= BrumelTB::MeasureTavrel::NotMeasurable) return QStringLiteral("--");
    return QStringLiteral("%1 %2").arg(value, 0, 'g', 4).arg(unit);
}

int runDemo(CliContext& context) {
    QStringList args = context.args;
    const QString outDir = TakeOption(args, QStringLiteral("--out"));
    ExpectPositional(args, 0, QStringLiteral("demo [--out DIR]"));
    // Without hardware configured the demo runs on the bench compiled into the product.
    if (qEnvironmentVariableIsEmpty("TAVREL_IO")) qputenv("TAVREL_IO", "sim");
    QDir out(outDir.isEmpty() ? QStringLiteral("tavrel-demo") : outDir);
    if (!out.mkpath(QStringLiteral(".")))
        throw CliFailure(QStringLiteral("cannot create %1").arg(out.path()));

    auto control = OpenControl(context);
    context.print(QStringLiteral("== Searching the bench for instruments"));
    InstrumentSearch search(control->IOConfigurationControl(), RequireIOManager(*control), control->Address(),
                            control->TXDelay());
    search.setRefreshPortsFirst(true);
    PrintSearchTable(context, search.run());

    context.print(QStringLiteral("\n== Connecting to %1").arg(control->Address()));
    const QString plotPath = out.absoluteFilePath(QStringLiteral("waveforms.png"));
    const QString setupPath = out.absoluteFilePath(QStringLiteral("demo-setup.scp"));
    WithConnection(*control, [&] {
        context.print(QStringLiteral("Connected to %1: %2")
                          .arg(control->ConnectionName(), control->Session().Server().Identify()));

        context.print(QStringLiteral("\n== AutoScale, then one acquisition"));
        control->AutoScale();
        control->Digitize();
        QList<BrumelTB::ChannelWaveform> waveforms;
        control->GetAllWaveformData(Tavrel_DataPoints_ALL, waveforms);

        context.print(QStringLiteral("\n== Measurements"));
        context.print(
            QStringLiteral("channel  frequency      Vpp           Vrms          mean          duty"));
        QList<PlotSeries> series;
        for (const BrumelTB::ChannelWaveform& w : waveforms) {
            auto& measure = control->Measure();
            context.print(
                QStringLiteral("CH%1      %2 %3 %4 %5 %6")
                    .arg(w.channel)
                    .arg(measured(measure.Value(Quantity::Frequency, w.channel), QStringLiteral("Hz")), -14)
                    .arg(measured(measure.Value(Quantity::VPP, w.channel), QStringLiteral("V")), -13)
                    .arg(measured(measure.Value(Quantity::VRMS, w.channel), QStringLiteral("V")), -13)
                    .arg(measured(measure.Value(Quantity::VAverage, w.channel), QStringLiteral("V")), -13)
                    .arg(measured(measure.Value(Quantity::DutyCycle, w.channel), QStringLiteral("%"))));
            series.append({QStringLiteral("CH%1").arg(w.channel), ChannelColour(w.channel), w.time, w.data});
        }
        if (!RenderWaveformPlot(series, QStringLiteral("Tavrel scope at %1").arg(control->Address()))
                 .save(plotPath))
            throw CliFailure(QStringLiteral("cannot write %1").arg(plotPath));

        context.print(QStringLiteral("\n== Setup: get from the instrument, save, reload"));
        SetupTavrelScope& setup = control->Setups().Add(QStringLiteral("Demo"));
        setup.SetComments(QStringLiteral("Taken by tavrel demo after AutoScale"));
        setup.GetFromInstrument();
        setup.SaveToFile(setupPath);
        SetupTavrelScope& reloaded = control->Setups().Add(QStringLiteral("Reloaded"));
        reloaded.ReadFromFile(setupPath);
        const bool same = reloaded.LearnString().toByteArray() == setup.LearnString().toByteArray();
        context.print(QStringLiteral("Setup of a %1 (firmware %2): %3 bytes; reloaded from the file %4")
                          .arg(setup.Model(), setup.Version())
                          .arg(setup.LearnString().toByteArray().size())
                          .arg(same ? QStringLiteral("byte for byte") : QStringLiteral("WITH DIFFERENCES")));
        if (!same) throw CliFailure(QStringLiteral("the reloaded setup differs from the one saved"));
        reloaded.SendToInstrument();
        context.print(QStringLiteral("The reloaded setup was sent back to the instrument."));
    });

    context.print(QStringLiteral("\n== Files"));
    context.print(QStringLiteral("Waveform plot: %1").arg(plotPath));
    context.print(QStringLiteral("Setup file:    %1").arg(setupPath));
    return 0;
}

} // namespace

QList<Command> DemoCommands() {
    return {
        {QStringLiteral("demo"), QStringLiteral("[--out DIR]"),
         QStringLiteral("search, connect, autoscale, measure, plot and keep a setup, on the simulated bench "
                        "unless TAVREL_IO says otherwise"),
         runDemo, true}};
}

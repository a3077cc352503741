// tavrel scope ACTION | waveform | measure NAME | screenshot FILE: driving the scope at the control's
// address.
#include "Cli.h"
#include "CliConnection.h"
#include "CliControl.h"

#include "automation/MeasureTavrel.h"
#include "automation/WaveformTavrel.h"
#include "control/WaveformPlot.h"

#include <QFile>
#include <QJsonArray>
#include <QTextStream>
#include <cmath>

namespace {

using Quantity = BrumelTB::MeasureTavrel::Quantity;

struct MeasurementName {
    QString name;
    Quantity quantity;
    QString unit;
};

const QList<MeasurementName>& measurementNames() {
    static const QList<MeasurementName> names = {
        {QStringLiteral("frequency"), Quantity::Frequency, QStringLiteral("Hz")},
        {QStringLiteral("period"), Quantity::Period, QStringLiteral("s")},
        {QStringLiteral("vpp"), Quantity::VPP, QStringLiteral("V")},
        {QStringLiteral("amplitude"), Quantity::Amplitude, QStringLiteral("V")},
        {QStringLiteral("vmax"), Quantity::VMax, QStringLiteral("V")},
        {QStringLiteral("vmin"), Quantity::VMin, QStringLiteral("V")},
        {QStringLiteral("vtop"), Quantity::VTop, QStringLiteral("V")},
        {QStringLiteral("vbase"), Quantity::VBase, QStringLiteral("V")},
        {QStringLiteral("vrms"), Quantity::VRMS, QStringLiteral("V")},
        {QStringLiteral("vaverage"), Quantity::VAverage, QStringLiteral("V")},
        {QStringLiteral("risetime"), Quantity::RiseTime, QStringLiteral("s")},
        {QStringLiteral("falltime"), Quantity::FallTime, QStringLiteral("s")},
        {QStringLiteral("dutycycle"), Quantity::DutyCycle, QStringLiteral("%")},
    };
    return names;
}

Tavrel_AnalogChannels channelArgument(QStringList& args) {
    const QString text = TakeOption(args, QStringLiteral("--channel"));
    if (text.isEmpty()) return Tavrel_Channel_1;
    bool ok = false;
    const int channel = text.toInt(&ok);
    if (!ok || channel < 1 || channel > 4)
        throw UsageError(QStringLiteral("--channel takes 1 to 4, not \"%1\"").arg(text));
    return static_cast<Tavrel_AnalogChannels>(channel);
}

Tavrel_WaveformPoints pointsArgument(QStringList& args) {
    const QString text = TakeOption(args, QStringLiteral("--points"));
    if (text.isEmpty() || text.compare(QStringLiteral("all"), Qt::CaseInsensitive) == 0)
        return Tavrel_DataPoints_ALL;
    const int points = text.toInt();
    for (int allowed : {100, 250, 500, 1000, 2000})
        if (points == allowed) return static_cast<Tavrel_WaveformPoints>(points);
    throw UsageError(QStringLiteral("--points takes 100, 250, 500, 1000, 2000 or all, not \"%1\"").arg(text));
}

int runScopeAction(CliContext& context, const QString& action, void (TavrelScope::*call)()) {
    ExpectPositional(context.args, 0, QStringLiteral("scope ") + action);
    auto control = OpenControl(context);
    WithConnection(*control, [&] { ((*control).*call)(); });
    if (context.json)
        context.printJson({{QStringLiteral("action"), action}, {QStringLiteral("done"), true}});
    else
        context.print(QStringLiteral("%1: done").arg(action));
    return 0;
}

QString formatValue(double value, const QString& unit) {
    if (value >= BrumelTB::MeasureTavrel::NotMeasurable) return QStringLiteral("not measurable");
    return QStringLiteral("%1 %2").arg(value, 0, 'g', 6).arg(unit);
}

int runMeasure(CliContext& context) {
    QStringList args = context.args;
    const Tavrel_AnalogChannels channel = channelArgument(args);
    ExpectPositional(args, 1, QStringLiteral("measure NAME [--channel N]"));
    const QString name = args.first().toLower();
    QList<MeasurementName> wanted;
    for (const MeasurementName& m : measurementNames())
        if (name == QStringLiteral("all") || m.name == name) wanted.append(m);
    if (wanted.isEmpty()) {
        QStringList known;
        for (const MeasurementName& m : measurementNames())
            known.append(m.name);
        throw UsageError(
            QStringLiteral("unknown measurement %1; one of: all %2").arg(name, known.join(u' ')));
    }
    auto control = OpenControl(context);
    QJsonObject values;
    WithConnection(*control, [&] {
        control->Digitize();
        for (const MeasurementName& m : wanted) {
            const double value = control->Measure().Value(m.quantity, channel);
            values.insert(m.name,
                          value >= BrumelTB::MeasureTavrel::NotMeasurable ? QJsonValue() : QJsonValue(value));
            if (!context.json)
                context.print(
                    QStringLiteral("channel %1 %2: %3").arg(channel).arg(m.name, formatValue(value, m.unit)));
        }
    });
    if (context.json)
        context.printJson({{QStringLiteral("channel"), channel}, {QStringLiteral("values"), values}});
    return 0;
}

void writeCsv(const QString& path, const QList<PlotSeries>& series) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw CliFailure(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    QTextStream out(&file);
    // One time and one value column per trace: traces may differ in length and time base.
    QStringList header;
    qsizetype rows = 0;
    for (const PlotSeries& s : series) {
        header << QStringLiteral("time %1 (s)").arg(s.name) << s.name;
        rows = std::max(rows, s.values.size());
    }
    out << header.join(u',') << '\n';
    for (qsizetype i = 0; i < rows; ++i) {
        QStringList cells;
        for (const PlotSeries& s : series) {
            const bool has = i < s.values.size() && i < s.time.size();
            cells << (has ? QString::number(s.time[i], 'g', 12) : QString())
                  << (has ? QString::number(s.values[i], 'g', 9) : QString());
        }
        out << cells.join(u',') << '\n';
    }
    if (out.status() != QTextStream::Ok || !file.flush())
        throw CliFailure(QStringLiteral("cannot write %1").arg(path));
}

int runWaveform(CliContext& context) {
    QStringList args = context.args;
    const bool all = TakeFlag(args, QStringLiteral("--all"));
    const bool logic = TakeFlag(args, QStringLiteral("--logic"));
    const bool hasChannel = args.contains(QStringLiteral("--channel")) ||
                            std::any_of(args.begin(), args.end(), [](const QString& a) {
                                return a.startsWith(QStringLiteral("--channel="));
                            });
    const Tavrel_AnalogChannels channel = channelArgument(args);
    const Tavrel_WaveformPoints points = pointsArgument(args);
    const QString csv = TakeOption(args, QStringLiteral("--csv"));
    const QString png = TakeOption(args, QStringLiteral("--png"));
    ExpectPositional(
        args, 0,
        QStringLiteral("waveform [--channel N|--all|--logic] [--points P] [--csv FILE] [--png FILE]"));
    if (int(all) + int(logic) + int(hasChannel) > 1)
        throw UsageError(QStringLiteral("choose one of --channel, --all and --logic"));

    auto control = OpenControl(context);
    QList<PlotSeries> series;
    WithConnection(*control, [&] {
        control->Digitize();
        if (logic) {
            QVector<double> time;
            QVector<quint16> words;
            control->GetLogicData(points, time, words);
            // Four of the sixteen bits, stacked one above the other so that they stay readable.
            for (int bit = 0; bit < 4; ++bit) {
                PlotSeries s{QStringLiteral("D%1").arg(bit), ChannelColour(bit + 1), time, {}};
                s.values.reserve(words.size());
                for (quint16 w : words)
                    s.values.append(((w >> bit) & 1) * 0.8 + bit);
                series.append(s);
            }
        } else if (all) {
            QList<BrumelTB::ChannelWaveform> waveforms;
            control->GetAllWaveformData(points, waveforms);
            for (const auto& w : waveforms)
                series.append(
                    {QStringLiteral("CH%1").arg(w.channel), ChannelColour(w.channel), w.time, w.data});
        } else {
            PlotSeries s{QStringLiteral("CH%1").arg(channel), ChannelColour(channel), {}, {}};
            control->GetWaveformData(channel, points, s.time, s.values);
            series.append(s);
        }
    });

    if (!csv.isEmpty()) writeCsv(csv, series);
    if (!png.isEmpty() &&
        !RenderWaveformPlot(series, QStringLiteral("Tavrel scope at %1").arg(control->Address()))
             .save(png, "PNG"))
        throw CliFailure(QStringLiteral("cannot write %1").arg(png));

    QJsonArray traces;
    for (const PlotSeries& s : series) {
        const auto [low, high] = std::minmax_element(s.values.begin(), s.values.end());
        const bool any = !s.values.isEmpty();
        traces.append(QJsonObject{{QStringLiteral("name"), s.name},
                                  {QStringLiteral("points"), s.values.size()},
                                  {QStringLiteral("start"), any ? s.time.first() : 0.0},
                                  {QStringLiteral("end"), any ? s.time.last() : 0.0},
                                  {QStringLiteral("min"), any ? *low : 0.0},
                                  {QStringLiteral("max"), any ? *high : 0.0}});
        if (!context.json)
            context.print(QStringLiteral("%1: %2 points from %3 s to %4 s, %5 .. %6")
                              .arg(s.name)
                              .arg(s.values.size())
                              .arg(any ? s.time.first() : 0.0, 0, 'g', 6)
                              .arg(any ? s.time.last() : 0.0, 0, 'g', 6)
                              .arg(any ? *low : 0.0, 0, 'g', 6)
                              .arg(any ? *high : 0.0, 0, 'g', 6));
    }
    QJsonObject answer{{QStringLiteral("traces"), traces}};
    if (!csv.isEmpty()) answer.insert(QStringLiteral("csv"), csv);
    if (!png.isEmpty()) answer.insert(QStringLiteral("png"), png);
    if (context.json)
        context.printJson(answer);
    else
        for (const QString& file : {csv, png})
            if (!file.isEmpty()) context.print(QStringLiteral("written: %1").arg(file));
    return 0;
}

int runScreenshot(CliContext& context) {
    QStringList args = context.args;
    const QString formatText = TakeOption(args, QStringLiteral("--format")).toLower();
    ExpectPositional(args, 1, QStringLiteral("screenshot FILE [--format bmp|png|jpg|gif|tif]"));
    const QString path = args.first();
    static const QList<QPair<QString, Tavrel_ImageFormat>> formats = {
        {QStringLiteral("bmp"), Tavrel_ImageFormat_BMP}, {QStringLiteral("png"), Tavrel_ImageFormat_PNG},
        {QStringLiteral("jpg"), Tavrel_ImageFormat_JPG}, {QStringLiteral("jpeg"), Tavrel_ImageFormat_JPG},
        {QStringLiteral("gif"), Tavrel_ImageFormat_GIF}, {QStringLiteral("tif"), Tavrel_ImageFormat_TIF},
        {QStringLiteral("tiff"), Tavrel_ImageFormat_TIF}};
    // Without --format the file name's extension decides; BMP when it names none of ours.
    const QString wanted = formatText.isEmpty() ? path.section(u'.', -1).toLower() : formatText;
    Tavrel_ImageFormat format = Tavrel_ImageFormat_BMP;
    bool known = false;
    for (const auto& [name, value] : formats)
        if (name == wanted) {
            format = value;
            known = true;
        }
    if (!known && !formatText.isEmpty())
        throw UsageError(
            QStringLiteral("--format takes bmp, png, jpg, gif or tif, not \"%1\"").arg(formatText));
    auto control = OpenControl(context);
    WithConnection(*control, [&] { control->SaveScreenImage(path, format); });
    if (context.json)
        context.printJson({{QStringLiteral("file"), path}});
    else
        context.print(QStringLiteral("written: %1").arg(path));
    return 0;
}

} // namespace

QList<Command> ScopeCommands() {
    QList<Command> commands;
    const struct {
        const char* action;
        void (TavrelScope::*call)();
        const char* summary;
    } actions[] = {{"autoscale", &TavrelScope::AutoScale, "the front panel's AutoScale"},
                   {"run", &TavrelScope::Run, "acquisition runs"},
                   {"stop", &TavrelScope::StopTrigger, "acquisition stops"},
                   {"single", &TavrelScope::SingleTrigger, "one acquisition, then stop"},
                   {"digitize", &TavrelScope::Digitize, "one acquisition into the channel buffers"}};
    for (const auto& a : actions) {
        const QString action = QString::fromLatin1(a.action);
        const auto call = a.call;
        commands.append({QStringLiteral("scope ") + action, QString(), QString::fromLatin1(a.summary),
                         [action, call](CliContext& c) { return runScopeAction(c, action, call); }});
    }
    commands.append({QStringLiteral("waveform"),
                     QStringLiteral("[--channel N|--all|--logic] [--points P] [--csv FILE] [--png FILE]"),
                     QStringLiteral("digitizes and reads waveforms; a CSV table and a plot on request"),
                     runWaveform, true});
    commands.append({QStringLiteral("measure"), QStringLiteral("NAME|all [--channel N]"),
                     QStringLiteral("digitizes and measures a channel"), runMeasure});
    commands.append({QStringLiteral("screenshot"), QStringLiteral("FILE [--format bmp|png|jpg|gif|tif]"),
                     QStringLiteral("saves the scope's screen"), runScreenshot, true});
    return commands;
}

#include "support/CliRunner.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <set>

namespace {

CliResult sim(const QStringList& args) {
    return RunTavrel(QStringList{QStringLiteral("--sim"), QStringLiteral("--json")} + args);
}

QStringList csvLines(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

// How many distinct colours an image holds: a plot with axes, grid and traces has many, a blank one few.
size_t colourCount(const QImage& image) {
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3)
        for (int x = 0; x < image.width(); x += 3)
            colours.insert(image.pixel(x, y));
    return colours.size();
}

} // namespace

TEST(CliScope, FrontPanelKeysAndTheirRefusals) {
    for (const char* action : {"autoscale", "run", "stop", "single", "digitize"}) {
        const CliResult r = sim({QStringLiteral("scope"), QLatin1String(action)});
        ASSERT_EQ(r.exitCode, 0) << action << r.err.constData();
        EXPECT_EQ(r.json().value(QStringLiteral("action")).toString(), QLatin1String(action));
    }
    const QStringList usageErrors[] = {
        {QStringLiteral("scope"), QStringLiteral("explode")},
        {QStringLiteral("scope"), QStringLiteral("run"), QStringLiteral("extra")},
        {QStringLiteral("measure"), QStringLiteral("loudness")},
        {QStringLiteral("measure"), QStringLiteral("vpp"), QStringLiteral("--channel"), QStringLiteral("5")},
        {QStringLiteral("waveform"), QStringLiteral("--all"), QStringLiteral("--logic")},
        {QStringLiteral("waveform"), QStringLiteral("--points"), QStringLiteral("123")},
        {QStringLiteral("screenshot"), QStringLiteral("s.emf"), QStringLiteral("--format"),
         QStringLiteral("emf")},
    };
    for (const QStringList& args : usageErrors)
        EXPECT_EQ(sim(args).exitCode, 2) << qPrintable(args.join(u' '));
}

TEST(CliScope, MeasuresTheBenchSignals) {
    const struct {
        const char* channel;
        const char* name;
        double expected;
        double tolerance;
    } cases[] = {
        {"1", "frequency", 1000, 5},
        {"1", "vpp", 2.0, 0.05},
        {"2", "frequency", 2000, 10},
        {"2", "dutycycle", 25, 1},
    };
    for (const auto& c : cases) {
        const CliResult r = sim({QStringLiteral("measure"), QLatin1String(c.name),
                                 QStringLiteral("--channel"), QLatin1String(c.channel)});
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        const QJsonValue value =
            r.json().value(QStringLiteral("values")).toObject().value(QLatin1String(c.name));
        EXPECT_NEAR(value.toDouble(), c.expected, c.tolerance) << c.channel << " " << c.name;
    }
    // Every measurement at once, each either a number or null for "not measurable".
    const CliResult all = sim({QStringLiteral("measure"), QStringLiteral("all")});
    ASSERT_EQ(all.exitCode, 0);
    EXPECT_EQ(all.json().value(QStringLiteral("values")).toObject().size(), 13);
}

TEST(CliScope, WaveformWritesTablesAndPlots) {
    QTemporaryDir dir;
    const QString csv = dir.filePath(QStringLiteral("w.csv"));
    const QString png = dir.filePath(QStringLiteral("w.png"));
    const CliResult r = sim({QStringLiteral("waveform"), QStringLiteral("--channel"), QStringLiteral("1"),
                             QStringLiteral("--points"), QStringLiteral("1000"), QStringLiteral("--csv"), csv,
                             QStringLiteral("--png"), png});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QJsonObject trace = r.json().value(QStringLiteral("traces")).toArray().first().toObject();
    EXPECT_EQ(trace.value(QStringLiteral("name")).toString(), QStringLiteral("CH1"));
    EXPECT_EQ(trace.value(QStringLiteral("points")).toInt(), 1000);
    EXPECT_LT(trace.value(QStringLiteral("start")).toDouble(), trace.value(QStringLiteral("end")).toDouble());

    const QStringList lines = csvLines(csv);
    ASSERT_EQ(lines.size(), 1001);
    EXPECT_EQ(lines.first(), QStringLiteral("time CH1 (s),CH1"));
    EXPECT_EQ(lines[1].split(u',').size(), 2);

    const QImage plot(png);
    ASSERT_FALSE(plot.isNull());
    EXPECT_GT(colourCount(plot), 8u);

    // The logic pod: one column pair per plotted bit.
    const CliResult logic =
        sim({QStringLiteral("waveform"), QStringLiteral("--logic"), QStringLiteral("--points"),
             QStringLiteral("100"), QStringLiteral("--csv"), csv});
    ASSERT_EQ(logic.exitCode, 0) << logic.err.constData();
    EXPECT_EQ(csvLines(csv).first().split(u',').size(), 8);
}

TEST(CliScope, ScreenshotInEveryFormatDecodes) {
    QTemporaryDir dir;
    const struct {
        const char* file;
        const char* format; // empty: the extension decides
    } cases[] = {{"s.bmp", ""}, {"s.png", "png"}, {"s.jpg", ""}, {"shot", "gif"}, {"s.tif", "tif"}};
    for (const auto& c : cases) {
        QStringList args{QStringLiteral("screenshot"), dir.filePath(QLatin1String(c.file))};
        if (*c.format) args << QStringLiteral("--format") << QLatin1String(c.format);
        const CliResult r = sim(args);
        ASSERT_EQ(r.exitCode, 0) << c.file << r.err.constData();
        const QImage image(dir.filePath(QLatin1String(c.file)), *c.format ? c.format : nullptr);
        EXPECT_FALSE(image.isNull()) << c.file;
        EXPECT_GT(image.width(), 100) << c.file;
    }
}

TEST(CliDemo, RunsTheMainJobOnTheEmbeddedBench) {
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("TAVREL_IO")); // the demo picks the embedded bench itself
    const CliResult r = RunTavrel({QStringLiteral("demo"), QStringLiteral("--out"), dir.path()}, env);
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QString out = QString::fromUtf8(r.out);
    EXPECT_TRUE(out.contains(QStringLiteral("GPIB0::7::INSTR"))) << qPrintable(out);
    EXPECT_TRUE(out.contains(QRegularExpression(QStringLiteral("CH1 +1000 Hz")))) << qPrintable(out);
    EXPECT_TRUE(out.contains(QStringLiteral("byte for byte"))) << qPrintable(out);

    const QString plot = dir.filePath(QStringLiteral("waveforms.png"));
    const QString setup = dir.filePath(QStringLiteral("demo-setup.scp"));
    EXPECT_TRUE(out.contains(plot) && out.contains(setup)) << qPrintable(out);
    EXPECT_FALSE(QImage(plot).isNull());

    const CliResult info =
        RunTavrel({QStringLiteral("--json"), QStringLiteral("setup"), QStringLiteral("info"), setup});
    ASSERT_EQ(info.exitCode, 0) << info.err.constData();
    EXPECT_EQ(info.json().value(QStringLiteral("format")).toString(), QStringLiteral("scp"));
    EXPECT_EQ(info.json().value(QStringLiteral("model")).toString(), QStringLiteral("TV100A"));
    EXPECT_GT(info.json().value(QStringLiteral("bytes")).toInt(), 0);
}

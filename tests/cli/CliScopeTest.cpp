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
    return RunTavrel(QStringList{"--sim", "--json"} + args);
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
        const CliResult r = sim({"scope", action});
        ASSERT_EQ(r.exitCode, 0) << action << r.err.constData();
        EXPECT_EQ(r.json()["action"].toString(), action);
    }
    for (const char* usageError :
         {"scope explode", "scope run extra", "measure loudness", "measure vpp --channel 5",
          "waveform --all --logic", "waveform --points 123", "screenshot s.emf --format emf"})
        EXPECT_EQ(sim(QString(usageError).split(u' ')).exitCode, 2) << usageError;
}

TEST(CliScope, MeasuresTheBenchSignals) {
    const std::tuple<const char*, const char*, double, double> cases[] = {{"1", "frequency", 1000, 5},
                                                                          {"1", "vpp", 2.0, 0.05},
                                                                          {"2", "frequency", 2000, 10},
                                                                          {"2", "dutycycle", 25, 1}};
    for (const auto& [channel, name, expected, tolerance] : cases) {
        const CliResult r = sim({"measure", name, "--channel", channel});
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        EXPECT_NEAR(r.json()["values"].toObject()[name].toDouble(), expected, tolerance)
            << channel << " " << name;
    }
    // Every measurement at once, each either a number or null for "not measurable".
    EXPECT_EQ(sim({"measure", "all"}).json()["values"].toObject().size(), 13);
}

TEST(CliScope, WaveformWritesTablesAndPlots) {
    QTemporaryDir dir;
    const QString csv = dir.filePath("w.csv");
    const QString png = dir.filePath("w.png");
    const CliResult r = sim({"waveform", "--channel", "1", "--points", "1000", "--csv", csv, "--png", png});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QJsonObject trace = r.json()["traces"].toArray().first().toObject();
    EXPECT_EQ(trace["name"].toString(), "CH1");
    EXPECT_EQ(trace["points"].toInt(), 1000);
    EXPECT_LT(trace["start"].toDouble(), trace["end"].toDouble());

    const QStringList lines = csvLines(csv);
    ASSERT_EQ(lines.size(), 1001);
    EXPECT_EQ(lines.first(), "time CH1 (s),CH1");
    EXPECT_EQ(lines[1].split(u',').size(), 2);

    const QImage plot(png);
    ASSERT_FALSE(plot.isNull());
    EXPECT_GT(colourCount(plot), 8u);

    // The logic pod: one column pair per plotted bit.
    const CliResult logic = sim({"waveform", "--logic", "--points", "100", "--csv", csv});
    ASSERT_EQ(logic.exitCode, 0) << logic.err.constData();
    EXPECT_EQ(csvLines(csv).first().split(u',').size(), 8);
}

TEST(CliScope, ScreenshotInEveryFormatDecodes) {
    QTemporaryDir dir;
    // An empty format: the extension decides.
    const std::pair<const char*, const char*> cases[] = {
        {"s.bmp", ""}, {"s.png", "png"}, {"s.jpg", ""}, {"shot", "gif"}, {"s.tif", "tif"}};
    for (const auto& [file, format] : cases) {
        QStringList args{"screenshot", dir.filePath(file)};
        if (*format) args << "--format" << format;
        const CliResult r = sim(args);
        ASSERT_EQ(r.exitCode, 0) << file << r.err.constData();
        const QImage image(dir.filePath(file), *format ? format : nullptr);
        EXPECT_FALSE(image.isNull()) << file;
        EXPECT_GT(image.width(), 100) << file;
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

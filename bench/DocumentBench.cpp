// Host document loading against its size: 25,000 to 1,000,000 small keys, and a control whose
// document holds 32,767 setups. Loading is linear when the time per key stays flat down the table.
#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "hosting/HostDocument.h"
#include "setups/SetupsTavrelScope.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>

namespace {

// A document of small keys as a control with many setups writes them: names, texts and numbers.
QByteArray documentOf(int keys) {
    QByteArray out = "{";
    out.reserve(keys * 16);
    for (int i = 0; i < keys; ++i) {
        out += i == 0 ? "\n  " : ",\n  ";
        out += "\"" + QByteArray::number(i) + (i % 2 ? "Model\": \"TV100A\"" : "Count\": 7");
    }
    return out + "\n}\n";
}

QString write(const QTemporaryDir& dir, const QByteArray& content) {
    QFile file(dir.filePath(QStringLiteral("doc.json")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size()) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
        std::exit(1);
    }
    return file.fileName();
}

double secondsOf(const auto& body) {
    QElapsedTimer timer;
    timer.start();
    body();
    return timer.nsecsElapsed() / 1e9;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    std::printf("Host document load and save time against the number of keys\n\n");
    std::printf("| keys | size (MB) | load (s) | load per key (us) | save (s) |\n");
    std::printf("|---:|---:|---:|---:|---:|\n");
    for (int keys : {25000, 100000, 250000, 1000000}) {
        const QByteArray content = documentOf(keys);
        const QString path = write(dir, content);
        MemoryPropertyBag bag;
        const double load = secondsOf([&] { bag = HostDocument::load(path); });
        if (bag.size() != keys) {
            std::fprintf(stderr, "loaded %lld keys of %d\n", static_cast<long long>(bag.size()), keys);
            return 1;
        }
        const double save = secondsOf([&] { HostDocument::save(path, bag); });
        std::printf("| %d | %.1f | %.3f | %.2f | %.3f |\n", keys, content.size() / 1e6, load,
                    load / keys * 1e6, save);
    }

    // The largest setups collection a document holds, read by a control and written back.
    constexpr int kSetups = 32767;
    {
        TavrelScope control;
        for (int i = 1; i <= kSetups; ++i)
            control.Setups().Add(QStringLiteral("S%1").arg(i));
        ControlDocument::Save(control, dir.filePath(QStringLiteral("setups.json")));
    }
    TavrelScope control;
    const double load =
        secondsOf([&] { ControlDocument::Load(control, dir.filePath(QStringLiteral("setups.json"))); });
    const double save =
        secondsOf([&] { ControlDocument::Save(control, dir.filePath(QStringLiteral("setups.json"))); });
    std::printf("\nControl document with %d setups: load %.3f s, save %.3f s (%d setups read)\n", kSetups,
                load, save, control.Setups().Count());
    return control.Setups().Count() == kSetups ? 0 : 1;
}

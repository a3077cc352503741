// tavrel: the command-line tool of Tavrel Scope Control.
#include "Cli.h"

#include "base/TavrelError.h"
#include "iolib/IOManager.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QGuiApplication>
#include <QJsonObject>
#include <memory>

namespace {

QList<Command> allCommands() {
    QList<Command> commands;
    commands += AddressCommands();
    commands += DocCommands();
    commands += StringsCommands();
    commands += InstrumentCommands();
    commands += SearchCommands();
    commands += SetupCommands();
    commands += ScopeCommands();
    commands += DemoCommands();
    commands += PagesCommands();
    return commands;
}

void printUsage(const QList<Command>& commands) {
    QString text = QStringLiteral(
        "usage: tavrel [--json] [--doc FILE] [--sim[=BENCH.json]] COMMAND [ARGS]\n\ncommands:\n");
    for (const Command& c : commands)
        text += QStringLiteral("  %1 %2\n      %3\n").arg(c.name, c.usage, c.summary);
    std::fputs(text.toUtf8().constData(), stderr);
}

// The longest command name that the arguments begin with ("doc set" before "doc").
const Command* findCommand(const QList<Command>& commands, QStringList& args) {
    const Command* best = nullptr;
    qsizetype bestWords = 0;
    for (const Command& c : commands) {
        const QStringList words = c.name.split(u' ');
        if (words.size() > args.size() || words.size() <= bestWords) continue;
        if (std::equal(words.begin(), words.end(), args.begin())) {
            best = &c;
            bestWords = words.size();
        }
    }
    args.remove(0, bestWords);
    return best;
}

// The GUI application wants a private runtime directory; a login session normally provides one.
// The temporary folder is shared: what stands at our path is used only when it is a directory of ours
// (a planted symbolic link is not followed, so nothing else gets its mode changed); otherwise a new
// private folder serves this run and goes with it.
std::unique_ptr<QTemporaryDir> ensureRuntimeDirectory() {
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) return nullptr;
    const QByteArray path =
        QFile::encodeName(QDir::tempPath() + QStringLiteral("/tavrel-runtime-%1").arg(::getuid()));
    if (::mkdir(path.constData(), 0700) == 0 || errno == EEXIST) {
        const int fd = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd >= 0) {
            struct stat info {};
            const bool ours = ::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode) &&
                              info.st_uid == ::geteuid() && ::fchmod(fd, 0700) == 0;
            ::close(fd);
            if (ours) {
                qputenv("XDG_RUNTIME_DIR", path);
                return nullptr;
            }
        }
    }
    auto own = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/tavrel-runtime-XXXXXX"));
    if (own->isValid()) qputenv("XDG_RUNTIME_DIR", QFile::encodeName(own->path()));
    return own;
}

} // namespace

int main(int argc, char** argv) {
    const QList<Command> commands = allCommands();
    CliContext context;
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));
    std::unique_ptr<QTemporaryDir> runtimeDirectory; // outlives the application that uses it
    std::unique_ptr<QCoreApplication> app;
    try {
        // Global options come before the command.
        while (!args.isEmpty() && args.first().startsWith(QStringLiteral("--"))) {
            const QString option = args.takeFirst();
            if (option == QStringLiteral("--json")) {
                context.json = true;
            } else if (option == QStringLiteral("--doc")) {
                if (args.isEmpty()) throw UsageError(QStringLiteral("--doc needs a file"));
                context.documentPath = args.takeFirst();
            } else if (option.startsWith(QStringLiteral("--doc="))) {
                context.documentPath = option.mid(6);
            } else if (option == QStringLiteral("--sim") || option.startsWith(QStringLiteral("--sim="))) {
                // The simulated bench replaces the computer's ports for every control of this run.
                const QString bench = option.mid(6);
                qputenv("TAVREL_IO",
                        bench.isEmpty() ? QByteArray("sim") : ("sim:" + QFile::encodeName(bench)));
                CorvaneIOUtilsLib::IOManager::create(); // a bad bench file is reported here, once
            } else if (option == QStringLiteral("--help")) {
                printUsage(commands);
                return 0;
            } else {
                throw UsageError(QStringLiteral("unknown global option %1").arg(option));
            }
        }
        const Command* command = findCommand(commands, args);
        if (!command) {
            printUsage(commands);
            return 2;
        }
        context.args = args;
        if (command->needsWidgets) {
            runtimeDirectory = ensureRuntimeDirectory();
            app = std::make_unique<QApplication>(argc, argv);
        } else if (command->needsGui) {
            // Plots and screen images need fonts and image plugins, not a display.
            if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
            runtimeDirectory = ensureRuntimeDirectory();
            app = std::make_unique<QGuiApplication>(argc, argv);
        } else {
            app = std::make_unique<QCoreApplication>(argc, argv);
        }
        QCoreApplication::setApplicationName(QStringLiteral("tavrel"));
        return command->run(context);
    } catch (const UsageError& e) {
        context.printError(QStringLiteral("tavrel: %1").arg(QString::fromStdString(e.what())));
        return 2;
    } catch (const TavrelError& e) {
        if (context.json) {
            QJsonObject error{{QStringLiteral("number"), e.hexNumber()},
                              {QStringLiteral("source"), e.source()},
                              {QStringLiteral("description"), e.description()}};
            if (!e.detail().isEmpty()) error.insert(QStringLiteral("detail"), e.detail());
            context.printJson({{QStringLiteral("error"), error}});
        }
        context.printError(
            QStringLiteral("tavrel: error %1 (%2): %3").arg(e.hexNumber(), e.source(), e.description()));
        if (!e.detail().isEmpty()) context.printError(QStringLiteral("tavrel: %1").arg(e.detail()));
        return 1;
    } catch (const std::exception& e) {
        if (context.json)
            context.printJson({{QStringLiteral("error"), QJsonObject{{QStringLiteral("description"),
                                                                      QString::fromStdString(e.what())}}}});
        context.printError(QStringLiteral("tavrel: %1").arg(QString::fromStdString(e.what())));
        return 1;
    }
}

#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <stdexcept>

// What every command of the tool gets: the global options and the means to answer.
struct CliContext {
    bool json = false;
    QString documentPath; // --doc FILE
    QStringList args;     // the command's own arguments, after its name(s)

    // Human-readable text goes out with its control characters escaped (line breaks kept): texts from
    // files, documents and instruments must not drive the terminal. JSON escapes them itself.
    void print(const QString& text) const;      // a line of human-readable output on stdout
    void printJson(const QJsonObject& o) const; // the machine-readable answer on stdout
    void printError(const QString& text) const; // a line on stderr
};

// Control characters (C0, DEL, C1) and the bidirectional overrides as visible escapes ("\r",
// "\x1B", "\u009B"); line breaks too unless keepLineBreaks. A value embedded in a line of output
// goes through this whole, so that a line break in it cannot pass for another line.
QString TerminalText(const QString& text, bool keepLineBreaks = false);

// A mistake in how the tool was called: exit status 2.
struct UsageError : std::runtime_error {
    explicit UsageError(const QString& message) : std::runtime_error(message.toStdString()) {}
};

// A failure that is not the component's own error (a file that exists, say): exit status 1.
struct CliFailure : std::runtime_error {
    explicit CliFailure(const QString& message) : std::runtime_error(message.toStdString()) {}
};

using CommandHandler = std::function<int(CliContext&)>;

struct Command {
    QString name;  // "address normalize"
    QString usage; // "ADDRESS [--dtr-only]"
    QString summary;
    CommandHandler run;
    bool needsGui = false;     // draws text or images: runs in a (headless) GUI application
    bool needsWidgets = false; // shows windows: runs in a widgets application
};

// Each command group registers its commands here.
QList<Command> AddressCommands();
QList<Command> DocCommands();
QList<Command> StringsCommands();
QList<Command> InstrumentCommands();
QList<Command> SearchCommands();
QList<Command> ScopeCommands();
QList<Command> DemoCommands();
QList<Command> SetupCommands();
QList<Command> PagesCommands();

struct SearchResult;
// The instrument list of a search as a table, then the ports not found and the silent COM ports.
void PrintSearchTable(const CliContext& context, const SearchResult& result);

// Takes "--name" out of args; true when it was there.
bool TakeFlag(QStringList& args, const QString& name);
// Takes "--name VALUE" or "--name=VALUE" out of args; empty when absent.
QString TakeOption(QStringList& args, const QString& name);
// The remaining args must be exactly `count` positional arguments.
void ExpectPositional(const QStringList& args, qsizetype count, const QString& usage);

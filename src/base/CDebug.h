#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <mutex>

class PropertyBag;

// The component's diagnostics: formats error reports, assertion failures and trace entries and
// delivers them to the host as an event, to the log file "VelScope.DBG" in the user's temporary
// directory, and to a message box, as the mode switches say. Safe to call from several threads; the
// event is raised on the reporting thread.
class CDebug : public QObject {
    Q_OBJECT
public:
    enum ModeBit { MessageBoxBit = 1, MessageLogBit = 2, EventBit = 4, AssertBit = 8 };

    explicit CDebug(QObject* parent = nullptr);

    void Assert(bool condition, const QString& conditionText, const QString& className,
                const QString& procedureName, const QString& location = {});
    void ReportError(qint32 number, const QString& description, const QString& className,
                     const QString& procedureName, const QString& location = {});
    void Trace(const QString& message, const QString& className = {}, const QString& procedureName = {},
               const QString& location = {});

    qint32 DebugMode() const;
    void SetDebugMode(qint32 mode);

    void ReadProperties(PropertyBag& bag);
    void WriteProperties(PropertyBag& bag) const;

    // The log file's full path: the temporary directory ($TMPDIR, else /tmp) and "VelScope.DBG".
    static QString LogFilePath();
    static QString FormatReport(qint32 number, const QString& description, const QString& className,
                                const QString& procedureName, const QString& location, const QDateTime& at);
    static QString FormatTrace(const QString& message, const QString& className, const QString& procedureName,
                               const QString& location);

signals:
    void SupportMessage(const QString& message);
    void PropertyChanged(const QString& name);

private:
    bool anyOutput() const { return m_messageBox || m_messageLog || m_event; }
    void deliver(const QString& report);
    void startLogFile();
    void appendToLog(const QString& text);

    // Searches report from worker threads; reports and log entries go out one at a time. Recursive,
    // because a host's SupportMessage handler may itself end up reporting.
    mutable std::recursive_mutex m_mutex;
    bool m_messageBox = false;
    bool m_messageLog = false;
    bool m_event = false;
    bool m_assert = false;
};

// The diagnostics object of the component on the calling thread (the last control created there
// made it so); null when there is none, and then reports go nowhere.
CDebug* ComponentDiagnostics();
void SetComponentDiagnostics(CDebug* debug);

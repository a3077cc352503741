#pragma once

#include "base/CDebug.h"

#include <QStringList>

// A diagnostics object for the test's thread that raises every report as an event and keeps it.
class DiagnosticsCapture {
public:
    explicit DiagnosticsCapture(qint32 mode = CDebug::EventBit) {
        m_previous = ComponentDiagnostics();
        SetComponentDiagnostics(&m_debug);
        m_debug.SetDebugMode(mode);
        QObject::connect(&m_debug, &CDebug::SupportMessage, [this](const QString& m) { reports.append(m); });
    }
    ~DiagnosticsCapture() { SetComponentDiagnostics(m_previous); }

    CDebug& debug() { return m_debug; }
    // Whether some report holds every one of the given lines (such as "Location: Case Else").
    bool hasReportWith(const QStringList& lines) const {
        for (const QString& report : reports) {
            bool all = true;
            for (const QString& line : lines)
                all = all && report.contains(line + QStringLiteral("\r\n"));
            if (all) return true;
        }
        return false;
    }

    QStringList reports;

private:
    CDebug m_debug;
    CDebug* m_previous = nullptr;
};

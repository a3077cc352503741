#include "base/Diagnostics.h"

void ReportAssertion(bool condition, const QString& conditionText, const QString& className,
                     const QString& procedureName, const QString& location) {
    if (CDebug* debug = ComponentDiagnostics())
        debug->Assert(condition, conditionText, className, procedureName, location);
}

void ReportTrace(const QString& message, const QString& className, const QString& procedureName,
                 const QString& location) {
    if (CDebug* debug = ComponentDiagnostics()) debug->Trace(message, className, procedureName, location);
}

namespace {
thread_local int t_reportingDepth = 0;
} // namespace

ReportingFrame::ReportingFrame() {
    ++t_reportingDepth;
}

ReportingFrame::~ReportingFrame() {
    --t_reportingDepth;
}

bool ReportingFrame::outermost() const {
    return t_reportingDepth == 1;
}

void ReportFailure(const TavrelError& error, const QString& className, const QString& procedureName) {
    if (error.reported()) return;
    error.markReported();
    if (CDebug* debug = ComponentDiagnostics())
        debug->ReportError(error.number(), error.description(), className, procedureName);
}

void RequireValid(bool condition, const QString& conditionText, const QString& className,
                  const QString& procedureName, const QString& location) {
    if (condition) return;
    ReportAssertion(false, conditionText, className, procedureName, location);
    throw InvalidPropertyValueError();
}

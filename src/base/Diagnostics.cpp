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

void ReportFailure(const TavrelError& error, const QString& className, const QString& procedureName) {
    if (CDebug* debug = ComponentDiagnostics())
        debug->ReportError(error.number(), error.description(), className, procedureName);
}

void RequireValid(bool condition, const QString& conditionText, const QString& className,
                  const QString& procedureName, const QString& location) {
    if (condition) return;
    ReportAssertion(false, conditionText, className, procedureName, location);
    throw InvalidPropertyValueError();
}

#pragma once

#include "base/CDebug.h"
#include "base/TavrelError.h"

#include <exception>
#include <utility>

// Short forms for reporting through the calling thread's diagnostics object.
void ReportAssertion(bool condition, const QString& conditionText, const QString& className,
                     const QString& procedureName, const QString& location = {});
void ReportTrace(const QString& message, const QString& className = {}, const QString& procedureName = {},
                 const QString& location = {});
void ReportFailure(const TavrelError& error, const QString& className, const QString& procedureName);

// Runs the body of a public procedure: a failure is reported with the class and procedure names and
// passed on to the caller unchanged.
template <typename Body>
decltype(auto) Reported(const char* className, const char* procedureName, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const TavrelError& error) {
        ReportFailure(error, QString::fromLatin1(className), QString::fromLatin1(procedureName));
        throw;
    }
}

// An assertion whose failure is reported and then raises the invalid-value error.
void RequireValid(bool condition, const QString& conditionText, const QString& className,
                  const QString& procedureName, const QString& location = {});

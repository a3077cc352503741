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

// Reporting procedures nest (the control calls its session, which calls the driver); a failure is
// reported by the outermost of them, under the name the caller used, and by no other. A handler that
// reports a failure itself (ReportFailure) marks it, so that no procedure above reports it again.
class ReportingFrame {
public:
    ReportingFrame();
    ~ReportingFrame();
    ReportingFrame(const ReportingFrame&) = delete;
    ReportingFrame& operator=(const ReportingFrame&) = delete;
    bool outermost() const;
};

// Runs the body of a public procedure: a failure is reported with the class and procedure names
// (unless an enclosing procedure will) and passed on to the caller unchanged.
template <typename Body>
decltype(auto) Reported(const char* className, const char* procedureName, Body&& body) {
    const ReportingFrame frame;
    try {
        return std::forward<Body>(body)();
    } catch (const TavrelError& error) {
        if (frame.outermost())
            ReportFailure(error, QString::fromLatin1(className), QString::fromLatin1(procedureName));
        throw;
    }
}

// An assertion whose failure is reported and then raises the invalid-value error.
void RequireValid(bool condition, const QString& conditionText, const QString& className,
                  const QString& procedureName, const QString& location = {});

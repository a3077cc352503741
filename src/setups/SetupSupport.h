#pragma once

#include "automation/ServerError.h"
#include "base/Diagnostics.h"
#include "base/TavrelError.h"
#include "iolib/IOError.h"

#include <QString>
#include <memory>

class ISetupFile;
class PropertyBag;

// What the setup object and the setups collection share: the errors of the keyed collection and of
// a missing object, the choice of a setup file's reader, and the turning of automation-server and
// I/O failures into the component's own errors where a caller needs one.
namespace SetupSupport {

// The keyed collection's own errors, as the runtime numbers them.
constexpr qint32 kInvalidProcedureCall = 5;
constexpr qint32 kObjectNotSet = 91;
constexpr qint32 kDuplicateKey = 457;

// Titles of the transfers, for errors that a transfer's caller shows.
constexpr int kGetSetupTitle = 624;  // "Get Setup"
constexpr int kSendSetupTitle = 690; // "Send Setup"

// A key that is already in the collection (compared without regard to case).
TavrelError DuplicateKeyError();
// A key that is not in the collection.
TavrelError InvalidProcedureCallError();
// A use of a parent collection or session that was never set.
TavrelError ObjectNotSetError();
// ObjectErrorBase + 321: a file that neither setup file format reads; the detail names the file
// and why (a missing file is told apart from one of another kind).
TavrelError NotASetupFileError(const QString& fileName);
// The invalid-value error for a value the store cannot take or give back; names the store and key.
TavrelError BadStoredValueError(const PropertyBag& bag, const QString& key, const QString& why);

// The reader of the first format that accepts the file (.scp before .stp); null for neither.
std::unique_ptr<ISetupFile> AcceptingReader(const QString& fileName);

// An automation-server or I/O failure of a transfer as a component error titled with the transfer.
TavrelError TransferError(int titleId, qint32 number, const QString& detail);

// Runs body; an I/O failure comes out as the connection error, a refusal by the automation server
// or the instrument as serverNumber, both titled titleId. Component errors pass unchanged. For
// callers that answer a user: the setup itself lets such failures through as they are.
template <typename Body> decltype(auto) WithTransferErrors(int titleId, qint32 serverNumber, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        throw TransferError(titleId, ErrorNumber::ConnectionFailed, e.message());
    } catch (const BrumelTB::ServerError& e) {
        throw TransferError(titleId, serverNumber, e.message());
    }
}

// Reported, for the transfers: the automation server's refusals and the I/O library's failures are
// TavrelErrors too, so they are reported under their own numbers and go on unchanged.
template <typename Body>
decltype(auto) ReportedTransfer(const char* className, const char* procedureName, Body&& body) {
    return Reported(className, procedureName, std::forward<Body>(body));
}

} // namespace SetupSupport

#pragma once

#include <QByteArray>
#include <QList>

namespace tavrelsim {

namespace ScpiError {
enum Code {
    NoError = 0,
    CommandError = -100,
    SyntaxError = -102,
    InvalidSeparator = -103,
    DataTypeError = -104,
    ParameterNotAllowed = -108,
    MissingParameter = -109,
    UndefinedHeader = -113,
    HeaderSuffixOutOfRange = -114,
    SuffixNotAllowed = -138,
    InvalidStringData = -151,
    InvalidBlockData = -161,
    DataOutOfRange = -222,
    TooMuchData = -223,
    IllegalParameterValue = -224,
    DataStale = -230, // no waveform acquired yet
    QueueOverflow = -350,
};
QByteArray text(int code);
} // namespace ScpiError

// The IEEE 488.2 status reporting of the instrument: error/event queue, standard event status
// register and its enable, service request enable.
class ScpiStatus {
public:
    static constexpr int QueueCapacity = 30;
    enum EsrBit {
        OperationComplete = 1,
        QueryError = 4,
        DeviceError = 8,
        ExecutionError = 16,
        CommandErrorBit = 32
    };

    void push(int code);
    // ":SYSTem:ERRor?" reply text without the newline: the oldest entry, or 0,"No error".
    QByteArray takeError();
    int errorCount() const { return int(m_errors.size()); }
    // *CLS: queue and event register emptied; the enables stay.
    void clear();

    int takeEsr(); // reading the register clears it
    void setOperationComplete() { m_esr |= OperationComplete; }
    int ese = 0;
    int sre = 0;
    int statusByte(bool messageAvailable) const;

private:
    QList<int> m_errors;
    int m_esr = 0;
};

} // namespace tavrelsim

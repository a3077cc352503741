#include "sim/ScpiStatus.h"

namespace tavrelsim {

QByteArray ScpiError::text(int code) {
    switch (code) {
    case NoError:
        return "No error";
    case CommandError:
        return "Command error";
    case SyntaxError:
        return "Syntax error";
    case InvalidSeparator:
        return "Invalid separator";
    case DataTypeError:
        return "Data type error";
    case ParameterNotAllowed:
        return "Parameter not allowed";
    case MissingParameter:
        return "Missing parameter";
    case UndefinedHeader:
        return "Undefined header";
    case HeaderSuffixOutOfRange:
        return "Header suffix out of range";
    case SuffixNotAllowed:
        return "Suffix not allowed";
    case InvalidStringData:
        return "Invalid string data";
    case InvalidBlockData:
        return "Invalid block data";
    case DataOutOfRange:
        return "Data out of range";
    case TooMuchData:
        return "Too much data";
    case IllegalParameterValue:
        return "Illegal parameter value";
    case DataStale:
        return "Data corrupt or stale";
    case QueueOverflow:
        return "Queue overflow";
    default:
        return "Error";
    }
}

void ScpiStatus::push(int code) {
    if (code <= -100 && code > -200)
        m_esr |= CommandErrorBit;
    else if (code <= -200 && code > -300)
        m_esr |= ExecutionError;
    else if (code <= -300 && code > -400)
        m_esr |= DeviceError;
    else if (code <= -400 && code > -500)
        m_esr |= QueryError;
    // A full queue keeps its oldest entries and says that it lost some in its last one.
    if (m_errors.size() >= QueueCapacity) {
        m_errors.last() = ScpiError::QueueOverflow;
        return;
    }
    m_errors.append(code);
}

QByteArray ScpiStatus::takeError() {
    const int code = m_errors.isEmpty() ? 0 : m_errors.takeFirst();
    return QByteArray::number(code) + ",\"" + ScpiError::text(code) + '"';
}

void ScpiStatus::clear() {
    m_errors.clear();
    m_esr = 0;
}

int ScpiStatus::takeEsr() {
    const int v = m_esr;
    m_esr = 0;
    return v;
}

int ScpiStatus::statusByte(bool messageAvailable) const {
    int stb = 0;
    if (!m_errors.isEmpty()) stb |= 4;
    if (messageAvailable) stb |= 16;
    if (m_esr & ese) stb |= 32;
    if (stb & sre & ~64) stb |= 64;
    return stb;
}

} // namespace tavrelsim

#pragma once

#include "sim/SimBench.h"
#include "sim/TavrelScope.h"

#include <QByteArray>
#include <memory>

namespace simtest {

// One program message straight into a scope; its response message, if any.
inline QByteArray ask(tavrelsim::TavrelScope& scope, const QByteArray& message) {
    return scope.execute(message, false).bytes;
}

// Reads one whole response through an endpoint: up to END on GPIB, else up to "\n" or a block's
// counted end. Empty on timeout.
inline QByteArray readResponse(tavrelsim::SimEndpoint& ep, int timeoutMs = 2000) {
    QByteArray all;
    while (true) {
        const tavrelsim::SimReadResult r = ep.read(4096, timeoutMs);
        all += r.data;
        if (r.status != tavrelsim::SimReadResult::Ok || r.end || all.endsWith('\n')) return all;
    }
}

inline QByteArray query(tavrelsim::SimEndpoint& ep, const QByteArray& command, int timeoutMs = 2000) {
    ep.write(command + '\n');
    return readResponse(ep, timeoutMs);
}

// "#<n><len><data>" → data; empty when the header is malformed.
inline QByteArray blockData(const QByteArray& response) {
    if (response.size() < 2 || response[0] != '#' || response[1] < '1' || response[1] > '9') return {};
    const int digits = response[1] - '0';
    const int length = response.mid(2, digits).toInt();
    return response.mid(2 + digits, length);
}

inline QByteArray block(const QByteArray& data) {
    const QByteArray length = QByteArray::number(data.size());
    return '#' + QByteArray::number(length.size()) + length + data;
}

} // namespace simtest

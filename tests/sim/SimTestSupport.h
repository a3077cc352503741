#pragma once

#include "sim/SimBench.h"
#include "sim/TavrelScope.h"

#include <QByteArray>
#include <QList>
#include <QtEndian>
#include <vector>

namespace simtest {

inline const QByteArray NoError = "0,\"No error\"\n";

// One program message straight into a scope; its response message, if any.
inline QByteArray ask(tavrelsim::TavrelScope& scope, const QByteArray& message) {
    return scope.execute(message, false).bytes;
}

// The number of the oldest queued error, taking it off the queue.
inline int nextError(tavrelsim::TavrelScope& scope) {
    return ask(scope, ":SYST:ERR?").split(',').first().toInt();
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

// ":WAVeform:PREamble?" fields, and the conversions the command reference gives for them.
struct Preamble {
    int format = -1, type = -1, count = 0;
    qint64 points = -1;
    double xIncrement = 0, xOrigin = 0, xReference = 0, yIncrement = 0, yOrigin = 0, yReference = 0;

    static Preamble parse(const QByteArray& reply) {
        const QList<QByteArray> f = reply.trimmed().split(',');
        if (f.size() != 10) return {};
        double v[10];
        for (int i = 0; i < 10; ++i)
            v[i] = f[i].toDouble();
        return {int(v[0]), int(v[1]), int(v[3]), f[2].toLongLong(), v[4], v[5], v[6], v[7], v[8], v[9]};
    }
    double time(double index) const { return (index - xReference) * xIncrement + xOrigin; }
    double volts(double code) const { return (code - yReference) * yIncrement + yOrigin; }
};

inline std::vector<quint16> words(const QByteArray& data, bool msbFirst = false) {
    std::vector<quint16> out(size_t(data.size() / 2));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = msbFirst ? qFromBigEndian<quint16>(data.constData() + 2 * i)
                          : qFromLittleEndian<quint16>(data.constData() + 2 * i);
    return out;
}

// A source's waveform as WORD codes: the preamble and the codes, after any setup commands.
struct Waveform {
    Preamble preamble;
    std::vector<quint16> codes;
    std::vector<double> volts() const {
        std::vector<double> v(codes.size());
        for (size_t i = 0; i < codes.size(); ++i)
            v[i] = preamble.volts(codes[i]);
        return v;
    }
};

inline Waveform wordWaveform(tavrelsim::TavrelScope& scope, const QByteArray& source,
                             const QByteArray& points = "MAX") {
    const QByteArray setup = ":WAV:SOUR " + source + ";FORM WORD;BYT LSBF;POIN " + points + ";PRE?";
    return {Preamble::parse(ask(scope, setup)), words(blockData(ask(scope, ":WAV:DATA?")))};
}

} // namespace simtest

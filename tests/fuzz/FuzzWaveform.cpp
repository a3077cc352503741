// A waveform preamble reply, then a data block converted by it.
#include "FuzzSupport.h"
#include "automation/ServerError.h"
#include "automation/WaveformPreamble.h"

#include <QVector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    const QByteArray input = fuzz::bytesOf(data, size);
    const qsizetype newline = input.indexOf('\n');
    if (newline < 0) return 0;
    try {
        const BrumelTB::WaveformPreamble preamble =
            BrumelTB::WaveformPreamble::Parse(QString::fromLatin1(input.left(newline)));
        (void)BrumelTB::WaveformPreamble::Quoted(QString::fromLatin1(input.left(newline)));
        if (preamble.points > (1 << 20)) return 0; // the reader bounds the block before conversion
        QVector<double> time, values;
        BrumelTB::ConvertWaveform(preamble, input.mid(newline + 1), newline & 1, time, values);
    } catch (const TavrelError&) {
    }
    return 0;
}

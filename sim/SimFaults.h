#pragma once

#include <QtGlobal>

namespace tavrelsim {

// Misbehaviour a bench file can give an instrument, to exercise the host's error paths.
struct SimFaults {
    bool silent = false;         // hears everything, answers nothing
    bool noComma = false;        // "*IDN?" reply without any comma
    int replyDelayMs = 0;        // a response becomes readable this long after its query
    int dropAfterBytes = -1;     // a response longer than this is cut there and the connection drops; -1 off
    int truncateBlocks = 0;      // definite-length blocks go out this many bytes short, and then nothing
    int bytesPerSecond = 0;      // a response trickles out at this rate, steadily; 0 off
    bool garbage = false;        // a response is replaced by as many bytes of noise and a line end
    bool noLineEnd = false;      // a response loses its line end
    qint64 endlessLineBytes = 0; // a response is replaced by this many bytes with no line end; 0 off
    int blockLengthExcess = 0;   // a definite-length block's header claims this many bytes more
    bool operator==(const SimFaults&) const = default;
};

} // namespace tavrelsim

#pragma once

namespace tavrelsim {

// Misbehaviour a bench file can give an instrument, to exercise the host's error paths.
struct SimFaults {
    bool silent = false;     // hears everything, answers nothing
    bool noComma = false;    // "*IDN?" reply without any comma
    int replyDelayMs = 0;    // a response becomes readable this long after its query
    int dropAfterBytes = -1; // a response longer than this is cut there and the connection drops; -1 off
    int truncateBlocks = 0;  // definite-length blocks go out this many bytes short, and then nothing
    bool operator==(const SimFaults&) const = default;
};

} // namespace tavrelsim

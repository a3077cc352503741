#pragma once

class CDebug;

// The language offset and the diagnostics object are per thread. Search workers take the caller's,
// so that their texts are in the caller's language and their assertions reach the caller's outputs.
struct CallerContext {
    int stringOffset = 0;
    CDebug* diagnostics = nullptr;

    static CallerContext capture();
    void apply() const;
};

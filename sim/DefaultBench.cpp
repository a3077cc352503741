#include "sim/SimBench.h"

namespace tavrelsim {

// Kept identical (as JSON) to samples/bench-default.json, which a test checks.
QByteArray SimBench::defaultBenchJson() {
    return QByteArrayLiteral(R"json({
  "gpib": [
    {
      "board": 0,
      "devices": [
        {"address": 3, "kind": "no_comma", "idn": "HP3478A"},
        {"address": 7, "kind": "tavrel", "model": "TV100A", "serial": "CT41000107", "firmware": "A.01.02"},
        {"address": 12, "kind": "tavrel", "model": "TV200B", "serial": "CT42000212", "firmware": "B.02.05"},
        {"address": 22, "kind": "silent"}
      ]
    },
    {"board": 1, "devices": []}
  ],
  "com": [
    {
      "port": 1,
      "device": {
        "kind": "tavrel", "model": "TV100A", "serial": "CT41000301", "firmware": "A.01.02",
        "baud": 9600, "parity": "none", "data_bits": 8, "stop_bits": 1, "handshake": "XON_XOFF"
      }
    },
    {"port": 2}
  ]
}
)json");
}

} // namespace tavrelsim

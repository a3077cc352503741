#pragma once

#include "sim/ScopeState.h"

#include <QByteArray>
#include <QString>

namespace tavrelsim {

// The learn string (":SYSTem:SETup?" data): a binary header naming the model, guarded by a
// CRC-32, around the serialized front-panel state.
//   0  4  magic "TVLS"        4  2  format version    6  2  header size (32)
//   8 16  model, NUL-padded  24  4  payload length   28  4  CRC-32 of the payload
//  32  .  payload (ScopeState::serialize); integers big-endian
class LearnString {
public:
    static constexpr int HeaderSize = 32;
    static constexpr quint16 FormatVersion = 1;

    static QByteArray encode(const QString& model, const ScopeState& state);
    // 0 and the state, or the SCPI error for a block this instrument must refuse:
    // IllegalParameterValue for another model's setup, DataOutOfRange for anything corrupt.
    static int decode(const QByteArray& block, const QString& model, ScopeState& out);
    static quint32 crc32(const QByteArray& data);
};

} // namespace tavrelsim

#include "sim/LearnString.h"

#include "sim/ScpiStatus.h"

#include <QtEndian>
#include <cstring>

namespace tavrelsim {
namespace {

constexpr char Magic[] = "TVLS";
constexpr int ModelField = 16;

QByteArray modelField(const QString& model) {
    QByteArray m = model.toLatin1().left(ModelField);
    m.append(QByteArray(ModelField - m.size(), '\0'));
    return m;
}

} // namespace

quint32 LearnString::crc32(const QByteArray& data) {
    quint32 crc = 0xFFFFFFFFu;
    for (char c : data) {
        crc ^= quint8(c);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray LearnString::encode(const QString& model, const ScopeState& state) {
    const QByteArray payload = state.serialize();
    QByteArray out(HeaderSize, '\0');
    char* h = out.data();
    memcpy(h, Magic, 4);
    qToBigEndian<quint16>(FormatVersion, h + 4);
    qToBigEndian<quint16>(HeaderSize, h + 6);
    memcpy(h + 8, modelField(model).constData(), ModelField);
    qToBigEndian<quint32>(quint32(payload.size()), h + 24);
    qToBigEndian<quint32>(crc32(payload), h + 28);
    return out + payload;
}

int LearnString::decode(const QByteArray& block, const QString& model, ScopeState& out) {
    if (block.size() < HeaderSize) return ScpiError::DataOutOfRange;
    const char* h = block.constData();
    if (memcmp(h, Magic, 4) != 0 || qFromBigEndian<quint16>(h + 4) != FormatVersion ||
        qFromBigEndian<quint16>(h + 6) != HeaderSize)
        return ScpiError::DataOutOfRange;
    const QByteArray payload = block.mid(HeaderSize);
    if (qFromBigEndian<quint32>(h + 24) != quint32(payload.size()) ||
        qFromBigEndian<quint32>(h + 28) != crc32(payload))
        return ScpiError::DataOutOfRange;
    if (block.mid(8, ModelField) != modelField(model)) return ScpiError::IllegalParameterValue;
    const std::optional<ScopeState> state = ScopeState::deserialize(payload);
    if (!state) return ScpiError::DataOutOfRange;
    out = *state;
    return 0;
}

} // namespace tavrelsim

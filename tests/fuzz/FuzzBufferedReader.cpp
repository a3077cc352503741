// Reply lines and IEEE 488.2 blocks read from an instrument that sends the input, in pieces.
#include "FuzzSupport.h"
#include "iolib/BufferedReader.h"

namespace {

using namespace CorvaneIOUtilsLib;

// Sends the input in chunks whose sizes the input's first bytes choose; then the line goes quiet.
class InputTransport : public RawTransport {
public:
    InputTransport(QByteArray bytes, bool end) : m_bytes(std::move(bytes)), m_end(end) {}
    void write(const QByteArray&, int) override {}
    ReadChunk read(qsizetype maxBytes, int) override {
        if (m_pos >= m_bytes.size()) return {{}, false, ReadChunk::Timeout};
        const qsizetype step =
            std::min<qsizetype>({maxBytes, m_bytes.size() - m_pos, 1 + (m_pos * 7919) % 4096});
        ReadChunk chunk{m_bytes.mid(m_pos, step), false, ReadChunk::Ok};
        m_pos += step;
        chunk.end = m_end && m_pos == m_bytes.size();
        return chunk;
    }
    bool hasEnd() const override { return m_end; }
    void clear(int) override { m_pos = m_bytes.size(); }
    void close() override {}

private:
    QByteArray m_bytes;
    qsizetype m_pos = 0;
    bool m_end;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    if (size < 1) return 0;
    InputTransport transport(fuzz::bytesOf(data + 1, size - 1), data[0] & 1);
    BufferedReader reader(transport, QStringLiteral("FUZZ0::1::INSTR"));
    const qsizetype limit = 1 << 20;
    for (int i = 0; i < 4; ++i) {
        try {
            switch ((data[0] >> (1 + 2 * i)) & 3) {
            case 0:
                reader.readLine(0, limit);
                break;
            case 1:
                reader.readBlock(0, limit);
                break;
            case 2:
                reader.readBytes(data[0] % 64, 0, limit);
                break;
            default:
                reader.nextIsBlock(0);
                break;
            }
        } catch (const IOError&) {
        }
    }
    return 0;
}

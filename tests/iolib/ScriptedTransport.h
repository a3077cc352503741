#pragma once

#include "iolib/RawTransport.h"

#include <deque>
#include <vector>

// A bus whose input is a script of arrivals (optionally ending with END), stalls and drops, one per
// read whatever the timeout. It records the size of every read the reader asks for.
class ScriptedTransport : public CorvaneIOUtilsLib::RawTransport {
public:
    using Chunk = CorvaneIOUtilsLib::ReadChunk;
    struct Step {
        Chunk::Status status = Chunk::Ok;
        QByteArray data;
        bool end = false;
    };

    explicit ScriptedTransport(bool hasEnd, std::vector<Step> script = {})
        : m_hasEnd(hasEnd), m_script(script.begin(), script.end()) {}

    void add(const Step& step) { m_script.push_back(step); }

    Chunk read(qsizetype maxBytes, int) override {
        readSizes.push_back(maxBytes);
        if (m_script.empty()) return {{}, false, Chunk::Timeout};
        Step& step = m_script.front();
        Chunk chunk{step.data.left(maxBytes), false, step.status};
        step.data.remove(0, chunk.data.size());
        if (step.data.isEmpty()) {
            chunk.end = step.end;
            m_script.pop_front();
        }
        return chunk;
    }
    void write(const QByteArray&, int) override {}
    bool hasEnd() const override { return m_hasEnd; }
    void clear(int) override { m_script.clear(); }
    void close() override {}

    std::vector<qsizetype> readSizes;

private:
    bool m_hasEnd;
    std::deque<Step> m_script;
};

inline ScriptedTransport::Step Arrive(const QByteArray& data) {
    return {ScriptedTransport::Chunk::Ok, data, false};
}
inline ScriptedTransport::Step ArriveEnd(const QByteArray& data) {
    return {ScriptedTransport::Chunk::Ok, data, true};
}
inline ScriptedTransport::Step Stall() {
    return {ScriptedTransport::Chunk::Timeout, {}, false};
}
inline ScriptedTransport::Step Drop() {
    return {ScriptedTransport::Chunk::Dropped, {}, false};
}

#pragma once

#include "iolib/IOBackend.h"
#include "iolib/IOManager.h"
#include "iolib/RawTransport.h"
#include "iolib/TransportSession.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"

#include <QStringList>
#include <functional>
#include <memory>

// The default bench's TV100A on GPIB0::7, as every in-process test reaches it.
inline const QString kSimScope = QStringLiteral("GPIB0::7::INSTR");

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> simManager() {
    return tavrelsim::simulatedIOManager(tavrelsim::SimBench::defaultBench());
}

// An instrument played by a script: every line written is recorded and handed to answer, whose
// reply (if any) becomes the bus's input. GPIB-like: replies end with END.
class ScriptedInstrument : public CorvaneIOUtilsLib::RawTransport {
public:
    using Answer = std::function<QByteArray(const QByteArray& line)>;

    explicit ScriptedInstrument(Answer answer) : m_answer(std::move(answer)) {}

    void write(const QByteArray& bytes, int) override {
        QByteArray line = bytes;
        if (line.endsWith('\n')) line.chop(1);
        written->append(QString::fromLatin1(line));
        m_input += m_answer(line);
    }
    CorvaneIOUtilsLib::ReadChunk read(qsizetype maxBytes, int) override {
        CorvaneIOUtilsLib::ReadChunk chunk;
        if (m_input.isEmpty()) {
            chunk.status = CorvaneIOUtilsLib::ReadChunk::Timeout;
            return chunk;
        }
        chunk.data = m_input.left(maxBytes);
        m_input.remove(0, chunk.data.size());
        return chunk;
    }
    bool hasEnd() const override { return false; }
    void clear(int) override { m_input.clear(); }
    void close() override {}

    std::shared_ptr<QStringList> written = std::make_shared<QStringList>();

private:
    Answer m_answer;
    QByteArray m_input;
};

// An I/O manager whose every GPIB address opens the scripted instrument.
class ScriptedBackend : public CorvaneIOUtilsLib::IOBackend {
public:
    explicit ScriptedBackend(ScriptedInstrument::Answer answer, std::shared_ptr<QStringList> written)
        : m_answer(std::move(answer)), m_written(std::move(written)) {}
    QList<CorvaneIOUtilsLib::ResourceAddress::Kind> kinds() const override {
        return {CorvaneIOUtilsLib::ResourceAddress::Gpib};
    }
    QStringList list(const QString&) override { return {}; }
    std::unique_ptr<CorvaneIOUtilsLib::IOSession>
    open(const CorvaneIOUtilsLib::ResourceAddress& address) override {
        auto transport = std::make_unique<ScriptedInstrument>(m_answer);
        transport->written = m_written;
        auto session = std::make_unique<CorvaneIOUtilsLib::TransportSession<CorvaneIOUtilsLib::IOSession>>(
            QStringLiteral("GPIB"), address.resourceName(), std::move(transport));
        session->SetTimeout(50);
        return session;
    }

private:
    ScriptedInstrument::Answer m_answer;
    std::shared_ptr<QStringList> m_written;
};

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> scriptedManager(ScriptedInstrument::Answer answer,
                                                                     std::shared_ptr<QStringList> written) {
    std::vector<std::unique_ptr<CorvaneIOUtilsLib::IOBackend>> backends;
    backends.push_back(std::make_unique<ScriptedBackend>(std::move(answer), std::move(written)));
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(std::move(backends), true);
}

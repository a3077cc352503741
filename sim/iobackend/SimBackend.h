#pragma once

#include "iolib/IOBackend.h"
#include "iolib/IOManager.h"

#include <mutex>
#include <vector>

namespace tavrelsim {
class SimBench;
}

namespace CorvaneIOUtilsLib {

// The GPIB boards and COM ports of a simulated bench, in place of the computer's own.
class SimBackend : public IOBackend {
public:
    explicit SimBackend(std::shared_ptr<tavrelsim::SimBench> bench);

    QList<ResourceAddress::Kind> kinds() const override {
        return {ResourceAddress::Gpib, ResourceAddress::Com};
    }
    QStringList list(const QString& literalPrefix) override;
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;

private:
    std::shared_ptr<tavrelsim::SimBench> m_bench;
    std::mutex m_mutex; // the bench's listing and opening are not promised to be thread-safe
};

} // namespace CorvaneIOUtilsLib

namespace tavrelsim {

// An I/O manager on a simulated bench: its GPIB boards and COM ports in place of the computer's;
// LAN sockets stay real. TAVREL_IO=sim (the default bench) and sim:PATH (a bench file) make the same.
std::shared_ptr<CorvaneIOUtilsLib::IOManager> simulatedIOManager(std::shared_ptr<SimBench> bench);
// The backends of such a manager.
std::vector<std::unique_ptr<CorvaneIOUtilsLib::IOBackend>> benchBackends(std::shared_ptr<SimBench> bench);

} // namespace tavrelsim

#pragma once

#include "iolib/IOBackend.h"

#include <mutex>

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

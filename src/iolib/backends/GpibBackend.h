#pragma once

#include "iolib/IOBackend.h"
#include "iolib/backends/GpibLibrary.h"

#include <array>
#include <mutex>

namespace CorvaneIOUtilsLib {

// GPIB boards GPIB0..GPIB3 through linux-gpib. Without the library there are no GPIB ports.
class GpibBackend : public IOBackend {
public:
    static constexpr int kBoards = 4;
    // A listing asks every address with this short timeout, so a powered-off instrument cannot stall it.
    static constexpr int kListingTimeoutCode = GpibLibrary::kT30ms;

    explicit GpibBackend(std::shared_ptr<const GpibLibrary> library);

    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Gpib}; }
    QStringList list(const QString& literalPrefix) override;
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;

private:
    bool boardPresent(int board, int* ownAddress) const;
    QStringList listBoard(int board);

    std::shared_ptr<const GpibLibrary> m_library;
    // A board's timeout is changed while it is listed; one listing per board at a time.
    std::array<std::mutex, kBoards> m_boardMutex;
};

} // namespace CorvaneIOUtilsLib

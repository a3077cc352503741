#pragma once

#include "base/Localization.h"
#include "base/TavrelError.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOManager.h"
#include "iolib/IOUtilsEnums.h"
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"
#include "support/DiagnosticsCapture.h"
#include "support/Errors.h"

#include <QString>
#include <gtest/gtest.h>
#include <memory>
#include <string>

// The discovery tests' benches, texts and languages.
namespace discoverytest {

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> DefaultBench() {
    return tavrelsim::simulatedIOManager(tavrelsim::SimBench::defaultBench());
}

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> Bench(const char* json) {
    return tavrelsim::simulatedIOManager(
        tavrelsim::SimBench::fromJson(QByteArray(json), QStringLiteral("test bench")));
}

// A configuration whose exists flags are what the bench lists, as after the page's Find Ports.
inline CIOconfiguration Refreshed(const CorvaneIOUtilsLib::IOManager& manager) {
    CIOconfiguration configuration;
    configuration.RefreshPorts(manager);
    return configuration;
}

// The addresses of a board that the configuration lists as existing.
inline QList<int> Listed(const CIOconfiguration& configuration, int board) {
    QList<int> listed;
    for (int address = CIOconfiguration::kFirstGPIBAddress; address <= CIOconfiguration::kLastGPIBAddress;
         ++address)
        if (configuration.GPIBAddressExists(board, address)) listed << address;
    return listed;
}

// The text of a base id in the calling thread's language, straight from the table.
inline QString T(int baseId) {
    return LoadResString(baseId + StringOffset());
}

// Selects a language for the scope of a test.
class Language {
public:
    explicit Language(int offset) : m_saved(StringOffset()) { SetStringOffset(offset); }
    ~Language() { SetStringOffset(m_saved); }
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

private:
    int m_saved;
};

constexpr int kEnglish = 0;
constexpr int kFrench = 1000;

inline const QString kCRLF = QStringLiteral("\r\n");
inline const QString kIndent = QStringLiteral("    ");

// The "at address" paragraph the messages end with.
inline QString AtAddress(const QString& shown) {
    return kCRLF + kCRLF + T(228) + kCRLF + kCRLF + kIndent + shown;
}

// Expects the call to raise the invalid-value error with this description and to report the lines.
template <typename Call>
void ExpectRefusal(Call&& call, const QString& description, const QStringList& report,
                   const std::string& name) {
    DiagnosticsCapture capture;
    const std::optional<TavrelError> error = ErrorOf(std::forward<Call>(call));
    ASSERT_TRUE(error.has_value()) << "no error: " << name;
    EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue) << name;
    EXPECT_EQ(error->source(), T(104)) << name;
    EXPECT_EQ(error->description(), description) << name;
    EXPECT_TRUE(capture.hasReportWith(report)) << name;
}

} // namespace discoverytest

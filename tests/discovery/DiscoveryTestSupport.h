#pragma once

#include "control/Localization.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/IOManager.h"
#include "iolib/IOUtilsEnums.h"
#include "sim/SimBench.h"

#include <QString>
#include <QThread>
#include <memory>

// The discovery tests' benches, texts and languages.
namespace discoverytest {

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> DefaultBench() {
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(tavrelsim::SimBench::defaultBench());
}

inline std::shared_ptr<CorvaneIOUtilsLib::IOManager> Bench(const char* json) {
    return std::make_shared<CorvaneIOUtilsLib::IOManager>(
        tavrelsim::SimBench::fromJson(QByteArray(json), QStringLiteral("test bench")));
}

// A configuration whose exists flags are what the bench lists, as after the page's Find Ports.
inline CIOconfiguration Refreshed(const CorvaneIOUtilsLib::IOManager& manager) {
    CIOconfiguration configuration;
    configuration.RefreshPorts(manager);
    return configuration;
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

} // namespace discoverytest

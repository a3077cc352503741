// The .scp and .stp readers on any file: they either read it or raise the component's error.
#include "FuzzSupport.h"
#include "base/TavrelError.h"
#include "setups/CSetupFile.h"
#include "setups/CSlateworkFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    const QString scp = fuzz::inputFile(data, size, QStringLiteral(".scp"));
    try {
        CSetupFile file;
        file.ReadFile(scp);
    } catch (const TavrelError&) {
    }
    const QString stp = fuzz::inputFile(data, size, QStringLiteral(".stp"));
    try {
        CSlateworkFile file;
        file.ReadFile(stp);
    } catch (const TavrelError&) {
    }
    return 0;
}

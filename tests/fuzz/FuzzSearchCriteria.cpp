// The 164-byte search criteria and the stored setups as a document holds them.
#include "FuzzSupport.h"
#include "base/TavrelError.h"
#include "hosting/MemoryPropertyBag.h"
#include "ioconfig/CIOconfiguration.h"
#include "setups/SetupsTavrelScope.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    if (size < 1) return 0;
    const QByteArray bytes = fuzz::bytesOf(data + 1, size - 1);
    MemoryPropertyBag bag(QStringLiteral("fuzz"));
    if (data[0] & 1) {
        bag.set(QStringLiteral("SearchCriteria"), bytes);
        CIOconfiguration configuration;
        try {
            configuration.ReadProperties(bag);
        } catch (const TavrelError&) {
        }
        return 0;
    }
    // Setups: a count and fields split from the input.
    const QList<QByteArray> fields = bytes.split('\0');
    bag.set(QStringLiteral("SetupCount"), static_cast<int>(data[0] >> 1) % 5);
    static const char* const kKeys[] = {"SetupName", "SetupComments", "SetupModel", "SetupFirmware",
                                        "LearnString"};
    for (int i = 0; i < fields.size(); ++i)
        bag.set(QString::number(i / 5 + 1) + QLatin1String(kKeys[i % 5]),
                i % 5 == 4 ? QVariant(fields[i]) : QVariant(QString::fromUtf8(fields[i])));
    SetupsTavrelScope setups;
    try {
        setups.ReadProperties(bag);
    } catch (const TavrelError&) {
    }
    return 0;
}

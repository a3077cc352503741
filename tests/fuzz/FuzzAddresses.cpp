// Address strings, as the I/O library parses them and as the control's configuration takes them.
#include "FuzzSupport.h"
#include "base/TavrelError.h"
#include "ioconfig/CIOconfiguration.h"
#include "iolib/ResourceAddress.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    const QString text = QString::fromUtf8(fuzz::bytesOf(data, size));
    try {
        const auto address = CorvaneIOUtilsLib::ResourceAddress::parse(text);
        (void)address.resourceName();
        (void)address.portName();
    } catch (const TavrelError&) {
    }
    CIOconfiguration configuration;
    for (bool dtrOnly : {false, true}) {
        configuration.SetDTROnly(dtrOnly);
        try {
            configuration.SetActiveAddressString(text);
            (void)configuration.ActiveAutomationServerAddress();
        } catch (const TavrelError&) {
        }
    }
    return 0;
}

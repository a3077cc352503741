// A host document from disk, read into a control: refused values raise the component's error, the
// rest is read.
#include "FuzzSupport.h"
#include "base/TavrelError.h"
#include "control/TavrelScope.h"
#include "hosting/HostDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    qputenv("TAVREL_IO", "none-in-fuzzing");
    const QString path = fuzz::inputFile(data, size, QStringLiteral(".json"));
    try {
        MemoryPropertyBag bag = HostDocument::load(path);
        static TavrelScope* control = new TavrelScope;
        try {
            control->ReadProperties(bag);
        } catch (const TavrelError&) {
        }
        MemoryPropertyBag out(QStringLiteral("out"));
        control->WriteProperties(out);
        (void)HostDocument::toJson(out);
    } catch (const TavrelError&) {
    }
    return 0;
}

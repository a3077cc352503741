// The simulator's SCPI parser and the bench file, on anything a client or a user gives them.
#include "FuzzSupport.h"
#include "sim/BenchFile.h"
#include "sim/ScpiParser.h"

#include <stdexcept>

using namespace tavrelsim;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    if (size < 1) return 0;
    const QByteArray input = fuzz::bytesOf(data + 1, size - 1);
    if (data[0] & 1) {
        try {
            (void)BenchFile::parse(input, QStringLiteral("fuzz.json"));
        } catch (const std::exception&) {
        }
        return 0;
    }
    QList<QByteArray> path;
    for (const ScpiUnit& unit : ScpiParser::split(input))
        (void)ScpiParser::resolve(unit.header, path);
    return 0;
}

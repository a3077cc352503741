// A HiSLIP session against a server that sends the input: the handshake on both channels, a query and
// its response, a device clear. Every message's header and payload come from the input.
#include "FuzzSupport.h"
#include "ScriptedServer.h"
#include "iolib/IOError.h"
#include "iolib/ResourceAddress.h"
#include "iolib/backends/HislipTransport.h"

using namespace CorvaneIOUtilsLib;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    static fuzz::ScriptedServer server(false);
    server.serve(fuzz::repliesOf(data, size, 12));
    const ResourceAddress address =
        ResourceAddress::parse(QStringLiteral("TCPIP0::127.0.0.1::hislip0,%1::INSTR").arg(server.port()));
    try {
        HislipTransport session(address, 200);
        session.write(QByteArrayLiteral("*IDN?\n"), 200);
        for (int i = 0; i < 4; ++i) {
            const ReadChunk chunk = session.read(1 << 16, 200);
            if (chunk.end || chunk.status != ReadChunk::Ok) break;
        }
        session.clear(200);
    } catch (const IOError&) {
    }
    return 0;
}

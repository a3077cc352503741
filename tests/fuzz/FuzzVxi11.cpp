// A VXI-11 link against a server that sends the input as its RPC replies: create_link, device_write,
// device_read until END, device_clear and destroy_link. The portmapper's answer is made here (it must
// name this server's port); everything after it comes from the input.
#include "FuzzSupport.h"
#include "ScriptedServer.h"
#include "iolib/IOError.h"
#include "iolib/ResourceAddress.h"
#include "iolib/backends/Vxi11Transport.h"

using namespace CorvaneIOUtilsLib;

namespace {

// An accepted RPC reply's words after the xid: REPLY, MSG_ACCEPTED, no verifier, SUCCESS; then value.
QByteArray acceptedReply(quint32 value) {
    QByteArray reply;
    for (quint32 word : {1u, 0u, 0u, 0u, 0u, value})
        for (int i = 0; i < 4; ++i)
            reply.append(char(word >> (24 - 8 * i)));
    return reply;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startQt();
    static fuzz::ScriptedServer server(true);
    QList<QByteArray> replies = fuzz::repliesOf(data, size, 12);
    replies.prepend(acceptedReply(server.port())); // GETPORT
    server.serve(replies);
    const ResourceAddress address = ResourceAddress::parse(QStringLiteral("TCPIP0::127.0.0.1::inst0::INSTR"));
    try {
        Vxi11Transport link(address, server.port(), 200);
        link.write(QByteArrayLiteral("*IDN?\n"), 200);
        for (int i = 0; i < 4; ++i) {
            const ReadChunk chunk = link.read(1 << 16, 200);
            if (chunk.end || chunk.status != ReadChunk::Ok) break;
        }
        link.clear(200);
    } catch (const IOError&) {
    }
    return 0;
}

#pragma once

// Plain blocking sockets for the simulator's network servers (VXI-11, HiSLIP), on 127.0.0.1 only.
#include <QString>

namespace tavrelsim {

// A listening socket on 127.0.0.1:port (0: a free port), its port in *bound; -1 with the reason in
// *error when it cannot listen.
int listenOnLoopback(quint16 port, quint16* bound, QString* error);
// Every byte, or false when the peer went away.
bool sendAll(int fd, const QByteArray& bytes);
// Exactly count bytes, or false at the stream's end or on an error.
bool receiveAll(int fd, char* out, qsizetype count);

} // namespace tavrelsim

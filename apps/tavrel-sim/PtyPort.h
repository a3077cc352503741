#pragma once

#include "sim/SimEndpoint.h"

#include <QString>
#include <atomic>

// A pseudo-terminal standing in for a COM port: the host opens the slave side as it would a serial
// device; we hold the master. The host's line settings are read back from the master, so that the
// simulated instrument can refuse a host whose baud rate, framing or handshake differ from its own.
class PtyPort {
public:
    PtyPort() = default;
    ~PtyPort();
    PtyPort(const PtyPort&) = delete;
    PtyPort& operator=(const PtyPort&) = delete;

    // Creates the pair, puts the line in raw mode with the given settings until the host changes
    // them, and with linkDir non-empty adds the symlink linkDir/name -> slave. false + error on failure.
    bool open(const tavrelsim::SimSerialSettings& initial, const QString& linkDir, const QString& name,
              QString* error);
    int masterFd() const { return m_master; }
    QString slavePath() const { return m_slavePath; }
    QString linkPath() const { return m_linkPath; }
    // The settings the host has put on its side of the line now.
    tavrelsim::SimSerialSettings hostSettings() const;
    // Writes everything unless the host stops reading for long or stop becomes true.
    void writeAll(const QByteArray& bytes, const std::atomic<bool>& stop) const;
    void close();

    static QString describe(const tavrelsim::SimSerialSettings& s); // "9600 8N1 XON/XOFF"

private:
    int m_master = -1;
    int m_slave = -1; // held open so the master never sees a hang-up between host sessions
    QString m_slavePath;
    QString m_linkPath;
};

#pragma once

#include "iolib/SerialSettings.h"

#include <QString>

namespace CorvaneIOUtilsLib {

// A parsed instrument address:
//   "GPIB<board>::<primary>::INSTR"                 (board optional, "::INSTR" optional)
//   "COM<n>" or "COM<n>::Baud=..,Handshake=..,Parity=..,Size=..,Stop=.."
//   "TCPIP<n>::<host>::<port>::SOCKET"
//   "TCPIP<n>::<host>[::<device>]::INSTR"           VXI-11; device "inst0" by default, or "gpib0,7"
//   "TCPIP<n>::<host>::hislip<n>[,<port>]::INSTR"   HiSLIP; port 4880 by default
//   "USB<n>::<vendor>::<product>::<serial>[::<interface>]::INSTR"   USBTMC; ids in hex (0x..) or decimal
// Prefixes and keywords are case-insensitive; blanks are ignored in COM addresses.
class ResourceAddress {
public:
    enum Kind { Gpib, Com, TcpSocket, Vxi11, Hislip, Usb };

    static constexpr quint16 kHislipDefaultPort = 4880;

    // Throws IOError: BadAddress for text that is not an address, Unsupported for real address forms
    // that this library does not open (GPIB interfaces).
    static ResourceAddress parse(const QString& text);

    Kind kind = Gpib;
    int board = 0;         // GPIB board
    int primary = 0;       // GPIB primary address 0..30
    int comPort = 0;       // COM port number
    SerialSettings serial; // defaults overridden by the address's keywords
    QString host;          // TCPIP host
    quint16 tcpPort = 0;   // TCPIP port (SOCKET), HiSLIP port; 0 for VXI-11 (the portmapper says)
    int lanBoard = 0;      // the n of TCPIP<n>
    QString device;        // VXI-11 device name ("inst0", "gpib0,7") or HiSLIP sub-address ("hislip0")
    int usbBoard = 0;      // the n of USB<n>
    quint16 usbVendor = 0;
    quint16 usbProduct = 0;
    QString usbSerial;
    int usbInterface = -1; // -1: the first USBTMC interface of the device

    // The resource name a session reports: "GPIB0::7::INSTR", "COM1", "TCPIP0::host::5025::SOCKET",
    // "TCPIP0::host::inst0::INSTR", "TCPIP0::host::hislip0::INSTR", "USB0::0x0957::0x1796::MY123::INSTR".
    QString resourceName() const;
    // The port the address lives on: "GPIB0", "COM1", "TCPIP0", "USB0".
    QString portName() const;
};

} // namespace CorvaneIOUtilsLib

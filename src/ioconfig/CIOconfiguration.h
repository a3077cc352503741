#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QObject>
#include <QString>
#include <QVariant>
#include <array>

class PropertyBag;

namespace CorvaneIOUtilsLib {
class IOManager;
}

// How the component reaches an instrument: the computer's GPIB interfaces and COM ports, which of
// them and which GPIB addresses an instrument search tries, the serial parameters of every COM port,
// the active port and GPIB address, and the active address string built from them. The control
// owns one; property pages edit a copy and hand it back with Copy.
class CIOconfiguration {
    Q_GADGET
    // The active port's settings as a property editor (and `tavrel doc set`) sets them; the rest
    // is shown only.
    Q_PROPERTY(QString ActiveIOPort READ ActiveIOPort WRITE SetActiveIOPort)
    Q_PROPERTY(int ActivePortGPIBAddress READ ActivePortGPIBAddress WRITE SetActivePortGPIBAddress)
    Q_PROPERTY(int ActivePortBaudRate READ ActivePortBaudRate WRITE SetActivePortBaudRate)
    Q_PROPERTY(int ActivePortHandshake READ ActivePortHandshake WRITE SetActivePortHandshake)
    Q_PROPERTY(QString ActiveAddressString READ ActiveAddressString DESIGNABLE false)
    Q_PROPERTY(QString ActiveAutomationServerAddress READ ActiveAutomationServerAddress DESIGNABLE false)
    Q_PROPERTY(QString ActiveAddressInstrumentID READ ActiveAddressInstrumentID DESIGNABLE false)
    Q_PROPERTY(bool IsGPIB READ IsGPIB DESIGNABLE false)
public:
    static constexpr int kFirstGPIBPort = 0;
    static constexpr int kLastGPIBPort = 3;
    static constexpr int kFirstRS232Port = 1;
    static constexpr int kLastRS232Port = 4;
    static constexpr int kFirstGPIBAddress = 0;
    static constexpr int kLastGPIBAddress = 30;
    static constexpr int kGPIBPortCount = kLastGPIBPort - kFirstGPIBPort + 1;
    static constexpr int kRS232PortCount = kLastRS232Port - kFirstRS232Port + 1;
    static constexpr int kGPIBAddressCount = kLastGPIBAddress - kFirstGPIBAddress + 1;
    // Exists and included flags of both port kinds, the address table, and per COM port a four-byte
    // baud rate with one byte each for parity and handshake.
    static constexpr int kSearchCriteriaSize = 4 + 4 + 124 + 4 + 4 + 12 + 12;

    CIOconfiguration();

    void Copy(const CIOconfiguration& source);

    bool GPIBPortExists(int port) const;
    void SetGPIBPortExists(int port, bool exists);
    bool GPIBPortIncluded(int port) const;
    void SetGPIBPortIncluded(int port, bool included);

    QVariant DataAsVariant() const;
    void SetDataAsVariant(const QVariant& data);

    QString GPIBPortString(int port) const;
    QString RS232PortString(int port) const;

    bool RS232PortExists(int port) const;
    void SetRS232PortExists(int port, bool exists);
    bool RS232PortIncluded(int port) const;
    void SetRS232PortIncluded(int port, bool included);

    bool IsGPIBPortString(const QString& port) const;
    bool IsRS232PortString(const QString& port) const;
    int RS232PortIndex(const QString& port) const;
    int GPIBPortIndex(const QString& port) const;

    void WriteProperties(PropertyBag& bag) const;
    void ReadProperties(PropertyBag& bag);
    // The "SearchCriteria" value that WriteProperties stores.
    QByteArray SearchCriteriaBytes() const;

    // LAN instruments the user lists, which the search probes after the ports: resource strings of
    // raw sockets, VXI-11 or HiSLIP ("TCPIP0::host::inst0::INSTR"). Stored under "LANInstruments",
    // beside the search criteria, as one text with ";" between the entries.
    static constexpr int kMaxLANInstruments = 256;
    QStringList LANInstruments() const { return m_astrLANInstruments; }
    // Takes addresses or bare host names (a host is a VXI-11 instrument, "TCPIP0::host::inst0::INSTR");
    // refuses the whole list with the invalid-value error, its detail naming the entry, when one is
    // not a LAN address, and keeps the list it had.
    void SetLANInstruments(const QStringList& entries);
    // The list as the text the property and the document hold, and back.
    QString LANInstrumentsText() const;
    void SetLANInstrumentsText(const QString& text);

    bool GPIBAddressIncluded(int port, int address) const;
    void SetGPIBAddressIncluded(int port, int address, bool included);

    // Each of these rebuilds the active address string, whichever port they touch.
    int RS232BaudRate(int port) const;
    void SetRS232BaudRate(int port, int baudRate);
    int RS232Parity(int port) const;
    void SetRS232Parity(int port, int parity);
    int RS232Handshake(int port) const;
    void SetRS232Handshake(int port, int handshake);

    // Port discovery: the exists flags from the I/O manager's listing; nothing opens a session.
    // Listing errors propagate and the flags cleared before them stay cleared.
    void RefreshPorts(const CorvaneIOUtilsLib::IOManager& manager);
    // Whether the manager lists GPIB interface port (0..3); refreshes its address exists flags. The
    // caller stores the result in GPIBPortExists.
    bool FindGPIBPort(int port, const CorvaneIOUtilsLib::IOManager& manager);
    // Whether the manager lists COM port (1..4); changes nothing.
    bool FindRS232Port(int port, const CorvaneIOUtilsLib::IOManager& manager) const;
    bool GPIBAddressExists(int port, int address) const;
    void SetGPIBAddressExists(int port, int address, bool exists);

    int GPIBInstrumentAddress(const QString& address) const;
    QVariant AnyPortExists() const;

    QString ActiveIOPort() const { return m_strActiveIOPort; }
    void SetActiveIOPort(const QString& port);
    // Reads the COM entry numbered like the active port even while a GPIB port is active, so GPIB0
    // fails with a subscript error; the setters check the port kind instead.
    int ActivePortBaudRate() const;
    void SetActivePortBaudRate(int baudRate);
    int ActivePortGPIBAddress() const;
    void SetActivePortGPIBAddress(int address);
    int ActivePortHandshake() const;
    void SetActivePortHandshake(int handshake);
    bool IsGPIB() const { return m_bIsGPIB; }
    bool IsStringGPIB(const QString& address) const;

    QString ActiveAddressString() const { return m_strActiveAddressString; }
    // GPIB, TCPIP and USB strings are kept verbatim; RS-232 strings are parsed into the active COM
    // port's parameters and replaced by their canonical form. A rejected string leaves everything as
    // it was.
    void SetActiveAddressString(const QString& address);
    QString ActiveAutomationServerAddress() const;

    QString ActiveAddressInstrumentID() const { return m_strActiveAddressInstrumentID; }
    void SetActiveAddressInstrumentID(const QString& id);

    bool DTROnly() const { return m_bDTROnly; }
    void SetDTROnly(bool dtrOnly);

private:
    static constexpr QLatin1String kClassName{"CIOConfiguration"};
    static constexpr int kBaudRateIndex = 0;
    static constexpr int kParityIndex = 1;
    static constexpr int kHandshakeIndex = 2;
    static constexpr int kRS232ConfigurationCount = 3;

    using RS232Configuration = std::array<std::array<qint32, kRS232ConfigurationCount>, kRS232PortCount>;

    // What assigning an address string may change, so that a rejected string can be undone.
    struct AddressState {
        QString addressString;
        qint32 gpibAddress;
        QString ioPort;
        qint32 ioPortIndex;
        bool isGPIB;
        RS232Configuration rs232Configuration;
    };

    static int GPIBSlot(int port);
    static int RS232Slot(int port);
    static int AddressSlot(int address);
    static bool IsAllowedBaudRate(qint32 baudRate);

    qint32& ActivePortEntry(int index);
    qint32 ActivePortEntry(int index) const;

    AddressState SaveAddressState() const;
    void RestoreAddressState(const AddressState& state);
    void ParseRS232Address(const QString& address);
    QString StripRS232KeyWord(const QString& address, const QString& keyword) const;
    void ReformAddress();
    void ApplySearchCriteria(const QByteArray& bytes);

    bool m_bDTROnly = false;
    QString m_strActiveAddressInstrumentID;
    QString m_strActiveAddressString;
    qint32 m_lActiveGPIBAddress = 0;
    QString m_strActiveIOPort;
    qint32 m_lIOPortIndex = 0;
    bool m_bIsGPIB = false;
    std::array<bool, kGPIBPortCount> m_abGPIBPortExists{};
    std::array<bool, kRS232PortCount> m_abRS232PortExists{};
    std::array<bool, kGPIBPortCount> m_abGPIBPortIncluded{};
    std::array<bool, kRS232PortCount> m_abRS232PortIncluded{};
    std::array<std::array<bool, kGPIBAddressCount>, kGPIBPortCount> m_abGPIBAddressExists{};
    std::array<std::array<bool, kGPIBAddressCount>, kGPIBPortCount> m_abGPIBAddressIncluded{};
    RS232Configuration m_aiRS232Configuration{};
    QStringList m_astrLANInstruments;
};

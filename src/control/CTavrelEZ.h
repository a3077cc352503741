#pragma once

#include <QObject>
#include <QString>
#include <memory>

class PropertyBag;

namespace BrumelTB {
class ScopeTavrel;
}
namespace CorvaneIOUtilsLib {
class IOManager;
}

// The connection to the instrument: holds the address in the automation server's form, opens the
// server on Initialize (optionally resetting the instrument and checking its identity) and closes
// it again. The control owns one and lends it to its setups.
class CTavrelEZ : public QObject {
    Q_OBJECT
public:
    explicit CTavrelEZ(QObject* parent = nullptr);
    ~CTavrelEZ() override;

    void Initialize();
    void CloseConnection();
    bool InstrumentConnected() const { return m_bInstrumentConnected; }

    int TXDelay() const { return m_lTXDelay; }
    void SetTXDelay(int delay);
    bool ResetOnInitialize() const { return m_bResetOnInitialize; }
    void SetResetOnInitialize(bool reset);
    bool CheckIDOnInitialize() const { return m_bCheckIDOnInitialize; }
    void SetCheckIDOnInitialize(bool check);
    QString AutomationServerAddress() const { return m_strAutomationServerAddress; }
    void SetAutomationServerAddress(const QString& address);
    QString ConnectionName() const { return m_strConnectionName; }
    bool DebugEnabled() const { return m_bDebugEnabled; }
    void SetDebugEnabled(bool enabled) { m_bDebugEnabled = enabled; }

    std::shared_ptr<CorvaneIOUtilsLib::IOManager> IOManager() const { return m_ioManager; }
    void SetIOManager(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager) { m_ioManager = std::move(manager); }
    // The automation server's main object; raises the connection error while nothing is open.
    BrumelTB::ScopeTavrel& Server();

    void ReadProperties(PropertyBag& bag);
    void WriteProperties(PropertyBag& bag) const;

signals:
    void PropertyChanged(const QString& name);
    void ConnectionNameChanged(const QString& name);

private:
    void open();
    void prepareInstrument();
    [[noreturn]] void raiseConnectionError(const QString& detail = {}) const;

    QString m_strHelpFile;
    int m_lTXDelay = 50;
    bool m_bResetOnInitialize = false;
    bool m_bCheckIDOnInitialize = false;
    bool m_bInstrumentConnected = false;
    QString m_strAutomationServerAddress;
    bool m_bDebugEnabled = false;
    bool m_bIsSerial = false;
    QString m_strConnectionName;
    std::shared_ptr<CorvaneIOUtilsLib::IOManager> m_ioManager;
    std::unique_ptr<BrumelTB::ScopeTavrel> m_server;
};

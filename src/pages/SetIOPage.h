#pragma once

#include "pages/PropertyPage.h"

class CIOconfiguration;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

// The Set I/O page: the port and address the control talks to, the serial parameters of a COM port,
// the transmit delay and what Initialize does. A TCPIP or USB address is typed whole.
class SetIOPage : public PropertyPage {
    Q_OBJECT
public:
    static inline const QString kName = QStringLiteral("TavrelPPSetIO");
    explicit SetIOPage(QWidget* parent = nullptr);
    QString caption() const override;

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override;
    qint32 saveToWorkingCopy(IPPTavrelScope& ipp) override;
    void updateButtons() override;

private:
    void showSerialParameters(const CIOconfiguration& io);
    bool isComPort() const;
    bool isTypedAddress() const;

    QComboBox* m_port;
    QLineEdit* m_address;
    QSpinBox* m_gpibAddress;
    QComboBox* m_baud;
    QComboBox* m_handshake;
    QSpinBox* m_txDelay;
    QCheckBox* m_reset;
    QCheckBox* m_checkId;
    QLabel* m_addressString;
    bool m_loading = false;
};

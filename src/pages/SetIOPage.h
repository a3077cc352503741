#pragma once

#include "pages/PropertyPage.h"

#include <functional>

class CIOconfiguration;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QThread;
class QSpinBox;

// The Set I/O page: the port and address the control talks to, the serial parameters of a COM port,
// the transmit delay and what Initialize does. A TCPIP or USB address is typed whole.
class SetIOPage : public PropertyPage {
    Q_OBJECT
public:
    static inline const QString kName = QStringLiteral("TavrelPPSetIO");
    explicit SetIOPage(QWidget* parent = nullptr);
    ~SetIOPage() override;
    QString caption() const override;

    // The instrument test on the address the page shows, on a worker; its message box goes through
    // the message-box seam, owned by the page's window. done runs on the GUI thread afterwards.
    void test(std::function<void()> done = {});
    // Whether the handshake caution is shown (tests answer it without showing it).
    void setShowCaution(bool show) { m_showCaution = show; }

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override;
    qint32 saveToWorkingCopy(IPPTavrelScope& ipp) override;
    void updateButtons() override;

private:
    void writeAddress(CIOconfiguration& io) const;
    void cautionAboutHandshake(IPPTavrelScope& ipp, const CIOconfiguration& io);
    void showSerialParameters(const CIOconfiguration& io);
    bool isComPort() const;
    bool isTypedAddress() const;

    QComboBox* m_port;
    QLineEdit* m_address;
    QSpinBox* m_gpibAddress;
    QComboBox* m_baud;
    QComboBox* m_parity;
    QComboBox* m_handshake;
    QSpinBox* m_txDelay;
    QCheckBox* m_reset;
    QCheckBox* m_checkId;
    QLabel* m_addressString;
    QPushButton* m_test;
    QLabel* m_hint;
    QThread* m_tester = nullptr;
    bool m_showCaution = true;
    bool m_loading = false;
};

#pragma once

#include "ioconfig/CIOconfiguration.h"
#include "pages/PropertyPage.h"

#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QThread;

// The Search Criteria page: per GPIB port whether it is searched and which of its 31 addresses;
// per COM port whether it is searched and its baud rate, parity and handshake; the LAN instruments
// the search probes after the ports. Find Ports asks the I/O manager which ports this computer has,
// on a worker thread. The page edits its own copy and hands the criteria (never the address) to the
// working copy on Apply.
class SearchCriteriaPage : public PropertyPage {
    Q_OBJECT
public:
    static inline const QString kName = QStringLiteral("TavrelPPSrchCri");
    explicit SearchCriteriaPage(QWidget* parent = nullptr);
    ~SearchCriteriaPage() override;
    QString caption() const override;

    // Find Ports; done runs on the GUI thread afterwards.
    void findPorts(std::function<void()> done = {});
    const CIOconfiguration& criteria() const { return m_edit; }
    QComboBox* gpibPort() const { return m_gpibPort; }
    QComboBox* comPort() const { return m_comPort; }
    QCheckBox* addressBox(int address) const { return m_addresses[size_t(address)]; }

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override;
    qint32 saveToWorkingCopy(IPPTavrelScope& ipp) override;
    void updateButtons() override;

private:
    void showGpibPort();
    void showComPort();
    void edited();

    CIOconfiguration m_edit;
    bool m_loading = false;
    bool m_dtrOnly = false;
    QComboBox* m_gpibPort;
    QCheckBox* m_gpibIncluded;
    QLabel* m_gpibMissing;
    std::array<QCheckBox*, CIOconfiguration::kGPIBAddressCount> m_addresses{};
    QPushButton *m_includeAll, *m_excludeAll;
    QComboBox* m_comPort;
    QCheckBox* m_comIncluded;
    QLabel* m_comMissing;
    QComboBox *m_baud, *m_parity, *m_handshake;
    QLineEdit* m_lan;
    QLabel* m_lanProblem;
    QPushButton* m_findPorts;
    QLabel* m_status;
    QThread* m_worker = nullptr;
};

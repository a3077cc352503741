#pragma once

#include "pages/PropertyPage.h"

#include <functional>

class QLabel;
class QPushButton;
class QTableWidget;
class TavrelScope;

// The Setups page: the control's setups in a table, added, edited, removed, got from and sent to the
// instrument, saved to and loaded from files. Setups are the control's own, not I/O settings: every
// edit reaches the control at once (Cancel undoes nothing, so no setup is lost by it), and marks the
// page changed so that OK and Apply save the host's document. Transfers run on a worker thread.
class SetupsPage : public PropertyPage {
    Q_OBJECT
public:
    static inline const QString kName = QStringLiteral("TavrelPPSetup");
    explicit SetupsPage(QWidget* parent = nullptr);
    ~SetupsPage() override;
    QString caption() const override;

    // What the buttons do, for the buttons and for tests. A refusal is shown through the message-box
    // seam with the component's own text, and changes nothing.
    bool addSetup(const QString& name, const QString& comments);
    bool editSetup(int row, const QString& name, const QString& comments);
    bool removeSetup(int row);
    bool saveSetup(int row, const QString& fileName);
    bool loadSetup(int row, const QString& fileName);
    // Get or send on the worker; done runs on the GUI thread afterwards with whether it worked.
    void getSetup(int row, std::function<void(bool)> done = {});
    void sendSetup(int row, std::function<void(bool)> done = {});
    bool busy() const { return m_worker != nullptr; }
    QTableWidget* table() const { return m_table; }

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override;
    qint32 saveToWorkingCopy(IPPTavrelScope&) override { return 0; }
    bool appliesIOConfiguration() const override { return false; }
    void updateButtons() override;

private:
    TavrelScope* control();
    void fillTable();
    int selectedRow() const;
    bool attempt(const QString& title, const std::function<void()>& body);
    void transfer(int row, bool send, std::function<void(bool)> done);
    void editDialog(int row);
    // The caution that a setup carries I/O settings, unless the user asked not to see it again;
    // true to go on and send.
    bool confirmSend();

    QTableWidget* m_table;
    QLabel* m_status;
    QPushButton *m_add, *m_edit, *m_remove, *m_get, *m_send, *m_save, *m_load;
    QThread* m_worker = nullptr;
};

#pragma once

#include <QDialog>
#include <array>

class QCheckBox;
class QGroupBox;
class QLabel;
class QPushButton;

// Shown at the end of a search that left COM ports silent: names them, and lets the user exclude
// them from later searches. The caller fills it, shows it, reads IncludedCOMPort and applies that.
class FrmSearchResults : public QDialog {
    Q_OBJECT
public:
    explicit FrmSearchResults(QWidget* parent = nullptr);

    // Index 1..4 for COM1..COM4; any other index raises the bounds error.
    bool InstrumentFoundOnCOMPort(int index) const;
    void SetInstrumentFoundOnCOMPort(int index, bool found);
    bool IncludedCOMPort(int index) const;
    void SetIncludedCOMPort(int index, bool included);
    void SetFont(const QString& name, int size);

    // Lays the dialog out from the values above (done when it is shown).
    void Load();
    // What CommandContinue does: each box's tick excludes its port; then the dialog closes.
    void Continue();

    QLabel* LabelMessage() const { return m_message; }
    QCheckBox* CheckCOM(int index) const { return m_check[size_t(slot(index))]; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    static int slot(int index);

    std::array<bool, 4> m_found{};
    std::array<bool, 4> m_included{};
    QString m_fontName;
    int m_fontSize = 0;
    QLabel* m_message;
    QLabel* m_complete;
    QGroupBox* m_exclude;
    std::array<QCheckBox*, 4> m_check{};
    QPushButton* m_continue;
};

#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QPushButton;

// A message with one option box ("Do not show this message again") and either OK alone or Continue
// and Cancel. The caller fills it, shows it, and reads OptionChecked and Continue back.
class FrmMessageOption : public QDialog {
    Q_OBJECT
public:
    explicit FrmMessageOption(QWidget* parent = nullptr);

    QString Title() const { return m_title; }
    void SetTitle(const QString& title) { m_title = title; }
    QString Message() const { return m_message; }
    void SetMessage(const QString& message) { m_message = message; }
    QString Option() const { return m_option; }
    void SetOption(const QString& option) { m_option = option; }
    bool OptionChecked() const { return m_optionChecked; }
    void SetOptionChecked(bool checked) { m_optionChecked = checked; }
    bool OKOnly() const { return m_okOnly; }
    void SetOKOnly(bool okOnly) { m_okOnly = okOnly; }
    bool Continue() const { return m_continue; }
    void SetContinue(bool pressed) { m_continue = pressed; }
    void SetFont(const QString& name, int size);

    // Lays the dialog out from the values above (done when it is shown), and beeps.
    void Load();

    QLabel* LabelMessage() const { return m_labelMessage; }
    QCheckBox* CheckOption() const { return m_checkOption; }
    QPushButton* CommandOK() const { return m_ok; }
    QPushButton* CommandContinue() const { return m_continueButton; }
    QPushButton* CommandCancel() const { return m_cancel; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void close(bool pressedContinue, bool pressedCancel);

    QString m_title, m_message, m_option, m_fontName;
    int m_fontSize = 0;
    bool m_optionChecked = false;
    bool m_okOnly = true;
    bool m_continue = false;
    QLabel* m_labelMessage;
    QCheckBox* m_checkOption;
    QPushButton *m_ok, *m_continueButton, *m_cancel;
};

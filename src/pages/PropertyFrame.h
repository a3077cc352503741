#pragma once

#include <QDialog>
#include <QList>
#include <QStringList>
#include <functional>

class PropertyPage;
class QDialogButtonBox;
class QPushButton;
class QTabWidget;

// The property sheet the control's pages are shown in: the pages as tabs, the preselected one
// active, and OK, Cancel, Apply and Help. Apply hands every changed page's edits to the control; OK
// does the same and closes, unless a page refused what it holds. Centered on the display while the
// control's CenterPropertyPages is set.
class PropertyFrame : public QDialog {
    Q_OBJECT
public:
    // pages are the control's page names ("TavrelPPSetIO"); a name no page has yet gets a tab that
    // says so. preselected is the position of the active page (-1: the first).
    PropertyFrame(QObject* control, const QStringList& pages, int preselected, QWidget* parent = nullptr);

    QList<PropertyPage*> pages() const { return m_pages; }
    QTabWidget* tabs() const { return m_tabs; }
    // Applies every changed page; false when one refused (its tab is then made active).
    bool apply();
    // Moves the frame's center to the display's center, while the control asks for that.
    void center();

signals:
    // After an Apply that reached the control: hosts save their document here.
    void applied();

private:
    void updateApplyButton();

    QObject* m_control;
    QTabWidget* m_tabs;
    QDialogButtonBox* m_buttons;
    QPushButton* m_apply;
    QList<PropertyPage*> m_pages;
};

// Makes ShowPropertyPages show the frame: a modal frame on the GUI thread. Call once, after the
// application object exists. onApplied, when given, runs after every Apply that reached the control.
void InstallPropertyPages(std::function<void(QObject* control)> onApplied = {});

#pragma once

#include <QDialog>

class QListWidget;
class QTextBrowser;

// The component's help in the control's language: the contents list of the help's contents file
// beside the help text, a click on an entry showing its section. The files are the ones the
// language put in the component's data folder ("Tavrel.hlp", "Tavrel.cnt").
class HelpViewer : public QDialog {
    Q_OBJECT
public:
    explicit HelpViewer(QWidget* parent = nullptr);
    // Loads the help of the data folder; false (and text 722 shown) when it is not there.
    bool load();
    QListWidget* contents() const { return m_contents; }
    QTextBrowser* text() const { return m_text; }

private:
    QListWidget* m_contents;
    QTextBrowser* m_text;
};

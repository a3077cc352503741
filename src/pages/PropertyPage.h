#pragma once

#include "control/IPPTavrelScope.h"

#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>

// A property page: a tab of the property frame. It reaches the control only through the
// IPPTavrelScope of the first selected control and the working copy shared by the open pages.
// Other pages' changes reach it through the refresh mask, which its idle timer watches.
class PropertyPage : public QWidget {
    Q_OBJECT
public:
    static constexpr int kIdleIntervalMs = 200;

    // className names the page in the diagnostics ("TavrelPPSetIO"); ownBit is its bit in the mask.
    PropertyPage(const char* className, qint32 ownBit, QWidget* parent = nullptr);
    // Clears the page's open flag in the control.
    ~PropertyPage() override;

    // The tab's title, in the control's language.
    virtual QString caption() const = 0;
    qint32 ownBit() const { return m_ownBit; }
    const char* className() const { return m_className; }

    // The frame hands the page its controls: the first time the page opens (its flag set in the
    // control), later when the selection changes. The page fills itself from the working copy.
    void setSelectedControls(const QList<QObject*>& controls);
    // Writes the page into the working copy and hands that to the control; returns false when the
    // page refused what it holds (it has told the user why).
    bool applyChanges();
    // Something on the page differs from what was last applied.
    bool isChanged() const { return m_changed; }

    // One tick of the idle processing; the timer calls it, tests may too.
    void idleTick();

signals:
    void changedStateChanged(bool changed);

protected:
    // The interface of the first selected control; null (reported) when there is none.
    IPPTavrelScope* host();
    void setChanged(bool changed = true);

    // Fill the page's controls from the working copy.
    virtual void loadFromWorkingCopy(IPPTavrelScope& ipp) = 0;
    // Write the page's controls into the working copy; return the bits of the other pages that must
    // reload. Throw TavrelError to refuse.
    virtual qint32 saveToWorkingCopy(IPPTavrelScope& ipp) = 0;
    // Whether Apply copies the working copy into the control (pages that keep no I/O settings say no).
    virtual bool appliesIOConfiguration() const { return true; }
    // Enable or disable the page's buttons from the state of its controls.
    virtual void updateButtons() {}

    // Runs an event procedure of the page: a failure is reported with the page's class name and the
    // procedure's name, and does not leave the procedure. Returns false when the body failed.
    template <typename Body> bool procedure(const char* procedureName, Body&& body);

private:
    void setOpenFlag(IPPTavrelScope& ipp, bool open);
    void reportFailure(const char* procedureName, const std::exception& error);

    const char* m_className;
    qint32 m_ownBit;
    QList<QPointer<QObject>> m_selected;
    bool m_initialized = false;
    bool m_changed = false;
    QTimer m_idleTimer;
};

template <typename Body> bool PropertyPage::procedure(const char* procedureName, Body&& body) {
    try {
        body();
        return true;
    } catch (const std::exception& error) {
        reportFailure(procedureName, error);
        return false;
    }
}

#include "pages/PropertyPage.h"

#include "base/Diagnostics.h"
#include "ioconfig/CIOconfiguration.h"

PropertyPage::PropertyPage(const char* className, qint32 ownBit, QWidget* parent)
    : QWidget(parent), m_className(className), m_ownBit(ownBit) {
    // A single-shot timer restarted at the end of each tick: a tick never overlaps the next one.
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(kIdleIntervalMs);
    connect(&m_idleTimer, &QTimer::timeout, this, &PropertyPage::idleTick);
}

PropertyPage::~PropertyPage() {
    procedure("PropertyPage_Terminate", [&] {
        // A control destroyed before its frame has no flag left to clear.
        if (m_initialized && !m_selected.isEmpty() && m_selected.first())
            if (IPPTavrelScope* ipp = host()) setOpenFlag(*ipp, false);
    });
}

IPPTavrelScope* PropertyPage::host() {
    const QString cls = QString::fromLatin1(m_className);
    const QString procedureName = QStringLiteral("GetHost");
    ReportAssertion(!m_selected.isEmpty(), QStringLiteral("(Not (PropertyPage.SelectedControls Is Nothing))"),
                    cls, procedureName);
    QObject* first = m_selected.isEmpty() ? nullptr : m_selected.first().data();
    ReportAssertion(first != nullptr, QStringLiteral("(Not (PropertyPage.SelectedControls(0) Is Nothing))"),
                    cls, procedureName);
    IPPTavrelScope* ipp = qobject_cast<IPPTavrelScope*>(first);
    ReportAssertion(ipp != nullptr, QStringLiteral("(Not (ipp Is Nothing))"), cls, procedureName);
    return ipp;
}

void PropertyPage::setSelectedControls(const QList<QObject*>& controls) {
    m_selected.clear();
    for (QObject* control : controls)
        m_selected.append(control);
    const char* procedureName = m_initialized ? "PropertyPage_SelectionChanged" : "PropertyPage_Initialize";
    procedure(procedureName, [&] {
        IPPTavrelScope* ipp = host();
        if (!ipp) return;
        if (!m_initialized) {
            setOpenFlag(*ipp, true);
            m_initialized = true;
        }
        loadFromWorkingCopy(*ipp);
        setChanged(false);
        updateButtons();
    });
    m_idleTimer.start();
}

bool PropertyPage::applyChanges() {
    const QString cls = QString::fromLatin1(m_className);
    const QString procedureName = QStringLiteral("PropertyPage_ApplyChanges");
    ReportTrace(QStringLiteral("Start"), cls, procedureName);
    bool reached = false;
    const bool applied = procedure("PropertyPage_ApplyChanges", [&] {
        IPPTavrelScope* ipp = host();
        if (!ipp) return;
        reached = true;
        const qint32 others = saveToWorkingCopy(*ipp) & ~m_ownBit & IPPTavrelScope::LARGEST_MASK_VALUE;
        if (appliesIOConfiguration()) {
            ipp->IOConfigurationControl().Copy(ipp->IOConfigurationPropertyPage());
            ipp->IOConfigurationChanged();
        }
        const qint32 mask = ipp->NotifyIOConfigurationChanged() | others;
        ipp->SetNotifyIOConfigurationChanged(mask);
        ReportTrace(QStringLiteral("NotifyIOConfigurationChanged = %1").arg(mask), cls, procedureName);
        setChanged(false);
    });
    ReportTrace(QStringLiteral("End"), cls, procedureName);
    return applied && reached;
}

void PropertyPage::idleTick() {
    procedure("TimerIdleProcessing", [&] {
        if (m_selected.isEmpty() || !m_selected.first()) return; // the control is gone: nothing to watch
        IPPTavrelScope* ipp = host();
        if (!ipp) return;
        const qint32 mask = ipp->NotifyIOConfigurationChanged();
        if (mask & m_ownBit) {
            const qint32 rest = mask & ~m_ownBit;
            ReportAssertion(rest >= 0 && rest <= IPPTavrelScope::LARGEST_MASK_VALUE,
                            QStringLiteral("(lMaskValue >= 0 And lMaskValue <= LARGEST_MASK_VALUE)"),
                            QString::fromLatin1(m_className), QStringLiteral("TimerIdleProcessing"));
            ipp->SetNotifyIOConfigurationChanged(rest);
            loadFromWorkingCopy(*ipp);
        }
        updateButtons();
    });
    m_idleTimer.start();
}

void PropertyPage::setChanged(bool changed) {
    if (m_changed == changed) return;
    m_changed = changed;
    emit changedStateChanged(changed);
}

void PropertyPage::setOpenFlag(IPPTavrelScope& ipp, bool open) {
    switch (m_ownBit) {
    case IPPTavrelScope::SearchInstrumentsPageBit:
        ipp.SetSearchIOExists(open);
        break;
    case IPPTavrelScope::SearchCriteriaPageBit:
        ipp.SetSearchCriteriaExists(open);
        break;
    case IPPTavrelScope::SetIOPageBit:
        ipp.SetSetIOExists(open);
        break;
    case IPPTavrelScope::SetupsPageBit:
        ipp.SetSetupsExists(open);
        break;
    }
}

void PropertyPage::reportFailure(const char* procedureName, const std::exception& error) {
    const QString cls = QString::fromLatin1(m_className);
    const QString name = QString::fromLatin1(procedureName);
    if (const auto* tavrel = dynamic_cast<const TavrelError*>(&error))
        ReportFailure(*tavrel, cls, name);
    else
        ReportTrace(QStringLiteral("Failed: %1").arg(QString::fromLocal8Bit(error.what())), cls, name);
}

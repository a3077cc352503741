#pragma once

#include <QString>
#include <QtPlugin>

class CIOconfiguration;

// What the property pages may reach of the control. A page never touches the control itself: it
// asks the first selected control for this interface (qobject_cast) and works through it.
class IPPTavrelScope {
public:
    // One bit per page in the page-refresh mask; a set bit makes that page reload at its next tick.
    enum PageBit : qint32 {
        SearchInstrumentsPageBit = 1,
        SearchCriteriaPageBit = 2,
        SetIOPageBit = 4,
        SetupsPageBit = 8,
    };
    static constexpr qint32 LARGEST_MASK_VALUE = 15;

    virtual ~IPPTavrelScope() = default;

    // The address or the search criteria of the control's configuration changed: take them over.
    virtual void IOConfigurationChanged() = 0;
    // The control's own configuration, and the working copy that the open pages share.
    virtual CIOconfiguration& IOConfigurationControl() = 0;
    virtual CIOconfiguration& IOConfigurationPropertyPage() = 0;
    virtual qint32 NotifyIOConfigurationChanged() const = 0;
    virtual void SetNotifyIOConfigurationChanged(qint32 mask) = 0;
    virtual bool DontShowIOHandshakeWarning() const = 0;
    virtual void SetDontShowIOHandshakeWarning(bool dontShow) = 0;
    virtual bool SearchIOExists() const = 0;
    virtual void SetSearchIOExists(bool exists) = 0;
    virtual bool SearchCriteriaExists() const = 0;
    virtual void SetSearchCriteriaExists(bool exists) = 0;
    virtual bool SetIOExists() const = 0;
    virtual void SetSetIOExists(bool exists) = 0;
    virtual bool SetupsExists() const = 0;
    virtual void SetSetupsExists(bool exists) = 0;
    virtual qint32 ScreenCenterWidthInPixels() const = 0;
    virtual qint32 ScreenCenterHeightInPixels() const = 0;
    virtual bool CenterPropertyPages() const = 0;
    virtual void SetCenterPropertyPages(bool center) = 0;
    virtual QString LastIOHandshakeAddress() const = 0;
    virtual void SetLastIOHandshakeAddress(const QString& address) = 0;
    virtual bool DTROnly() const = 0;
    virtual void SetDTROnly(bool dtrOnly) = 0;
    virtual bool InitialSearchMode() const = 0;
    virtual void SetInitialSearchMode(bool initialSearchMode) = 0;
};

#define IPPTavrelScope_iid "com.tavrel.IPPTavrelScope"
Q_DECLARE_INTERFACE(IPPTavrelScope, IPPTavrelScope_iid)

#pragma once

#include <QString>
#include <QWidget>
#include <memory>

class TavrelScope;

// The control on a form. At design time it shows its face (icon, name, active address); at run
// time its connection state, or nothing when the host hides it. Double-click and the context menu
// open the property pages.
//
// The form keeps the control's whole configuration in one property, `document`: the same JSON as a
// host document file, so one can be pasted into the other. The control's designable properties are
// shown beside it for the property editor; they live in the document, so they are not stored twice.
class TavrelScopeWidget : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString document READ document WRITE setDocument NOTIFY documentChanged)
    Q_PROPERTY(bool showAtRunTime READ showAtRunTime WRITE setShowAtRunTime)
    Q_PROPERTY(QString Address READ address WRITE setAddress STORED false)
    Q_PROPERTY(int CountryCode READ countryCode WRITE setCountryCode STORED false)
    Q_PROPERTY(QString FontName READ fontName WRITE setFontName STORED false)
    Q_PROPERTY(int FontSize READ fontSize WRITE setFontSize STORED false)
    Q_PROPERTY(bool DebugEnabled READ debugEnabled WRITE setDebugEnabled STORED false)
    Q_PROPERTY(bool DTROnly READ dtrOnly WRITE setDtrOnly STORED false)
    Q_PROPERTY(int SupportMessageMode READ supportMessageMode WRITE setSupportMessageMode STORED false)
    Q_PROPERTY(int TXDelay READ txDelay WRITE setTxDelay STORED false)
    Q_PROPERTY(bool ResetOnInitialize READ resetOnInitialize WRITE setResetOnInitialize STORED false)
    Q_PROPERTY(bool CheckIDOnInitialize READ checkIdOnInitialize WRITE setCheckIdOnInitialize STORED false)
    Q_PROPERTY(bool InitialSearchMode READ initialSearchMode WRITE setInitialSearchMode STORED false)
    Q_PROPERTY(QString LANInstruments READ lanInstruments WRITE setLanInstruments STORED false)
public:
    // A control of its own, with a new control's defaults.
    explicit TavrelScopeWidget(QWidget* parent = nullptr);
    // The face of a host's control, which must outlive the widget.
    explicit TavrelScopeWidget(TavrelScope& control, QWidget* parent = nullptr);
    ~TavrelScopeWidget() override;

    TavrelScope& control() { return *m_control; }

    // The control's configuration as a host document's JSON. Setting a document that is not one
    // (bad JSON, a value no property takes) changes nothing; documentError() then says why.
    QString document() const;
    void setDocument(const QString& json);
    QString documentError() const { return m_documentError; }

    bool showAtRunTime() const { return m_showAtRunTime; }
    void setShowAtRunTime(bool show);
    // A form designer puts the widget in design mode: it shows its face and stays visible.
    bool designMode() const { return m_designMode; }
    void setDesignMode(bool design);

    QSize sizeHint() const override;
    void setVisible(bool visible) override;

    QString address() const;
    void setAddress(const QString& address);
    int countryCode() const;
    void setCountryCode(int code);
    QString fontName() const;
    void setFontName(const QString& name);
    int fontSize() const;
    void setFontSize(int size);
    bool debugEnabled() const;
    void setDebugEnabled(bool enabled);
    bool dtrOnly() const;
    void setDtrOnly(bool dtrOnly);
    int supportMessageMode() const;
    void setSupportMessageMode(int mode);
    int txDelay() const;
    void setTxDelay(int delay);
    bool resetOnInitialize() const;
    void setResetOnInitialize(bool reset);
    bool checkIdOnInitialize() const;
    void setCheckIdOnInitialize(bool check);
    bool initialSearchMode() const;
    void setInitialSearchMode(bool mode);
    QString lanInstruments() const;
    void setLanInstruments(const QString& entries);

public slots:
    // Opens the control's property pages (modal); the document changes when they apply.
    void showPropertyPages();
    // Reads the connection state again; the control tells the widget after Initialize and
    // CloseConnection, so a host calls this only after changing the session some other way.
    void refreshState();

signals:
    void documentChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void attach();
    // Runs a setter of the control; a refused value leaves the document as it was.
    template <typename Set> void change(Set&& set);
    void applyVisibility();

    std::unique_ptr<TavrelScope> m_ownedControl;
    TavrelScope* m_control;
    QString m_documentError;
    QString m_stateText;
    bool m_connected = false;
    bool m_showAtRunTime = true;
    bool m_designMode = false;
};

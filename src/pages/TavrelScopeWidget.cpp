#include "pages/TavrelScopeWidget.h"

#include "base/TavrelError.h"
#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "pages/ControlIcon.h"
#include "pages/PageTexts.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QPainter>

namespace {

constexpr int kIconSize = 32;
constexpr int kMargin = 6;

} // namespace

TavrelScopeWidget::TavrelScopeWidget(QWidget* parent)
    : QWidget(parent), m_ownedControl(std::make_unique<TavrelScope>()), m_control(m_ownedControl.get()) {
    m_control->InitProperties();
    attach();
}

TavrelScopeWidget::TavrelScopeWidget(TavrelScope& control, QWidget* parent)
    : QWidget(parent), m_control(&control) {
    attach();
}

TavrelScopeWidget::~TavrelScopeWidget() = default;

void TavrelScopeWidget::attach() {
    setToolTip(PageText(104));
    // Queued when the session was opened on another thread (a host's I/O worker).
    connect(m_control, &TavrelScope::ConnectionChanged, this, &TavrelScopeWidget::refreshState);
    connect(m_control, &TavrelScope::IOConfigurationTakenOver, this, [this] {
        update();
        emit documentChanged();
    });
    refreshState();
}

QString TavrelScopeWidget::document() const {
    try {
        return QString::fromUtf8(ControlDocument::ToJson(*m_control));
    } catch (const TavrelError&) {
        return {};
    }
}

void TavrelScopeWidget::setDocument(const QString& json) {
    // Reading goes on past a refused value, so a refused document is undone with the one before it.
    const QByteArray before = ControlDocument::ToJson(*m_control);
    // The form designer writes the document back after every change; the same text is no change.
    if (json.toUtf8() == before) return;
    try {
        if (json.trimmed().isEmpty())
            m_control->InitProperties();
        else
            ControlDocument::FromJson(*m_control, json.toUtf8(), QStringLiteral("form"));
        m_documentError.clear();
    } catch (const TavrelError& error) {
        m_documentError = error.description();
        if (!error.detail().isEmpty()) m_documentError += u' ' + error.detail();
        qWarning("Tavrel Scope Control: the form's document was not taken: %s", qPrintable(m_documentError));
        try {
            ControlDocument::FromJson(*m_control, before, QStringLiteral("form"));
        } catch (const TavrelError&) {
        }
        return;
    }
    update();
    emit documentChanged();
}

template <typename Set> void TavrelScopeWidget::change(Set&& set) {
    try {
        set(*m_control);
    } catch (const TavrelError& error) {
        qWarning("Tavrel Scope Control: %s", qPrintable(error.description()));
        return;
    }
    update();
    emit documentChanged();
}

void TavrelScopeWidget::setShowAtRunTime(bool show) {
    m_showAtRunTime = show;
    applyVisibility();
}

void TavrelScopeWidget::setDesignMode(bool design) {
    m_designMode = design;
    applyVisibility();
    update();
}

void TavrelScopeWidget::applyVisibility() {
    if (!m_designMode && !m_showAtRunTime)
        hide();
    else if (isHidden() && parentWidget())
        show();
}

void TavrelScopeWidget::setVisible(bool visible) {
    // Whoever shows the form (a form loader shows its widgets too), a hidden control stays hidden.
    QWidget::setVisible(visible && (m_designMode || m_showAtRunTime));
}

QSize TavrelScopeWidget::sizeHint() const {
    const QFontMetrics metrics(font());
    const int textWidth =
        std::max(metrics.horizontalAdvance(PageText(104)), metrics.horizontalAdvance(m_stateText));
    return {kIconSize + 3 * kMargin + std::min(textWidth, 400),
            std::max(kIconSize, 2 * metrics.height()) + 2 * kMargin};
}

void TavrelScopeWidget::refreshState() {
    m_connected = m_control->InstrumentConnected();
    m_stateText = m_connected ? PageText(126) + u' ' + m_control->ConnectionName() : PageText(125);
    update();
}

void TavrelScopeWidget::showPropertyPages() {
    try {
        m_control->ShowPropertyPages();
    } catch (const TavrelError& error) {
        qWarning("Tavrel Scope Control: %s", qPrintable(error.description()));
    }
    refreshState();
    emit documentChanged();
}

void TavrelScopeWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect frame = rect().adjusted(0, 0, -1, -1);
    painter.fillRect(rect(), palette().window());
    painter.setPen(palette().mid().color());
    painter.drawRect(frame);
    painter.drawPixmap(kMargin, (height() - kIconSize) / 2, ControlIconPixmap(kIconSize));
    // Design time: the name and the address the control will open. Run time: the session's state. The
    // two lines sit together, centered beside the icon.
    const QString second = m_designMode ? m_control->Address() : m_stateText;
    QFont bold = font();
    bold.setBold(true);
    const QFontMetrics boldMetrics(bold);
    const int left = kIconSize + 2 * kMargin;
    const int width = std::max(0, this->width() - left - kMargin);
    const int top = std::max(0, (height() - boldMetrics.height() - 2 - fontMetrics().height()) / 2);
    painter.setPen(palette().windowText().color());
    painter.setFont(bold);
    painter.drawText(QRect(left, top, width, boldMetrics.height()), Qt::AlignLeft | Qt::AlignVCenter,
                     boldMetrics.elidedText(PageText(104), Qt::ElideRight, width));
    painter.setFont(font());
    if (!m_designMode) painter.setPen(m_connected ? QColor(0, 130, 50) : palette().windowText().color());
    painter.drawText(QRect(left, top + boldMetrics.height() + 2, width, fontMetrics().height()),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(second, Qt::ElideMiddle, width));
}

void TavrelScopeWidget::mouseDoubleClickEvent(QMouseEvent*) {
    showPropertyPages();
}

void TavrelScopeWidget::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction(PageText(700), this, &TavrelScopeWidget::showPropertyPages);
    menu.addAction(PageText(120), this, [this] { m_control->AboutBox(); });
    menu.exec(event->globalPos());
}

QString TavrelScopeWidget::address() const {
    return m_control->Address();
}
void TavrelScopeWidget::setAddress(const QString& address) {
    change([&](TavrelScope& c) { c.SetAddress(address); });
}
int TavrelScopeWidget::countryCode() const {
    return m_control->CountryCode();
}
void TavrelScopeWidget::setCountryCode(int code) {
    change([&](TavrelScope& c) { c.SetCountryCode(code); });
}
QString TavrelScopeWidget::fontName() const {
    return m_control->FontName();
}
void TavrelScopeWidget::setFontName(const QString& name) {
    change([&](TavrelScope& c) { c.SetFontName(name); });
}
int TavrelScopeWidget::fontSize() const {
    return m_control->FontSize();
}
void TavrelScopeWidget::setFontSize(int size) {
    change([&](TavrelScope& c) { c.SetFontSize(size); });
}
bool TavrelScopeWidget::debugEnabled() const {
    return m_control->DebugEnabled();
}
void TavrelScopeWidget::setDebugEnabled(bool enabled) {
    change([&](TavrelScope& c) { c.SetDebugEnabled(enabled); });
}
bool TavrelScopeWidget::dtrOnly() const {
    return m_control->DTROnly();
}
void TavrelScopeWidget::setDtrOnly(bool dtrOnly) {
    change([&](TavrelScope& c) { c.SetDTROnly(dtrOnly); });
}
int TavrelScopeWidget::supportMessageMode() const {
    return m_control->SupportMessageMode();
}
void TavrelScopeWidget::setSupportMessageMode(int mode) {
    change([&](TavrelScope& c) { c.SetSupportMessageMode(mode); });
}
int TavrelScopeWidget::txDelay() const {
    return m_control->TXDelay();
}
void TavrelScopeWidget::setTxDelay(int delay) {
    change([&](TavrelScope& c) { c.SetTXDelay(delay); });
}
bool TavrelScopeWidget::resetOnInitialize() const {
    return m_control->ResetOnInitialize();
}
void TavrelScopeWidget::setResetOnInitialize(bool reset) {
    change([&](TavrelScope& c) { c.SetResetOnInitialize(reset); });
}
bool TavrelScopeWidget::checkIdOnInitialize() const {
    return m_control->CheckIDOnInitialize();
}
void TavrelScopeWidget::setCheckIdOnInitialize(bool check) {
    change([&](TavrelScope& c) { c.SetCheckIDOnInitialize(check); });
}
bool TavrelScopeWidget::initialSearchMode() const {
    return m_control->InitialSearchMode();
}
void TavrelScopeWidget::setInitialSearchMode(bool mode) {
    change([&](TavrelScope& c) { c.SetInitialSearchMode(mode); });
}
QString TavrelScopeWidget::lanInstruments() const {
    return m_control->LANInstruments();
}
void TavrelScopeWidget::setLanInstruments(const QString& entries) {
    change([&](TavrelScope& c) { c.SetLANInstruments(entries); });
}

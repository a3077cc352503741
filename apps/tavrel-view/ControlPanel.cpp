#include "ControlPanel.h"

#include "ScaleInputs.h"
#include "control/WaveformPlot.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QVBoxLayout>

namespace {

void selectData(QComboBox* combo, int value) {
    const int index = combo->findData(value);
    if (index >= 0) combo->setCurrentIndex(index);
}

} // namespace

ControlPanel::ControlPanel(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);

    auto* channels = new QGroupBox(tr("Channels"), this);
    auto* grid = new QGridLayout(channels);
    grid->addWidget(new QLabel(tr("Scale")), 0, 1);
    grid->addWidget(new QLabel(tr("Offset")), 0, 2);
    grid->addWidget(new QLabel(tr("Coupling")), 0, 3);
    for (int i = 0; i < 4; ++i) {
        ChannelRow& row = m_channels[i];
        row.on = new QCheckBox(QStringLiteral("%1").arg(i + 1), channels);
        QPalette palette = row.on->palette();
        palette.setColor(QPalette::WindowText, ChannelColour(i + 1).darker(130));
        row.on->setPalette(palette);
        row.on->setToolTip(tr("Channel %1 on the screen").arg(i + 1));
        row.scale = new ScaleCombo(1e-3, 10, QStringLiteral("V"), channels);
        row.offset = new EngineeringSpinBox(QStringLiteral("V"), 0.1, channels);
        row.offset->setRange(-100, 100);
        row.offset->setMinimumWidth(row.offset->fontMetrics().horizontalAdvance(QStringLiteral("-888 mV")) +
                                    40);
        row.coupling = new QComboBox(channels);
        row.coupling->addItem(QStringLiteral("DC"), Tavrel_ProbeCoupling_DC);
        row.coupling->addItem(QStringLiteral("AC"), Tavrel_ProbeCoupling_AC);
        row.coupling->addItem(QStringLiteral("GND"), Tavrel_ProbeCoupling_GND);
        grid->addWidget(row.on, i + 1, 0);
        grid->addWidget(row.scale, i + 1, 1);
        grid->addWidget(row.offset, i + 1, 2);
        grid->addWidget(row.coupling, i + 1, 3);
        connect(row.on, &QCheckBox::toggled, this, [this, i] { emitChannel(i); });
        connect(row.scale, &ScaleCombo::valuePicked, this, [this, i] { emitChannel(i); });
        connect(row.offset, &QDoubleSpinBox::valueChanged, this, [this, i] { emitChannel(i); });
        connect(row.coupling, &QComboBox::activated, this, [this, i] { emitChannel(i); });
    }
    layout->addWidget(channels);

    auto* timebase = new QGroupBox(tr("Timebase"), this);
    auto* timeForm = new QFormLayout(timebase);
    m_timeScale = new ScaleCombo(1e-9, 10, QStringLiteral("s"), timebase);
    m_timePosition = new EngineeringSpinBox(QStringLiteral("s"), 1e-4, timebase);
    m_timePosition->setRange(-1000, 1000);
    timeForm->addRow(tr("Scale"), m_timeScale);
    timeForm->addRow(tr("Position"), m_timePosition);
    connect(m_timeScale, &ScaleCombo::valuePicked, this, &ControlPanel::emitTimebase);
    connect(m_timePosition, &QDoubleSpinBox::valueChanged, this, &ControlPanel::emitTimebase);
    layout->addWidget(timebase);

    auto* trigger = new QGroupBox(tr("Trigger"), this);
    auto* triggerForm = new QFormLayout(trigger);
    m_triggerSource = new QComboBox(trigger);
    for (int c = 1; c <= 4; ++c)
        m_triggerSource->addItem(tr("Channel %1").arg(c), c);
    m_triggerSource->addItem(tr("External"), Tavrel_TriggerSource_External);
    m_triggerSource->addItem(tr("Line"), Tavrel_TriggerSource_Line);
    for (int bit = 0; bit < 8; ++bit)
        m_triggerSource->addItem(QStringLiteral("D%1").arg(bit), Tavrel_TriggerSource_Logic_D0 + bit);
    m_triggerLevel = new EngineeringSpinBox(QStringLiteral("V"), 0.05, trigger);
    m_triggerLevel->setRange(-100, 100);
    m_triggerSlope = new QComboBox(trigger);
    m_triggerSlope->addItem(tr("Rising"), Tavrel_TriggerSlope_Positive);
    m_triggerSlope->addItem(tr("Falling"), Tavrel_TriggerSlope_Negative);
    triggerForm->addRow(tr("Source"), m_triggerSource);
    triggerForm->addRow(tr("Level"), m_triggerLevel);
    triggerForm->addRow(tr("Slope"), m_triggerSlope);
    connect(m_triggerSource, &QComboBox::activated, this, &ControlPanel::emitTrigger);
    connect(m_triggerLevel, &QDoubleSpinBox::valueChanged, this, &ControlPanel::emitTrigger);
    connect(m_triggerSlope, &QComboBox::activated, this, &ControlPanel::emitTrigger);
    layout->addWidget(trigger);

    auto* acquisition = new QGroupBox(tr("Acquisition"), this);
    auto* acquisitionForm = new QFormLayout(acquisition);
    m_record = new QComboBox(acquisition);
    m_record->addItem(tr("Screen (2,000 points)"), int(RecordLength::Screen));
    m_record->addItem(tr("Whole record"), int(RecordLength::Full));
    m_pod = new QCheckBox(tr("Logic pod D0–D7"), acquisition);
    acquisitionForm->addRow(tr("Points"), m_record);
    acquisitionForm->addRow(m_pod);
    connect(m_record, &QComboBox::activated, this,
            [this] { emit recordLengthChanged(RecordLength(m_record->currentData().toInt())); });
    connect(m_pod, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing) emit podChanged(on);
    });
    layout->addWidget(acquisition);
    layout->addStretch();
}

void ControlPanel::showSettings(const ScopeSettings& settings) {
    m_showing = true;
    for (int i = 0; i < 4; ++i) {
        const ChannelSettings& c = settings.channels[i];
        m_channels[i].on->setChecked(c.on);
        m_channels[i].scale->setValue(c.scale);
        m_channels[i].offset->setValue(c.offset);
        selectData(m_channels[i].coupling, c.coupling);
    }
    m_timeScale->setValue(settings.timeScale);
    m_timePosition->setValue(settings.timePosition);
    selectData(m_triggerSource, settings.triggerSource);
    m_triggerLevel->setValue(settings.triggerLevel);
    selectData(m_triggerSlope, settings.triggerSlope);
    m_pod->setChecked(settings.podOn);
    m_showing = false;
}

void ControlPanel::emitChannel(int index) {
    if (m_showing) return;
    const ChannelRow& row = m_channels[index];
    emit channelChanged(index + 1, {row.on->isChecked(), row.scale->value(), row.offset->value(),
                                    Tavrel_ProbeCoupling(row.coupling->currentData().toInt())});
}

void ControlPanel::emitTimebase() {
    if (m_showing) return;
    emit timebaseChanged(m_timeScale->value(), m_timePosition->value());
}

void ControlPanel::emitTrigger() {
    if (m_showing) return;
    emit triggerChanged(Tavrel_TriggerSource(m_triggerSource->currentData().toInt()), m_triggerLevel->value(),
                        Tavrel_TriggerSlope(m_triggerSlope->currentData().toInt()));
}

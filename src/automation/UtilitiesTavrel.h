#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace BrumelTB {

class ScopeTavrel;

// The largest learn string the component takes, from an instrument, a setup file or a host
// document alike. A scope's front-panel state is a few kilobytes; the bound keeps a hostile block
// header or file from taking memory, and keeps every document that holds setups readable.
constexpr qsizetype kMaxLearnStringBytes = 1024 * 1024;
// A screen image file: an uncompressed BMP of a large display is a few megabytes.
constexpr qsizetype kMaxScreenImageBytes = 32 * 1024 * 1024;
// An identification line ("maker,model,serial,firmware") is well under a hundred characters.
constexpr qsizetype kMaxIdentityBytes = 4096;

// Common instrument utilities: the learn string (the instrument's whole front-panel state) and the
// instrument's model and firmware version.
class UtilitiesTavrel {
public:
    explicit UtilitiesTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // The ":SYSTem:SETup?" reply block exactly as received, header included, as a byte array.
    QVariant ReadStateData();
    // Sends those bytes back after ":SYSTem:SETup "; the instrument's error queue must stay empty.
    void WriteStateData(const QVariant& learnString);
    // The model and firmware fields of the instrument's "*IDN?" reply.
    QString InstrumentModel();
    QString InstrumentFirmwareVersion();

    // "*CLS": empties the error queue and the event status register.
    void ClearStatus();
    // Waits until the instrument has finished every command sent so far ("*OPC?").
    void WaitForOperationComplete();
    // Takes every entry of the instrument's error queue ("-222,\"Data out of range\""), oldest first.
    QStringList ReadErrors();
    // The display as an image file: ":DISPlay:DATA?" with format "PNG" or "BMP".
    QByteArray ScreenImageData(const QString& format = QStringLiteral("PNG"));

private:
    QString identityField(int index);

    ScopeTavrel& m_scope;
};

} // namespace BrumelTB

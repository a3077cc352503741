#pragma once

#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "base/TavrelError.h"

#include <QByteArray>
#include <QString>
#include <mutex>
#include <optional>

// Text ids of the setup file errors: every one has the title 670 "Open Setup File".
namespace SetupFileText {
constexpr int Title = 670;
constexpr int LoadError = 673; // "Error while loading from file."
constexpr int SaveError = 681; // "Error while saving to file.", also for a file of the wrong type
} // namespace SetupFileText

// The component's one setup-file channel: at most one setup file is open at a time, and every
// operation closes whatever the channel held before it opens its own file. An instance is the
// exclusive use of the channel for one operation; the file is closed again when it goes away.
class SetupFileChannel {
public:
    SetupFileChannel();
    ~SetupFileChannel();
    SetupFileChannel(const SetupFileChannel&) = delete;
    SetupFileChannel& operator=(const SetupFileChannel&) = delete;

    // Opens a regular file for binary reading; when there is none to open, says why.
    std::optional<QString> OpenForReading(const QString& fileName);
    // Makes content the file's whole content. It is written beside the file and renamed over it,
    // so that a failure at any point leaves the previous file as it was; empty, or why it failed.
    QString ReplaceContent(const QString& fileName, const QByteArray& content);
    void Close();

    bool GetChar(char& c);
    // Up to count bytes; fewer only at the end of the file.
    QByteArray Read(qint64 count);
    // The bytes between the position and the end of the file.
    qint64 Remaining() const;

private:
    std::unique_lock<std::mutex> m_lock;
};

// A setup file refused inside a channel operation: the procedure that refused it, the description
// text of the error, the location tag of its assertion report and the reason, for the detail line.
struct SetupFileRefusal {
    const char* procedure;
    int descriptionId;
    const char* location = "";
    QString reason = {};
};

// Runs body(channel) with the channel to itself. A refusal is reported as the assertion failure
// "false" of the class and raised as the setup file error, its detail naming the file and the
// reason. The report goes out after the file was closed and the channel released, so that whatever
// receives it may use setup files itself.
template <typename Body>
decltype(auto) WithSetupFileChannel(const char* className, const QString& fileName, Body&& body) {
    try {
        SetupFileChannel channel;
        return std::forward<Body>(body)(channel);
    } catch (const SetupFileRefusal& refusal) {
        ReportAssertion(false, QStringLiteral("false"), QString::fromLatin1(className),
                        QString::fromLatin1(refusal.procedure), QString::fromLatin1(refusal.location));
        TavrelError error(ErrorNumber::SetupFileError, Localized(SetupFileText::Title),
                          Localized(refusal.descriptionId), kComponentHelpFile);
        error.withDetail(QStringLiteral("\"%1\": %2").arg(fileName, refusal.reason));
        throw error;
    }
}

// The runtime's conversion errors, for a number field that does not convert.
constexpr qint32 kTypeMismatch = 13;
constexpr qint32 kOverflow = 6;
TavrelError ConversionError(qint32 number, const QString& fileName, const QString& field);

// Reads terminated text fields from the channel and counts every character it consumes,
// terminators included. Text is 8-bit: each byte is one Latin-1 character.
class SetupFieldReader {
public:
    SetupFieldReader(SetupFileChannel& channel, char terminator)
        : m_channel(channel), m_terminator(terminator) {}

    // The characters before the next terminator. A field is as long as the file lets it be (so every
    // file we write reads back, whatever its comments); a maximum length of at least 1 bounds the
    // characters read for the field, its terminator included. The end of the file before the
    // terminator, or a field over its bound, is refused as a load error of "ReadField".
    QString ReadField(qint64 maxLength = 0);
    qint64 Consumed() const { return m_consumed; }

private:
    SetupFileChannel& m_channel;
    char m_terminator;
    qint64 m_consumed = 0;
};

// A decimal number as the writers put it: an optional sign and up to 18 digits, nothing else.
std::optional<qint64> ParseDecimal(const QString& text);

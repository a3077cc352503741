#pragma once

#include "discovery/IdentificationResult.h"

#include <QList>
#include <QString>

// One row of the instrument list: the four columns the Search Instruments page shows, and what the
// identification said.
struct SearchRow {
    QString model;
    QString supported; // text 202 "X" for a supported model, else empty
    QString address;
    QString manufacturer;
    qint16 result = IdentificationResult::NotFound;
    QString reply;

    bool operator==(const SearchRow&) const = default;
};

// The row for an "*IDN?" reply: the manufacturer before the first comma, the model between the first
// and the second (what follows "MODEL" when it holds that word), "Unknown" (229/230) where a comma is
// missing; both trimmed of blanks. An empty address reports the assertion and raises the
// invalid-value error.
SearchRow InstrumentListEntry(const QString& reply, const QString& address);

// Whether a probe's result puts a row in the list. A COM port adds a row only when something answered
// (0..3); a GPIB address also when nothing did (4). Any other code reports the assertion and raises the
// invalid-value error with text 109 (COM) or 110 (GPIB) and the address.
bool ResultAddsRow(bool isGPIB, qint16 result, const QString& address);

// The 1-based index of the first row whose address is the start of the active address (so "COM1"
// matches "COM1::Baud=19200"), case-sensitive; -1 when none.
int SelectedRowIndex(const QList<SearchRow>& rows, const QString& activeAddress);

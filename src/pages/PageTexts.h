#pragma once

#include <QString>

// The text of a base id in the control's language for a page or dialog. A language without a text for
// the id (Japanese has only its first eight) shows the English one, never an empty caption.
QString PageText(int baseId);

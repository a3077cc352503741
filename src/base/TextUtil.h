#pragma once

#include <QString>

// Removes leading and trailing blanks only, as the component always has: other white space (a
// carriage return, a tab) belongs to the text.
QString TrimBlanks(const QString& text);

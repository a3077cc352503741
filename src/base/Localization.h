#pragma once

#include <QString>

// The component's localized texts: one string table with a block of ids per language. A base id
// plus the selected language's offset (0, 1000, ... 7000) gives the id of the text to show.

// The text of the id exactly as given; a missing id gives the empty text.
QString LoadResString(int id);
// Whether the table has a text for the id at all (a present text may still be empty).
bool HasResString(int id);
// All ids present in the table between first and last inclusive, ascending.
QList<int> ResStringIds(int first, int last);

// The component-wide string offset, one per thread; 0 until a language is selected.
int StringOffset();
void SetStringOffset(int offset);

// LoadResString(baseId + StringOffset()).
QString Localized(int baseId);

// True when the user's locale uses characters of two or more bytes (the Linux form of a
// double-byte ANSI code page): MB_CUR_MAX of the environment's LC_CTYPE is at least 2.
bool IsDoubleByteCodePage();

// The component's data folder: it holds the "Help" folder and receives the active help files.
// TAVREL_DATA_DIR in the environment overrides the default, which is the "share/tavrel" folder
// beside the binaries.
QString ComponentFolder();
void SetComponentFolder(const QString& folder); // empty restores the default

// Copies the language's help and contents files (texts 100 and 101 plus offset) from the "Help"
// folder to "Tavrel.hlp" and "Tavrel.cnt" (texts 10 and 11). Returns false if either copy failed;
// the files that were there before stay in place then.
bool InstallLanguageHelpFiles(int offset);

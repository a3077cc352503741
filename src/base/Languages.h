#pragma once

#include <QList>
#include <QString>

// The languages of the component's texts, selected by country code.
struct LanguageInfo {
    int countryCode;
    int offset;           // added to a base id to find the language's text
    QString tag;          // short name used by tools and file names ("en", "fr", ...)
    QString name;         // English name
    bool needsDoubleByte; // only shown on a computer whose locale has multi-byte characters
    QString caseLabel;    // how the language's branch is named in assertion reports
};

const QList<LanguageInfo>& Languages();
// nullptr for a country code that selects no language.
const LanguageInfo* FindLanguage(int countryCode);
// By tag ("fr") or by country code as text ("33"); nullptr when neither fits.
const LanguageInfo* FindLanguage(const QString& tagOrCode);

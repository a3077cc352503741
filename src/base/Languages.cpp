#include "base/Languages.h"

const QList<LanguageInfo>& Languages() {
    static const QList<LanguageInfo> languages = {
        {1, 0, QStringLiteral("en"), QStringLiteral("English"), false,
         QStringLiteral("Case Tavrel_Language_English")},
        {33, 1000, QStringLiteral("fr"), QStringLiteral("French"), false,
         QStringLiteral("Case Tavrel_Language_French")},
        {34, 2000, QStringLiteral("es"), QStringLiteral("Spanish"), false,
         QStringLiteral("Case Tavrel_Language_Spanish")},
        {39, 3000, QStringLiteral("it"), QStringLiteral("Italian"), false,
         QStringLiteral("Case Tavrel_Language_Italian")},
        {49, 4000, QStringLiteral("de"), QStringLiteral("German"), false,
         QStringLiteral("Case Tavrel_Language_German")},
        {81, 5000, QStringLiteral("ja"), QStringLiteral("Japanese"), true,
         QStringLiteral("Case Tavrel_Language_Japanese")},
        {82, 6000, QStringLiteral("ko"), QStringLiteral("Korean"), true,
         QStringLiteral("Case Tavrel_Language_Korean")},
        // The branch of Traditional Chinese has always been labelled "Taiwanese" in reports.
        {886, 7000, QStringLiteral("zh-TW"), QStringLiteral("Traditional Chinese"), true,
         QStringLiteral("Case Tavrel_Language_Taiwanese")},
    };
    return languages;
}

const LanguageInfo* FindLanguage(int countryCode) {
    for (const LanguageInfo& language : Languages())
        if (language.countryCode == countryCode) return &language;
    return nullptr;
}

const LanguageInfo* FindLanguage(const QString& tagOrCode) {
    bool isNumber = false;
    const int code = tagOrCode.toInt(&isNumber);
    if (isNumber) return FindLanguage(code);
    for (const LanguageInfo& language : Languages())
        if (language.tag.compare(tagOrCode, Qt::CaseInsensitive) == 0) return &language;
    return nullptr;
}

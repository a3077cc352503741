#pragma once

#include "hosting/MemoryPropertyBag.h"
#include "setups/SetupTavrelScope.h"
#include "support/Errors.h"

#include <QFile>
#include <QString>
#include <gtest/gtest.h>

inline void expectError(const std::optional<TavrelError>& e, quint32 number,
                        const QString& description = {}) {
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(static_cast<quint32>(e->number()), number);
    if (!description.isEmpty()) {
        EXPECT_EQ(e->description(), description);
    }
}

// Every byte value, so that nothing on the way may treat the learn string as text.
inline QByteArray allByteValues() {
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(static_cast<char>(i));
    return bytes;
}

// A setup as the store gives it: besides an instrument or a file, the only way to a model, a
// version and a learn string.
inline void fillSetup(SetupTavrelScope& setup, const QString& name, const QString& model,
                      const QString& version, const QVariant& learnString = QVariant(),
                      const QString& comments = QString()) {
    MemoryPropertyBag bag;
    bag.set(QStringLiteral("1SetupName"), name);
    bag.set(QStringLiteral("1SetupComments"), comments);
    if (learnString.isValid()) bag.set(QStringLiteral("1LearnString"), learnString);
    bag.set(QStringLiteral("1Model"), model);
    bag.set(QStringLiteral("1Version"), version);
    setup.ReadProperties(bag, 1);
}

inline QByteArray fileBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

inline QString writeFile(const QString& path, const QByteArray& content) {
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(content);
    return path;
}

#include "hosting/HostDocument.h"
#include "base/TavrelError.h"
#include "support/Errors.h"

#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

QString writeFile(const QString& path, const QByteArray& content) {
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(content);
    return path;
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

TEST(MemoryPropertyBag, DefaultsAreNotStoredAndReadsCheckTheTypeAgainstTheDefault) {
    MemoryPropertyBag bag(QStringLiteral("doc.json"));
    bag.write(QStringLiteral("A"), 8, 8);
    bag.write(QStringLiteral("B"), QStringLiteral("x"), QString());
    bag.write(QStringLiteral("C"), QByteArray(), QVariant());
    bag.write(QStringLiteral("D"), qint64(5), 5); // integers compare by value whatever their width
    EXPECT_EQ(bag.keys(), QStringList{QStringLiteral("B")});
    bag.write(QStringLiteral("B"), QString(), QString()); // back to its default: removed
    EXPECT_EQ(bag.size(), 0);

    bag.set(QStringLiteral("FontSize"), QStringLiteral("nine"));
    bag.set(QStringLiteral("Blob"), QByteArray("ab"));
    EXPECT_EQ(bag.read(QStringLiteral("Missing"), 3).toInt(), 3);
    EXPECT_EQ(bag.read(QStringLiteral("Blob"), QVariant()).toByteArray(), QByteArray("ab"));
    const std::optional<TavrelError> error = ErrorOf([&] { bag.read(QStringLiteral("FontSize"), 8); });
    ASSERT_TRUE(error.has_value()) << "a text where a number belongs was accepted";
    EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
    EXPECT_TRUE(error->description().contains(QStringLiteral("doc.json")));
    EXPECT_TRUE(error->description().contains(QStringLiteral("\"FontSize\"")));
}

TEST(HostDocument, RoundTripKeepsTypesAndWriteOrder) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("doc.json"));
    const std::pair<QString, QVariant> values[] = {
        {QStringLiteral("Zeta"), true},
        {QStringLiteral("Alpha"), -2147221124},
        {QStringLiteral("Text \"quoted\" ü"), QStringLiteral("line\nbreak")},
        {QStringLiteral("Bytes"), QByteArray("\x00\xff|\n", 4)},
        {QStringLiteral("Big"), qint64(1) << 40},
    };
    MemoryPropertyBag bag;
    for (const auto& [key, value] : values)
        bag.write(key, value, QVariant());
    HostDocument::save(path, bag);

    const QByteArray text = readFile(path);
    EXPECT_LT(text.indexOf("\"Zeta\""), text.indexOf("\"Alpha\""));
    EXPECT_TRUE(text.contains("{\"base64\":\"AP98Cg==\"}"));
    MemoryPropertyBag loaded = HostDocument::load(path);
    for (const auto& [key, value] : values) {
        const QVariant read = loaded.read(key, QVariant(value.metaType()));
        EXPECT_EQ(read, value) << key.toStdString();
        EXPECT_EQ(read.metaType(), value.metaType()) << key.toStdString();
    }
}

TEST(HostDocument, BadDocumentsAreRefusedNamingFileAndKey) {
    QTemporaryDir dir;
    const std::pair<const char*, const char*> cases[] = {
        // content, and the key the error must name (or empty)
        {"", ""},
        {"{\"A\": 1", ""},
        {"[1, 2]", ""},
        {"\"text\"", ""},
        {"{\"FontSize\": 8.5}", "\"FontSize\""},
        {"{\"Address\": null}", "\"Address\""},
        {"{\"List\": [1]}", "\"List\""},
        {"{\"Blob\": {\"base64\": \"@@@\"}}", "\"Blob\""},
        {"{\"Blob\": {\"base64\": \"AA==\", \"more\": 1}}", "\"Blob\""},
        {"{\"Blob\": {\"hex\": \"00\"}}", "\"Blob\""},
    };
    for (const auto& [content, mention] : cases) {
        const QString path = writeFile(dir.filePath(QStringLiteral("bad.json")), content);
        const std::optional<TavrelError> error = ErrorOf([&] { HostDocument::load(path); });
        ASSERT_TRUE(error.has_value()) << "accepted: " << content;
        EXPECT_TRUE(error->description().contains(path)) << content;
        EXPECT_TRUE(error->description().contains(QString::fromLatin1(mention))) << content;
    }
    EXPECT_THROW(HostDocument::load(dir.filePath(QStringLiteral("missing.json"))), TavrelError);
}

TEST(HostDocument, FailedSaveLeavesThePreviousDocument) {
    QTemporaryDir dir;
    const QString path = writeFile(dir.filePath(QStringLiteral("doc.json")), "{\"Address\": \"COM1\"}\n");
    MemoryPropertyBag big;
    big.write(QStringLiteral("Blob"), QByteArray(256 * 1024, 'x'), QVariant());

    // A file size limit makes the disk look full part way through the save, even for root.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    rlimit small = previous;
    small.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(HostDocument::save(path, big), TavrelError);
    setrlimit(RLIMIT_FSIZE, &previous);

    EXPECT_EQ(readFile(path), QByteArray("{\"Address\": \"COM1\"}\n"));
    EXPECT_THROW(HostDocument::save(dir.filePath(QStringLiteral("no/such/dir/doc.json")), big), TavrelError);
}

#include "hosting/HostDocument.h"
#include "control/TavrelError.h"

#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    const QString path = dir.filePath(name);
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

TEST(MemoryPropertyBag, ValuesEqualToTheirDefaultAreNotStored) {
    MemoryPropertyBag bag;
    bag.write(QStringLiteral("A"), 8, 8);
    bag.write(QStringLiteral("B"), QStringLiteral("x"), QString());
    bag.write(QStringLiteral("C"), QByteArray(), QVariant());
    bag.write(QStringLiteral("D"), qint64(5), 5); // integers compare by value whatever their width
    EXPECT_EQ(bag.keys(), QStringList{QStringLiteral("B")});
    bag.write(QStringLiteral("B"), QString(), QString()); // back to its default: removed
    EXPECT_EQ(bag.size(), 0);
}

TEST(MemoryPropertyBag, ReadChecksTheTypeAgainstTheDefault) {
    MemoryPropertyBag bag(QStringLiteral("doc.json"));
    bag.set(QStringLiteral("FontSize"), QStringLiteral("nine"));
    bag.set(QStringLiteral("Blob"), QByteArray("ab"));
    EXPECT_EQ(bag.read(QStringLiteral("Missing"), 3).toInt(), 3);
    EXPECT_EQ(bag.read(QStringLiteral("Blob"), QVariant()).toByteArray(), QByteArray("ab"));
    try {
        bag.read(QStringLiteral("FontSize"), 8);
        FAIL() << "a text where a number belongs was accepted";
    } catch (const TavrelError& e) {
        EXPECT_EQ(e.number(), ErrorNumber::InvalidPropertyValue);
        EXPECT_TRUE(e.description().contains(QStringLiteral("doc.json")));
        EXPECT_TRUE(e.description().contains(QStringLiteral("\"FontSize\"")));
    }
}

TEST(HostDocument, RoundTripKeepsTypesAndWriteOrder) {
    QTemporaryDir dir;
    MemoryPropertyBag bag;
    bag.write(QStringLiteral("Zeta"), true, false);
    bag.write(QStringLiteral("Alpha"), -2147221124, 0);
    bag.write(QStringLiteral("Text \"quoted\" ü"), QStringLiteral("line\nbreak"), QString());
    bag.write(QStringLiteral("Bytes"), QByteArray("\x00\xff|\n", 4), QVariant());
    bag.write(QStringLiteral("Big"), qint64(1) << 40, 0);
    const QString path = dir.filePath(QStringLiteral("doc.json"));
    HostDocument::save(path, bag);

    const QByteArray text = readFile(path);
    EXPECT_LT(text.indexOf("\"Zeta\""), text.indexOf("\"Alpha\""));
    EXPECT_TRUE(text.contains("{\"base64\":\"AP98Cg==\"}"));

    MemoryPropertyBag loaded = HostDocument::load(path);
    EXPECT_EQ(loaded.read(QStringLiteral("Zeta"), false).toBool(), true);
    EXPECT_EQ(loaded.read(QStringLiteral("Alpha"), 0).toInt(), -2147221124);
    EXPECT_EQ(loaded.read(QStringLiteral("Text \"quoted\" ü"), QString()).toString(),
              QStringLiteral("line\nbreak"));
    EXPECT_EQ(loaded.read(QStringLiteral("Bytes"), QVariant()).toByteArray(), QByteArray("\x00\xff|\n", 4));
    EXPECT_EQ(loaded.read(QStringLiteral("Big"), 0).toLongLong(), qint64(1) << 40);
}

TEST(HostDocument, BadDocumentsAreRefusedNamingFileAndKey) {
    QTemporaryDir dir;
    struct Case {
        const char* content;
        const char* mention; // the key the error must name, or empty
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        const QString path = writeFile(dir, QStringLiteral("bad.json"), c.content);
        try {
            HostDocument::load(path);
            ADD_FAILURE() << "accepted: " << c.content;
        } catch (const TavrelError& e) {
            EXPECT_TRUE(e.description().contains(path)) << c.content;
            EXPECT_TRUE(e.description().contains(QString::fromLatin1(c.mention))) << c.content;
        }
    }
    EXPECT_THROW(HostDocument::load(dir.filePath(QStringLiteral("missing.json"))), TavrelError);
}

TEST(HostDocument, FailedSaveLeavesThePreviousDocument) {
    QTemporaryDir dir;
    const QString path = writeFile(dir, QStringLiteral("doc.json"), "{\"Address\": \"COM1\"}\n");
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
    EXPECT_EQ(dir.filePath(QStringLiteral("doc.json")), path);
    EXPECT_THROW(HostDocument::save(dir.filePath(QStringLiteral("no/such/dir/doc.json")), big), TavrelError);
}

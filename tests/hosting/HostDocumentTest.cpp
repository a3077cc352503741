#include "hosting/HostDocument.h"
#include "base/TavrelError.h"
#include "support/Errors.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

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
    EXPECT_EQ(error->description(), QStringLiteral("Invalid property value."));
    EXPECT_TRUE(error->detail().startsWith(QStringLiteral("doc.json: ")));
    EXPECT_TRUE(error->detail().contains(QStringLiteral("\"FontSize\"")));
}

// A stored integer must fit the width of the default it is read with; a wider one would be cut short.
TEST(MemoryPropertyBag, IntegersOutsideTheDefaultsWidthAreRefusedNamingTheKey) {
    const struct {
        QVariant stored, defaultValue;
        bool taken;
    } cases[] = {
        {qint64(4294967308LL), 8, false},
        {qint64(2147483648LL), 8, false},
        {qint64(-2147483649LL), 8, false},
        {2147483647, 8, true},
        {-2147483647 - 1, 8, true},
        {40000, QVariant::fromValue<qint16>(0), false},
        {-32768, QVariant::fromValue<qint16>(0), true},
        {-1, QVariant::fromValue<quint16>(0), false},
        {65535, QVariant::fromValue<quint16>(0), true},
        {-1, QVariant::fromValue<quint32>(0), false},
        {qint64(1) << 52, qint64(0), true},
        {qint64(1) << 40, QVariant(), true},
    };
    for (const auto& c : cases) {
        MemoryPropertyBag bag(QStringLiteral("doc.json"));
        bag.set(QStringLiteral("FontSize"), c.stored);
        const std::optional<TavrelError> error =
            ErrorOf([&] { EXPECT_EQ(bag.read(QStringLiteral("FontSize"), c.defaultValue), c.stored); });
        EXPECT_EQ(!error.has_value(), c.taken) << c.stored.toString().toStdString();
        if (error) {
            EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
            EXPECT_TRUE(error->detail().contains(QStringLiteral("doc.json: the value of \"FontSize\"")))
                << error->detail().toStdString();
        }
    }
}

TEST(MemoryPropertyBag, KeepsWriteOrderThroughRemovalsAndRewrites) {
    MemoryPropertyBag bag;
    QStringList expected;
    for (int i = 0; i < 200; ++i)
        bag.write(QString::number(i), i + 1, 0);
    // Back to their default: most keys go, and the rest keep their order and values.
    for (int i = 0; i < 200; ++i)
        if (i % 7 != 3)
            bag.write(QString::number(i), 0, 0);
        else
            expected << QString::number(i);
    bag.write(QStringLiteral("11"), 5, 0); // once removed, a key comes back at the end
    expected << QStringLiteral("11");
    bag.write(QStringLiteral("3"), 9, 0); // an existing key keeps its place
    EXPECT_EQ(bag.keys(), expected);
    EXPECT_EQ(bag.size(), expected.size());
    EXPECT_EQ(bag.value(QStringLiteral("3")).toInt(), 9);
    EXPECT_EQ(bag.value(QStringLiteral("17")).toInt(), 18);
    EXPECT_FALSE(bag.contains(QStringLiteral("4")));
    EXPECT_FALSE(bag.value(QStringLiteral("4")).isValid());
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
        {"{\"Big\": 9007199254740993}", "\"Big\""},
        {"{\"Big\": -1e300}", "\"Big\""},
    };
    for (const auto& [content, mention] : cases) {
        const QString path = writeFile(dir.filePath(QStringLiteral("bad.json")), content);
        const std::optional<TavrelError> error = ErrorOf([&] { HostDocument::load(path); });
        ASSERT_TRUE(error.has_value()) << "accepted: " << content;
        EXPECT_EQ(error->description(), QStringLiteral("Invalid property value.")) << content;
        EXPECT_TRUE(error->detail().contains(path)) << content;
        EXPECT_TRUE(error->detail().contains(QString::fromLatin1(mention))) << content;
    }
    const std::optional<TavrelError> missing =
        ErrorOf([&] { HostDocument::load(dir.filePath(QStringLiteral("missing.json"))); });
    ASSERT_TRUE(missing.has_value());
    EXPECT_TRUE(missing->detail().contains(QStringLiteral("missing.json")));
}

// A file size limit makes the disk look full part way through the save, even for root: whether
// nothing, a part or all but the end fits, the previous document stays whole and the save fails.
TEST(HostDocument, FailedSaveLeavesThePreviousDocument) {
    QTemporaryDir dir;
    const QByteArray previous = "{\"Address\": \"COM1\"}\n";
    MemoryPropertyBag small;
    small.write(QStringLiteral("FontSize"), 10, 8);
    MemoryPropertyBag big;
    big.write(QStringLiteral("Blob"), QByteArray(256 * 1024, 'x'), QVariant());
    const std::pair<rlim_t, const MemoryPropertyBag*> cases[] = {
        {0, &small}, {8, &small}, {0, &big}, {1024, &big}, {4096, &big}, {256 * 1024, &big}};

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    for (const auto& [limit, bag] : cases) {
        const QString path = writeFile(dir.filePath(QStringLiteral("doc.json")), previous);
        rlimit limited = unlimited;
        limited.rlim_cur = limit;
        setrlimit(RLIMIT_FSIZE, &limited);
        const std::optional<TavrelError> error = ErrorOf([&, &bag = bag] { HostDocument::save(path, *bag); });
        setrlimit(RLIMIT_FSIZE, &unlimited);
        ASSERT_TRUE(error.has_value()) << "saved under a limit of " << limit;
        EXPECT_TRUE(error->detail().contains(path)) << error->detail().toStdString();
        EXPECT_EQ(readFile(path), previous) << limit;
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"doc.json"}) << limit;
    }
    std::signal(SIGXFSZ, SIG_DFL);
    // No folder to write in, a folder or a pipe where the document should be: refused, without
    // blocking on the pipe, and left as they are.
    const QString fifo = dir.filePath(QStringLiteral("pipe.json"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    for (const QString& path : {dir.filePath(QStringLiteral("no/such/dir/doc.json")), dir.path(), fifo})
        EXPECT_THROW(HostDocument::save(path, small), TavrelError) << path.toStdString();
    EXPECT_EQ(QFileInfo(fifo).isFile(), false);
    EXPECT_TRUE(QFileInfo(fifo).exists());
}

// Whatever is saved can be loaded again: a document over the reader's size bound is not written.
TEST(HostDocument, RefusesToSaveWhatItCouldNotLoad) {
    QTemporaryDir dir;
    const QByteArray previous = "{}\n";
    const QString path = writeFile(dir.filePath(QStringLiteral("doc.json")), previous);
    MemoryPropertyBag bag;
    // 49 MiB of bytes take more than 64 MiB as base64.
    bag.write(QStringLiteral("Blob"), QByteArray(49 * 1024 * 1024, 'x'), QVariant());
    const std::optional<TavrelError> error = ErrorOf([&] { HostDocument::save(path, bag); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), ErrorNumber::InvalidPropertyValue);
    EXPECT_TRUE(error->detail().contains(path));
    EXPECT_EQ(readFile(path), previous);

    bag.write(QStringLiteral("Blob"), QByteArray(47 * 1024 * 1024, 'x'), QVariant());
    HostDocument::save(path, bag);
    EXPECT_EQ(HostDocument::load(path).value(QStringLiteral("Blob")).toByteArray().size(), 47 * 1024 * 1024);
}

// Saving through a link replaces the file the link leads to, and keeps its permissions.
TEST(HostDocument, SaveKeepsLinksAndPermissions) {
    QTemporaryDir dir;
    const QString target = writeFile(dir.filePath(QStringLiteral("real.json")), "{}\n");
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    const QString link = dir.filePath(QStringLiteral("link.json"));
    ASSERT_TRUE(QFile::link(target, link));
    MemoryPropertyBag bag;
    bag.write(QStringLiteral("FontSize"), 10, 8);
    HostDocument::save(link, bag);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(HostDocument::load(target).value(QStringLiteral("FontSize")).toInt(), 10);
    const QFile::Permissions permissions = QFile::permissions(target);
    EXPECT_TRUE(permissions.testFlag(QFile::WriteOwner));
    EXPECT_FALSE(permissions & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther));
}

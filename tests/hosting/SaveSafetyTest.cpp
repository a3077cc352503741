// Saving never loses a document or a setup file: killed at any moment, out of disk, in a folder it may
// not write, the file on disk is the old one or the new one, whole.

#include "base/TavrelError.h"
#include "hosting/FileReplacement.h"
#include "hosting/HostDocument.h"
#include "setups/SetupTavrelScope.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Two contents of different lengths, each recognizable as a whole.
QByteArray content(char fill, qsizetype size) {
    return "BEGIN" + QByteArray(size, fill) + "END\n";
}

QStringList leftovers(const QTemporaryDir& dir, const QString& keep) {
    QStringList names = QDir(dir.path()).entryList(QDir::Files | QDir::Hidden);
    names.removeAll(keep);
    return names;
}

} // namespace

// A child saves in a loop, two contents in turn, and is killed at random moments; after each kill the
// file holds one of the two, whole.
TEST(SaveSafety, KilledAtAnyMomentTheFileIsTheOldOrTheNewOne) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("doc.json"));
    const QByteArray a = content('a', 200 * 1024);
    const QByteArray b = content('b', 300 * 1024);
    ASSERT_TRUE(FileReplacement::Replace(path, a).isEmpty());
    std::mt19937 random(20261124);
    constexpr int kKills = 30;
    for (int kill = 0; kill < kKills; ++kill) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (unsigned i = 0;; ++i)
                FileReplacement::Replace(path, i % 2 ? a : b);
        }
        ::usleep(std::uniform_int_distribution<useconds_t>(0, 20000)(random));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        const QByteArray now = readFile(path);
        ASSERT_TRUE(now == a || now == b) << "after kill " << kill << ": " << now.size() << " bytes";
    }
    // A kill between creating the new file and renaming it leaves that file behind; it never takes the
    // document's name, and there is at most one per kill.
    EXPECT_LE(leftovers(dir, QStringLiteral("doc.json")).size(), kKills);
    for (const QString& name : leftovers(dir, QStringLiteral("doc.json")))
        EXPECT_TRUE(name.startsWith(QStringLiteral(".doc.json.")) && name.endsWith(QStringLiteral(".tmp")));
}

// The same through the host document and the setup file writers, killed part way through.
TEST(SaveSafety, HostDocumentsAndSetupFilesSurviveAKilledSave) {
    QTemporaryDir dir;
    const QString document = dir.filePath(QStringLiteral("host.json"));
    const QString setup = dir.filePath(QStringLiteral("bench.scp"));
    MemoryPropertyBag small, big;
    small.write(QStringLiteral("Blob"), QByteArray(1000, 's'), QVariant());
    big.write(QStringLiteral("Blob"), QByteArray(400 * 1024, 'b'), QVariant());
    HostDocument::save(document, small);
    SetupTavrelScope first, second;
    first.SetName(QStringLiteral("first"));
    second.SetName(QStringLiteral("second"));
    second.SetComments(QString(2000, u'c'));
    first.SaveToFile(setup);
    const QByteArray firstBytes = readFile(setup);
    second.SaveToFile(setup);
    const QByteArray secondBytes = readFile(setup);
    std::mt19937 random(7);
    for (int kill = 0; kill < 15; ++kill) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (unsigned i = 0;; ++i) {
                HostDocument::save(document, i % 2 ? small : big);
                (i % 2 ? first : second).SaveToFile(setup);
            }
        }
        ::usleep(std::uniform_int_distribution<useconds_t>(0, 30000)(random));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const QByteArray blob = HostDocument::load(document).value(QStringLiteral("Blob")).toByteArray();
        EXPECT_TRUE(blob == QByteArray(1000, 's') || blob == QByteArray(400 * 1024, 'b')) << kill;
        const QByteArray setupNow = readFile(setup);
        EXPECT_TRUE(setupNow == firstBytes || setupNow == secondBytes) << kill;
    }
}

// A folder the process may not write in: the save fails with the file's name, and nothing changes.
// Root writes anywhere, so as root the save runs in a child that has become nobody.
TEST(SaveSafety, AReadOnlyFolderRefusesTheSaveAndKeepsTheFile) {
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("read-only"));
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString path = QDir(folder).filePath(QStringLiteral("doc.json"));
    const QByteArray before = content('x', 100);
    ASSERT_TRUE(FileReplacement::Replace(path, before).isEmpty());
    constexpr uid_t kNobody = 65534;
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(QFile::encodeName(folder).constData(), kNobody, kNobody), 0);
        ASSERT_EQ(::chown(QFile::encodeName(path).constData(), kNobody, kNobody), 0);
        ::chmod(QFile::encodeName(dir.path()).constData(), 0755);
    }
    ASSERT_TRUE(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther |
                                                  QFile::ExeOther));
    const auto save = [&] {
        MemoryPropertyBag bag;
        bag.write(QStringLiteral("FontSize"), 10, 8);
        try {
            HostDocument::save(path, bag);
            return 1; // saved in a read-only folder
        } catch (const TavrelError& error) {
            return error.detail().contains(path) ? 0 : 2;
        }
    };
    int outcome = 0;
    if (root) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) _exit(::setgid(kNobody) == 0 && ::setuid(kNobody) == 0 ? save() : 3);
        int status = 0;
        ::waitpid(child, &status, 0);
        outcome = WIFEXITED(status) ? WEXITSTATUS(status) : 4;
    } else {
        outcome = save();
    }
    EXPECT_EQ(outcome, 0) << "1: saved, 2: the error does not name the file, 3: could not become nobody";
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("doc.json")});
}

// The new file keeps the old one's mode and, where the process may give them, its owner and group. A
// second hard link keeps the old content whole: only the saved name gets the new one.
TEST(SaveSafety, OwnerAndModeAreKeptAndAHardLinkKeepsTheOldContentWhole) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("bench.scp"));
    ASSERT_TRUE(FileReplacement::Replace(path, content('o', 100)).isEmpty());
    const QByteArray native = QFile::encodeName(path);
    ASSERT_EQ(::chmod(native.constData(), 0640), 0);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(native.constData(), 4321, 4322), 0);
    }
    const QString other = dir.filePath(QStringLiteral("other-name.scp"));
    ASSERT_EQ(::link(native.constData(), QFile::encodeName(other).constData()), 0);

    ASSERT_TRUE(FileReplacement::Replace(path, content('n', 200)).isEmpty());
    struct stat after {};
    ASSERT_EQ(::stat(native.constData(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    if (root) {
        EXPECT_EQ(after.st_uid, 4321u);
        EXPECT_EQ(after.st_gid, 4322u);
    }
    EXPECT_EQ(readFile(path), content('n', 200));
    EXPECT_EQ(readFile(other), content('o', 100));
}

// What the tool does with hostile surroundings: things planted in the shared temporary folder,
// texts that would drive a terminal, and a LAN instrument that waits for the end of the command.
#include "support/CliRunner.h"
#include "support/LoopbackListener.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTemporaryDir>
#include <arpa/inet.h>
#include <atomic>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// A plain TCP listener on 127.0.0.1 that answers a command only once its line end has arrived, the
// way a LAN instrument does; it keeps what it received.
class LineListener {
public:
    explicit LineListener(QByteArray reply) : m_reply(std::move(reply)) {
        m_fd = ListenOnLoopback(m_port);
        if (m_fd < 0) return;
        m_thread = std::thread([this] { serve(); });
    }
    ~LineListener() {
        m_stop = true;
        if (m_thread.joinable()) m_thread.join();
        if (m_fd >= 0) ::close(m_fd);
    }
    QString address() const { return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(m_port); }
    bool listening() const { return m_port != 0; }
    QByteArray received() const {
        std::lock_guard lock(m_mutex);
        return m_received;
    }

private:
    // Waits in short steps so that the destructor is never kept waiting.
    bool readable(int fd) const {
        pollfd p{fd, POLLIN, 0};
        while (!m_stop)
            if (::poll(&p, 1, 50) > 0) return true;
        return false;
    }
    void serve() {
        while (readable(m_fd)) {
            const int client = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) continue;
            QByteArray line;
            char buffer[256];
            while (readable(client)) {
                const ssize_t got = ::read(client, buffer, sizeof buffer);
                if (got <= 0) break;
                line.append(buffer, got);
                {
                    std::lock_guard lock(m_mutex);
                    m_received.append(buffer, got);
                }
                for (qsizetype end = line.indexOf('\n'); end >= 0; end = line.indexOf('\n')) {
                    if (line.left(end).trimmed() == "*IDN?" &&
                        ::write(client, m_reply.constData(), m_reply.size()) != m_reply.size())
                        break;
                    line.remove(0, end + 1);
                }
            }
            ::close(client);
        }
    }

    QByteArray m_reply;
    int m_fd = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    QByteArray m_received;
    std::thread m_thread;
};

// The tool's environment with its temporary folder in dir and no runtime folder from a login.
QProcessEnvironment inTemporaryFolder(const QTemporaryDir& dir) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TMPDIR"), dir.path());
    env.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    return env;
}

mode_t modeOf(const QString& path, bool followLinks = true) {
    struct stat info {};
    const QByteArray name = QFile::encodeName(path);
    if ((followLinks ? ::stat(name.constData(), &info) : ::lstat(name.constData(), &info)) != 0) return 0;
    return info.st_mode;
}

} // namespace

TEST(CliSafety, FifoAtTheLogPathHangsNothing) {
    QTemporaryDir dir;
    const QString log = dir.filePath(QStringLiteral("VelScope.DBG"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(log).constData(), 0600), 0);
    // Nobody reads the FIFO: opening it for writing the ordinary way would wait for ever.
    const CliResult r = RunTavrel({"--sim", "idn", "GPIB0::7::INSTR"}, inTemporaryFolder(dir), 30000);
    EXPECT_EQ(r.exitCode, 0) << "exit -1 means it hung: " << r.err.constData();
    EXPECT_TRUE(S_ISFIFO(modeOf(log)));
}

TEST(CliSafety, RuntimeFolderIsOursOrLeftAlone) {
    const QString name = QStringLiteral("tavrel-runtime-%1").arg(::getuid());
    const struct {
        const char* planted; // what stands at the runtime path before the run
        mode_t expectedAtPath;
    } cases[] = {
        {"nothing", S_IFDIR | 0700},
        {"own folder", S_IFDIR | 0700}, // made 0755 first: it is ours, so it is made private
        {"link to a folder", S_IFLNK | 0777},
        {"dangling link", S_IFLNK | 0777},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.planted);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        const QString target = dir.filePath(QStringLiteral("target"));
        const QByteArray planted = c.planted;
        if (planted == "own folder") {
            ASSERT_TRUE(QDir().mkdir(path) && ::chmod(QFile::encodeName(path), 0755) == 0);
        } else if (planted.contains("link")) {
            ASSERT_TRUE(QFile::link(target, path));
        }
        if (planted == "link to a folder") {
            ASSERT_TRUE(QDir().mkdir(target) && ::chmod(QFile::encodeName(target), 0755) == 0);
        }
        // A command that draws sets up its runtime folder before it looks at its arguments.
        EXPECT_EQ(RunTavrel({"screenshot"}, inTemporaryFolder(dir)).exitCode, 2);
        const mode_t found = modeOf(path, false);
        EXPECT_EQ(found & (S_IFMT | 0777), c.expectedAtPath) << std::oct << found;
        if (planted == "link to a folder") {
            EXPECT_EQ(modeOf(target) & 0777, 0755u) << "the link's target was changed";
        }
        if (planted == "dangling link") {
            EXPECT_FALSE(QFileInfo::exists(target)) << "the link's target was made";
        }
    }
}

TEST(CliSafety, DocInitDoesNotWriteThroughADanglingLink) {
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("host.json"));
    const QString target = dir.filePath(QStringLiteral("elsewhere.json"));
    ASSERT_TRUE(QFile::link(target, link));
    const CliResult refused = RunTavrel({"doc", "init", link});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("--force")) << refused.err.constData();
    EXPECT_FALSE(QFileInfo::exists(target));
    EXPECT_EQ(RunTavrel({"doc", "init", link, "--force"}).exitCode, 0);
    EXPECT_EQ(RunTavrel({"doc", "show", link}).exitCode, 0);
}

TEST(CliSafety, IdnAndTestEndTheirQueryOnALanSocket) {
    LineListener listener("CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02\n");
    ASSERT_TRUE(listener.listening());
    const CliResult idn = RunTavrel({"--json", "idn", listener.address()});
    EXPECT_EQ(idn.exitCode, 0) << idn.err.constData();
    EXPECT_EQ(idn.json()["code"].toInt(), 0);
    EXPECT_EQ(idn.json()["reply"].toString(), "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02");
    const CliResult test = RunTavrel({"--json", "test", listener.address()});
    EXPECT_EQ(test.exitCode, 0) << test.err.constData();
    EXPECT_EQ(test.json()["code"].toInt(), 0);
    EXPECT_EQ(listener.received(), "*IDN?\n*IDN?\n") << "each query goes out once, with its line end";
}

TEST(CliSafety, IdnFailsWhenNothingAnswers) {
    // Exit status and code per address: an instrument that answers without a comma has still answered.
    const std::tuple<const char*, int, int> cases[] = {{"GPIB0::7::INSTR", 0, 0},
                                                       {"GPIB0::3::INSTR", 0, 3},
                                                       {"GPIB0::22::INSTR", 1, 4},
                                                       {"GPIB3::7::INSTR", 1, 5}};
    for (const auto& [address, exitCode, code] : cases) {
        const CliResult json = RunTavrel({"--sim", "--json", "idn", address});
        EXPECT_EQ(json.exitCode, exitCode) << address;
        EXPECT_EQ(json.json()["code"].toInt(), code) << address;
        if (exitCode == 0) continue;
        const CliResult plain = RunTavrel({"--sim", "idn", address});
        EXPECT_EQ(plain.exitCode, exitCode) << address;
        EXPECT_TRUE(plain.out.contains(QByteArray("code ") + QByteArray::number(code)))
            << plain.out.constData();
        EXPECT_TRUE(plain.err.startsWith("tavrel: ")) << plain.err.constData();
        EXPECT_GT(plain.err.trimmed().size(), 10) << "the failure is told in words";
    }
}

TEST(CliSafety, TextsFromFilesAndInstrumentsCannotDriveTheTerminal) {
    // A title change, a screen clear, a carriage return that would overwrite the line, a C1 CSI and a
    // DEL: all of them survive a .scp file, which holds Latin-1.
    const QString hostile = QStringLiteral("a\x1b]0;owned\x07"
                                           "b\x1b[2Jc\rd") +
                            QChar(0x9B) + QStringLiteral("31m\x7f");
    const QByteArray shownHostile = "a\\x1B]0;owned\\x07b\\x1B[2Jc\\rd\\u009B31m\\x7F";
    const auto clean = [](const QByteArray& out) {
        for (const char byte : out)
            if ((static_cast<unsigned char>(byte) < 0x20 && byte != '\n') || byte == 0x7F) return false;
        return !out.contains("\xc2\x9b");
    };
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("host.json"));
    const QString scp = dir.filePath(QStringLiteral("hostile.scp"));
    ASSERT_EQ(RunTavrel({"doc", "init", doc}).exitCode, 0);
    ASSERT_EQ(RunTavrel({"--doc", doc, "setup", "add", "s1", "--comments", hostile}).exitCode, 0);
    ASSERT_EQ(RunTavrel({"--doc", doc, "setup", "save", "s1", scp}).exitCode, 0);

    for (const QStringList& command :
         {QStringList{"--doc", doc, "setup", "list"}, QStringList{"setup", "info", scp}}) {
        const CliResult shown = RunTavrel(command);
        ASSERT_EQ(shown.exitCode, 0) << shown.err.constData();
        EXPECT_TRUE(clean(shown.out)) << shown.out.toHex(' ').constData();
        EXPECT_TRUE(shown.out.contains(shownHostile)) << shown.out.constData();
        // JSON keeps the text exactly, escaped the JSON way.
        const CliResult json = RunTavrel(QStringList{"--json"} + command);
        EXPECT_TRUE(clean(json.out)) << json.out.constData();
        const QJsonObject o = json.json();
        const QString comments = o.contains("setups") ? o["setups"].toArray().first()["comments"].toString()
                                                      : o["comments"].toString();
        EXPECT_EQ(comments, hostile);
    }

    // A right-to-left override would make the rest of the line read backwards.
    ASSERT_EQ(RunTavrel({"--doc", doc, "setup", "comment", "s1", QStringLiteral("x") + QChar(0x202E) + "y"})
                  .exitCode,
              0);
    EXPECT_TRUE(RunTavrel({"--doc", doc, "setup", "list"}).out.contains("x\\u202Ey"));

    // An instrument's reply and an error's text are escaped as well.
    LineListener listener("ACME\x1b[2J,\x1b]0;x\x07TV100A\n");
    const CliResult idn = RunTavrel({"idn", listener.address()});
    EXPECT_EQ(idn.exitCode, 0) << idn.err.constData();
    EXPECT_TRUE(clean(idn.out)) << idn.out.constData();
    EXPECT_TRUE(idn.out.contains("ACME\\x1B[2J,")) << idn.out.constData();
    const CliResult missing = RunTavrel({"setup", "info", dir.filePath(QStringLiteral("no\x1b[2Jfile.scp"))});
    EXPECT_NE(missing.exitCode, 0);
    EXPECT_TRUE(clean(missing.err)) << missing.err.constData();
}

#include "base/CDebug.h"
#include "base/MessageBoxSeam.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// A log folder of the test's own; each delivery is noted, after "log," if the log had the report.
class CDebugTest : public ::testing::Test {
protected:
    CDebugTest() : m_savedTmp(qgetenv("TMPDIR")) {
        qputenv("TMPDIR", QFile::encodeName(m_dir.path()));
        QObject::connect(&m_debug, &CDebug::SupportMessage, [this](const QString& m) { note(m, "event"); });
        SetMessageBoxHandler([this](const MessageBoxRequest& r) {
            m_box = r;
            return note(r.text, "box");
        });
    }
    ~CDebugTest() override {
        qputenv("TMPDIR", m_savedTmp);
        SetMessageBoxHandler(nullptr);
    }
    int note(const QString& report, const QString& kind) {
        m_order.append(log().contains(report.toUtf8()) ? "log," + kind : kind);
        return kMessageBoxResultOK;
    }
    QString logPath() const { return m_dir.filePath("VelScope.DBG"); }
    QByteArray log() const {
        if (!QFileInfo(logPath()).isFile()) return {}; // opening a FIFO here would wait for a writer
        QFile f(logPath());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
    QByteArray m_savedTmp;
    CDebug m_debug;
    QStringList m_order;
    MessageBoxRequest m_box;
};

} // namespace

TEST(CDebugFormat, ReportsAndTraces) {
    const QDateTime at(QDate(2026, 3, 4), QTime(13, 5, 0));
    const QLocale l = QLocale::system();
    const QString atLine = "At: " + l.toString(at.time(), QLocale::ShortFormat) + u' ' +
                           l.toString(at.date(), QLocale::ShortFormat) + "\r\n";
    const std::tuple<qint32, QString, QString, QString, QString, QString> reports[] = {
        {-2147221124, "Invalid property value.", "TavrelScope", "Let CountryCode", "Case Else",
         "Error Code: -2147221124 0x8004017C\r\nInvalid property value.\r\n" + atLine +
             "File: TavrelScope\r\nFunction: Let CountryCode\r\nLocation: Case Else\r\n\r\n"},
        {0, "", "", "", "", "Error Code: 0 0x0\r\n" + atLine + "\r\n"},
        {9, "", "CIOConfiguration", "", "1",
         "Error Code: 9 0x9\r\n" + atLine + "File: CIOConfiguration\r\nLocation: 1\r\n\r\n"}};
    for (const auto& [number, description, cls, proc, location, expected] : reports)
        EXPECT_EQ(CDebug::FormatReport(number, description, cls, proc, location, at), expected);

    const std::tuple<QString, QString, QString, QString, QString> traces[] = {
        {"", "", "", "", "Trace:\r\n"},
        {"Start", "", "", "", "Trace: Start\r\n"},
        {"Start", "C", "P", "", "Trace: Start -- At: File: C; Function: P; \r\n"},
        {"", "", "", "End", "Trace: -- At: Location: End\r\n"},
        {"x", "C", "P", "L", "Trace: x -- At: File: C; Function: P; Location: L\r\n"}};
    for (const auto& [message, cls, proc, location, expected] : traces)
        EXPECT_EQ(CDebug::FormatTrace(message, cls, proc, location), expected);
}

TEST_F(CDebugTest, ModeSwitchesChooseTheOutputsAndTheirOrder) {
    // One word for each of the three reports; the assert switch alone delivers nothing.
    const std::tuple<qint32, const char*, bool> cases[] = {
        {0, "", false},
        {CDebug::AssertBit, "", false},
        {CDebug::EventBit, "event event event", false},
        {CDebug::MessageBoxBit, "box box box", false},
        {CDebug::MessageLogBit | CDebug::AssertBit, "", true},
        {CDebug::MessageBoxBit | CDebug::MessageLogBit | CDebug::EventBit,
         "event log,box event log,box event log,box", true}};
    for (const auto& [mode, order, logged] : cases) {
        QFile::remove(logPath());
        m_order.clear();
        m_debug.SetDebugMode(mode);
        m_debug.Assert(true, "(x > 0)", "C", "P"); // holds: nothing to report
        m_debug.Assert(false, "(x > 0)", "C", "P");
        m_debug.Assert(false, {}, {}, {});
        m_debug.ReportError(7, "seven", "C", "P");
        m_debug.Trace("hello", "C"); // traces only ever go to the log
        EXPECT_EQ(m_order.join(u' '), order) << mode << ": " << qPrintable(m_order.join(u' '));
        EXPECT_EQ(QFile::exists(logPath()), logged) << mode;
        if (!logged) continue;
        // Each entry is followed by one more line end; the time lines are left out here.
        EXPECT_EQ(
            QString::fromUtf8(log()).remove(QRegularExpression("(?<=\n)At: [^\r]*\r\n")),
            "Error Code: -2147221453 0x80040033\r\nAssertion: (x > 0)\r\nFile: C\r\nFunction: P\r\n\r\n\r\n"
            "Error Code: -2147221453 0x80040033\r\nAssertion: \r\n\r\n\r\n"
            "Error Code: 7 0x7\r\nseven\r\nFile: C\r\nFunction: P\r\n\r\n\r\nTrace: hello -- At: File: C; "
            "\r\n\r\n")
            << mode;
    }
    EXPECT_EQ(m_box.title, "Remote Support Assistant");
    EXPECT_EQ(m_box.style, 65600);
}

TEST_F(CDebugTest, LogIsPrivateTruncatedOnceAndPlantedFilesAreRefusedSilently) {
    QStringList changes;
    QObject::connect(&m_debug, &CDebug::PropertyChanged, [&](const QString& name) { changes.append(name); });
    m_debug.SetDebugMode(CDebug::MessageLogBit);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(logPath()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    // Setting the same mode again neither truncates nor tells the host; turning the log on does both.
    m_debug.Trace("first");
    m_debug.SetDebugMode(CDebug::MessageLogBit);
    EXPECT_TRUE(log().contains("first"));
    m_debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
    EXPECT_TRUE(log().isEmpty());
    EXPECT_EQ(changes, (QStringList{"DebugMode", "DebugMode"}));

    const QString victim = m_dir.filePath("victim.txt");
    const QByteArray victimName = QFile::encodeName(victim), logName = QFile::encodeName(logPath());
    // A symbolic link, a hard link, and another user's file (which only root can make).
    for (int planted = 0; planted < (::geteuid() == 0 ? 3 : 2); ++planted) {
        QFile::remove(logPath());
        QFile f(victim);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write("keep me") == 7);
        f.close();
        ASSERT_TRUE(planted == 0 ? ::symlink(victimName.constData(), logName.constData()) == 0
                    : planted == 1
                        ? ::link(victimName.constData(), logName.constData()) == 0
                        : QFile::rename(victim, logPath()) && ::chown(logName.constData(), 4242, 4242) == 0);
        m_order.clear();
        m_debug.SetDebugMode(0);
        m_debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
        m_debug.ReportError(1, "x", "C", "P");
        m_debug.Trace("t");
        // The event still goes out; the log failure is reported nowhere.
        EXPECT_EQ(m_order, QStringList{"event"}) << planted;
        EXPECT_EQ(log(), "keep me") << planted;
    }

    // A FIFO with a reader on the other end: opening it would not block, yet it is no log file.
    QFile::remove(logPath());
    ASSERT_EQ(::mkfifo(logName.constData(), 0600), 0);
    const int reader = ::open(logName.constData(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    m_order.clear();
    m_debug.SetDebugMode(0);
    m_debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
    m_debug.ReportError(1, "x", "C", "P");
    EXPECT_EQ(m_order, QStringList{"event"});
    char byte = 0;
    EXPECT_LE(::read(reader, &byte, 1), 0) << "a report went into the FIFO";
    ::close(reader);
}

TEST_F(CDebugTest, ConcurrentReportsGoOutWholeAndOneAtATime) {
    // A host's event handler may itself report: the lock must let the same thread in again.
    QObject::connect(&m_debug, &CDebug::SupportMessage, [this] { m_debug.Trace("seen"); });
    m_debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
    const auto reportFifty = [this] {
        for (int i = 0; i < 50; ++i)
            m_debug.ReportError(i, "d", "C", "P");
    };
    std::thread first(reportFifty), second(reportFifty), third(reportFifty);
    reportFifty();
    for (std::thread* thread : {&first, &second, &third})
        thread->join();
    EXPECT_EQ(m_order.size(), 200);
    EXPECT_EQ(log().count("\r\nd\r\nAt: "), 200);
    EXPECT_EQ(log().count("Trace: seen\r\n\r\nError Code: "), 200) << "each report right after its own trace";
}

TEST_F(CDebugTest, LogPathFollowsTheTemporaryDirectory) {
    EXPECT_EQ(CDebug::LogFilePath(), logPath());
    // A directory too long for the 255-character buffer leaves the file name alone.
    qputenv("TMPDIR", QByteArray("/") + QByteArray(300, 'a'));
    EXPECT_EQ(CDebug::LogFilePath(), "VelScope.DBG");
    qunsetenv("TMPDIR");
    EXPECT_EQ(CDebug::LogFilePath(), "/tmp/VelScope.DBG");
}

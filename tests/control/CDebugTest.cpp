#include "control/CDebug.h"
#include "control/MessageBoxSeam.h"
#include "hosting/MemoryPropertyBag.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

// Points the log at a directory of the test's own and restores the environment afterwards.
class CDebugTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_savedTmp = qgetenv("TMPDIR");
        qputenv("TMPDIR", QFile::encodeName(m_dir.path()));
    }
    void TearDown() override {
        qputenv("TMPDIR", m_savedTmp);
        SetMessageBoxHandler(nullptr);
    }
    QString logPath() const { return m_dir.filePath(QStringLiteral("VelScope.DBG")); }
    QByteArray log() const {
        QFile f(logPath());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
    QByteArray m_savedTmp;
};

QString atLine(const QDateTime& at) {
    const QLocale l = QLocale::system();
    return QStringLiteral("At: ") + l.toString(at.time(), QLocale::ShortFormat) + u' ' +
           l.toString(at.date(), QLocale::ShortFormat) + QStringLiteral("\r\n");
}

} // namespace

TEST(CDebugFormat, Reports) {
    const QDateTime at(QDate(2026, 3, 4), QTime(13, 5, 0));
    struct Case {
        qint32 number;
        QString description, cls, proc, location, expected;
    };
    const QList<Case> cases = {
        {static_cast<qint32>(0x8004017Cu), QStringLiteral("Invalid property value."),
         QStringLiteral("TavrelScope"), QStringLiteral("Let CountryCode"), QStringLiteral("Case Else"),
         QStringLiteral("Error Code: -2147221124 0x8004017C\r\nInvalid property value.\r\n") + atLine(at) +
             QStringLiteral("File: TavrelScope\r\nFunction: Let CountryCode\r\nLocation: Case Else\r\n\r\n")},
        {0, {}, {}, {}, {}, QStringLiteral("Error Code: 0 0x0\r\n") + atLine(at) + QStringLiteral("\r\n")},
        {9,
         {},
         QStringLiteral("CIOConfiguration"),
         {},
         QStringLiteral("1"),
         QStringLiteral("Error Code: 9 0x9\r\n") + atLine(at) +
             QStringLiteral("File: CIOConfiguration\r\nLocation: 1\r\n\r\n")},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CDebug::FormatReport(c.number, c.description, c.cls, c.proc, c.location, at), c.expected);
}

TEST(CDebugFormat, Traces) {
    struct Case {
        QString message, cls, proc, location, expected;
    };
    const QList<Case> cases = {
        {{}, {}, {}, {}, QStringLiteral("Trace:\r\n")},
        {QStringLiteral("Start"), {}, {}, {}, QStringLiteral("Trace: Start\r\n")},
        {QStringLiteral("Start"),
         QStringLiteral("TavrelScope"),
         QStringLiteral("UserControl_Initialize"),
         {},
         QStringLiteral("Trace: Start -- At: File: TavrelScope; Function: UserControl_Initialize; \r\n")},
        {{}, {}, {}, QStringLiteral("End"), QStringLiteral("Trace: -- At: Location: End\r\n")},
        {QStringLiteral("x"), QStringLiteral("C"), QStringLiteral("P"), QStringLiteral("L"),
         QStringLiteral("Trace: x -- At: File: C; Function: P; Location: L\r\n")},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CDebug::FormatTrace(c.message, c.cls, c.proc, c.location), c.expected);
}

TEST_F(CDebugTest, AllOutputsOffProducesNothing) {
    CDebug debug;
    int events = 0;
    QObject::connect(&debug, &CDebug::SupportMessage, [&] { ++events; });
    SetMessageBoxHandler([&](const MessageBoxRequest&) { return ++events; });
    debug.SetDebugMode(CDebug::AssertBit); // the assert switch alone delivers nothing
    debug.Assert(false, QStringLiteral("(x > 0)"), QStringLiteral("C"), QStringLiteral("P"));
    debug.ReportError(1, QStringLiteral("d"), QStringLiteral("C"), QStringLiteral("P"));
    debug.Trace(QStringLiteral("t"));
    EXPECT_EQ(events, 0);
    EXPECT_FALSE(QFile::exists(logPath()));
}

TEST_F(CDebugTest, AssertionReportCarriesItsNumberAndCondition) {
    CDebug debug;
    QStringList events;
    QObject::connect(&debug, &CDebug::SupportMessage, [&](const QString& m) { events.append(m); });
    debug.SetDebugMode(CDebug::EventBit);
    debug.Assert(true, QStringLiteral("(x > 0)"), QStringLiteral("C"), QStringLiteral("P"));
    debug.Assert(false, QStringLiteral("(x > 0)"), QStringLiteral("C"), QStringLiteral("P"),
                 QStringLiteral("1"));
    debug.Assert(false, QString(), QString(), QString());
    ASSERT_EQ(events.size(), 2);
    EXPECT_TRUE(
        events[0].startsWith(QStringLiteral("Error Code: -2147221453 0x80040033\r\nAssertion: (x > 0)\r\n")));
    EXPECT_TRUE(
        events[1].startsWith(QStringLiteral("Error Code: -2147221453 0x80040033\r\nAssertion: \r\n")));
}

TEST_F(CDebugTest, DeliversToEventThenLogThenMessageBox) {
    CDebug debug;
    QStringList order;
    QObject::connect(&debug, &CDebug::SupportMessage, [&](const QString&) {
        order.append(log().contains("Error Code") ? QStringLiteral("event-after-log")
                                                  : QStringLiteral("event"));
    });
    MessageBoxRequest shown;
    SetMessageBoxHandler([&](const MessageBoxRequest& r) {
        order.append(log().contains("Error Code") ? QStringLiteral("box") : QStringLiteral("box-before-log"));
        shown = r;
        return kMessageBoxResultOK;
    });
    debug.SetDebugMode(CDebug::MessageBoxBit | CDebug::MessageLogBit | CDebug::EventBit);
    debug.ReportError(5, QStringLiteral("broken"), QStringLiteral("C"), QStringLiteral("P"));
    EXPECT_EQ(order, (QStringList{QStringLiteral("event"), QStringLiteral("box")}));
    EXPECT_EQ(shown.title, QStringLiteral("Remote Support Assistant"));
    EXPECT_EQ(shown.style, 65600);
    // The log holds the report followed by one more line end.
    EXPECT_TRUE(log().endsWith("Function: P\r\n\r\n\r\n"));
}

TEST_F(CDebugTest, ModeTenLogsReportsAndTracesOnly) {
    CDebug debug;
    int events = 0;
    QObject::connect(&debug, &CDebug::SupportMessage, [&] { ++events; });
    SetMessageBoxHandler([&](const MessageBoxRequest&) { return ++events; });
    debug.SetDebugMode(10);
    EXPECT_EQ(debug.DebugMode(), 10);
    debug.ReportError(7, QStringLiteral("seven"), QStringLiteral("C"), QStringLiteral("P"));
    debug.Trace(QStringLiteral("hello"), QStringLiteral("C"));
    EXPECT_EQ(events, 0);
    const QByteArray text = log();
    EXPECT_TRUE(text.contains("Error Code: 7 0x7\r\nseven\r\n"));
    EXPECT_TRUE(text.endsWith("Trace: hello -- At: File: C; \r\n\r\n"));
}

TEST_F(CDebugTest, SettingTheSameModeTwiceTruncatesOnlyOnce) {
    CDebug debug;
    int changes = 0;
    QObject::connect(&debug, &CDebug::PropertyChanged, [&](const QString& name) {
        EXPECT_EQ(name, QStringLiteral("DebugMode"));
        ++changes;
    });
    debug.SetDebugMode(CDebug::MessageLogBit);
    debug.Trace(QStringLiteral("first"));
    debug.SetDebugMode(CDebug::MessageLogBit);
    EXPECT_TRUE(log().contains("first"));
    debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
    EXPECT_TRUE(log().isEmpty());
    EXPECT_EQ(changes, 2);
}

TEST_F(CDebugTest, NewLogIsPrivateToItsOwner) {
    CDebug debug;
    debug.SetDebugMode(CDebug::MessageLogBit);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(logPath()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(CDebugTest, PlantedLinksAreRefusedSilently) {
    const QString victim = m_dir.filePath(QStringLiteral("victim.txt"));
    {
        QFile f(victim);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("keep me");
    }
    for (bool hardLink : {false, true}) {
        QFile::remove(logPath());
        if (hardLink)
            ASSERT_EQ(::link(QFile::encodeName(victim).constData(), QFile::encodeName(logPath()).constData()),
                      0);
        else
            ASSERT_TRUE(QFile::link(victim, logPath()));
        CDebug debug;
        int events = 0;
        QObject::connect(&debug, &CDebug::SupportMessage, [&] { ++events; });
        debug.SetDebugMode(CDebug::MessageLogBit | CDebug::EventBit);
        debug.ReportError(1, QStringLiteral("x"), QStringLiteral("C"), QStringLiteral("P"));
        debug.Trace(QStringLiteral("t"));
        EXPECT_EQ(events, 1); // the event still goes out; the log failure is reported nowhere
        QFile f(victim);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(f.readAll(), QByteArray("keep me")) << (hardLink ? "hard link" : "symbolic link");
    }
}

TEST_F(CDebugTest, LogPathFollowsTheTemporaryDirectory) {
    EXPECT_EQ(CDebug::LogFilePath(), QDir(m_dir.path()).filePath(QStringLiteral("VelScope.DBG")));
    // A directory too long for the 255-character buffer leaves the file name alone.
    qputenv("TMPDIR", QByteArray("/") + QByteArray(300, 'a'));
    EXPECT_EQ(CDebug::LogFilePath(), QStringLiteral("VelScope.DBG"));
    qunsetenv("TMPDIR");
    EXPECT_EQ(CDebug::LogFilePath(), QStringLiteral("/tmp/VelScope.DBG"));
}

TEST_F(CDebugTest, ModeKeysRoundTripThroughTheStore) {
    CDebug debug;
    debug.SetDebugMode(CDebug::EventBit | CDebug::AssertBit);
    MemoryPropertyBag bag;
    debug.WriteProperties(bag);
    EXPECT_EQ(bag.keys(), (QStringList{QStringLiteral("DebugEnableEvent"), QStringLiteral("DebugAssert")}));
    CDebug restored;
    restored.SetDebugMode(CDebug::MessageLogBit);
    restored.ReadProperties(bag);
    EXPECT_EQ(restored.DebugMode(), CDebug::EventBit | CDebug::AssertBit);
    MemoryPropertyBag empty;
    restored.ReadProperties(empty);
    EXPECT_EQ(restored.DebugMode(), 0);
}

#include "AutomationTestSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/UtilitiesTavrel.h"
#include "base/CDebug.h"
#include "base/MessageBoxSeam.h"
#include "base/TavrelError.h"
#include "control/CTavrelEZ.h"
#include "control/TavrelScope.h"
#include "support/Errors.h"

#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <optional>

namespace {

// A control on the simulated bench whose diagnostics raise every report as its SupportMessage event.
struct Control {
    TavrelScope control;
    QStringList reports;
    Control() {
        control.SetIOManager(simManager());
        control.SetSupportMessageMode(CDebug::EventBit);
        QObject::connect(&control, &TavrelScope::SupportMessage,
                         [this](const QString& m) { reports.append(m); });
    }
    void connect() {
        control.SetAddress(kSimScope);
        control.SetResetOnInitialize(true);
        control.Initialize();
        ASSERT_TRUE(control.InstrumentConnected());
        control.Acquisition().SetPoints(10000);
    }
    bool reported(const QString& procedure, qint32 number) const {
        const QString code = QStringLiteral("0x") + QString::number(quint32(number), 16).toUpper();
        for (const QString& r : reports)
            if (r.contains(QStringLiteral("File: TavrelScope\r\n")) &&
                r.contains(QStringLiteral("Function: ") + procedure + QStringLiteral("\r\n")) &&
                r.contains(code))
                return true;
        return false;
    }
};

} // namespace

TEST(HostSurface, EveryOperationRefusesWhileNotConnected) {
    Control c;
    TavrelScope& s = c.control;
    QVector<double> time, data;
    QVector<quint16> logic;
    QList<BrumelTB::ChannelWaveform> all;
    QVariant buffer;
    QByteArray bytes("*IDN?\n");
    qint32 count = 6;
    const struct {
        const char* procedure;
        std::function<void()> call;
    } members[] = {
        {"Acquisition", [&] { s.Acquisition(); }},
        {"AnalogChannels", [&] { s.AnalogChannels(); }},
        {"LogicChannel", [&] { s.LogicChannel(); }},
        {"Measure", [&] { s.Measure(); }},
        {"Timebase", [&] { s.Timebase(); }},
        {"Trigger", [&] { s.Trigger(); }},
        {"Trace", [&] { s.Trace(); }},
        {"Utilities", [&] { s.Utilities(); }},
        {"AutoScale", [&] { s.AutoScale(); }},
        {"Digitize", [&] { s.Digitize(); }},
        {"Run", [&] { s.Run(); }},
        {"SingleTrigger", [&] { s.SingleTrigger(); }},
        {"StopTrigger", [&] { s.StopTrigger(); }},
        {"Enter", [&] { s.Enter(buffer); }},
        {"Output", [&] { s.Output("*RST"); }},
        {"ReadBytes", [&] { s.ReadBytes(count, bytes); }},
        {"WriteBytes", [&] { s.WriteBytes(count, bytes); }},
        {"GetWaveformData", [&] { s.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data); }},
        {"GetAllWaveformData", [&] { s.GetAllWaveformData(Tavrel_DataPoints_ALL, all); }},
        {"GetLogicData", [&] { s.GetLogicData(Tavrel_DataPoints_ALL, time, logic); }},
        {"GetScreenImage", [&] { s.GetScreenImage(); }},
        {"SaveScreenImage", [&] { s.SaveScreenImage("/nonexistent/screen.bmp"); }},
    };
    for (const auto& m : members) {
        EXPECT_EQ(ErrorNumberOf(m.call), ErrorNumber::ConnectionFailed) << m.procedure;
        EXPECT_TRUE(c.reported(QLatin1String(m.procedure), ErrorNumber::ConnectionFailed)) << m.procedure;
    }
    EXPECT_EQ(count, 6);
    EXPECT_FALSE(buffer.isValid()) << "a refused call leaves its in/out arguments alone";
}

TEST(HostSurface, EnterReadsTextUnlessAFormatSaysOtherwise) {
    Control c;
    c.connect();
    const struct {
        const char* output;
        QVariant format;
        QVariant expected;
    } cases[] = {
        {"*IDN?", QVariant(), QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02")},
        {"*IDN?", QStringLiteral("K"), QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02")},
        {"*OPC?", QStringLiteral("D"), QVariant(1)},
        {":CHANnel1:SCALe?", QStringLiteral("f"), QVariant(1.0)},
    };
    for (const auto& k : cases) {
        c.control.Output(QLatin1String(k.output));
        QVariant buffer(42);
        c.control.Enter(buffer, k.format);
        EXPECT_EQ(buffer, k.expected) << k.output << " " << k.format.toString().toStdString();
    }
}

TEST(HostSurface, BytesGoOutAndComeBackCounted) {
    Control c;
    c.connect();
    c.control.WriteBytes(6, QByteArray("*IDN?\n:RUN BOGUS\n"));
    qint32 count = 7;
    QByteArray buffer;
    c.control.ReadBytes(count, buffer);
    EXPECT_EQ(buffer, QByteArray("CORVANE"));
    EXPECT_EQ(count, 7);
    c.control.Session().Server().IO().Clear();
    EXPECT_TRUE(c.control.Utilities().ReadErrors().isEmpty()) << "only the first 6 bytes were sent";
}

// A raw read takes no more than the host allows, and the next read after a refused one works.
TEST(HostSurface, RawReadsTakeNoMoreThanTheReadLimit) {
    Control c;
    EXPECT_EQ(c.control.ReadLimit(), 64 * 1024 * 1024);
    EXPECT_EQ(ErrorNumberOf([&] { c.control.SetReadLimit(0); }), ErrorNumber::InvalidPropertyValue);
    c.connect();
    c.control.SetReadLimit(10);
    QVariant buffer;
    c.control.Output(QStringLiteral("*IDN?"));
    EXPECT_EQ(ErrorNumberOf([&] { c.control.Enter(buffer); }), ErrorNumber::ConnectionFailed);
    qint32 count = 11;
    QByteArray bytes;
    EXPECT_EQ(ErrorNumberOf([&] { c.control.ReadBytes(count, bytes); }), ErrorNumber::ConnectionFailed);
    c.control.SetReadLimit(4096);
    c.control.Output(QStringLiteral("*IDN?"));
    c.control.Enter(buffer);
    EXPECT_TRUE(buffer.toString().startsWith(QStringLiteral("CORVANE"))) << "the next read works";
}

TEST(HostSurface, FailuresBelowReachTheHostAsTavrelErrors) {
    Control c;
    c.connect();
    QVariant buffer;
    EXPECT_EQ(ErrorNumberOf([&] { c.control.Enter(buffer, QStringLiteral("Q")); }),
              kServerRefusedErrorNumber);
    EXPECT_TRUE(c.reported(QStringLiteral("Enter"), kServerRefusedErrorNumber));
    EXPECT_EQ(
        ErrorNumberOf([&] { c.control.SaveScreenImage(QStringLiteral("x.emf"), Tavrel_ImageFormat_EMF); }),
        kServerRefusedErrorNumber);

    c.control.Session().Server().IO().SetTimeout(50);
    qint32 count = 4;
    QByteArray bytes;
    EXPECT_EQ(ErrorNumberOf([&] { c.control.ReadBytes(count, bytes); }), ErrorNumber::ConnectionFailed);
    EXPECT_TRUE(c.reported(QStringLiteral("ReadBytes"), ErrorNumber::ConnectionFailed));
    EXPECT_EQ(count, 4);
    EXPECT_TRUE(c.control.InstrumentConnected());
}

TEST(HostSurface, ScopeOperationsThroughTheControl) {
    Control c;
    c.connect();
    BrumelTB::ScopeTavrel& server = c.control.Session().Server();
    EXPECT_TRUE(&c.control.Acquisition() == &server.Acquisition() &&
                &c.control.AnalogChannels() == &server.AnalogChannels() &&
                &c.control.LogicChannel() == &server.LogicChannel() &&
                &c.control.Measure() == &server.Measure() && &c.control.Timebase() == &server.Timebase() &&
                &c.control.Trigger() == &server.Trigger() && &c.control.Trace() == &server.Trace() &&
                &c.control.Utilities() == &server.Utilities())
        << "the objects are the server's own";
    TavrelScope& s = c.control;
    const std::pair<std::function<void()>, Tavrel_OnOffState> keys[] = {
        {[&] { s.StopTrigger(); }, Tavrel_Off},
        {[&] { s.Run(); }, Tavrel_On},
        {[&] { s.SingleTrigger(); }, Tavrel_Off},
        {[&] { s.AutoScale(); }, Tavrel_On},
        {[&] { s.Digitize(); }, Tavrel_Off}};
    for (const auto& [press, state] : keys) {
        press();
        EXPECT_EQ(s.Acquisition().RunState(), state) << &press - &keys[0].first;
    }
    QVector<double> time, data;
    c.control.GetWaveformData(Tavrel_Channel_1, Tavrel_DataPoints_ALL, time, data);
    EXPECT_EQ(data.size(), 10000);

    QList<BrumelTB::ChannelWaveform> all;
    c.control.GetAllWaveformData(Tavrel_DataPoints_500, all);
    ASSERT_FALSE(all.isEmpty()); // what AutoScale found
    EXPECT_EQ(all[0].data.size(), 500);

    QVector<quint16> logic;
    c.control.GetLogicData(Tavrel_DataPoints_100, time, logic);
    EXPECT_EQ(logic.size(), 100);

    EXPECT_FALSE(c.control.GetScreenImage().isNull());
    QTemporaryDir dir;
    c.control.SaveScreenImage(dir.filePath(QStringLiteral("screen.gif")), Tavrel_ImageFormat_GIF);
    EXPECT_TRUE(QFile::exists(dir.filePath(QStringLiteral("screen.gif"))));
    EXPECT_TRUE(c.reports.isEmpty()) << c.reports.join(QLatin1Char('\n')).toStdString();
}

TEST(HostSurface, AboutBoxShowsNameVersionAndCopyright) {
    Control c;
    QList<MessageBoxRequest> shown;
    SetMessageBoxHandler([&](const MessageBoxRequest& r) {
        shown.append(r);
        return kMessageBoxResultOK;
    });
    c.control.AboutBox();
    SetMessageBoxHandler(nullptr);
    ASSERT_EQ(shown.size(), 1);
    EXPECT_EQ(shown[0].title, QStringLiteral("About Tavrel Scope Control"));
    const QStringList lines = shown[0].text.split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], QStringLiteral("Tavrel Scope Control"));
    EXPECT_TRUE(lines[3].startsWith(QStringLiteral("Copyright")));
    EXPECT_EQ(lines[2], QStringLiteral("Version: ") + QStringLiteral(TAVREL_PROJECT_VERSION));
}

// The objects the control hands out are the driver's own; what fails in them reaches the host as a
// TavrelError, reported once under the object's class and member.
TEST(HostSurface, OperationObjectsFailWithTavrelErrorsReportedOnce) {
    Control c;
    c.connect();
    const auto reportsOf = [&](const QString& cls, const QString& procedure) {
        return std::count_if(c.reports.begin(), c.reports.end(), [&](const QString& r) {
            return r.contains(QStringLiteral("File: %1\r\n").arg(cls)) &&
                   r.contains(QStringLiteral("Function: %1\r\n").arg(procedure));
        });
    };
    const struct {
        const char* cls;
        const char* procedure;
        std::function<void()> call;
        qint32 number;
    } cases[] = {
        {"AnalogChannelsTavrel", "Item", [&] { c.control.AnalogChannels().Item(Tavrel_AnalogChannels(9)); },
         kServerRefusedErrorNumber},
        {"TriggerTavrel", "SetLevel", [&] { c.control.Trigger().SetLevel(1e12); }, kServerRefusedErrorNumber},
        {"AcquisitionTavrel", "Type",
         [&] {
             c.control.Session().Server().IO().Close();
             c.control.Acquisition().Type();
         },
         ErrorNumber::ConnectionFailed},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.procedure);
        std::optional<TavrelError> error;
        try {
            k.call();
        } catch (const TavrelError& e) {
            error = e;
        }
        ASSERT_TRUE(error.has_value()) << "only TavrelErrors leave the component";
        EXPECT_EQ(error->number(), k.number);
        EXPECT_FALSE(error->description().isEmpty());
        EXPECT_EQ(reportsOf(QLatin1String(k.cls), QLatin1String(k.procedure)), 1)
            << c.reports.join(u'\n').toStdString();
        if (k.number == kServerRefusedErrorNumber) {
            EXPECT_TRUE(error->detail().contains(QStringLiteral("GPIB0"))) << error->detail().toStdString();
        }
    }
    EXPECT_EQ(c.reports.filter(QStringLiteral("File: ScopeTavrel")).size(), 0)
        << "the object the host called reports, not the driver inside it";
}

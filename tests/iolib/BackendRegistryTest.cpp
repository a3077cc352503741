// TAVREL_IO picks registered backends by name; the I/O library itself knows none of them.

#include "IolibTestSupport.h"
#include "iolib/IOBackendRegistry.h"
#include "iolib/IOManager.h"

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

// A backend that lists one COM port named after the argument it was made with.
class NamedBackend : public IOBackend {
public:
    explicit NamedBackend(QString argument) : m_argument(std::move(argument)) {}
    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Com}; }
    QStringList list(const QString&) override { return {u"COM9"_s}; }
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override {
        throw IOError(IOError::NotFound, address.resourceName() + u" via "_s + m_argument);
    }

private:
    QString m_argument;
};

QString g_lastArgument;
bool g_lastArgumentNull = false;

const bool registered = IOBackendRegistry::add(u"probe"_s, [](const QString& argument) {
    g_lastArgument = argument;
    g_lastArgumentNull = argument.isNull();
    if (argument == u"refuse"_s) throw IOError(IOError::Io, u"the probe refuses \"refuse\""_s);
    std::vector<std::unique_ptr<IOBackend>> backends;
    backends.push_back(std::make_unique<NamedBackend>(argument));
    return backends;
});

} // namespace

TEST(BackendRegistry, TavrelIoNamesABackendAndPassesWhatFollowsTheFirstColon) {
    ASSERT_TRUE(registered);
    struct Case {
        const char* value;
        const char* argument;
        bool null;
    };
    for (const Case& c : {Case{"probe", "", true}, Case{"  probe  ", "", true}, Case{"probe:", "", false},
                          Case{"probe:a.json", "a.json", false}, Case{"probe:C:/x:y", "C:/x:y", false}}) {
        EnvironmentGuard io("TAVREL_IO", c.value);
        const auto manager = IOManager::create();
        EXPECT_TRUE(manager->IsSimulated()) << c.value;
        EXPECT_EQ(manager->FindRsrc(u"COM*"_s), QStringList{u"COM9"_s}) << c.value;
        EXPECT_EQ(g_lastArgument, QString::fromLatin1(c.argument)) << c.value;
        EXPECT_EQ(g_lastArgumentNull, c.null) << c.value;
    }
}

TEST(BackendRegistry, RefusedArgumentsAndUnknownNamesFailClearly) {
    {
        EnvironmentGuard io("TAVREL_IO", "probe:refuse");
        const Failure failure = failureOf([] { IOManager::create(); });
        EXPECT_EQ(failure.kind, IOError::Io);
        EXPECT_TRUE(failure.message.contains(u"refuse"_s)) << failure.message.toStdString();
    }
    for (const char* value : {"hardware", "Probe", "prob:e", ":probe"}) {
        EnvironmentGuard io("TAVREL_IO", value);
        const Failure failure = failureOf([] { IOManager::create(); });
        EXPECT_EQ(failure.kind, IOError::Unsupported) << value;
        EXPECT_TRUE(failure.message.contains(QString::fromLatin1(value))) << failure.message.toStdString();
        EXPECT_TRUE(failure.message.contains(u"probe"_s))
            << "names what this build has: " << failure.message.toStdString();
    }
}

TEST(BackendRegistry, ListsTheNamesLinkedIn) {
    const QStringList names = IOBackendRegistry::names();
    EXPECT_TRUE(names.contains(u"probe"_s));
    EXPECT_TRUE(names.contains(u"sim"_s)) << "the simulated bench registers itself when linked";
}

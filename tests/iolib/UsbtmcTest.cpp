// USBTMC instruments through a fake sysfs tree and a pseudo-terminal standing in for the driver's
// device file: found by vendor, product and serial number, listed, talked to, cleared, and lost.
#include "IolibTestSupport.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

using namespace CorvaneIOUtilsLib;

namespace {

void writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text + '\n');
}

// A sysfs tree with usbtmc devices, and a /dev folder whose entries link to stand-in files.
struct FakeUsb {
    QTemporaryDir root;
    EnvironmentGuard sysfs{"TAVREL_SYSFS_ROOT", (root.path() + "/sys").toUtf8()};
    EnvironmentGuard dev{"TAVREL_DEV_ROOT", (root.path() + "/dev").toUtf8()};

    void add(const QString& name, const QByteArray& vendor, const QByteArray& product,
             const QByteArray& serial, const QByteArray& interfaceNumber = "00") {
        const QString device = root.path() + "/sys/bus/usb/devices/1-" + name;
        writeText(device + "/idVendor", vendor);
        writeText(device + "/idProduct", product);
        if (!serial.isNull()) writeText(device + "/serial", serial);
        writeText(device + "/1-" + name + ":1.0/bInterfaceNumber", interfaceNumber);
        QDir().mkpath(root.path() + "/sys/class/usbmisc/" + name);
        QFile::link(device + "/1-" + name + ":1.0", root.path() + "/sys/class/usbmisc/" + name + "/device");
        QDir().mkpath(root.path() + "/dev");
    }
    void plug(const QString& name, const QString& target) {
        QFile::link(target, root.path() + "/dev/" + name);
    }
};

// A pseudo-terminal in raw mode: the test holds the master and plays the instrument; the slave's path
// is what the device file links to.
struct StandIn {
    int master = -1;
    QString slave;
    StandIn() {
        master = ::posix_openpt(O_RDWR | O_NOCTTY);
        ::grantpt(master);
        ::unlockpt(master);
        slave = QString::fromLocal8Bit(::ptsname(master));
        const int fd = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
        termios t{};
        ::tcgetattr(fd, &t);
        ::cfmakeraw(&t);
        ::tcsetattr(fd, TCSANOW, &t);
        ::close(fd);
    }
    ~StandIn() { hangUp(); }
    void hangUp() {
        if (master >= 0) ::close(master);
        master = -1;
    }
    // Reads what the host sent, up to a line end.
    QByteArray receive(int timeoutMs = 2000) {
        QByteArray got;
        pollfd p{master, POLLIN, 0};
        while (!got.endsWith('\n') && ::poll(&p, 1, timeoutMs) > 0) {
            char buffer[256];
            const ssize_t n = ::read(master, buffer, sizeof buffer);
            if (n <= 0) break;
            got.append(buffer, n);
        }
        return got;
    }
    void send(const QByteArray& bytes) {
        ASSERT_EQ(::write(master, bytes.constData(), bytes.size()), bytes.size());
    }
};

TEST(Usbtmc, AttachedInstrumentsAreListedAndAnAddressFindsItsDevice) {
    FakeUsb usb;
    usb.add("usbtmc0", "0957", "1796", "MY123");
    usb.add("usbtmc1", "2a8d", "0101", "SN-9", "01");
    usb.add("usbtmc2", "1234", "5678", QByteArray()); // no serial number: cannot be addressed
    usb.add("usbtmc3", "zz", "5678", "X");            // broken ids
    IOManager manager;
    EXPECT_EQ(manager.FindRsrc(u"USB?*"_s), QStringList({u"USB0::0x0957::0x1796::MY123::INSTR"_s,
                                                         u"USB0::0x2A8D::0x0101::SN-9::1::INSTR"_s}));
    EXPECT_TRUE(manager.FindRsrc(u"GPIB?*"_s).filter(u"USB"_s).isEmpty());

    const struct {
        const char* address;
        IOError::Kind kind;
    } failures[] = {
        {"USB0::0x0957::0x1796::OTHER::INSTR", IOError::NotFound},    // no such serial number
        {"USB0::0x0957::0x1796::MY123::2::INSTR", IOError::NotFound}, // no such interface
        {"USB0::0x0957::0x1796::MY123::INSTR", IOError::NotFound},    // attached, but no device file
    };
    for (const auto& f : failures) {
        const Failure failure = failureOf([&] { manager.Open(QLatin1String(f.address)); });
        EXPECT_EQ(failure.kindName(), IOError::kindName(f.kind).toStdString()) << f.address;
        EXPECT_TRUE(failure.message.startsWith(QLatin1String(f.address).left(18)))
            << failure.message.toStdString();
    }
}

TEST(Usbtmc, QueriesClearsAndALostInstrumentEndsClearly) {
    FakeUsb usb;
    usb.add("usbtmc0", "0957", "1796", "MY123");
    StandIn instrument;
    usb.plug("usbtmc0", instrument.slave);
    IOManager manager;
    auto session = manager.Open(u"usb0::0x0957::0x1796::my123::instr"_s);
    EXPECT_EQ(session->ResourceName(), u"USB0::0x0957::0x1796::my123::INSTR"_s);
    session->SetTimeout(500);

    std::thread reply([&] {
        EXPECT_EQ(instrument.receive(), "*IDN?\n") << "a command goes out with a line end";
        instrument.send("CORVANE TECHNOLOGIES,TV100A,1,A.01.02\n#15hello\n");
    });
    EXPECT_EQ(session->Query(u"*IDN?"_s), u"CORVANE TECHNOLOGIES,TV100A,1,A.01.02"_s);
    reply.join();
    EXPECT_EQ(session->ReadIEEEBlock(), "hello");

    const Failure silent = failureOf([&] { session->ReadString(u"K"_s); });
    EXPECT_EQ(silent.kindName(), "Timeout");
    EXPECT_LT(silent.elapsedMs, 5000);

    instrument.send("stale reply\n");
    QThread::msleep(50);
    session->Clear();
    std::thread again([&] {
        instrument.receive();
        instrument.send("1\n");
    });
    EXPECT_EQ(session->Query(u"*OPC?"_s), u"1"_s) << "a clear drops what was waiting";
    again.join();

    instrument.hangUp(); // unplugged
    const Failure lost = failureOf([&] { session->Query(u"*IDN?"_s); });
    EXPECT_TRUE(lost.kindName() == "Dropped" || lost.kindName() == "Timeout") << lost.kindName();
    EXPECT_TRUE(lost.message.startsWith(u"USB0::0x0957::0x1796::my123::INSTR"_s))
        << lost.message.toStdString();
    EXPECT_LT(lost.elapsedMs, 5000);
}

TEST(Usbtmc, NoSysfsMeansNothingListed) {
    EnvironmentGuard sysfs("TAVREL_SYSFS_ROOT", "/nonexistent/sys");
    IOManager manager;
    EXPECT_TRUE(manager.FindRsrc(u"USB?*"_s).isEmpty());
}

} // namespace

#include "iolib/backends/UsbtmcDevices.h"

#include "iolib/IOError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace CorvaneIOUtilsLib {

namespace {

QString root(const char* variable, const QString& fallback) {
    const QString value = qEnvironmentVariable(variable);
    return value.isEmpty() ? fallback : value;
}

// A sysfs attribute: one short line. Bounded, since a test tree (or a broken driver) may hold anything.
QString attribute(const QString& folder, const QString& name) {
    QFile file(QDir(folder).filePath(name));
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromLatin1(file.read(256)).trimmed();
}

bool hexId(const QString& text, quint16* id) {
    bool ok = false;
    const uint value = text.toUInt(&ok, 16);
    if (!ok || value > 0xFFFF) return false;
    *id = static_cast<quint16>(value);
    return true;
}

} // namespace

QString UsbtmcDevice::resourceName() const {
    ResourceAddress address;
    address.kind = ResourceAddress::Usb;
    address.usbVendor = vendor;
    address.usbProduct = product;
    address.usbSerial = serial;
    address.usbInterface = interfaceNumber == 0 ? -1 : interfaceNumber;
    return address.resourceName();
}

bool UsbtmcDevice::matches(const ResourceAddress& address) const {
    return address.usbVendor == vendor && address.usbProduct == product &&
           address.usbSerial.compare(serial, Qt::CaseInsensitive) == 0 &&
           (address.usbInterface < 0 || address.usbInterface == interfaceNumber);
}

QList<UsbtmcDevice> UsbtmcDevices::attached() {
    const QString sysfs = root("TAVREL_SYSFS_ROOT", QStringLiteral("/sys"));
    const QString dev = root("TAVREL_DEV_ROOT", QStringLiteral("/dev"));
    const QDir classFolder(sysfs + QStringLiteral("/class/usbmisc"));
    QList<UsbtmcDevice> found;
    const QStringList names = classFolder.entryList(
        {QStringLiteral("usbtmc*")}, QDir::Dirs | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        // device is the USB interface; its parent folder is the USB device with the ids.
        const QString interfaceFolder =
            QFileInfo(classFolder.filePath(name + QStringLiteral("/device"))).canonicalFilePath();
        if (interfaceFolder.isEmpty()) continue;
        const QString deviceFolder = QFileInfo(interfaceFolder).path();
        UsbtmcDevice device;
        device.devicePath = QDir(dev).filePath(name);
        if (!hexId(attribute(deviceFolder, QStringLiteral("idVendor")), &device.vendor) ||
            !hexId(attribute(deviceFolder, QStringLiteral("idProduct")), &device.product))
            continue;
        device.serial = attribute(deviceFolder, QStringLiteral("serial"));
        if (device.serial.isEmpty() || device.serial.contains(QLatin1Char(':'))) continue; // not addressable
        bool ok = false;
        device.interfaceNumber =
            attribute(interfaceFolder, QStringLiteral("bInterfaceNumber")).toInt(&ok, 16);
        if (!ok) device.interfaceNumber = 0;
        found.append(device);
    }
    return found;
}

UsbtmcDevice UsbtmcDevices::find(const ResourceAddress& address) {
    for (const UsbtmcDevice& device : attached())
        if (device.matches(address)) return device;
    throw IOError(
        IOError::NotFound,
        QStringLiteral("%1: no USBTMC instrument with that vendor, product and serial number is attached")
            .arg(address.resourceName()));
}

} // namespace CorvaneIOUtilsLib

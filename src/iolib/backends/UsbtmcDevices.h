#pragma once

#include "iolib/ResourceAddress.h"

#include <QList>
#include <QString>

namespace CorvaneIOUtilsLib {

// The USBTMC instruments Linux's usbtmc driver has bound: each /sys/class/usbmisc/usbtmcN with the
// vendor, product and serial number of its USB device and the number of its interface. The sysfs root
// and the device folder come from TAVREL_SYSFS_ROOT and TAVREL_DEV_ROOT when set (for tests); they
// are /sys and /dev otherwise.
struct UsbtmcDevice {
    QString devicePath; // "/dev/usbtmc0"
    quint16 vendor = 0;
    quint16 product = 0;
    QString serial;
    int interfaceNumber = 0;

    // "USB0::0x0957::0x1796::MY123::INSTR"; the interface is named when it is not the first.
    QString resourceName() const;
    bool matches(const ResourceAddress& address) const;
};

namespace UsbtmcDevices {
QList<UsbtmcDevice> attached();
// The attached device an address names; throws IOError NotFound naming the address otherwise.
UsbtmcDevice find(const ResourceAddress& address);
} // namespace UsbtmcDevices

} // namespace CorvaneIOUtilsLib

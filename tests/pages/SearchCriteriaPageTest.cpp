// The Search Criteria page on the simulated bench: Find Ports, criteria handed to the control on
// Apply without touching its address, and a refused LAN entry that loses nothing.
#include "pages/SearchCriteriaPage.h"
#include "control/TavrelScope.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QLineEdit>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

struct Page {
    Page() {
        qputenv("TAVREL_IO", "sim");
        control = std::make_unique<TavrelScope>();
        control->InitProperties();
        control->ShowPropertyPages(); // a fresh working copy
        page.setSelectedControls({control.get()});
    }
    std::unique_ptr<TavrelScope> control;
    SearchCriteriaPage page;
};

TEST(SearchCriteriaPage, FindPortsMarksWhatTheBenchHas) {
    Page p;
    QEventLoop loop;
    p.page.findPorts([&] { loop.quit(); });
    QTimer::singleShot(20000, &loop, &QEventLoop::quit);
    loop.exec();
    const CIOconfiguration& found = p.page.criteria();
    EXPECT_TRUE(found.GPIBPortExists(0));
    EXPECT_TRUE(found.GPIBPortExists(1)) << "a board with nobody listening is there all the same";
    EXPECT_FALSE(found.GPIBPortExists(2));
    EXPECT_TRUE(found.GPIBAddressExists(0, 7) && found.GPIBAddressExists(0, 12));
    EXPECT_FALSE(found.GPIBAddressExists(0, 8));
    EXPECT_TRUE(found.RS232PortExists(1) && found.RS232PortExists(2));
    EXPECT_TRUE(p.page.addressBox(7)->font().bold()) << "a listener found stands out";
    EXPECT_FALSE(p.page.addressBox(8)->font().bold());
}

TEST(SearchCriteriaPage, ApplyHandsTheCriteriaButNotTheAddressToTheControl) {
    Page p;
    const QString address = p.control->Address();
    p.page.gpibPort()->setCurrentIndex(1); // GPIB1
    p.page.addressBox(5)->setChecked(false);
    p.page.comPort()->setCurrentIndex(1);                           // COM2
    p.page.findChildren<QComboBox*>().value(2)->setCurrentIndex(3); // baud 19200
    p.page.findChild<QLineEdit*>()->setText(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(p.page.isChanged());
    ASSERT_TRUE(p.page.applyChanges());
    const CIOconfiguration& io = p.control->IOConfigurationControl();
    EXPECT_FALSE(io.GPIBAddressIncluded(1, 5));
    EXPECT_TRUE(io.GPIBAddressIncluded(0, 5)) << "only GPIB1's address 5";
    EXPECT_EQ(io.RS232BaudRate(2), 19200);
    EXPECT_EQ(io.LANInstruments(), QStringList({QStringLiteral("TCPIP0::127.0.0.1::inst0::INSTR")}));
    EXPECT_EQ(p.control->Address(), address);
    EXPECT_EQ(p.control->NotifyIOConfigurationChanged(),
              IPPTavrelScope::SearchInstrumentsPageBit | IPPTavrelScope::SetIOPageBit);

    p.page.findChild<QLineEdit*>()->setText(QStringLiteral("USB0::1::2::SN::INSTR"));
    EXPECT_FALSE(p.page.applyChanges()) << "a USB address is no LAN instrument";
    EXPECT_EQ(io.LANInstruments(), QStringList({QStringLiteral("TCPIP0::127.0.0.1::inst0::INSTR")}))
        << "the list it had stays";
}

} // namespace

namespace {

// A document saved on another computer: the pages show the ports of this one, and the control's own
// configuration keeps what the document says until a page is applied.
TEST(SearchCriteriaPage, OpeningThePagesShowsThisComputersPorts) {
    qputenv("TAVREL_IO", "sim");
    TavrelScope control;
    control.InitProperties();
    control.IOConfigurationControl().SetRS232PortExists(4, true); // as saved elsewhere
    control.ShowPropertyPages();
    const CIOconfiguration& pages = control.IOConfigurationPropertyPage();
    EXPECT_TRUE(pages.RS232PortExists(1) && pages.GPIBPortExists(0));
    EXPECT_FALSE(pages.RS232PortExists(4));
    EXPECT_TRUE(control.IOConfigurationControl().RS232PortExists(4));
}

} // namespace

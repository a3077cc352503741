#include "DiscoveryTestSupport.h"

#include <gtest/gtest.h>

using namespace discoverytest;

TEST(PortDiscovery, RefreshPortsFromTheDefaultBench) {
    CIOconfiguration configuration;
    configuration.SetGPIBAddressExists(0, 5, true);
    configuration.SetRS232PortExists(4, true);
    configuration.RefreshPorts(*DefaultBench());
    EXPECT_TRUE(configuration.RS232PortExists(1) && configuration.RS232PortExists(2));
    EXPECT_FALSE(configuration.RS232PortExists(3) || configuration.RS232PortExists(4));
    EXPECT_TRUE(configuration.GPIBPortExists(0));
    EXPECT_EQ(Listed(configuration, 0), QList<int>({3, 7, 12, 22}));
    EXPECT_FALSE(configuration.GPIBPortExists(1)); // a board with nothing on it is not listed

    configuration.RefreshPorts(*Bench("{}"));
    EXPECT_FALSE(configuration.AnyPortExists().toBool());
    EXPECT_TRUE(Listed(configuration, 0).isEmpty());
}

TEST(PortDiscovery, FindPortsRefreshOnlyTheirOwn) {
    const auto manager = DefaultBench();
    CIOconfiguration configuration;
    configuration.SetGPIBAddressExists(0, 5, true);
    configuration.SetGPIBAddressExists(1, 5, true);
    EXPECT_TRUE(configuration.FindGPIBPort(0, *manager));
    EXPECT_EQ(Listed(configuration, 0), QList<int>({3, 7, 12, 22}));
    EXPECT_EQ(Listed(configuration, 1), QList<int>({5}));
    EXPECT_FALSE(configuration.GPIBPortExists(0)); // storing the result is the caller's business
    EXPECT_FALSE(configuration.FindGPIBPort(1, *manager));
    EXPECT_TRUE(Listed(configuration, 1).isEmpty());

    const bool found[] = {true, true, false, false};
    for (int port = 1; port <= 4; ++port)
        EXPECT_EQ(configuration.FindRS232Port(port, *manager), found[port - 1]) << port;

    DiagnosticsCapture capture; // ports outside their range
    EXPECT_ANY_THROW(configuration.FindGPIBPort(4, *manager));
    EXPECT_ANY_THROW(configuration.FindRS232Port(0, *manager));
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (gpib_portFind >= GPIB_PORT.First And gpib_portFind <= GPIB_PORT.Last)",
         "Function: FindGPIBPort"}));
    EXPECT_TRUE(capture.hasReportWith(
        {"Assertion: (rs232_portFind >= RS232_PORT.First And rs232_portFind <= RS232_PORT.Last)",
         "Function: FindRS232Port"}));
}

// The page protocol: open flags, Apply through the working copy, and the refresh mask that the
// idle timer of each page watches.
#include "pages/PropertyPage.h"
#include "control/TavrelScope.h"
#include "ioconfig/CIOconfiguration.h"

#include <gtest/gtest.h>

namespace {

// A page that counts its reloads and, on Apply, writes its address into the working copy.
class CountingPage : public PropertyPage {
public:
    CountingPage(qint32 bit, qint32 dependents) : PropertyPage("TestPage", bit), m_dependents(dependents) {}
    QString caption() const override { return QStringLiteral("Test"); }
    int reloads = 0;
    QString address;

protected:
    void loadFromWorkingCopy(IPPTavrelScope& ipp) override {
        ++reloads;
        address = ipp.IOConfigurationPropertyPage().ActiveAddressString();
    }
    qint32 saveToWorkingCopy(IPPTavrelScope& ipp) override {
        if (!address.isEmpty()) ipp.IOConfigurationPropertyPage().SetActiveAddressString(address);
        return m_dependents;
    }

private:
    qint32 m_dependents;
};

using Bit = IPPTavrelScope::PageBit;

TEST(PropertyPage, OpenFlagsFollowThePagesLife) {
    TavrelScope control;
    control.InitProperties();
    {
        CountingPage search(Bit::SearchInstrumentsPageBit, 0), setIO(Bit::SetIOPageBit, 0);
        search.setSelectedControls({&control});
        setIO.setSelectedControls({&control});
        EXPECT_TRUE(control.SearchIOExists());
        EXPECT_TRUE(control.SetIOExists());
        EXPECT_FALSE(control.SearchCriteriaExists());
        EXPECT_FALSE(control.SetupsExists());
    }
    EXPECT_FALSE(control.SearchIOExists());
    EXPECT_FALSE(control.SetIOExists());
}

TEST(PropertyPage, ApplyHandsTheWorkingCopyToTheControlAndMarksTheOtherPages) {
    TavrelScope control;
    control.InitProperties();
    control.ShowPropertyPages(); // starts the pages' working copy from the control
    CountingPage criteria(Bit::SearchCriteriaPageBit,
                          Bit::SearchInstrumentsPageBit | Bit::SetIOPageBit | Bit::SearchCriteriaPageBit);
    CountingPage setIO(Bit::SetIOPageBit, 0), setups(Bit::SetupsPageBit, 0);
    for (PropertyPage* page : std::initializer_list<PropertyPage*>{&criteria, &setIO, &setups})
        page->setSelectedControls({&control});

    criteria.address = QStringLiteral("COM2::Baud=19200");
    ASSERT_TRUE(criteria.applyChanges());
    EXPECT_EQ(control.Address(), QStringLiteral("COM2::Baud=19200"));
    // A page never marks itself.
    EXPECT_EQ(control.NotifyIOConfigurationChanged(), Bit::SearchInstrumentsPageBit | Bit::SetIOPageBit);

    // The Set I/O page reloads at its next tick and clears only its own bit; a page whose bit is clear
    // leaves the mask alone.
    const int before = setIO.reloads;
    setIO.idleTick();
    EXPECT_EQ(setIO.reloads, before + 1);
    EXPECT_EQ(setIO.address, QStringLiteral("COM2::Baud=19200"));
    EXPECT_EQ(control.NotifyIOConfigurationChanged(), Bit::SearchInstrumentsPageBit);
    const int setupsBefore = setups.reloads;
    setups.idleTick();
    EXPECT_EQ(setups.reloads, setupsBefore);
    EXPECT_EQ(control.NotifyIOConfigurationChanged(), Bit::SearchInstrumentsPageBit);
}

TEST(PropertyPage, AFullMaskIsAcceptedAndEachPageClearsItsOwnBit) {
    TavrelScope control;
    control.InitProperties();
    CountingPage search(Bit::SearchInstrumentsPageBit, 0), criteria(Bit::SearchCriteriaPageBit, 0),
        setIO(Bit::SetIOPageBit, 0), setups(Bit::SetupsPageBit, 0);
    const std::initializer_list<CountingPage*> pages{&search, &criteria, &setIO, &setups};
    for (CountingPage* page : pages)
        page->setSelectedControls({&control});
    control.SetNotifyIOConfigurationChanged(IPPTavrelScope::LARGEST_MASK_VALUE);
    qint32 expected = IPPTavrelScope::LARGEST_MASK_VALUE;
    for (CountingPage* page : pages) {
        const int before = page->reloads;
        page->idleTick();
        expected &= ~page->ownBit();
        EXPECT_EQ(page->reloads, before + 1);
        EXPECT_EQ(control.NotifyIOConfigurationChanged(), expected);
    }
}

TEST(PropertyPage, AControlGoneBeforeItsPageLeavesThePageHarmless) {
    auto control = std::make_unique<TavrelScope>();
    control->InitProperties();
    CountingPage page(Bit::SetIOPageBit, 0);
    page.setSelectedControls({control.get()});
    control.reset();
    page.idleTick(); // nothing to reach, nothing to crash on
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(page.applyChanges());
    ::testing::internal::GetCapturedStderr();
}

} // namespace

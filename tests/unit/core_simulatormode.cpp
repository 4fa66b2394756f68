#include "core_fixture.h"
#include "core_idlemacrosystem.h"
#include "udppeer.h"

#include "pdlphysicalwidget.h"
#include "virtualpanel.h"

#include "rtk/thread.h"

#include <basekit/timinglog.h>
#include <basekit/uniqueids.h>
#include <interfaces/ipanelevent.h>
#include <interfaces/ipdlinterpreter.h>
#include <interfaces/iwidgetcontrol.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace
{
bool timingHas(std::string const& text)
{
    for (auto const& entry : TimingLog::getEntries())
        if (entry.second == text)
            return true;
    return false;
}
} // namespace

using CoreSimulatorModeTest = CoreTest;

// In simulator mode the simulator link is the fan-out's second receiver: every write reaches the
// driver and, as a line, the simulator; the simulator's lines come back as hardware events.
TEST_F(CoreSimulatorModeTest, WritesReachTheSimulatorAndItsEventsTheCore)
{
    installDriver();
    UdpPeer simulator;
    ASSERT_TRUE(simulator.isOpen());
    IdleMacroSystem macroSystem; // outlives the panel
    std::unique_ptr<VirtualPanel> pPanel(new VirtualPanel);
    ASSERT_TRUE(pPanel->create(VirtualPanel::eModeSimulator, simulator.address()));
    pPanel->setMacroSystemInterface(&macroSystem);
    EXPECT_EQ("HELLO 1", simulator.receive());

    // A control announced by the MHL parser is made and reset; a text write reaches both receivers.
    UniqueWidgetID const id(0, 1, 2, 5);
    fakedriver::getPDLInterpreter()->addWidget(id);
    EXPECT_EQ("WIDGET 0.1.2.5", simulator.receive());
    EXPECT_EQ("DEFAULT 0.1.2.5", simulator.receive());
    IWidgetControl* pControl = getInterface<IWidgetControl>(pPanel.get());
    ASSERT_NE(nullptr, pControl);
    fakedriver::reset();
    pControl->setWidgetAttributeValue(id, "LEVEL", "17");
    EXPECT_EQ("NUM 0.1.2.5 LEVEL 17", simulator.receive());
    // Reads ask the driver only.
    EXPECT_EQ("42", pControl->getWidgetAttributeValue(id, "LEVEL"));
    std::vector<std::string> const calls = fakedriver::getCalls();
    EXPECT_NE(calls.end(), std::find(calls.begin(), calls.end(),
                                     "IPanelFeedback::setAttributeNumeric(0.1.2.5,LEVEL,17)"));
    EXPECT_EQ("IPanelFeedback::getAttributeNumeric(0.1.2.5,LEVEL)", calls.back());

    // A module report goes out as a notice.
    getInterface<IPanelEvent>(pPanel.get())->updateModuleStatus(UniqueModuleID(0, 1, 7), 0, 0, "", "");
    EXPECT_EQ("UNPLUG 0.1.7", simulator.receive());

    // A press from the simulator enters the core's hardware event path; garbage before it is dropped.
    TimingLog::clear();
    TimingLog::setEnabled(true);
    pPanel->releaseMutex();
    ASSERT_TRUE(simulator.reply("PRESS 0.1.2"));
    ASSERT_TRUE(simulator.reply("PRESS 0.1.2.5"));
    for (int i = 0; i < 300 && !timingHas("EVENT 0.1.2.5 DOWN 0"); ++i)
        rtk::Thread::mssleep(10);
    EXPECT_TRUE(timingHas("EVENT 0.1.2.5 DOWN 0"));
    EXPECT_FALSE(timingHas("EVENT 0.1.2.0 DOWN 0"));
    TimingLog::setEnabled(false);
    TimingLog::clear();
}

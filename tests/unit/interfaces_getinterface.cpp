// Includes every interface header, so that a header that does not compile on its own fails the build.
#include <interfaces/icolormanager.h>
#include <interfaces/idriverinfo.h>
#include <interfaces/ieventmanager.h>
#include <interfaces/ifunctionid.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/iinterface.h>
#include <interfaces/imacrosystem.h>
#include <interfaces/imhlparser.h>
#include <interfaces/imodulemanager.h>
#include <interfaces/imoduletest.h>
#include <interfaces/ipanelevent.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/ipanelmfd.h>
#include <interfaces/ipanelsettings.h>
#include <interfaces/ipanelstate.h>
#include <interfaces/ipdlinterpreter.h>
#include <interfaces/ipspublisher.h>
#include <interfaces/iwidgetcontrol.h>
#include <interfaces/iwidgetmanager.h>

#include <gtest/gtest.h>

namespace
{
// Answers 1000 and, wrongly, 1001 with itself, although it is only an IPanelEvent.
class EventsOnly : public IPanelEvent
{
public:
    IInterface* queryInterface(unsigned int id) override { return id == 1000 || id == 1001 ? this : nullptr; }
    void updateModuleStatus(UniqueModuleID const&, int, int, std::string const&, std::string const&) override {}
    void sendEvent(UniqueWidgetID const&, std::string const&) override {}
    void sendEvent(UniqueWidgetID const&, std::string const&, int, bool) override {}
};
} // namespace

// The ids are the interfaces' numbers on the wire to the driver library; a wrong answer to an id gives
// null, not a bad pointer.
TEST(Interfaces, IdsAndTheCheckedQuery)
{
    EXPECT_EQ((std::vector<unsigned int>{1000, 1001, 1002, 1004, 1005, 1006, 1007, 1008, 1009, 1010, 1011, 1101, 1111}),
              (std::vector<unsigned int>{IPanelEvent::s_interfaceID, IWidgetManager::s_interfaceID,
                                         IWidgetControl::s_interfaceID, IPanelFeedback::s_interfaceID,
                                         IPDLInterpreter::s_interfaceID, IMHLParser::s_interfaceID,
                                         IModuleManager::s_interfaceID, IEventManager::s_interfaceID,
                                         IModuleTest::s_interfaceID, IHwModuleManager::s_interfaceID,
                                         IColorManager::s_interfaceID, IPanelState::s_interfaceID,
                                         IPSPublisher::s_interfaceID}));
    EventsOnly object;
    EXPECT_EQ(&object, getInterface<IPanelEvent>(&object));
    EXPECT_EQ(nullptr, getInterface<IWidgetManager>(&object));
    EXPECT_EQ(nullptr, getInterface<IPanelEvent>(static_cast<EventsOnly*>(nullptr)));
}

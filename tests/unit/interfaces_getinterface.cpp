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

#include <iterator>
#include <vector>

namespace
{
class IAlpha : public virtual IInterface
{
public:
    static const unsigned int s_interfaceID = 1000;
    virtual int alpha() = 0;
};

// Answers 1000 correctly, and 1001 wrongly with itself although it is no IWidgetManager.
class AlphaOnly : public IAlpha
{
public:
    IInterface* queryInterface(unsigned int id) override
    {
        return id == 1000 || id == 1001 ? static_cast<IAlpha*>(this) : nullptr;
    }
    int alpha() override { return 7; }
};
} // namespace

TEST(Interfaces, IdsAndTheCheckedQuery)
{
    unsigned int const ids[] = {IPanelEvent::s_interfaceID,     IWidgetManager::s_interfaceID,
                                IWidgetControl::s_interfaceID,  IPanelFeedback::s_interfaceID,
                                IPDLInterpreter::s_interfaceID, IMHLParser::s_interfaceID,
                                IModuleManager::s_interfaceID,  IEventManager::s_interfaceID,
                                IModuleTest::s_interfaceID,     IHwModuleManager::s_interfaceID,
                                IColorManager::s_interfaceID,   IPanelState::s_interfaceID,
                                IPSPublisher::s_interfaceID};
    EXPECT_EQ((std::vector<unsigned int>{1000, 1001, 1002, 1004, 1005, 1006, 1007, 1008, 1009, 1010, 1011, 1101,
                                         1111}),
              std::vector<unsigned int>(std::begin(ids), std::end(ids)));
    EXPECT_EQ(4, IPanelFeedback::eParamTypeNumeric);

    // A wrong answer to an id gives null, not a bad pointer.
    AlphaOnly object;
    ASSERT_NE(nullptr, getInterface<IAlpha>(&object));
    EXPECT_EQ(7, getInterface<IAlpha>(&object)->alpha());
    EXPECT_EQ(nullptr, getInterface<IWidgetManager>(&object));
    EXPECT_EQ(nullptr, getInterface<IAlpha>(static_cast<AlphaOnly*>(nullptr)));
}

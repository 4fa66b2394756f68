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
// One object offering two interfaces that share an operation name, the way the module manager
// implements IModuleManager and IModuleTest, plus the panel state pair.
class ModuleManagerAndState : public IModuleManager,
                              public IModuleTest,
                              public IPanelState,
                              public IPSPublisher
{
public:
    IInterface* queryInterface(unsigned int id) override
    {
        switch (id)
        {
        case IModuleManager::s_interfaceID:
            return static_cast<IModuleManager*>(this);
        case IModuleTest::s_interfaceID:
            return static_cast<IModuleTest*>(this);
        case IPanelState::s_interfaceID:
            return static_cast<IPanelState*>(this);
        case IPSPublisher::s_interfaceID:
            return static_cast<IPSPublisher*>(this);
        default:
            return nullptr;
        }
    }

    bool createModule(UniqueModuleID const&, int, int, rtk::Path const&, std::string const&,
                      std::string const&) override
    {
        return true;
    }
    void initModule(UniqueModuleID const&) override {}
    std::string getVariableValue(UniqueModuleID const&, std::string const& name) override { return name; }
    void setVariableValue(UniqueModuleID const&, std::string const&, std::string const&) override {}

    void setStateValue(std::string const& fid, std::string const& value) override
    {
        m_last = fid + "=" + value;
    }
    void setStateValueFloat(std::string const&, float) override {}
    void setStateValueInt(std::string const&, int) override {}
    void setStateValueBool(std::string const&, bool) override {}
    void unsetStateValue(std::string const&) override {}
    void triggerEvent(std::string const&, std::string const&) override {}

    void subscribe(std::string const&, PDLStateSubscriberKey const&) override {}
    void subscribeWildcard(FIDPatternHelper const&, PDLStateSubscriberKey const&) override {}
    void unsubscribe(std::string const&, PDLStateSubscriberKey const&) override {}
    void unsubscribeWildcard(FIDPatternHelper const&, PDLStateSubscriberKey const&) override {}
    std::string getValueString(std::string const&) override { return m_last; }

    std::string m_last;
};
} // namespace

TEST(InterfaceHeaders, IdsMatchTheRootEnumeration)
{
    EXPECT_EQ(IPanelEvent::s_interfaceID, 1000u);
    EXPECT_EQ(IWidgetManager::s_interfaceID, 1001u);
    EXPECT_EQ(IWidgetControl::s_interfaceID, 1002u);
    EXPECT_EQ(IPanelFeedback::s_interfaceID, 1004u);
    EXPECT_EQ(IPDLInterpreter::s_interfaceID, 1005u);
    EXPECT_EQ(IMHLParser::s_interfaceID, 1006u);
    EXPECT_EQ(IModuleManager::s_interfaceID, 1007u);
    EXPECT_EQ(IEventManager::s_interfaceID, 1008u);
    EXPECT_EQ(IModuleTest::s_interfaceID, 1009u);
    EXPECT_EQ(IHwModuleManager::s_interfaceID, 1010u);
    EXPECT_EQ(IColorManager::s_interfaceID, 1011u);
    EXPECT_EQ(IPanelState::s_interfaceID, 1101u);
    EXPECT_EQ(IPSPublisher::s_interfaceID, 1111u);
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, 0);
    EXPECT_EQ(IPanelFeedback::eParamTypeBool, 1);
    EXPECT_EQ(IPanelFeedback::eParamTypeText, 2);
    EXPECT_EQ(IPanelFeedback::eParamTypeText2, 3);
    EXPECT_EQ(IPanelFeedback::eParamTypeNumeric, 4);
}

TEST(InterfaceHeaders, GetInterfaceReachesEachOfferedInterface)
{
    ModuleManagerAndState object;
    IModuleManager* pManager = getInterface<IModuleManager>(&object);
    IModuleTest* pTest = getInterface<IModuleTest>(&object);
    IPanelState* pState = getInterface<IPanelState>(&object);
    IPSPublisher* pPublisher = getInterface<IPSPublisher>(&object);
    ASSERT_NE(pManager, nullptr);
    ASSERT_NE(pTest, nullptr);
    ASSERT_NE(pState, nullptr);
    ASSERT_NE(pPublisher, nullptr);

    // Each answer is the asked part of the one object.
    EXPECT_EQ(dynamic_cast<ModuleManagerAndState*>(pManager), &object);
    EXPECT_EQ(dynamic_cast<ModuleManagerAndState*>(pTest), &object);
    EXPECT_NE(static_cast<void*>(pManager), static_cast<void*>(pTest));
    // Through one interface in, through another out: the same object.
    pState->setStateValue("A.B", "1");
    EXPECT_EQ(pPublisher->getValueString("A.B"), "A.B=1");

    // Ids the object does not offer give null, also asked through another interface.
    EXPECT_EQ(getInterface<IPanelEvent>(&object), nullptr);
    EXPECT_EQ(getInterface<IWidgetControl>(pState), nullptr);
    EXPECT_EQ(getInterface<IPanelFeedback>(pPublisher), nullptr);
    EXPECT_EQ(getInterface<IModuleTest>(pPublisher), pTest);
}

#include "core_command_helpers.h"

#include "pdleventmanager.h"
#include "virtualpanel.h"

namespace
{
// Mapped reads translate through the types of the executing module, which a running panel makes
// current by executing one driver event for it.
class CommandMappedTest : public CommandTest
{
protected:
    void SetUp() override
    {
        CommandTest::SetUp();
        installDriver();
        auto* pRows = new PDLMappedValueList();
        pRows->push_back(new PDLValMapping(PDLVariant("red"), values({PDLVariant(1), PDLVariant("Rot")})));
        pRows->push_back(
            new PDLValMapping(PDLVariant("green"), values({PDLVariant(2), PDLVariant("Gruen")})));
        pRows->push_back(new PDLValMapping(PDLVariant("blue"), values({PDLVariant(3), PDLVariant("Blau")})));
        m_module.registerType(new PDLType("Colors", new std::vector<std::string>{"code", "name"}, pRows));
        g_pCurrentModule = &m_module;

        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventMFDriver);
        pEvent->m_name = "ENTER";
        pEvent->m_pModule = &m_module;
        PDLEventManager::getInstance()->queueEvent(pEvent);
        PDLEventManager::getInstance()->executeEventQueue(false);
        ASSERT_EQ(&m_module, PDLEventManager::getInstance()->getCurrentModule());
        m_log.str("");
    }

    void TearDown() override
    {
        m_trees.clear();
        // The start-up thread still holds the interpreter mutex.
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        CommandTest::TearDown();
    }

    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    std::unique_ptr<VirtualPanel> m_pPanel;
};
} // namespace

TEST_F(CommandMappedTest, ForEachLoopVariableReadsThroughTheWalkedType)
{
    PDLVariableSimple* pColor = m_context.declare(simpleVar("color", eScopeLocal));
    CoutCapture out;
    // FOREACH color IN Colors: PRINT color, "=", color.code, "/", color.name, ";"
    PDLCommand* pLoop =
        bound(new PDLCommandForEach("color", new PDLSetExpType("Colors", nullptr),
                                    block({print({var("color"), str("="), var("color", str("code")), str("/"),
                                                  var("color", str("name")), str(";")})})));
    EXPECT_TRUE(pLoop->execute());
    EXPECT_EQ("red=1/Rot;green=2/Gruen;blue=3/Blau;", out.text());
    EXPECT_EQ("", logText());

    // The type stays until the next reset; after it the mapped read has no type to go by.
    PDLCommand* pRead = bound(print({var("color", str("code"))}));
    EXPECT_TRUE(pRead->execute());
    EXPECT_EQ("red=1/Rot;green=2/Gruen;blue=3/Blau;3", out.text());
    pColor->reset();
    pColor->setValue(PDLVariant("blue"));
    EXPECT_TRUE(pRead->execute());
    EXPECT_EQ(1, countInLog("ERROR:\nVariable color has no type and therefore no mapping!\n"));

    // Walking a mapping yields the mapped values; the loop variable takes the type all the same.
    PDLCommand* pCodes = bound(new PDLCommandForEach("color", new PDLSetExpType("Colors", str("code")),
                                                     block({print({var("color"), str(",")})})));
    EXPECT_TRUE(pCodes->execute());
    EXPECT_EQ("Colors", pColor->getTypeName());
    EXPECT_EQ("red=1/Rot;green=2/Gruen;blue=3/Blau;31,2,3,", out.text());
}

TEST_F(CommandMappedTest, AssignedValuesOfTypedVariablesReadThroughTheirMappings)
{
    m_context.declare(simpleVar("tally", eScopeModule, "Colors"));
    m_context.declare(simpleVar("code"));
    PDLCommand* pCode =
        bound(block({assign("tally", str("green")), assign("code", var("tally", str("code")))}));
    EXPECT_TRUE(pCode->execute());
    EXPECT_EQ(2, value("code").getInt());
    EXPECT_EQ("", logText());
}

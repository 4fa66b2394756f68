// The module manager: scopes made on demand, module lookups and variable access. Its shell commands
// are shown by the lang-shell and module-show scenarios.

#include "core_expression_helpers.h"
#include "core_pdlfixture.h"

#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlwidgetclasses.h"

#include "rtk/cmd.h"

namespace
{
class ModuleManagerTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        std::filesystem::create_directories(m_directory / "config" / "PDL");
        writeFile("config/PDL/a.pdl", "");
        writeFile("config/PDL/bad.pdl", "widget");
        m_pManager = PDLModuleManager::createInstance();
    }
    void TearDown() override
    {
        if (PDLModuleManager::hasInstance())
        {
            PDLModuleManager::destroyInstance();
        }
        PDLTest::TearDown();
    }
    rtk::Path base() const { return rtk::Path((m_directory / "config").string()); }
    std::string run(std::string const& line)
    {
        CoutCapture out;
        m_lastResult = rtk::CmdProcessor::getInstance()->execute(line);
        return out.text();
    }
    PDLModuleManager* m_pManager = nullptr;
    bool m_lastResult = false;
};
} // namespace

TEST_F(ModuleManagerTest, CreateMakesScopesOnDemandAndRefusesATakenPosition)
{
    EXPECT_EQ(m_pManager, getInterface<IModuleManager>(static_cast<IModuleManager*>(m_pManager)));
    EXPECT_EQ(static_cast<IModuleTest*>(m_pManager), m_pManager->queryInterface(IModuleTest::s_interfaceID));
    EXPECT_EQ(nullptr, m_pManager->getWorkplace(1));
    ASSERT_TRUE(m_pManager->createModule(UniqueModuleID(1, 2, 3), 4, 5, base(), "PDL/a.pdl", "M.mhl"));
    PDLWorkplace* pWorkplace = m_pManager->getWorkplace(1);
    PDLGroup* pGroup = m_pManager->getGroup(1, 2);
    PDLModule* pModule = m_pManager->getModule(UniqueModuleID(1, 2, 3));
    ASSERT_NE(nullptr, pWorkplace);
    ASSERT_NE(nullptr, pGroup);
    ASSERT_NE(nullptr, pModule);
    EXPECT_EQ(m_pManager->getGlobal(), pWorkplace->getParent());
    EXPECT_EQ(pWorkplace, pGroup->getParent());
    EXPECT_EQ(pGroup, pModule->getParent());
    EXPECT_EQ(4, pModule->getConnPort());
    EXPECT_EQ(5, pModule->getConnConnector());
    EXPECT_EQ("M.mhl", pModule->getName());
    EXPECT_EQ(nullptr, m_pManager->getGroup(2, 1));
    EXPECT_EQ(nullptr, m_pManager->getGroup(1, 3));
    // A second module of the group shares the scopes.
    ASSERT_TRUE(m_pManager->createModule(UniqueModuleID(1, 2, 4), 0, 0, base(), "PDL/a.pdl", ""));
    EXPECT_EQ(pGroup, m_pManager->getModule(UniqueModuleID(1, 2, 4))->getParent());
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(m_pManager->createModule(UniqueModuleID(1, 2, 3), 0, 0, base(), "PDL/bad.pdl", ""));
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(1, countInLog("module 1.2.3 already exists"));
    EXPECT_EQ(pModule, m_pManager->getModule(UniqueModuleID(1, 2, 3)));
    EXPECT_EQ("PDL/a.pdl", pModule->getSourceName());
    // A module that fails to load stays registered.
    EXPECT_FALSE(m_pManager->createModule(UniqueModuleID(0, 0, 1), 0, 0, base(), "PDL/bad.pdl", ""));
    EXPECT_NE(nullptr, m_pManager->getModule(UniqueModuleID(0, 0, 1)));
    EXPECT_FALSE(m_pManager->createModule(UniqueModuleID(0, 0, 1), 0, 0, base(), "PDL/a.pdl", ""));
    EXPECT_EQ(1, countInLog("module 0.0.1 already exists"));
}

TEST_F(ModuleManagerTest, LookupsAndVariablesOfModules)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(nullptr, m_pManager->getModule(UniqueModuleID(1, 2, 9)));
    EXPECT_EQ(1, countInLog("unknown module 1.2.9"));
    m_pManager->initModule(UniqueModuleID(1, 2, 9));
    EXPECT_EQ(1, countInLog("init: module 1.2.9 doesn't exist"));
    EXPECT_EQ("", m_pManager->getVariableValue(UniqueModuleID(1, 2, 9), "module_id"));
    EXPECT_EQ(1, countInLog("pModule"));
    EXPECT_EQ(errors + 4, PDLParseInfo::m_errorCount);
    ASSERT_TRUE(m_pManager->createModule(UniqueModuleID(1, 2, 3), 7, 0, base(), "PDL/a.pdl", ""));
    m_pManager->initModule(UniqueModuleID(1, 2, 3));
    EXPECT_EQ("7", m_pManager->getVariableValue(UniqueModuleID(1, 2, 3), "conn_port"));
    // Names resolve up the chain.
    EXPECT_EQ("2", m_pManager->getVariableValue(UniqueModuleID(1, 2, 3), "group_id"));
    EXPECT_EQ("", m_pManager->getVariableValue(UniqueModuleID(1, 2, 3), "nosuch"));
    EXPECT_EQ(1, countInLog("pVar"));
    PDLModule* pModule = m_pManager->getModule(UniqueModuleID(1, 2, 3));
    g_pCurrentModule = pModule;
    pModule->createVariables(eScopeGroup, "", makeProtos({proto("shared")}), false);
    m_pManager->setVariableValue(UniqueModuleID(1, 2, 3), "shared", "on");
    EXPECT_EQ("on", m_pManager->getVariableValue(UniqueModuleID(1, 2, 3), "shared"));
    // The module goes; its group and the group's variables stay.
    m_pManager->deinitModule(UniqueModuleID(1, 2, 3));
    m_pManager->deinitModule(UniqueModuleID(1, 2, 3));
    EXPECT_EQ(1, countInLog("Unload OK"));
    ASSERT_NE(nullptr, m_pManager->getGroup(1, 2));
    EXPECT_EQ(
        "on",
        m_pManager->getGroup(1, 2)->getSymbolTable()->getVariable("shared")->getValue("", false).getString());
    EXPECT_EQ(nullptr, m_pManager->getModule(UniqueModuleID(1, 2, 3)));
}

TEST(ModuleManagerDeathTest, PositionOutOfRangeAborts)
{
    EXPECT_DEATH(
        {
            if (!rtk::LogManager::hasInstance())
            {
                rtk::LogManager::createInstance();
            }
            PDLModuleManager::createInstance();
            rtk::CmdProcessor::getInstance()->execute("reloadModule 8 0 0");
        },
        "workplaceID < 8 && groupID < 32 && moduleID < 256");
}

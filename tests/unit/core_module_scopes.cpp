// The scopes above a module and the init section: built-in variables, the parent chain and the
// read-only rule.

#include "core_command_helpers.h"
#include "core_pdlfixture.h"

#include "pdleventmanager.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"

#include <memory>

namespace
{
std::string textOf(PDLVariable* pVariable)
{
    return pVariable->getValue("", false).getString();
}

class ModuleScopeTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        writeFile("config/empty.pdl", "");
        m_global.reset(new PDLGlobal());
        m_workplace.reset(new PDLWorkplace(m_global.get(), 3));
        m_group.reset(new PDLGroup(m_workplace.get(), 3, 7));
        m_module.reset(new PDLModule(m_group.get(), UniqueModuleID(3, 7, 9), 11, 2, nullptr, "m.mhl"));
    }
    void TearDown() override
    {
        m_module.reset();
        m_group.reset();
        m_workplace.reset();
        m_global.reset();
        PDLTest::TearDown();
    }
    rtk::Path configDir() const { return rtk::Path((m_directory / "config").string()); }
    std::unique_ptr<PDLGlobal> m_global;
    std::unique_ptr<PDLWorkplace> m_workplace;
    std::unique_ptr<PDLGroup> m_group;
    std::unique_ptr<PDLModule> m_module;
};
} // namespace

TEST_F(ModuleScopeTest, SetEventFillsTheGlobalEventVariables)
{
    PDLEvent event(PDLEvent::eEventWidget);
    event.m_name = "PRESS";
    event.m_widgetID = 42;
    event.m_intValue = 17;
    m_global->setEvent(&event);
    PDLSymbolTable* pTable = m_global->getSymbolTable();
    EXPECT_EQ("PRESS", textOf(pTable->getVariable("event_name")));
    EXPECT_EQ("42", textOf(pTable->getVariable("event_id")));
    EXPECT_EQ(PDLVariant::eInt, pTable->getVariable("event_value")->getValue("", false).getKind());
    EXPECT_EQ("17", textOf(pTable->getVariable("event_value")));
    // A text value wins over the number.
    event.m_strValue = "high";
    event.m_name = "RELEASE";
    m_global->setEvent(&event);
    EXPECT_EQ("RELEASE", textOf(pTable->getVariable("event_name")));
    EXPECT_EQ("high", textOf(pTable->getVariable("event_value")));
    // Read-only variables never reach the engine's change list.
    EXPECT_FALSE(pTable->getVariable("event_name")->isChanged());
}

TEST_F(ModuleScopeTest, InitSectionOwnsItsLocalsAndRunsItsCode)
{
    PDLVariableList* pLocals = new PDLVariableList();
    pLocals->push_back(new PDLVariableSimple(eScopeLocal, "", "tmp", false, false, false, false));
    m_module->getSymbolTable()->registerVariable(simpleVar("out"));
    PDLInitSection* pSection = new PDLInitSection(
        m_module.get(), pLocals,
        block({assign("tmp", num(4)), assign("out", new PDLExpressionPlusOp(var("tmp"), num(1)))}));
    EXPECT_EQ(eScopeLocal, pSection->getScope());
    EXPECT_TRUE(pSection->getSymbolTable()->hasVariable("tmp"));
    EXPECT_FALSE(m_module->getSymbolTable()->hasVariable("tmp"));
    m_module->addInitSection(pSection);
    m_module->addInitSection(nullptr);
    EXPECT_EQ(1u, m_module->getInitSections().size());
    uint32_t const errors = PDLParseInfo::m_errorCount;
    pSection->init();
    pSection->execute();
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount) << logText();
    EXPECT_EQ("5", textOf(m_module->getVariable("out", false, false)));
    // Without code each step is a counted fault.
    PDLInitSection empty(m_module.get(), nullptr, nullptr);
    empty.init();
    empty.execute();
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    EXPECT_EQ(3, countInLog("m_pInitCode"));
}

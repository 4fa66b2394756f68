// A module's tables as the parser fills them, its lookups, debug operations and event entry.

#include "core_command_helpers.h"
#include "core_pdlfixture.h"

#include "pdlcommandclasses.h"
#include "pdleventmanager.h"
#include "pdlfunctionclasses.h"
#include "pdlmodule.h"
#include "pdlsequenceclasses.h"
#include "pdlwidgetclasses.h"

#include <memory>

namespace
{
// A widget definition for several numbers, as a type-driven widget declaration gives.
class MultiWidget : public PDLWidget
{
public:
    MultiWidget(PDLContext* pParent, std::initializer_list<uint32_t> ids,
                PDLCodeBlock* pCode = new PDLCodeBlock())
        : PDLWidget(pParent, "", 1, nullptr, pCode)
    {
        m_widgetIDs.assign(ids.begin(), ids.end());
    }
};

class MultiSequence : public PDLSequence
{
public:
    MultiSequence(PDLContext* pParent, std::initializer_list<uint32_t> ids)
        : PDLSequence(pParent, "", 1, nullptr, new PDLConditionTrue(), nullptr, new PDLSequenceStateList())
    {
        m_widgetIDs.assign(ids.begin(), ids.end());
    }
};

class ModuleTableTest : public PDLTest
{
protected:
    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
};
} // namespace

TEST_F(ModuleTableTest, WidgetsAndSequencesStandOnceInTheirListAndUnderEveryNumber)
{
    MultiWidget* pWidget = new MultiWidget(&m_module, {4, 9, 12});
    MultiWidget* pOther = new MultiWidget(&m_module, {9});
    m_module.addWidget(pWidget);
    m_module.addWidget(pOther);
    EXPECT_EQ(2u, m_module.getWidgets().size());
    EXPECT_EQ(4u, m_module.getWidgetsByID().size());
    EXPECT_EQ(1u, m_module.getWidgetsByID().count(4));
    EXPECT_EQ(1u, m_module.getWidgetsByID().count(12));
    // Two definitions on one number, in insertion order.
    auto range = m_module.getWidgetsByID().equal_range(9);
    ASSERT_EQ(2, std::distance(range.first, range.second));
    EXPECT_EQ(pWidget, range.first->second);
    EXPECT_EQ(pOther, std::next(range.first)->second);
    MultiSequence* pSequence = new MultiSequence(&m_module, {5, 6});
    m_module.addSequence(pSequence);
    EXPECT_EQ(1u, m_module.getSequences().size());
    EXPECT_EQ(2u, m_module.getSequencesByID().size());
    EXPECT_EQ(pSequence, m_module.getSequencesByID().find(6)->second);
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_module.addWidget(nullptr);
    m_module.addSequence(nullptr);
    m_module.addFunction(nullptr);
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    EXPECT_EQ(1, countInLog("pWidget"));
    EXPECT_EQ(1, countInLog("pSequence"));
    EXPECT_EQ(1, countInLog("pFunction"));
    EXPECT_EQ(2u, m_module.getWidgets().size());
}

TEST_F(ModuleTableTest, FunctionNamesAreUniqueAndTypesRedeclareSilently)
{
    PDLFunction* pFirst = new PDLFunction("f", &m_module, nullptr, nullptr, block({}));
    std::unique_ptr<PDLFunction> pSecond(new PDLFunction("f", &m_module, nullptr, nullptr, block({})));
    m_module.addFunction(pFirst);
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_module.addFunction(pSecond.get());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(1, countInLog("function name already exists"));
    EXPECT_EQ(pFirst, m_module.getFunction("f"));
    EXPECT_EQ(nullptr, m_module.getFunction("g"));
    PDLType* pType = new PDLType("colour", values({1, 2}));
    EXPECT_TRUE(m_module.registerType(pType));
    // The second declaration is dropped without a report; the first stays.
    EXPECT_FALSE(m_module.registerType(new PDLType("colour", values({7}))));
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(pType, m_module.getType("colour"));
}

TEST_F(ModuleTableTest, EventEntryReportsFaultsAndSetsVariables)
{
    PDLVariable* pTarget = m_module.getSymbolTable()->registerVariable(simpleVar("level"));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_module.executeEvent(nullptr);
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(1, countInLog("Event"));
    PDLEvent unknown(PDLEvent::eEventSetVar);
    unknown.m_varName = "nosuch";
    unknown.m_varValue = "1";
    m_module.executeEvent(&unknown);
    EXPECT_NE(std::string::npos, logText().find("SETVAR failed: unknown variable nosuch\n")) << logText();
    // The context's own report of the name and the event's.
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    // A later event is unaffected.
    PDLEvent known(PDLEvent::eEventSetVar);
    known.m_varName = "level";
    known.m_varValue = "12";
    m_module.executeEvent(&known);
    EXPECT_EQ("12", pTarget->getValue("", false).getString());
    EXPECT_EQ(PDLVariant::eString, pTarget->getValue("", false).getKind());
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    // A targeted event without a target.
    PDLEvent event(PDLEvent::eEventVariable);
    m_module.executeEvent(&event);
    EXPECT_EQ(1, countInLog("event w/o widget or sequence ptr"));
    EXPECT_EQ(errors + 4, PDLParseInfo::m_errorCount);
}

TEST_F(ModuleTableTest, ReleasedVariablesLeaveTheEnginesChangeList)
{
    PDLEventManager::createInstance();
    PDLInterpreter::mutexTake();
    PDLVariable* pChanged = m_module.getSymbolTable()->registerVariable(simpleVar("changed"));
    PDLVariableSimple* pElsewhere = keep(simpleVar("elsewhere"));
    pChanged->setValueInt(1);
    pElsewhere->setValueInt(1);
    ASSERT_EQ(2u, PDLEventManager::getInstance()->getChangedVariables().size());
    // The content of a module that was never loaded goes with the module.
    {
        PDLModule other(nullptr, UniqueModuleID(1, 2, 4), 0, 0, nullptr, "");
        other.getSymbolTable()->registerVariable(simpleVar("gone"))->setValueInt(3);
        other.addWidget(new MultiWidget(&other, {1}));
        EXPECT_EQ(3u, PDLEventManager::getInstance()->getChangedVariables().size());
    }
    EXPECT_EQ(2u, PDLEventManager::getInstance()->getChangedVariables().size());
    EXPECT_EQ(0, countInLog("Unloading module"));
    PDLEventManager::getInstance()->removeChangedVariable(pChanged);
    std::list<PDLVariable*> const& list = PDLEventManager::getInstance()->getChangedVariables();
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(pElsewhere, list.front());
    PDLInterpreter::mutexGive();
}

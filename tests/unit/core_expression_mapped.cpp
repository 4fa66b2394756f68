#include "core_expression_helpers.h"

#include "pdlconditionclasses.h"
#include "pdleventmanager.h"
#include "pdlmodulemanager.h"
#include "virtualpanel.h"

namespace
{
using Texts = std::vector<std::string>;

// Mapped reads translate through the types of the module that executes. A running panel makes the
// module current by executing one driver event for it; it stays current after the queue is drained.
class MappedReadTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
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
        // The panel was never released: the start-up thread still holds the interpreter mutex.
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        PDLTest::TearDown();
    }

    template <class T>
    T* bound(T* pNode)
    {
        m_trees.emplace_back(pNode);
        pNode->setContext(&m_context, false);
        return pNode;
    }

    static Texts walk(PDLSetExp const& set)
    {
        Texts texts;
        PDLVariantIteratorCont const last = set.end();
        int guard = 0;
        for (PDLVariantIteratorCont it = set.begin(); it != last && guard < 100; ++it, ++guard)
        {
            texts.push_back((*it).getString());
        }
        return texts;
    }

    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    ModuleTestContext m_context;
    std::vector<std::unique_ptr<PDLObject>> m_trees;
    std::unique_ptr<VirtualPanel> m_pPanel;
};
} // namespace

TEST_F(MappedReadTest, VariableReadsTranslateThroughTheirType)
{
    PDLVariableSimple* pColor = m_context.declare(simpleVar("color", eScopeModule, "Colors"));
    pColor->setValue(PDLVariant("green"));
    PDLVariableArray* pRow =
        m_context.declare(new PDLVariableArray(eScopeModule, "Colors", "row", true, false, false, false));
    pRow->setValueAtIndex(PDLVariant(1), PDLVariant("blue"));

    PDLVariant const code = bound(new PDLExpressionVariable(ref("color"), str("code")))->evaluate(true);
    EXPECT_EQ(PDLVariant::eInt, code.getKind());
    EXPECT_EQ(2, code.getInt());
    // The mapping name may be computed.
    EXPECT_EQ("Gruen",
              bound(new PDLExpressionVariable(ref("color"), new PDLExpressionAppend(str("na"), str("me"))))
                  ->evaluate(true)
                  .getString());
    EXPECT_EQ(3, bound(new PDLExpressionVariable(ref("row", num(1)), str("code")))->evaluate(true).getInt());
    EXPECT_EQ("", logText());

    // A value outside the type has no mapped value.
    pColor->setValue(PDLVariant("pink"));
    EXPECT_EQ(PDLVariant::eInvalid,
              bound(new PDLExpressionVariable(ref("color"), str("code")))->evaluate(true).getKind());
}

TEST_F(MappedReadTest, SetVariablesYieldMappedValuesInKeyOrder)
{
    PDLVariableSet* pSet = m_context.declare(setVar("picked", eScopeModule, "Colors"));
    pSet->addValue(PDLVariant("red"));
    pSet->addValue(PDLVariant("blue"));

    auto* pCodes = bound(new PDLSetExpVariable(ref("picked"), str("code")));
    // Stored keys "blue", "red": their codes in that order.
    EXPECT_EQ(Texts({"3", "1"}), walk(*pCodes));
    EXPECT_TRUE(pCodes->isElement(PDLVariant(3)));
    EXPECT_TRUE(pCodes->isElement(PDLVariant("1")));
    EXPECT_FALSE(pCodes->isElement(PDLVariant(2)));
    EXPECT_FALSE(pCodes->isElement(PDLVariant("red")));
    EXPECT_EQ(Texts({"Blau", "Rot"}), walk(*bound(new PDLSetExpVariable(ref("picked"), str("name")))));

    PDLCondition* pIn = bound(new PDLConditionIn(num(1), new PDLSetExpVariable(ref("picked"), str("code"))));
    EXPECT_TRUE(pIn->evaluate());
    pSet->removeValue(PDLVariant("red"));
    EXPECT_FALSE(pIn->evaluate());
    EXPECT_EQ("", logText());
}

TEST_F(MappedReadTest, AssignLetsTheVariableMapThroughTheSetsType)
{
    PDLVariableSimple* pAny = m_context.declare(simpleVar("any"));
    pAny->setValue(PDLVariant("red"));
    PDLExpression* pCode = bound(new PDLExpressionVariable(ref("any"), str("code")));
    // Untyped: no mapping yet.
    EXPECT_EQ(PDLVariant::eInvalid, pCode->evaluate(true).getKind());
    EXPECT_EQ(1, countInLog("Variable any has no type and therefore no mapping!"));

    m_log.str("");
    EXPECT_TRUE(bound(new PDLConditionAssign(ref("any"), new PDLSetExpType("Colors", nullptr)))->evaluate());
    EXPECT_EQ(1, pCode->evaluate(true).getInt());
    // A loop over a type set with a mapping walks the mapped list.
    EXPECT_EQ(Texts({"1", "2", "3"}), walk(*bound(new PDLSetExpType("Colors", str("code")))));
    EXPECT_EQ("", logText());
}

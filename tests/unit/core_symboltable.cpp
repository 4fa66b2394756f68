#include "core_pdlfixture.h"

#include "pdlpersistentvarmanager.h"

#include <vector>

namespace
{
PDLVariable* addVariable(PDLContext& context, EScope scope, std::string const& name)
{
    return context.getSymbolTable()->registerVariable(
        new PDLVariableSimple(scope, "", name, true, false, false, false));
}
// The chain global <- workplace <- group <- module <- widget, with a module for types and declarations.
class ChainTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_pModule.reset(new PDLModule(nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""));
        m_pGlobal.reset(new TestContext(nullptr, eScopeGlobal));
        m_pWorkplace.reset(new TestContext(m_pGlobal.get(), eScopeWorkplace));
        m_pGroup.reset(new TestContext(m_pWorkplace.get(), eScopeGroup));
        m_pModuleContext.reset(new TestContext(m_pGroup.get(), eScopeModule, m_pModule.get()));
        m_pWidget.reset(new TestContext(m_pModuleContext.get(), eScopeLocal));
        g_pCurrentModule = m_pModule.get();
    }
    void TearDown() override
    {
        m_pWidget.reset();
        m_pModuleContext.reset();
        m_pGroup.reset();
        m_pWorkplace.reset();
        m_pGlobal.reset();
        m_pModule.reset();
        PDLTest::TearDown();
    }
    std::vector<TestContext*> chain() const
    {
        return {m_pWidget.get(), m_pModuleContext.get(), m_pGroup.get(), m_pWorkplace.get(), m_pGlobal.get()};
    }
    void clearRegistrations()
    {
        for (TestContext* pContext : chain())
        {
            pContext->m_registrations.clear();
        }
    }
    // Frees what a refused declaration left in the vector.
    static void freeRemains(PDLProtoVarVector* pProtos)
    {
        for (PDLProtoVariable* pProto : *pProtos)
        {
            delete pProto;
        }
        delete pProtos;
    }
    std::unique_ptr<PDLModule> m_pModule;
    std::unique_ptr<TestContext> m_pGlobal;
    std::unique_ptr<TestContext> m_pWorkplace;
    std::unique_ptr<TestContext> m_pGroup;
    std::unique_ptr<TestContext> m_pModuleContext;
    std::unique_ptr<TestContext> m_pWidget;
};

using Registration = std::pair<std::string, bool>;
using Registrations = std::vector<Registration>;
} // namespace

TEST_F(ChainTest, NearestDeclarationShadowsAndReadsRegisterAlongTheChain)
{
    PDLVariable* pGlobal = addVariable(*m_pGlobal, eScopeGlobal, "g");
    PDLVariable* pGroupShared = addVariable(*m_pGroup, eScopeGroup, "shared");
    PDLVariable* pModuleShared = addVariable(*m_pModuleContext, eScopeModule, "shared");
    addVariable(*m_pModuleContext, eScopeModule, "m");
    PDLVariable* pLocal = addVariable(*m_pWidget, eScopeLocal, "m");
    // The module's declaration shadows the group's; only contexts up to the finder register.
    EXPECT_EQ(pModuleShared, m_pWidget->getVariable("shared", true, true));
    EXPECT_EQ(Registrations({{"shared", true}}), m_pWidget->m_registrations);
    EXPECT_EQ(Registrations({{"shared", false}}), m_pModuleContext->m_registrations);
    EXPECT_TRUE(m_pGroup->m_registrations.empty());
    EXPECT_EQ(pGroupShared, m_pGroup->getVariable("shared", false, false));
    // Every context on the way registers; only the first with the caller's flag.
    clearRegistrations();
    EXPECT_EQ(pGlobal, m_pWidget->getVariable("g", true, true));
    EXPECT_EQ(Registrations({{"g", true}}), m_pWidget->m_registrations);
    for (TestContext* pContext :
         {m_pModuleContext.get(), m_pGroup.get(), m_pWorkplace.get(), m_pGlobal.get()})
    {
        EXPECT_EQ(Registrations({{"g", false}}), pContext->m_registrations);
    }
    // A local shadows the module variable of the same name and registers nothing.
    clearRegistrations();
    EXPECT_EQ(pLocal, m_pWidget->getVariable("m", true, true));
    for (TestContext* pContext : chain())
    {
        EXPECT_TRUE(pContext->m_registrations.empty());
    }
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(nullptr, m_pWidget->getVariable("nope", true, false));
    EXPECT_GE(PDLParseInfo::m_errorCount, errors + 1);
    EXPECT_NE(std::string::npos, logText().find("ERROR:\nundeclared variable nope\n"));
    for (TestContext* pContext : chain())
    {
        EXPECT_TRUE(pContext->m_registrations.empty());
    }
    EXPECT_EQ(pLocal, m_pWidget->getLocalVariable("m"));
    m_log.str("");
    EXPECT_EQ(nullptr, m_pWidget->getLocalVariable("g"));
    EXPECT_EQ("\nERROR:\nundeclared local variable g\n\n", logText());
    // The local "m" hides the module's: not a non-local name. Unknown names give false silently.
    EXPECT_FALSE(m_pWidget->isNonlocalVariableName("m"));
    EXPECT_TRUE(m_pModuleContext->isNonlocalVariableName("m"));
    EXPECT_TRUE(m_pWidget->isNonlocalVariableName("shared"));
    m_log.str("");
    EXPECT_FALSE(m_pWidget->isNonlocalVariableName("nope"));
    EXPECT_EQ("", logText());
}

TEST_F(ChainTest, FirstCallReusesTheTableAndRecursionCopiesIt)
{
    TestContext function(m_pModuleContext.get(), eScopeLocal);
    PDLSymbolTable* pOriginal = function.getSymbolTable();
    PDLVariable* pA = addVariable(function, eScopeLocal, "a");
    auto* pArray = static_cast<PDLVariableArray*>(pOriginal->registerVariable(
        new PDLVariableArray(eScopeLocal, "Mode", "arr", true, false, false, false)));
    pA->setValue(PDLVariant(1));
    pArray->setTypeName("Other");
    pArray->setValueAtIndex(PDLVariant(1), PDLVariant("x"));
    // First call: the same table again, reset.
    EXPECT_FALSE(function.pushSymbolTable());
    EXPECT_EQ(2u, function.getSymbolTableCount());
    EXPECT_EQ(pOriginal, function.getSymbolTable());
    EXPECT_FALSE(pA->isValid());
    EXPECT_FALSE(pA->isChanged());
    EXPECT_EQ("Mode", pArray->getTypeName());
    EXPECT_EQ(PDLVariant::eInvalid, pArray->getValueAtIndex(PDLVariant(1), "", false).getKind());
    pA->setValue(PDLVariant(2));
    // Recursion: a deep copy, reset, independent of the caller's table.
    EXPECT_TRUE(function.pushSymbolTable());
    PDLSymbolTable* pCopy = function.getSymbolTable();
    EXPECT_NE(pOriginal, pCopy);
    EXPECT_EQ(3u, function.getSymbolTableCount());
    PDLVariable* pCopyA = function.getLocalVariable("a");
    ASSERT_NE(nullptr, pCopyA);
    EXPECT_NE(pA, pCopyA);
    EXPECT_FALSE(pCopyA->isValid());
    pCopyA->setValue(PDLVariant(3));
    EXPECT_EQ(PDLVariant(2), pA->getValue("", false));
    // Popping the copy deletes it; popping the reused table deletes nothing.
    EXPECT_TRUE(function.popSymbolTable());
    EXPECT_EQ(pOriginal, function.getSymbolTable());
    EXPECT_EQ(PDLVariant(2), function.getLocalVariable("a")->getValue("", false));
    EXPECT_FALSE(function.popSymbolTable());
    EXPECT_EQ(1u, function.getSymbolTableCount());
    EXPECT_EQ(pA, function.getLocalVariable("a"));
    EXPECT_EQ(PDLVariant(2), pA->getValue("", false));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    EXPECT_FALSE(function.popSymbolTable());
    EXPECT_EQ(1u, function.getSymbolTableCount());
    EXPECT_EQ(pOriginal, function.getSymbolTable());
    EXPECT_EQ("\nFATAL:\ntrying to pop last symbol table\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    // A context going away during a call deletes each table once (the sanitizer build checks).
    auto pCalled = std::make_unique<TestContext>(m_pModuleContext.get(), eScopeLocal);
    addVariable(*pCalled, eScopeLocal, "a");
    pCalled->pushSymbolTable();
    pCalled->pushSymbolTable();
    pCalled.reset();
}

TEST_F(ChainTest, DeclarationsLandInTheirScopeByTheCreationTable)
{
    static std::vector<unsigned char> s_section(70000);
    PDLPersistentVarManager::createInstance()->useSection(s_section.data(), s_section.size());
    PDLPersistentVarManager::getInstance()->init(true);
    m_pModuleContext->createType("Mode", new std::vector<PDLVariant>{PDLVariant("off"), PDLVariant("on")});
    m_pWidget->createVariables(eScopeModule, "",
                               makeProtos({proto("simple"), proto("set", false, true), proto("arr", true),
                                           proto("both", true, true), proto("quiet", false, false, false)}),
                               false);
    PDLSymbolTable* pTable = m_pModuleContext->getSymbolTable();
    EXPECT_EQ(4u, pTable->getVariables().size());
    EXPECT_NE(nullptr, dynamic_cast<PDLVariableSimple*>(pTable->getVariable("simple")));
    EXPECT_NE(nullptr, dynamic_cast<PDLVariableSet*>(pTable->getVariable("set")));
    EXPECT_NE(nullptr, dynamic_cast<PDLVariableArray*>(pTable->getVariable("arr")));
    EXPECT_FALSE(pTable->hasVariable("both"));
    EXPECT_NE(std::string::npos, logText().find("FATAL:\narrays of sets are not supported yet\n"));
    EXPECT_FALSE(pTable->getVariable("quiet")->generatesEvents());
    EXPECT_FALSE(m_pWidget->getSymbolTable()->hasVariable("simple"));
    // Typed and persistent; a persistent set is refused.
    m_log.str("");
    m_pWidget->createVariables(eScopeLocal, "Mode", makeProtos({proto("kept"), proto("pset", false, true)}),
                               true);
    PDLVariable* pKept = m_pWidget->getLocalVariable("kept");
    ASSERT_NE(nullptr, pKept);
    EXPECT_TRUE(pKept->isPersistent());
    EXPECT_EQ("Mode", pKept->getTypeName());
    EXPECT_EQ(eScopeLocal, pKept->getScope());
    EXPECT_FALSE(m_pWidget->getSymbolTable()->hasVariable("pset"));
    EXPECT_EQ("\nFATAL:\npersistent set variables are not supported yet\n\n", logText());
    // No context of that scope above: nothing created, the prototypes stay the caller's.
    TestContext orphan(nullptr, eScopeLocal);
    m_log.str("");
    PDLProtoVarVector* pProtos = makeProtos({proto("lost")});
    orphan.createVariables(eScopeGroup, "", pProtos, false);
    EXPECT_EQ("\nFATAL:\nunknown scope\n\n", logText());
    ASSERT_EQ(1u, pProtos->size());
    EXPECT_EQ("lost", (*pProtos)[0]->m_name);
    freeRemains(pProtos);
}

TEST_F(ChainTest, RedeclarationInModuleOrLocalScopeStopsTheDeclaration)
{
    m_pModuleContext->createVariables(eScopeModule, "", makeProtos({proto("a")}), false);
    PDLVariable* pA = m_pModuleContext->getLocalVariable("a");
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    PDLProtoVarVector* pProtos = makeProtos({proto("c"), proto("a"), proto("d")});
    m_pModuleContext->createVariables(eScopeModule, "", pProtos, false);
    EXPECT_EQ("\nERROR:\nvariable 'a' was already declared\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(pA, m_pModuleContext->getLocalVariable("a"));
    EXPECT_TRUE(m_pModuleContext->getSymbolTable()->hasVariable("c"));
    EXPECT_FALSE(m_pModuleContext->getSymbolTable()->hasVariable("d"));
    // What was consumed is null; the rest is left.
    ASSERT_EQ(3u, pProtos->size());
    EXPECT_EQ(nullptr, (*pProtos)[0]);
    EXPECT_EQ("a", (*pProtos)[1]->m_name);
    EXPECT_EQ("d", (*pProtos)[2]->m_name);
    freeRemains(pProtos);
    // The same name in a group and in the module is allowed; the module's shadows.
    m_pModuleContext->createVariables(eScopeGroup, "", makeProtos({proto("x")}), false);
    m_pModuleContext->createVariables(eScopeModule, "", makeProtos({proto("x")}), false);
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_EQ(eScopeGroup, m_pGroup->getLocalVariable("x")->getScope());
    EXPECT_EQ(eScopeModule, m_pWidget->getVariable("x", false, false)->getScope());
}

TEST_F(ChainTest, SharedVariablesAreOnePerNameAndOncePerFile)
{
    m_pWidget->createVariables(eScopeGlobal, "", makeProtos({proto("g")}), false);
    PDLVariable* pG = m_pGlobal->getLocalVariable("g");
    ASSERT_NE(nullptr, pG);
    EXPECT_TRUE(m_pModule->hasVariableInFile("g"));
    // Another module's file declares it too: the existing variable is shared, silently.
    PDLModule other(nullptr, UniqueModuleID(1, 2, 4), 0, 0, nullptr, "");
    g_pCurrentModule = &other;
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    m_pWidget->createVariables(eScopeGlobal, "", makeProtos({proto("g"), proto("h")}), false);
    EXPECT_EQ("", logText());
    EXPECT_EQ(pG, m_pGlobal->getLocalVariable("g"));
    EXPECT_EQ(2u, m_pGlobal->getSymbolTable()->getVariables().size());
    // Twice in one file is an error and ends the declaration.
    g_pCurrentModule = m_pModule.get();
    PDLProtoVarVector* pProtos = makeProtos({proto("g"), proto("k")});
    m_pWidget->createVariables(eScopeGlobal, "", pProtos, false);
    EXPECT_EQ("\nERROR:\nvariable 'g' was already declared\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_FALSE(m_pGlobal->getSymbolTable()->hasVariable("k"));
    freeRemains(pProtos);
}

TEST_F(PDLTest, SymbolTableOwnsRefusesDuplicatesAndDumps)
{
    PDLSymbolTable table;
    PDLVariable* pFirst =
        table.registerVariable(new PDLVariableSimple(eScopeModule, "Mode", "sel", true, false, false, false));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(pFirst, table.registerVariable(
                          new PDLVariableSimple(eScopeModule, "", "sel", true, false, false, false)));
    EXPECT_EQ("\nERROR:\nvariable 'sel' was already declared\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    m_log.str("");
    EXPECT_EQ(nullptr, table.getVariable("q"));
    EXPECT_EQ("\nFATAL:\nVariable q not found in symbol table!\n\n", logText());
    PDLVariableList list;
    list.push_back(new PDLVariableSet(eScopeGlobal, "", "b", true, false, false, false));
    list.push_back(new PDLVariableArray(eScopeLocal, "", "arr", true, false, false, false));
    auto* pReadOnly = new PDLVariableSimple(eScopeGlobal, "", "ro", true, true, false, false);
    list.push_back(pReadOnly);
    table.registerVariableList(&list);
    list.clear();
    EXPECT_EQ(4u, table.getVariables().size());
    pFirst->setValue(PDLVariant(3));
    pReadOnly->setValue(PDLVariant(7));
    // reset leaves read-only variables alone.
    table.resetVariables();
    EXPECT_FALSE(pFirst->isValid());
    EXPECT_EQ(PDLVariant(7), pReadOnly->getValue("", false));
    table.clear();
    EXPECT_TRUE(table.getVariables().empty());
}

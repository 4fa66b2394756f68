#include "core_command_helpers.h"
#include "core_function_helpers.h"

#include "pdlfunctionclasses.h"
#include "pdlmodule.h"

#include <memory>
#include <string>
#include <vector>

namespace
{
// What a probe saw when it ran inside a function body.
struct Sighting
{
    PDLVariant m_value;
    PDLWidget* m_pWidget;
    uint32_t m_execWidgetID;
    PDLContext* m_pCallingContext;
};
// Records the value of its expression (bound like any child, so it follows rebinding) and what the
// context tells about the caller.
class ProbeCommand : public PDLCommand
{
public:
    ProbeCommand(std::vector<Sighting>* pSightings, PDLExpression* pExpression,
                 PDLFunction** ppWatched = nullptr)
        : PDLCommand(true), m_pSightings(pSightings), m_pExpression(pExpression), m_ppWatched(ppWatched)
    {
    }
    ~ProbeCommand() override { delete m_pExpression; }
    void onContextSet() override
    {
        if (m_pExpression != nullptr)
        {
            m_pExpression->setContext(m_pContext, m_noEventRegistration);
        }
    }
protected:
    bool onExecute() override
    {
        PDLRunTimeInfo::s_pCurrentObject = this;
        PDLFunction* pWatched = m_ppWatched != nullptr ? *m_ppWatched : nullptr;
        m_pSightings->push_back({m_pExpression != nullptr ? m_pExpression->evaluate(false) : PDLVariant(),
                                 m_pContext->getWidget(), m_pContext->getExecWidgetID(),
                                 pWatched != nullptr ? pWatched->getCallingContext() : nullptr});
        return true;
    }
    std::vector<Sighting>* m_pSightings;
    PDLExpression* m_pExpression;
    PDLFunction** m_ppWatched;
};
// The code that calls: a scope below the module that runs for one widget.
class CallerContext : public TestContext
{
public:
    explicit CallerContext(PDLContext* pModule) : TestContext(pModule, eScopeLocal) {}
    uint32_t getExecWidgetID() const override { return m_execWidgetID; }
    PDLWidget* getWidget() override { return m_pWidget; }
    uint32_t m_execWidgetID = 7;
    PDLWidget* m_pWidget = nullptr;
};
PDLProtoVariable* param(std::string const& name, bool isReference = false, bool isArray = false,
                        bool isSet = false)
{
    return new PDLProtoVariable(name, isArray, isSet, nullptr, isReference, "", true);
}

PDLArgumentList* args(std::initializer_list<PDLBaseExpression*> elements)
{
    auto* pList = new PDLArgumentList();
    for (PDLBaseExpression* pElement : elements)
    {
        pList->push_back(pElement);
    }
    return pList;
}

class FunctionCallTest : public CommandTest
{
protected:
    void SetUp() override
    {
        CommandTest::SetUp();
        m_pModule.reset(new PDLModule(nullptr, UniqueModuleID(1, 2, 3), 0, 0, &m_functionID, ""));
        m_pCaller.reset(new CallerContext(m_pModule.get()));
        // Identity only: the probes compare it and nothing reads through it.
        m_pCaller->m_pWidget = reinterpret_cast<PDLWidget*>(&m_widgetTag);
    }
    void TearDown() override
    {
        m_callerTrees.clear();
        m_pCaller.reset();
        m_pModule.reset();
        CommandTest::TearDown();
    }
    // A module variable, owned by the module's table.
    template <class T>
    T* moduleVar(T* pVariable)
    {
        m_pModule->getSymbolTable()->registerVariable(pVariable);
        pVariable->clearChangeFlag();
        return pVariable;
    }
    PDLFunction* define(std::string const& name, std::vector<PDLProtoVariable*> parameters,
                        PDLCodeBlock* pCode, PDLVariableList* pLocals = nullptr)
    {
        auto* pFunction = new PDLFunction(name, m_pModule.get(), makeProtos(parameters), pLocals, pCode);
        m_pModule->addFunction(pFunction);
        pFunction->init();
        return pFunction;
    }
    // Bound in the caller's scope; the fixture owns it.
    PDLCommand* atCaller(PDLCommand* pCommand, bool noEventRegistration = false)
    {
        m_callerTrees.emplace_back(pCommand);
        pCommand->setContext(m_pCaller.get(), noEventRegistration);
        return pCommand;
    }
    PDLCommand* call(std::string const& name, PDLArgumentList* pArguments)
    {
        return atCaller(new PDLCommandFunctionCall(name, pArguments));
    }
    RecordingFunctionID m_functionID;
    std::unique_ptr<PDLModule> m_pModule;
    std::unique_ptr<CallerContext> m_pCaller;
    std::vector<std::unique_ptr<PDLCommand>> m_callerTrees;
    std::vector<Sighting> m_sightings;
    int m_widgetTag = 0;
};
} // namespace

TEST_F(FunctionCallTest, ArgumentsAreCopiedInAndChangedReferencesCopiedBack)
{
    PDLVariableSimple* pX = moduleVar(simpleVar("x"));
    PDLVariableSimple* pY = moduleVar(simpleVar("y"));
    PDLVariableSimple* pZ = moduleVar(simpleVar("z", eScopeModule, "T"));
    pX->setValue(PDLVariant(1));
    pY->setValue(PDLVariant(5));
    pX->clearChangeFlag();
    pY->clearChangeFlag();
    // r is REF and changed, v is not REF and changed, u is REF and left alone.
    PDLFunction* pF =
        define("f", {param("r", true), param("v"), param("u", true)},
               block({new ProbeCommand(&m_sightings, var("r")),
                      assign("r", new PDLExpressionPlusOp(var("r"), num(1))), assign("v", num(99))}));
    EXPECT_TRUE(call("f", args({var("x"), var("y"), var("z")}))->execute());
    EXPECT_EQ(2, pX->getValue("", false).getInt());
    EXPECT_TRUE(pX->isChanged());
    EXPECT_EQ(5, pY->getValue("", false).getInt());
    EXPECT_FALSE(pY->isChanged());
    // An unchanged REF is not written back, not even as the Invalid it holds.
    EXPECT_FALSE(pZ->isValid());
    EXPECT_FALSE(pZ->isChanged());
    EXPECT_EQ("", logText());
    EXPECT_EQ(0u, newErrors());
    // The body saw the argument's value, and the parameter took over the argument's type.
    ASSERT_EQ(1u, m_sightings.size());
    EXPECT_EQ(1, m_sightings[0].m_value.getInt());
    EXPECT_EQ("T", pF->getParameterVariable(2)->getTypeName());
    EXPECT_EQ("", pF->getParameterVariable(0)->getTypeName());
    EXPECT_EQ(1u, pF->getSymbolTableCount());
}

TEST_F(FunctionCallTest, NestedCallsRunForTheOutermostCaller)
{
    PDLFunction* pOuter = nullptr;
    PDLFunction* pInner = define("inner", {}, block({new ProbeCommand(&m_sightings, nullptr, &pOuter)}));
    pOuter = define(
        "outer", {},
        block({new ProbeCommand(&m_sightings, nullptr, &pOuter), new PDLCommandFunctionCall("inner", nullptr),
               new ProbeCommand(&m_sightings, nullptr, &pOuter)}));
    EXPECT_TRUE(call("outer", nullptr)->execute());
    ASSERT_EQ(3u, m_sightings.size());
    for (Sighting const& sighting : m_sightings)
    {
        EXPECT_EQ(m_pCaller->m_pWidget, sighting.m_pWidget);
        EXPECT_EQ(7u, sighting.m_execWidgetID);
        EXPECT_EQ(m_pCaller.get(), sighting.m_pCallingContext);
    }
    EXPECT_EQ(nullptr, pOuter->getCallingContext());
    EXPECT_EQ(nullptr, pInner->getCallingContext());
    // Run directly, the body sees the given caller and the old one comes back afterwards.
    CallerContext other(m_pModule.get());
    other.m_execWidgetID = 9;
    m_sightings.clear();
    EXPECT_TRUE(pInner->execute(&other));
    ASSERT_EQ(1u, m_sightings.size());
    EXPECT_EQ(9u, m_sightings[0].m_execWidgetID);
    EXPECT_EQ(nullptr, pInner->getCallingContext());
}

TEST_F(FunctionCallTest, ACallSiteRegistersItsOwnerForWhatTheBodyReads)
{
    moduleVar(simpleVar("m"));
    moduleVar(simpleVar("s"));
    PDLFunction* pF = define("f", {}, block({assign("m", new PDLExpressionPlusOp(var("m"), num(1)))}));
    pF->registerForVariableEvent("s", true);
    EXPECT_EQ(std::set<std::string>({"m"}), pF->getEventVariables());
    EXPECT_EQ(std::set<std::string>({"s"}), pF->getSeparateEventVariables());
    call("f", nullptr);
    EXPECT_EQ(Registrations({{"m", false}, {"s", true}}), m_pCaller->m_registrations);
    // Inside an event handler's body nothing registers.
    m_pCaller->m_registrations.clear();
    atCaller(new PDLCommandFunctionCall("f", nullptr), true);
    EXPECT_TRUE(m_pCaller->m_registrations.empty());
}

TEST_F(FunctionCallTest, ADriverCallSendsTheIdAndTheValidParameters)
{
    CallerContext farCaller(nullptr);
    PDLModule farModule(nullptr, UniqueModuleID(5, 31, 200), 0, 0, &m_functionID, "");
    CallerContext caller(&farModule);
    // The engine may hand the number with a module part; only the low 16 bits count.
    caller.m_execWidgetID = 0xABCD0009u;
    auto* pParameters = new PDLParameterList();
    pParameters->push_back(new PDLParameter(str("LEVEL"), num(3)));
    pParameters->push_back(new PDLParameter(str("MUTE"), invalid()));
    pParameters->push_back(new PDLParameter(invalid(), num(1)));
    pParameters->push_back(new PDLParameter(str("MODE"), str("fast")));
    std::unique_ptr<PDLCommand> pCall(
        new PDLCommandCall(list({str("MIXER"), num(4), str("GAIN")}), pParameters));
    pCall->setContext(&caller, false);
    EXPECT_TRUE(pCall->execute());
    ASSERT_EQ(1u, m_functionID.m_calls.size());
    RecordingFunctionID::Call const& sent = m_functionID.m_calls[0];
    EXPECT_EQ("MIXER.4.GAIN", sent.m_fid);
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(Pairs({{"LEVEL", "3"}, {"MODE", "fast"}}), sent.m_parameters);
    EXPECT_EQ(UniqueWidgetID(5, 31, 200, 9).getValue(), sent.m_widgetID);
    EXPECT_EQ("", logText());
    // Without a function id service the call fails its check.
    std::unique_ptr<PDLCommand> pNoReceiver(new PDLCommandCall(list({str("X")}), new PDLParameterList()));
    pNoReceiver->setContext(&farCaller, false);
    EXPECT_FALSE(pNoReceiver->execute());
    EXPECT_EQ("\nFATAL:\nm_pFIDReceiver\n\n", logText());
    EXPECT_EQ(1u, m_functionID.m_calls.size());
}

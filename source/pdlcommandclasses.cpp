#include "pdlcommandclasses.h"

#include "pdldebugger.h"
#include "pdlloopplan.h"
#include "pdlpanelstate.h"
#include "pdlsymboltable.h"

#include "rtk/thread.h"

#include <iostream>

namespace
{
void report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(level, text, file, line);
}

void setCurrent(PDLObject* pObject)
{
    PDLRunTimeInfo::s_pCurrentObject = pObject;
}

// An assignment to an element, apart from the plain assignment so that this one stays small.
__attribute__((noinline)) void assignAtIndex(PDLExpression const& index, PDLVariable& variable,
                                             PDLVariant const& value)
{
    PDLVariant scratch;
    variable.setValueAtIndex(index.evaluateRef(true, scratch), value);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Running a command. The blocks and control commands below run their children through run, the same
// steps inline.

bool PDLCommand::execute()
{
    return run(this);
}

// ---------------------------------------------------------------------------------------------------
// Statement list

PDLCodeBlock::GotoStateHandler PDLCodeBlock::s_gotoStateHandler = nullptr;

PDLCodeBlock::PDLCodeBlock() : PDLCommand(false) {}

PDLCodeBlock::~PDLCodeBlock()
{
    for (PDLCommand* pCommand : m_commands)
    {
        delete pCommand;
    }
}

void PDLCodeBlock::addCommand(PDLCommand* pCommand)
{
    if (pCommand != nullptr)
    {
        m_commands.push_back(pCommand);
    }
}

PDLCodeBlock::GotoStateHandler PDLCodeBlock::setGotoStateHandler(GotoStateHandler handler)
{
    GotoStateHandler const previous = s_gotoStateHandler;
    s_gotoStateHandler = handler;
    return previous;
}

void PDLCodeBlock::onContextSet()
{
    // Binding comes once the block is complete: it keeps only the room its commands take.
    m_commands.shrink_to_fit();
    for (PDLCommand* pCommand : m_commands)
    {
        pCommand->setContext(m_pContext, m_noEventRegistration);
    }
}

bool PDLCodeBlock::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pContext))
    {
        return false;
    }
    for (PDLCommand* pCommand : m_commands)
    {
        // An exit or an error ends the block; a pending state change is then skipped. run is execute,
        // inline.
        if (!run(pCommand))
        {
            return false;
        }
    }
    if (m_gotoState.empty())
    {
        return true;
    }
    PDLSequence* curseq = m_pContext->getSequence();
    if (!PDL_CHECK(curseq))
    {
        return false;
    }
    if (s_gotoStateHandler != nullptr)
    {
        s_gotoStateHandler(curseq, m_gotoState);
    }
    // The state's code is over either way: the sequence goes on in its new state at the next event.
    return false;
}

// ---------------------------------------------------------------------------------------------------
// Branches and loops

PDLCommandIf::PDLCommandIf(PDLCondition* pCondition, PDLCommand* pIfCode, PDLCommand* pElseCode)
    : PDLCommand(true), m_pCondition(pCondition), m_pIfCode(pIfCode), m_pElseCode(pElseCode)
{
}

PDLCommandIf::~PDLCommandIf()
{
    delete m_pCondition;
    delete m_pIfCode;
    delete m_pElseCode;
}

void PDLCommandIf::onContextSet()
{
    PDL_CHECK(m_pCondition);
    PDL_CHECK(m_pIfCode);
    bindToContext(m_pCondition, m_pContext, m_noEventRegistration);
    bindToContext(m_pIfCode, m_pContext, m_noEventRegistration);
    bindToContext(m_pElseCode, m_pContext, m_noEventRegistration);
}

bool PDLCommandIf::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pCondition) || !PDL_CHECK(m_pIfCode))
    {
        return false;
    }
    if (m_pCondition->evaluate())
    {
        return run(m_pIfCode);
    }
    return m_pElseCode != nullptr ? run(m_pElseCode) : true;
}

PDLCommandWhile::PDLCommandWhile(PDLCondition* pCondition, PDLCommand* pCode)
    : PDLCommand(true), m_pCondition(pCondition), m_pCode(pCode)
{
}

PDLCommandWhile::~PDLCommandWhile()
{
    delete m_pCondition;
    delete m_pCode;
}

void PDLCommandWhile::onContextSet()
{
    PDL_CHECK(m_pCondition);
    PDL_CHECK(m_pCode);
    bindToContext(m_pCondition, m_pContext, m_noEventRegistration);
    bindToContext(m_pCode, m_pContext, m_noEventRegistration);
}

namespace
{
// Rounds of a while loop run on the tree before the loop is planned: short loops never pay for a
// plan.
constexpr int kRoundsBeforePlan = 8;
} // namespace

bool PDLCommandWhile::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pCondition) || !PDL_CHECK(m_pCode))
    {
        return false;
    }
    // The first rounds run on the tree; a loop that goes on beyond them runs planned (see
    // PDLLoopPlan), or on the tree when nothing of it can be planned.
    for (int round = 0; round < kRoundsBeforePlan; ++round)
    {
        if (!m_pCondition->evaluate())
        {
            return true;
        }
        if (!run(m_pCode))
        {
            return false;
        }
    }
    PDLLoopPlan plan;
    if (plan.build(m_pCondition, m_pCode))
    {
        return plan.run();
    }
    while (m_pCondition->evaluate())
    {
        if (!run(m_pCode))
        {
            return false;
        }
    }
    return true;
}

PDLCommandForEach::PDLCommandForEach(std::string const& variableName, PDLSetExp* pSet, PDLCommand* pCode)
    : PDLCommand(true), m_variableName(variableName), m_pVariable(nullptr), m_pSet(pSet), m_pCode(pCode)
{
}

PDLCommandForEach::~PDLCommandForEach()
{
    delete m_pSet;
    delete m_pCode;
}

void PDLCommandForEach::onContextSet()
{
    PDL_CHECK(m_pSet);
    PDL_CHECK(m_pCode);
    // The loop variable must be declared in the code's own scope.
    m_pVariable = getLocalVariable(m_variableName);
    bindToContext(m_pSet, m_pContext, m_noEventRegistration);
    bindToContext(m_pCode, m_pContext, m_noEventRegistration);
}

bool PDLCommandForEach::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pSet) || !PDL_CHECK(m_pCode))
    {
        return false;
    }
    std::string const typeName = m_pSet->getTypeName();
    if (!typeName.empty())
    {
        m_pVariable->setTypeName(typeName);
    }
    PDLVariantIteratorCont it = m_pSet->begin();
    // The body may change the set: the end is asked anew each round.
    while (it != m_pSet->end())
    {
        m_pVariable->setValue(*it);
        if (!run(m_pCode))
        {
            return false;
        }
        it++;
    }
    return true;
}

PDLCommandEvent::PDLCommandEvent(PDLCondition* pCondition, PDLCodeBlock* pCodeBlock)
    : PDLCommand(true), m_pCondition(pCondition), m_pCodeBlock(pCodeBlock)
{
}

PDLCommandEvent::~PDLCommandEvent()
{
    delete m_pCondition;
    delete m_pCodeBlock;
}

void PDLCommandEvent::onContextSet()
{
    PDL_CHECK(m_pCondition);
    PDL_CHECK(m_pCodeBlock);
    // Reads in the condition wake the owner; reads in the handler's body never do.
    bindToContext(m_pCondition, m_pContext, m_noEventRegistration);
    bindToContext(m_pCodeBlock, m_pContext, true);
}

bool PDLCommandEvent::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pCondition) || !PDL_CHECK(m_pCodeBlock))
    {
        return false;
    }
    if (!m_pCondition->evaluate())
    {
        return true;
    }
    return run(m_pCodeBlock);
}

// ---------------------------------------------------------------------------------------------------
// Assignments

PDLCommandAssign::PDLCommandAssign(PDLProtoVariable* pProtoVariable, PDLExpression* pExpression)
    : PDLCommand(true), m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pExpression(pExpression),
      m_pVariable(nullptr)
{
}

PDLCommandAssign::~PDLCommandAssign()
{
    PDLProtoVariable::release(m_pProtoVariable);
    delete m_pExpression;
}

void PDLCommandAssign::onContextSet()
{
    PDL_CHECK(m_pProtoVariable);
    PDL_CHECK(m_pExpression);
    if (m_pProtoVariable != nullptr)
    {
        // The index is read like any value: its variables wake the owner.
        bindToContext(m_pProtoVariable->m_pIndex, m_pContext, false);
        // Writing a variable does not register for its changes. An unknown name is reported by the
        // context.
        m_pVariable = getVariable(m_pProtoVariable->m_name, false);
    }
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
    if (m_pVariable != nullptr && m_pVariable->isReadOnly())
    {
        report(rtk::LogOutput::eLevelError, "cannot assign to read-only variable", __FILE__, __LINE__);
    }
}

bool PDLCommandAssign::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pProtoVariable) || !PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pExpression))
    {
        return false;
    }
    // An invalid source is no warning here: it simply makes the target invalid.
    // The value may be lent by the variable read on the right; writing it back to that same variable
    // is an equal value and changes nothing.
    PDLVariant scratch;
    PDLVariant const& value = evaluateOperand(*m_pExpression, false, scratch);
    if (m_pProtoVariable->m_pIndex != nullptr)
    {
        assignAtIndex(*m_pProtoVariable->m_pIndex, *m_pVariable, value);
    }
    else if (isExactly<PDLVariableSimple>(*m_pVariable))
    {
        static_cast<PDLVariableSimple*>(m_pVariable)->PDLVariableSimple::setValue(value);
    }
    else
    {
        m_pVariable->setValue(value);
    }
    return true;
}

PDLCommandAssignSlot::PDLCommandAssignSlot(PDLProtoVariable* pProtoVariable, PDLExpression* pExpression)
    : PDLCommand(true), m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pExpression(pExpression),
      m_pVariable(nullptr)
{
}

PDLCommandAssignSlot::~PDLCommandAssignSlot()
{
    PDLProtoVariable::release(m_pProtoVariable);
    delete m_pExpression;
}

void PDLCommandAssignSlot::onContextSet()
{
    PDL_CHECK(m_pProtoVariable);
    PDL_CHECK(m_pExpression);
    if (m_pProtoVariable != nullptr)
    {
        bindToContext(m_pProtoVariable->m_pIndex, m_pContext, false);
        // An unknown name is reported by the context.
        PDLVariable* pVariable = getVariable(m_pProtoVariable->m_name, false);
        m_pVariable = dynamic_cast<PDLVariableExtern*>(pVariable);
        if (pVariable != nullptr && m_pVariable == nullptr)
        {
            report(rtk::LogOutput::eLevelError,
                   "variable " + m_pProtoVariable->m_name + " is not an extern variable", __FILE__, __LINE__);
        }
        if (m_pVariable != nullptr && m_pProtoVariable->m_pIndex != nullptr)
        {
            report(rtk::LogOutput::eLevelError, "extern variables can not be indexed", __FILE__, __LINE__);
        }
    }
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandAssignSlot::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pProtoVariable) || !PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pExpression))
    {
        return false;
    }
    PDLVariant const value = m_pExpression->evaluate(false);
    m_pVariable->setLocalFunctionID(value.getFunctionID());
    // The reset puts a one-slot type back to its default slot at once, replacing the one just set.
    m_pVariable->reset();
    return true;
}

PDLCommandSetAssign::PDLCommandSetAssign(PDLProtoVariable* pProtoVariable, PDLSetExp* pExpression)
    : PDLCommand(true), m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pExpression(pExpression),
      m_pVariable(nullptr)
{
}

PDLCommandSetAssign::~PDLCommandSetAssign()
{
    PDLProtoVariable::release(m_pProtoVariable);
    delete m_pExpression;
}

void PDLCommandSetAssign::onContextSet()
{
    PDL_CHECK(m_pProtoVariable);
    PDL_CHECK(m_pExpression);
    if (m_pProtoVariable != nullptr)
    {
        m_pVariable = getVariable(m_pProtoVariable->m_name, false);
    }
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandSetAssign::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pProtoVariable) || !PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pExpression))
    {
        return false;
    }
    if (m_pProtoVariable->m_pIndex != nullptr)
    {
        report(rtk::LogOutput::eLevelFatal, "arrays of sets are not supported yet", __FILE__, __LINE__);
        return true;
    }
    m_pVariable->clearAllValues();
    PDLVariantIteratorCont const last = m_pExpression->end();
    for (PDLVariantIteratorCont it = m_pExpression->begin(); it != last; ++it)
    {
        m_pVariable->addValue(*it);
    }
    return true;
}

PDLCommandSetChange::PDLCommandSetChange(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet)
    : PDLCommand(true), m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pVariable(nullptr),
      m_pSet(pSet)
{
}

PDLCommandSetChange::~PDLCommandSetChange()
{
    PDLProtoVariable::release(m_pProtoVariable);
    delete m_pSet;
}

void PDLCommandSetChange::onContextSet()
{
    PDL_CHECK(m_pProtoVariable);
    PDL_CHECK(m_pSet);
    if (m_pProtoVariable != nullptr)
    {
        m_pVariable = getVariable(m_pProtoVariable->m_name, false);
    }
    bindToContext(m_pSet, m_pContext, m_noEventRegistration);
}

bool PDLCommandSetChange::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pSet))
    {
        return false;
    }
    // No test for Invalid: a single Invalid value goes in under the empty key.
    if (isExactly<PDLSetExpSingleValue>(*m_pSet))
    {
        // One value: the walk below without its two iterators on the heap.
        PDLVariant scratch;
        if (PDLVariant const* pValue =
                static_cast<PDLSetExpSingleValue const*>(m_pSet)->evaluateValue(scratch))
        {
            apply(*pValue);
        }
        return true;
    }
    PDLVariantIteratorCont const last = m_pSet->end();
    for (PDLVariantIteratorCont it = m_pSet->begin(); it != last; ++it)
    {
        apply(*it);
    }
    return true;
}

PDLCommandAddToSet::PDLCommandAddToSet(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet)
    : PDLCommandSetChange(pProtoVariable, pSet)
{
}

void PDLCommandAddToSet::apply(PDLVariant const& value)
{
    m_pVariable->addValue(value);
}

PDLCommandRemoveFromSet::PDLCommandRemoveFromSet(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet)
    : PDLCommandSetChange(pProtoVariable, pSet)
{
}

void PDLCommandRemoveFromSet::apply(PDLVariant const& value)
{
    m_pVariable->removeValue(value);
}

// ---------------------------------------------------------------------------------------------------
// Output, delay, unfold, exit

PDLCommandPrint::PDLCommandPrint(bool lineEnd, PDLExpressionList* pExpressions)
    : PDLCommand(true), m_pExpressions(pExpressions), m_lineEnd(lineEnd)
{
}

PDLCommandPrint::~PDLCommandPrint()
{
    delete m_pExpressions;
}

void PDLCommandPrint::onContextSet()
{
    bindToContext(m_pExpressions, m_pContext, m_noEventRegistration);
}

bool PDLCommandPrint::onExecute()
{
    setCurrent(this);
    if (m_pExpressions != nullptr)
    {
        for (PDLExpression const* pExpression : *m_pExpressions)
        {
            if (pExpression != nullptr)
            {
                pExpression->print();
            }
        }
    }
    if (m_lineEnd)
    {
        std::cout << std::endl;
    }
    return true;
}

PDLCommandDump::PDLCommandDump(PDLObject* pObject) : PDLCommand(true), m_pObject(pObject) {}

PDLCommandDump::~PDLCommandDump()
{
    delete m_pObject;
}

void PDLCommandDump::onContextSet()
{
    PDL_CHECK(m_pObject);
    bindToContext(m_pObject, m_pContext, m_noEventRegistration);
}

bool PDLCommandDump::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pObject))
    {
        return false;
    }
    m_pObject->dump();
    return true;
}

PDLCommandDelay::PDLCommandDelay(PDLExpression* pExpression) : PDLCommand(true), m_pExpression(pExpression) {}

PDLCommandDelay::~PDLCommandDelay()
{
    delete m_pExpression;
}

void PDLCommandDelay::onContextSet()
{
    PDL_CHECK(m_pExpression);
    PDL_CHECK(m_pContext);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandDelay::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pExpression))
    {
        return false;
    }
    // An Invalid or a text without digits gives 0: no sleep.
    rtk::Thread::mssleep(m_pExpression->evaluate(true).getInt());
    return true;
}

PDLCommandUnfold::PDLCommandUnfold(PDLExpressionList* pFunctionId)
    : PDLCommand(true), m_pFunctionId(pFunctionId)
{
}

PDLCommandUnfold::~PDLCommandUnfold()
{
    delete m_pFunctionId;
}

void PDLCommandUnfold::onContextSet()
{
    PDL_CHECK(m_pFunctionId);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
}

bool PDLCommandUnfold::onExecute()
{
    setCurrent(this);
    if (!PDL_CHECK(m_pFunctionId))
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (fid.getKind() == PDLVariant::eInvalid)
    {
        return true;
    }
    // The store outlives every module; it is missing only where it was never made.
    if (!PDLRunTimeInfo::checkPresent(PDLPanelState::hasInstance(), "PDLPanelState::getInstance()", __FILE__,
                                      __LINE__))
    {
        return true;
    }
    PDLPanelState::getInstance()->unfoldSID(fid.getString());
    return true;
}

PDLCommandExit::PDLCommandExit() : PDLCommand(true) {}

bool PDLCommandExit::onExecute()
{
    setCurrent(this);
    return false;
}

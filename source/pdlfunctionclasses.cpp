#include "pdlfunctionclasses.h"

#include "pdlcommandclasses.h"
#include "pdlmodule.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

#include <basekit/fidhelper.h>
#include <basekit/uniqueids.h>
#include <interfaces/ifunctionid.h>

namespace
{
void report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(level, text, file, line);
}

// The caller's widget number with the module position of the context in the upper bits.
uint32_t composeWidgetID(PDLContext const& context)
{
    return (context.getExecWidgetID() & 0xFFFFu) |
           ((static_cast<uint32_t>(context.getModuleID()) & 0xFFu) << 16) |
           ((static_cast<uint32_t>(context.getGroupID()) & 0x1Fu) << 24) |
           ((static_cast<uint32_t>(context.getWorkplaceID()) & 0x7u) << 29);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// PDLFunction

PDLFunction::PDLFunction(std::string const& name, PDLContext* pParent, PDLProtoVarVector* pParameters,
                         PDLVariableList* pLocals, PDLCodeBlock* pCode)
    : PDLContext(pParent, UniqueModuleID()), m_pFunctionCode(pCode), m_pCallingContext(nullptr), m_name(name),
      m_pLocalVariables(pLocals)
{
    if (pParameters != nullptr)
    {
        for (PDLProtoVariable* pProto : *pParameters)
        {
            PDLVariable* pVariable = nullptr;
            if (pProto != nullptr)
            {
                if (pProto->m_isArray && pProto->m_isSet)
                {
                    report(rtk::LogOutput::eLevelFatal, "arrays of sets are not supported yet", __FILE__,
                           __LINE__);
                }
                else if (pProto->m_isArray)
                {
                    pVariable =
                        new PDLVariableArray(eScopeLocal, "", pProto->m_name, pProto->m_generateEvents, false,
                                             pProto->m_isReference, false);
                }
                else if (pProto->m_isSet)
                {
                    pVariable = new PDLVariableSet(eScopeLocal, "", pProto->m_name, pProto->m_generateEvents,
                                                   false, pProto->m_isReference, false);
                }
                else
                {
                    pVariable =
                        new PDLVariableSimple(eScopeLocal, "", pProto->m_name, pProto->m_generateEvents,
                                              false, pProto->m_isReference, false);
                }
            }
            if (pVariable != nullptr)
            {
                // A name given twice keeps the first variable, which then stands at both positions.
                pVariable = getSymbolTable()->registerVariable(pVariable);
            }
            m_argVariables.push_back(pVariable);
            delete pProto;
        }
        delete pParameters;
    }
    if (m_pLocalVariables != nullptr)
    {
        getSymbolTable()->registerVariableList(m_pLocalVariables);
    }
}

PDLFunction::~PDLFunction()
{
    delete m_pFunctionCode;
    delete m_pLocalVariables;
}

void PDLFunction::registerForVariableEvent(std::string const& name, bool separateEvent)
{
    // The names wait for a call site, whose owner then registers for them.
    if (separateEvent)
    {
        m_separateEventVariables.insert(name);
    }
    else
    {
        m_eventVariables.insert(name);
    }
}

EScope PDLFunction::getScope() const
{
    return eScopeLocal;
}

PDLEvent const* PDLFunction::getCurrentEvent() const
{
    return m_pCallingContext != nullptr ? m_pCallingContext->getCurrentEvent() : nullptr;
}

uint32_t PDLFunction::getExecWidgetID() const
{
    if (!PDL_CHECK(m_pCallingContext))
    {
        return 0;
    }
    return m_pCallingContext->getExecWidgetID();
}

PDLWidget* PDLFunction::getWidget()
{
    return m_pCallingContext != nullptr ? m_pCallingContext->getWidget() : nullptr;
}

PDLSequence* PDLFunction::getSequence()
{
    return m_pCallingContext != nullptr ? m_pCallingContext->getSequence() : nullptr;
}

void PDLFunction::init()
{
    if (!PDL_CHECK(m_pFunctionCode))
    {
        return;
    }
    m_pFunctionCode->setContext(this, false);
}

void PDLFunction::reportParameterIndex()
{
    report(rtk::LogOutput::eLevelFatal, "index >= 0 && (size_t) index < m_argVariables.size()", __FILE__,
           __LINE__);
}

bool PDLFunction::execute(PDLContext* pCallingContext)
{
    bool const hasCode = PDL_CHECK(m_pFunctionCode);
    PDL_CHECK(pCallingContext);
    PDLContext* const pSaved = m_pCallingContext;
    m_pCallingContext = pCallingContext;
    // Without a body there is nothing to run; the caller stops as after a failed check.
    bool const result = hasCode ? m_pFunctionCode->execute() : false;
    m_pCallingContext = pSaved;
    return result;
}

// ---------------------------------------------------------------------------------------------------
// PDLCommandFunctionCall

namespace
{
// The argument's getExpressionVariable; the usual argument class is called directly.
PDLVariableDescription describeArgument(PDLBaseExpression const& argument)
{
    if (isExactly<PDLExpressionFunctionId>(argument))
    {
        return static_cast<PDLExpressionFunctionId const&>(argument)
            .PDLExpressionFunctionId::getExpressionVariable();
    }
    return argument.getExpressionVariable();
}

// A function id of one variable read without index: describing it evaluates nothing.
bool isLoneVariable(PDLBaseExpression const& argument)
{
    return isExactly<PDLExpressionFunctionId>(argument) &&
           static_cast<PDLExpressionFunctionId const&>(argument).isLoneVariable();
}

// The variable an argument names, as its description gives it; a lone variable's without building
// the description.
PDLVariable* argumentVariable(PDLBaseExpression const& argument)
{
    if (isLoneVariable(argument))
    {
        return static_cast<PDLExpressionFunctionId const&>(argument).getLoneVariable();
    }
    return describeArgument(argument).m_pVariable;
}
} // namespace

PDLCommandFunctionCall::PDLCommandFunctionCall(std::string const& functionName, PDLArgumentList* pArguments)
    : PDLCommand(true), m_functionName(functionName), m_pArguments(pArguments), m_pFunction(nullptr)
{
}

PDLCommandFunctionCall::~PDLCommandFunctionCall()
{
    delete m_pArguments;
}

void PDLCommandFunctionCall::onContextSet()
{
    m_pFunction = nullptr;
    PDL_CHECK(m_pContext);
    bindToContext(m_pArguments, m_pContext, m_noEventRegistration);
    if (m_pContext == nullptr)
    {
        return;
    }

    PDLModule* pModule = m_pContext->getModule();
    if (!PDL_CHECK(pModule))
    {
        return;
    }
    m_pFunction = pModule->getFunction(m_functionName);
    if (m_pFunction == nullptr)
    {
        report(rtk::LogOutput::eLevelError, "Function \"" + m_functionName + "\" not found", __FILE__,
               __LINE__);
        return;
    }

    // What the body reads wakes the owner of the call site. Copies: a call of the function from its
    // own body registers with the function itself while the names are walked.
    if (!m_noEventRegistration)
    {
        std::set<std::string> const grouped = m_pFunction->getEventVariables();
        for (std::string const& name : grouped)
        {
            m_pContext->getVariable(name, true, false);
        }
        std::set<std::string> const separate = m_pFunction->getSeparateEventVariables();
        for (std::string const& name : separate)
        {
            m_pContext->getVariable(name, true, true);
        }
    }

    size_t const parameterCount = m_pFunction->getParameterCount();
    if ((m_pArguments == nullptr && parameterCount != 0) ||
        (m_pArguments != nullptr && m_pArguments->size() != parameterCount))
    {
        report(rtk::LogOutput::eLevelError, "argument count mismatch", __FILE__, __LINE__);
        return;
    }
    if (m_pArguments == nullptr)
    {
        return;
    }
    int position = 0;
    for (PDLBaseExpression* pArgument : *m_pArguments)
    {
        PDLVariable* pParameter = m_pFunction->getParameterVariable(position);
        if (pParameter != nullptr && pArgument != nullptr &&
            static_cast<int32_t>(pArgument->getType()) !=
                static_cast<int32_t>(pParameter->getContainerType()))
        {
            report(rtk::LogOutput::eLevelError,
                   "container type mismatch for argument " + std::to_string(position), __FILE__, __LINE__);
        }
        ++position;
    }
}

bool PDLCommandFunctionCall::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDLRunTimeInfo::checkPresent(m_pFunction != nullptr, "(m_pFunction)", __FILE__, __LINE__) ||
        !PDL_CHECK(m_pContext))
    {
        return false;
    }

    // A recursive call works on a fresh copy of the table: the body is bound to it anew.
    if (m_pFunction->pushSymbolTable())
    {
        m_pFunction->init();
    }

    // Copy in. The parameter variables are those made with the function, in the bottom table: in a
    // recursive call they belong to the outer activation, while the rebound body reads the fresh copy,
    // whose parameters are Invalid. Data for a recursive call goes through variables of wider scope.
    if (m_pArguments != nullptr)
    {
        int position = 0;
        for (PDLBaseExpression* pArgument : *m_pArguments)
        {
            PDLVariable* pParameter = m_pFunction->getParameterVariable(position++);
            if (pParameter == nullptr || !PDL_CHECK(pArgument))
            {
                continue;
            }
            PDLVariable* const pArgumentVariable = argumentVariable(*pArgument);
            if (pArgumentVariable != nullptr && pArgumentVariable->getTypeName() != pParameter->getTypeName())
            {
                // A parameter has the type of its argument, so mapped reads work on it.
                pParameter->setTypeName(pArgumentVariable->getTypeName());
            }
            switch (pParameter->getContainerType())
            {
            case PDLVariable::eContainerSimple:
            {
                // The usual argument, a lone variable or value, without the cost of a dynamic_cast.
                auto* pExpr = isExactly<PDLExpressionFunctionId>(*pArgument)
                                  ? static_cast<PDLExpression*>(pArgument)
                                  : dynamic_cast<PDLExpression*>(pArgument);
                if (!PDL_CHECK(pExpr))
                {
                    return false;
                }
                PDLVariant scratch;
                PDLVariant const& value = evaluateOperand(*pExpr, false, scratch);
                if (isExactly<PDLVariableSimple>(*pParameter))
                {
                    static_cast<PDLVariableSimple*>(pParameter)->PDLVariableSimple::setValue(value);
                }
                else
                {
                    pParameter->setValue(value);
                }
                break;
            }
            case PDLVariable::eContainerSet:
            {
                auto* pSetExp = dynamic_cast<PDLSetExp*>(pArgument);
                if (!PDL_CHECK(pSetExp))
                {
                    return false;
                }
                pParameter->clearAllValues();
                PDLVariantIteratorCont const last = pSetExp->end();
                for (PDLVariantIteratorCont it = pSetExp->begin(); it != last; ++it)
                {
                    pParameter->addValue(*it);
                }
                break;
            }
            case PDLVariable::eContainerArray:
            {
                PDLVariable* pExprVar = pArgumentVariable;
                if (!PDL_CHECK(pExprVar))
                {
                    return false;
                }
                PDLVariableDescription target(pParameter, "");
                if (!pExprVar->copyTo(target))
                {
                    report(rtk::LogOutput::eLevelError, "copy failed", __FILE__, __LINE__);
                }
                break;
            }
            }
            // Only what the body changes counts for the copy back.
            pParameter->clearChangeFlag();
        }
    }

    // The outermost caller stays the calling context down any depth of calls. The body's result is
    // dropped: an exit ends the function only.
    // Calls come from widgets, sequences and functions; only an unusual context needs the dynamic_cast.
    PDLFunction* pCallingFunction = nullptr;
    if (isExactly<PDLFunction>(*m_pContext))
    {
        pCallingFunction = static_cast<PDLFunction*>(m_pContext);
    }
    else if (!isExactly<PDLWidget>(*m_pContext) && !isExactly<PDLSequence>(*m_pContext))
    {
        pCallingFunction = dynamic_cast<PDLFunction*>(m_pContext);
    }
    m_pFunction->execute(pCallingFunction != nullptr ? pCallingFunction->getCallingContext() : m_pContext);

    // Copy out the REF parameters the body changed.
    if (m_pArguments != nullptr)
    {
        int position = 0;
        for (PDLBaseExpression* pArgument : *m_pArguments)
        {
            PDLVariable* pParameter = m_pFunction->getParameterVariable(position++);
            if (pParameter == nullptr || pArgument == nullptr)
            {
                continue;
            }
            bool const copyBack = pParameter->isReference() && pParameter->isChanged();
            // The argument is described again for every parameter; when nothing is copied back and the
            // description cannot report anything (a lone variable without index), it is left out.
            if (!copyBack && isLoneVariable(*pArgument))
            {
                continue;
            }
            PDLVariableDescription place = describeArgument(*pArgument);
            if (copyBack && !pParameter->copyTo(place))
            {
                report(rtk::LogOutput::eLevelError, "copy failed", __FILE__, __LINE__);
            }
        }
    }

    if (m_pFunction->popSymbolTable())
    {
        m_pFunction->init();
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------
// Driver calls

PDLParameter::PDLParameter(PDLExpression* pName, PDLExpression* pValue) : m_pName(pName), m_pValue(pValue) {}

PDLParameter::~PDLParameter()
{
    delete m_pName;
    delete m_pValue;
}

void PDLParameter::onContextSet()
{
    bindToContext(m_pName, m_pContext, m_noEventRegistration);
    bindToContext(m_pValue, m_pContext, m_noEventRegistration);
}

PDLVariant PDLParameter::getName() const
{
    if (!PDL_CHECK(m_pName))
    {
        return PDLVariant();
    }
    return m_pName->evaluate(true);
}

PDLVariant PDLParameter::getValue() const
{
    if (!PDL_CHECK(m_pValue))
    {
        return PDLVariant();
    }
    return m_pValue->evaluate(true);
}

PDLParameterList::PDLParameterList() {}

PDLParameterList::~PDLParameterList()
{
    for (PDLParameter* pParameter : *this)
    {
        delete pParameter;
    }
}

void PDLParameterList::setContext(PDLContext* pContext, bool noEventRegistration)
{
    for (PDLParameter* pParameter : *this)
    {
        bindToContext(pParameter, pContext, noEventRegistration);
    }
}

PDLCommandCall::PDLCommandCall(PDLExpressionList* pFunctionId, PDLParameterList* pParameters)
    : PDLCommand(true), m_pFunctionId(pFunctionId), m_pParameters(pParameters), m_pFIDReceiver(nullptr)
{
}

PDLCommandCall::~PDLCommandCall()
{
    delete m_pFunctionId;
    delete m_pParameters;
}

void PDLCommandCall::onContextSet()
{
    PDL_CHECK(m_pFunctionId);
    PDL_CHECK(m_pParameters);
    PDL_CHECK(m_pContext);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
    bindToContext(m_pParameters, m_pContext, m_noEventRegistration);
    m_pFIDReceiver = m_pContext != nullptr ? m_pContext->getFunctionIDInterface() : nullptr;
}

bool PDLCommandCall::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pContext) || !PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pParameters) ||
        !PDL_CHECK(m_pFIDReceiver))
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (fid.getKind() == PDLVariant::eInvalid)
    {
        return true;
    }

    FIDParameterList parameters;
    parameters.setWidgetID(UniqueWidgetID(composeWidgetID(*m_pContext)));
    for (PDLParameter* pParameter : *m_pParameters)
    {
        if (!PDL_CHECK(pParameter))
        {
            continue;
        }
        PDLVariant const name = pParameter->getName();
        PDLVariant const value = pParameter->getValue();
        // A parameter without a name or a value is left out.
        if (name.getKind() != PDLVariant::eInvalid && value.getKind() != PDLVariant::eInvalid)
        {
            parameters.add(name.getString(), value.getString());
        }
    }
    m_pFIDReceiver->callFunctionID(fid.getString(), parameters);
    return true;
}

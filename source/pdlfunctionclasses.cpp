#include "pdlfunctionclasses.h"

#include "pdlcommandclasses.h"
#include "pdltypeclasses.h"

// Minimal form: holds and frees what the parser hands over; calls come with the function engine.

PDLFunction::PDLFunction(std::string const& name, PDLContext* pParent, PDLProtoVarVector* pParameters,
                         PDLVariableList* pLocals, PDLCodeBlock* pCode)
    : PDLContext(pParent, UniqueModuleID()), m_pFunctionCode(pCode), m_pCallingContext(nullptr), m_name(name),
      m_pLocalVariables(pLocals)
{
    if (pParameters != nullptr)
    {
        for (PDLProtoVariable* pProto : *pParameters)
        {
            delete pProto;
        }
        delete pParameters;
    }
}

PDLFunction::~PDLFunction()
{
    delete m_pLocalVariables;
    delete m_pFunctionCode;
}

void PDLFunction::registerForVariableEvent(std::string const& /*name*/, bool /*separateEvent*/) {}

EScope PDLFunction::getScope() const
{
    return eScopeLocal;
}

PDLEvent const* PDLFunction::getCurrentEvent() const
{
    return nullptr;
}

uint32_t PDLFunction::getExecWidgetID() const
{
    return 0;
}

PDLWidget* PDLFunction::getWidget()
{
    return nullptr;
}

PDLSequence* PDLFunction::getSequence()
{
    return nullptr;
}

void PDLFunction::init() {}

PDLVariable* PDLFunction::getParameterVariable(int /*index*/)
{
    return nullptr;
}

bool PDLFunction::execute(PDLContext* /*pCallingContext*/)
{
    return true;
}

PDLCommandFunctionCall::PDLCommandFunctionCall(std::string const& functionName, PDLArgumentList* pArguments)
    : PDLCommand(true), m_functionName(functionName), m_pArguments(pArguments), m_pFunction(nullptr)
{
}

PDLCommandFunctionCall::~PDLCommandFunctionCall()
{
    delete m_pArguments;
}

void PDLCommandFunctionCall::onContextSet() {}

bool PDLCommandFunctionCall::onExecute()
{
    return true;
}

PDLParameter::PDLParameter(PDLExpression* pName, PDLExpression* pValue) : m_pName(pName), m_pValue(pValue) {}

PDLParameter::~PDLParameter()
{
    delete m_pName;
    delete m_pValue;
}

void PDLParameter::onContextSet() {}

PDLVariant PDLParameter::getName() const
{
    return PDLVariant();
}

PDLVariant PDLParameter::getValue() const
{
    return PDLVariant();
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
        pParameter->setContext(pContext, noEventRegistration);
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

void PDLCommandCall::onContextSet() {}

bool PDLCommandCall::onExecute()
{
    return true;
}

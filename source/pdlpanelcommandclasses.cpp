#include "pdlpanelcommandclasses.h"

// Minimal form: holds and frees what the parser hands over; the effects come with the panel command
// engine.

PDLCommandConnect::PDLCommandConnect(std::string const& attribute, PDLExpressionList* pFunctionId)
    : PDLCommand(true), m_pWidgetId(nullptr), m_pFunctionId(pFunctionId), m_attribute(attribute)
{
}

PDLCommandConnect::PDLCommandConnect(PDLExpression* pWidgetId, std::string const& attribute,
                                     PDLExpressionList* pFunctionId)
    : PDLCommand(true), m_pWidgetId(pWidgetId), m_pFunctionId(pFunctionId), m_attribute(attribute)
{
}

PDLCommandConnect::~PDLCommandConnect()
{
    delete m_pWidgetId;
    delete m_pFunctionId;
}

void PDLCommandConnect::onContextSet() {}

bool PDLCommandConnect::onExecute()
{
    return true;
}

PDLCommandScaledConnect::PDLCommandScaledConnect(std::string const& variableName,
                                                 std::string const& attribute, PDLExpressionList* pFunctionId)
    : PDLCommandConnect(attribute, pFunctionId), m_variableName(variableName), m_pVariable(nullptr)
{
}

PDLCommandScaledConnect::PDLCommandScaledConnect(PDLExpression* pWidgetId, std::string const& variableName,
                                                 std::string const& attribute, PDLExpressionList* pFunctionId)
    : PDLCommandConnect(pWidgetId, attribute, pFunctionId), m_variableName(variableName), m_pVariable(nullptr)
{
}

void PDLCommandScaledConnect::onContextSet() {}

bool PDLCommandScaledConnect::onExecute()
{
    return true;
}

PDLCommandSetAttribute::PDLCommandSetAttribute(std::string const& attribute, PDLExpression* pExpression)
    : PDLCommand(true), m_pWidgetId(nullptr), m_pExpression(pExpression), m_attribute(attribute)
{
}

PDLCommandSetAttribute::PDLCommandSetAttribute(PDLExpression* pWidgetId, std::string const& attribute,
                                               PDLExpression* pExpression)
    : PDLCommand(true), m_pWidgetId(pWidgetId), m_pExpression(pExpression), m_attribute(attribute)
{
}

PDLCommandSetAttribute::~PDLCommandSetAttribute()
{
    delete m_pWidgetId;
    delete m_pExpression;
}

void PDLCommandSetAttribute::onContextSet() {}

bool PDLCommandSetAttribute::onExecute()
{
    return true;
}

PDLCommandTrigger::PDLCommandTrigger(std::string const& event, PDLExpression* pExpression)
    : PDLCommand(true), m_pWidgetId(nullptr), m_pExpression(pExpression), m_event(event)
{
}

PDLCommandTrigger::PDLCommandTrigger(PDLExpression* pWidgetId, std::string const& event,
                                     PDLExpression* pExpression)
    : PDLCommand(true), m_pWidgetId(pWidgetId), m_pExpression(pExpression), m_event(event)
{
}

PDLCommandTrigger::~PDLCommandTrigger()
{
    delete m_pWidgetId;
    delete m_pExpression;
}

void PDLCommandTrigger::onContextSet() {}

bool PDLCommandTrigger::onExecute()
{
    return true;
}

PDLCommandSetState::PDLCommandSetState(PDLExpressionList* pFunctionId, PDLExpression* pExpression)
    : PDLCommand(true), m_pFunctionId(pFunctionId), m_pExpression(pExpression)
{
}

PDLCommandSetState::~PDLCommandSetState()
{
    delete m_pFunctionId;
    delete m_pExpression;
}

void PDLCommandSetState::onContextSet() {}

bool PDLCommandSetState::onExecute()
{
    return true;
}

PDLCommandSendEvent::PDLCommandSendEvent(PDLExpressionList* pFunctionId, PDLExpression* pExpression)
    : PDLCommand(true), m_pFunctionId(pFunctionId), m_pExpression(pExpression)
{
}

PDLCommandSendEvent::~PDLCommandSendEvent()
{
    delete m_pFunctionId;
    delete m_pExpression;
}

void PDLCommandSendEvent::onContextSet() {}

bool PDLCommandSendEvent::onExecute()
{
    return true;
}

PDLCommandSubscribe::PDLCommandSubscribe(PDLExpressionList* pFunctionId)
    : PDLCommand(true), m_pFunctionId(pFunctionId), m_pFIDReceiver(nullptr)
{
}

PDLCommandSubscribe::~PDLCommandSubscribe()
{
    delete m_pFunctionId;
}

void PDLCommandSubscribe::onContextSet() {}

bool PDLCommandSubscribe::onExecute()
{
    return true;
}

PDLCommandGetScale::PDLCommandGetScale(PDLExpressionList* pFunctionId, std::string const& variableName)
    : PDLCommand(true), m_variableName(variableName), m_pFunctionId(pFunctionId), m_pVariable(nullptr)
{
}

PDLCommandGetScale::~PDLCommandGetScale()
{
    delete m_pFunctionId;
}

void PDLCommandGetScale::onContextSet() {}

bool PDLCommandGetScale::onExecute()
{
    return true;
}

#include "pdlpanelcommandclasses.h"

#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"
#include "pdlscaler.h"
#include "pdltypeclasses.h"

#include <basekit/uniqueids.h>
#include <interfaces/ifunctionid.h>

namespace
{

bool isInvalid(PDLVariant const& value)
{
    return value.getKind() == PDLVariant::eInvalid;
}

bool checkPanelState()
{
    return PDLRunTimeInfo::checkPresent(PDLPanelState::hasInstance(), "PDLPanelState::getInstance()",
                                        __FILE__, __LINE__);
}

// The scaler that the state names at fid + ".TYPE", with its parameters still to be set; null when
// the entry is Invalid or names no known scaler.
PDLScaler* createStateScaler(std::string const& fid)
{
    PDLVariant const type = PDLPanelState::getInstance()->getValue(fid + ".TYPE", false);
    return isInvalid(type) ? nullptr : PDLScaler::create(type.getString());
}

// The physical widget a command addresses: the number of pWidgetId, or without one the widget that
// owns the running code, placed in the module of the context. Sets pWidget null and returns true when
// the number is Invalid (nothing to do); returns false when the widget cannot be had.
bool findTargetWidget(PDLContext* pContext, PDLExpression* pWidgetId, PDLPhysicalWidget*& pWidget)
{
    pWidget = nullptr;
    uint32_t number = 0;
    if (pWidgetId != nullptr)
    {
        PDLVariant const value = pWidgetId->evaluate(true);
        if (isInvalid(value))
        {
            return true;
        }
        number = static_cast<uint32_t>(value.getInt());
    }
    else
    {
        number = pContext->getExecWidgetID();
    }
    uint32_t const id = (number & 0xFFFFu) |
                        ((static_cast<uint32_t>(pContext->getModuleID()) & 0xFFu) << 16) |
                        ((static_cast<uint32_t>(pContext->getGroupID()) & 0x1Fu) << 24) |
                        ((static_cast<uint32_t>(pContext->getWorkplaceID()) & 0x7u) << 29);
    if (PDLPhysicalWidgetManager::hasInstance())
    {
        pWidget = PDLPhysicalWidgetManager::getInstance()->getWidget(UniqueWidgetID(id));
    }
    return PDL_CHECK(pWidget);
}
} // namespace

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

void PDLCommandConnect::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pFunctionId);
    bindToContext(m_pWidgetId, m_pContext, m_noEventRegistration);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
}

bool PDLCommandConnect::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pContext) || !checkPanelState())
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return true;
    }
    PDLPhysicalWidget* pWidget = nullptr;
    if (!findTargetWidget(m_pContext, m_pWidgetId, pWidget))
    {
        return false;
    }
    if (pWidget == nullptr)
    {
        return true;
    }
    // Without a scaler named below the id, the attribute's former scaler is cleared.
    PDLScaler* pScaler = createStateScaler(fid.getString());
    if (pScaler != nullptr)
    {
        pScaler->setParameters(fid.getString());
    }
    pWidget->setScaler(m_attribute, pScaler);
    pWidget->connect(m_attribute, fid.getString());
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

void PDLCommandScaledConnect::onContextSet()
{
    m_pVariable = getVariable(m_variableName, true);
    PDLCommandConnect::onContextSet();
}

bool PDLCommandScaledConnect::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pContext))
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return true;
    }
    PDLPhysicalWidget* pWidget = nullptr;
    if (!findTargetWidget(m_pContext, m_pWidgetId, pWidget))
    {
        return false;
    }
    if (pWidget == nullptr)
    {
        return true;
    }
    if (m_pVariable != nullptr)
    {
        PDLVariant const type = m_pVariable->getValueAtIndex(PDLVariant("TYPE"), "", false);
        // An Invalid type reads as the empty text, which names no scaler.
        PDLScaler* pScaler = PDLScaler::create(isInvalid(type) ? std::string() : type.getString());
        if (pScaler != nullptr)
        {
            pScaler->setParameters(m_pVariable);
        }
        pWidget->setScaler(m_attribute, pScaler);
    }
    pWidget->connect(m_attribute, fid.getString());
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

void PDLCommandSetAttribute::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pExpression);
    bindToContext(m_pWidgetId, m_pContext, m_noEventRegistration);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandSetAttribute::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pExpression) || !PDL_CHECK(m_pContext))
    {
        return false;
    }
    PDLVariant const value = m_pExpression->evaluate(true);
    if (isInvalid(value))
    {
        return true;
    }
    PDLPhysicalWidget* pWidget = nullptr;
    if (!findTargetWidget(m_pContext, m_pWidgetId, pWidget))
    {
        return false;
    }
    if (pWidget != nullptr)
    {
        pWidget->setAttributeValue(m_attribute, value);
    }
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

void PDLCommandTrigger::onContextSet()
{
    PDL_CHECK(m_pContext);
    bindToContext(m_pWidgetId, m_pContext, m_noEventRegistration);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandTrigger::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pContext))
    {
        return false;
    }
    std::string parameter;
    if (m_pExpression != nullptr)
    {
        PDLVariant const value = m_pExpression->evaluate(true);
        if (isInvalid(value))
        {
            return true;
        }
        parameter = value.getString();
    }
    PDLPhysicalWidget* pWidget = nullptr;
    if (!findTargetWidget(m_pContext, m_pWidgetId, pWidget))
    {
        return false;
    }
    if (pWidget != nullptr)
    {
        pWidget->trigger(m_event, parameter);
    }
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

void PDLCommandSetState::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pFunctionId);
    PDL_CHECK(m_pExpression);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandSetState::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pContext) || !PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pExpression) ||
        !checkPanelState())
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return true;
    }
    // An Invalid value is written as such: it makes the state entry Invalid.
    PDLPanelState::getInstance()->setValue(fid.getString(), m_pExpression->evaluate(false));
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

void PDLCommandSendEvent::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pFunctionId);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

bool PDLCommandSendEvent::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pContext) || !PDL_CHECK(m_pFunctionId) || !checkPanelState())
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return true;
    }
    std::string const parameter = m_pExpression != nullptr ? m_pExpression->evaluate(false).getString() : "";
    PDLPanelState::getInstance()->triggerMFDriverEvent(fid.getString(), parameter);
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

void PDLCommandSubscribe::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pFunctionId);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
    m_pFIDReceiver = m_pContext != nullptr ? m_pContext->getFunctionIDInterface() : nullptr;
}

bool PDLCommandSubscribe::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pFIDReceiver))
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (!isInvalid(fid))
    {
        m_pFIDReceiver->subscribeFunctionID(fid.getString());
    }
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

void PDLCommandGetScale::onContextSet()
{
    PDL_CHECK(m_pContext);
    PDL_CHECK(m_pFunctionId);
    bindToContext(m_pFunctionId, m_pContext, m_noEventRegistration);
    // An unknown name is reported by the lookup ("undeclared variable ").
    m_pVariable = getVariable(m_variableName, false);
}

bool PDLCommandGetScale::onExecute()
{
    PDLRunTimeInfo::s_pCurrentObject = this;
    if (!PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pVariable) || !checkPanelState())
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return true;
    }
    PDLScaler* pScaler = createStateScaler(fid.getString());
    if (pScaler == nullptr)
    {
        // For an array the elements become Invalid and the keys stay.
        m_pVariable->setInvalid();
        return true;
    }
    pScaler->setParameters(fid.getString(), m_pVariable);
    delete pScaler;
    return true;
}

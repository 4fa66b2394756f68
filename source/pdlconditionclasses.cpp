#include "pdlconditionclasses.h"

#include "pdleventmanager.h"
#include "pdlsequenceclasses.h"
#include "pdlsymboltable.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

namespace
{
void reportFatal(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, text, file, line);
}

bool isInvalid(PDLVariant const& value)
{
    return value.getKind() == PDLVariant::eInvalid;
}

void setCurrent(PDLCondition const* pCondition)
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLCondition*>(pCondition);
}
} // namespace

PDLCondition::PDLCondition() {}

PDLCondition::~PDLCondition() {}

bool PDLConditionTrue::evaluate() const
{
    setCurrent(this);
    return true;
}

bool PDLConditionFalse::evaluate() const
{
    setCurrent(this);
    return false;
}

// ---------------------------------------------------------------------------------------------------
// Logic

PDLConditionAnd::PDLConditionAnd(PDLCondition* pLeft, PDLCondition* pRight)
    : m_pLeftCondition(pLeft), m_pRightCondition(pRight)
{
}

PDLConditionAnd::~PDLConditionAnd()
{
    delete m_pLeftCondition;
    delete m_pRightCondition;
}

void PDLConditionAnd::onContextSet()
{
    PDL_CHECK(m_pLeftCondition);
    PDL_CHECK(m_pRightCondition);
    bindToContext(m_pLeftCondition, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightCondition, m_pContext, m_noEventRegistration);
}

bool PDLConditionAnd::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pLeftCondition) || !PDL_CHECK(m_pRightCondition))
    {
        return false;
    }
    // Both sides run, for their side effects.
    bool const left = m_pLeftCondition->evaluate();
    bool const right = m_pRightCondition->evaluate();
    return left && right;
}

PDLConditionOr::PDLConditionOr(PDLCondition* pLeft, PDLCondition* pRight)
    : m_pLeftCondition(pLeft), m_pRightCondition(pRight)
{
}

PDLConditionOr::~PDLConditionOr()
{
    delete m_pLeftCondition;
    delete m_pRightCondition;
}

void PDLConditionOr::onContextSet()
{
    PDL_CHECK(m_pLeftCondition);
    PDL_CHECK(m_pRightCondition);
    bindToContext(m_pLeftCondition, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightCondition, m_pContext, m_noEventRegistration);
}

bool PDLConditionOr::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pLeftCondition) || !PDL_CHECK(m_pRightCondition))
    {
        return false;
    }
    bool const left = m_pLeftCondition->evaluate();
    bool const right = m_pRightCondition->evaluate();
    return left || right;
}

PDLConditionNot::PDLConditionNot(PDLCondition* pCondition) : m_pCondition(pCondition) {}

PDLConditionNot::~PDLConditionNot()
{
    delete m_pCondition;
}

void PDLConditionNot::onContextSet()
{
    if (PDL_CHECK(m_pCondition))
    {
        m_pCondition->setContext(m_pContext, m_noEventRegistration);
    }
}

bool PDLConditionNot::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pCondition))
    {
        return false;
    }
    return !m_pCondition->evaluate();
}

// ---------------------------------------------------------------------------------------------------
// Comparisons

PDLConditionEq::PDLConditionEq(PDLExpression* pLeft, PDLExpression* pRight)
    : m_pLeftExpression(pLeft), m_pRightExpression(pRight)
{
}

PDLConditionEq::~PDLConditionEq()
{
    delete m_pLeftExpression;
    delete m_pRightExpression;
}

void PDLConditionEq::onContextSet()
{
    PDL_CHECK(m_pLeftExpression);
    PDL_CHECK(m_pRightExpression);
    bindToContext(m_pLeftExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightExpression, m_pContext, m_noEventRegistration);
}

bool PDLConditionEq::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pLeftExpression) || !PDL_CHECK(m_pRightExpression))
    {
        return false;
    }
    PDLVariant leftScratch;
    PDLVariant const& left = evaluateOperand(*m_pLeftExpression, true, leftScratch);
    PDLVariant rightScratch;
    PDLVariant const& right = evaluateOperand(*m_pRightExpression, true, rightScratch);
    // Invalid is not equal to anything, not even to Invalid.
    return !isInvalid(left) && !isInvalid(right) && left == right;
}

PDLConditionNEq::PDLConditionNEq(PDLExpression* pLeft, PDLExpression* pRight)
    : m_pLeftExpression(pLeft), m_pRightExpression(pRight)
{
}

PDLConditionNEq::~PDLConditionNEq()
{
    delete m_pLeftExpression;
    delete m_pRightExpression;
}

void PDLConditionNEq::onContextSet()
{
    PDL_CHECK(m_pLeftExpression);
    PDL_CHECK(m_pRightExpression);
    bindToContext(m_pLeftExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightExpression, m_pContext, m_noEventRegistration);
}

bool PDLConditionNEq::evaluate() const
{
    setCurrent(this);
    // The grammar always gives both sides; binding has reported a missing one already.
    if (m_pLeftExpression == nullptr || m_pRightExpression == nullptr)
    {
        return false;
    }
    PDLVariant leftScratch;
    PDLVariant const& left = evaluateOperand(*m_pLeftExpression, true, leftScratch);
    PDLVariant rightScratch;
    PDLVariant const& right = evaluateOperand(*m_pRightExpression, true, rightScratch);
    return !isInvalid(left) && !isInvalid(right) && !(left == right);
}

PDLConditionNumCompare::PDLConditionNumCompare(ECompare compare, PDLExpression* pLeft, PDLExpression* pRight)
    : m_compare(compare), m_pLeftExpression(pLeft), m_pRightExpression(pRight)
{
}

PDLConditionNumCompare::~PDLConditionNumCompare()
{
    delete m_pLeftExpression;
    delete m_pRightExpression;
}

void PDLConditionNumCompare::onContextSet()
{
    PDL_CHECK(m_pLeftExpression);
    PDL_CHECK(m_pRightExpression);
    bindToContext(m_pLeftExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightExpression, m_pContext, m_noEventRegistration);
}

bool PDLConditionNumCompare::evaluate() const
{
    setCurrent(this);
    // The grammar always gives both sides; binding has reported a missing one already.
    if (m_pLeftExpression == nullptr || m_pRightExpression == nullptr)
    {
        return false;
    }
    PDLVariant leftScratch;
    PDLVariant const& leftValue = evaluateOperand(*m_pLeftExpression, true, leftScratch);
    PDLVariant rightScratch;
    PDLVariant const& rightValue = evaluateOperand(*m_pRightExpression, true, rightScratch);
    // Unlike equality, a comparison with an Invalid holds.
    if (isInvalid(leftValue) || isInvalid(rightValue))
    {
        return true;
    }
    float const left = leftValue.getFloat();
    float const right = rightValue.getFloat();
    switch (m_compare)
    {
    case kEqual:
        return left == right;
    case kLess:
        return left < right;
    case kLessEqual:
        return left <= right;
    case kGreater:
        return left > right;
    case kGreaterEqual:
        return left >= right;
    default:
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "Illegal comparison operator !", __FILE__,
                               __LINE__);
        return false;
    }
}

// ---------------------------------------------------------------------------------------------------
// Sets and validity

PDLConditionIn::PDLConditionIn(PDLExpression* pExpression, PDLSetExp* pSet)
    : m_pExpression(pExpression), m_pSet(pSet)
{
}

PDLConditionIn::~PDLConditionIn()
{
    delete m_pExpression;
    delete m_pSet;
}

void PDLConditionIn::onContextSet()
{
    PDL_CHECK(m_pExpression);
    PDL_CHECK(m_pSet);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pSet, m_pContext, m_noEventRegistration);
}

bool PDLConditionIn::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pExpression) || !PDL_CHECK(m_pSet))
    {
        return false;
    }
    PDLVariant scratch;
    return m_pSet->isElement(m_pExpression->evaluateRef(true, scratch));
}

PDLConditionSetEq::PDLConditionSetEq(PDLSetExp* pLeft, PDLSetExp* pRight)
    : m_pLeftSetExp(pLeft), m_pRightSetExp(pRight)
{
}

PDLConditionSetEq::~PDLConditionSetEq()
{
    delete m_pLeftSetExp;
    delete m_pRightSetExp;
}

void PDLConditionSetEq::onContextSet()
{
    PDL_CHECK(m_pLeftSetExp);
    PDL_CHECK(m_pRightSetExp);
    bindToContext(m_pLeftSetExp, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightSetExp, m_pContext, m_noEventRegistration);
}

bool PDLConditionSetEq::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pLeftSetExp) || !PDL_CHECK(m_pRightSetExp))
    {
        return false;
    }
    if (m_pLeftSetExp->getCount() != m_pRightSetExp->getCount())
    {
        return false;
    }
    // Equal counts and containment one way: duplicates are not looked at further.
    PDLVariantIteratorCont const last = m_pLeftSetExp->end();
    for (PDLVariantIteratorCont it = m_pLeftSetExp->begin(); it != last; ++it)
    {
        if (!m_pRightSetExp->isElement(*it))
        {
            return false;
        }
    }
    return true;
}

PDLConditionIsValid::PDLConditionIsValid(PDLExpression* pExpression) : m_pExpression(pExpression) {}

PDLConditionIsValid::~PDLConditionIsValid()
{
    delete m_pExpression;
}

void PDLConditionIsValid::onContextSet()
{
    if (PDL_CHECK(m_pExpression))
    {
        m_pExpression->setContext(m_pContext, m_noEventRegistration);
    }
}

bool PDLConditionIsValid::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pExpression))
    {
        return false;
    }
    // Asking for validity is no reason to warn about an invalid read.
    PDLVariant scratch;
    return !isInvalid(m_pExpression->evaluateRef(false, scratch));
}

PDLConditionAssign::PDLConditionAssign(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet)
    : m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pVariable(nullptr), m_pSet(pSet)
{
}

PDLConditionAssign::~PDLConditionAssign()
{
    PDLProtoVariable::release(m_pProtoVariable);
    delete m_pSet;
}

void PDLConditionAssign::onContextSet()
{
    // The variable is only tested and typed here: its changes do not concern the owner.
    if (PDL_CHECK(m_pProtoVariable))
    {
        m_pVariable = getVariable(m_pProtoVariable->m_name, false);
    }
    if (PDL_CHECK(m_pSet))
    {
        m_pSet->setContext(m_pContext, m_noEventRegistration);
    }
}

bool PDLConditionAssign::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pProtoVariable) || !PDL_CHECK(m_pContext) || !PDL_CHECK(m_pVariable) ||
        !PDL_CHECK(m_pSet))
    {
        return false;
    }
    PDLVariant value;
    if (m_pProtoVariable->m_pIndex != nullptr)
    {
        // The index expression is not bound here; it must need no context.
        PDLVariant const index = m_pProtoVariable->m_pIndex->evaluate(true);
        value = m_pVariable->getValueAtIndex(index, "", true);
    }
    else
    {
        value = m_pVariable->getValue("", true);
    }
    if (!m_pSet->isElement(value))
    {
        return false;
    }
    m_pVariable->setTypeName(m_pSet->getTypeName());
    return true;
}

// ---------------------------------------------------------------------------------------------------
// Events

PDLConditionEvent::PDLConditionEvent(PDLExpressionList* pFunctionId)
    : m_pFunctionId(pFunctionId), m_pSequence(nullptr)
{
}

PDLConditionEvent::~PDLConditionEvent()
{
    delete m_pFunctionId;
}

void PDLConditionEvent::onContextSet()
{
    if (!PDL_CHECK(m_pFunctionId) || !PDL_CHECK(m_pContext))
    {
        return;
    }
    m_pFunctionId->setContext(m_pContext, m_noEventRegistration);
    if (m_pFunctionId->isIdentifier())
    {
        // A bare word: the event name is known now.
        PDLVariant const evName = m_pFunctionId->evaluate(true);
        if (isInvalid(evName))
        {
            reportFatal("evName.isValid()", __FILE__, __LINE__);
        }
        m_eventName = evName.getString();
        // The name of a shared variable: its every change is an event of its own for the owner.
        if (m_pContext->isNonlocalVariableName(m_eventName))
        {
            m_pContext->getVariable(m_eventName, true, true);
        }
    }
    m_pSequence = m_pContext->getSequence();
}

bool PDLConditionEvent::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pContext))
    {
        return false;
    }
    PDLEvent const* curEvt = m_pContext->getCurrentEvent();
    if (!PDL_CHECK(curEvt))
    {
        return false;
    }
    if (!m_eventName.empty())
    {
        switch (curEvt->m_type)
        {
        case PDLEvent::eEventWidget:
            return curEvt->m_name == m_eventName && curEvt->m_widgetID == m_pContext->getExecWidgetID();
        case PDLEvent::eEventVariable:
        case PDLEvent::eEventInit:
        case PDLEvent::eEventState:
            return curEvt->m_name == m_eventName;
        case PDLEvent::eEventMFDriver:
            return false;
        default:
            reportFatal("unknown event type", __FILE__, __LINE__);
            return false;
        }
    }
    if (!PDL_CHECK(m_pFunctionId))
    {
        return false;
    }
    PDLVariant const fid = m_pFunctionId->evaluate(true);
    if (isInvalid(fid))
    {
        return false;
    }
    // The reader subscribes to the composed id whatever the current event is.
    std::string const text = fid.getString();
    if (PDLWidget* pWidget = getWidget())
    {
        pWidget->subscribeFID(text);
    }
    else if (m_pSequence != nullptr)
    {
        m_pSequence->subscribeFID(text);
    }
    return curEvt->m_type == PDLEvent::eEventMFDriver && curEvt->m_name == text;
}

PDLConditionWidgetEvent::PDLConditionWidgetEvent(PDLSetExp* pSet, std::string const& eventName)
    : m_pSet(pSet), m_eventName(eventName)
{
}

PDLConditionWidgetEvent::~PDLConditionWidgetEvent()
{
    delete m_pSet;
}

void PDLConditionWidgetEvent::onContextSet()
{
    if (PDL_CHECK(m_pSet))
    {
        m_pSet->setContext(m_pContext, m_noEventRegistration);
    }
}

bool PDLConditionWidgetEvent::evaluate() const
{
    setCurrent(this);
    if (!PDL_CHECK(m_pContext) || !PDL_CHECK(m_pSet))
    {
        return false;
    }
    PDLEvent const* curEvt = m_pContext->getCurrentEvent();
    if (!PDL_CHECK(curEvt))
    {
        return false;
    }
    if (curEvt->m_type != PDLEvent::eEventWidget && curEvt->m_type != PDLEvent::eEventState)
    {
        return false;
    }
    if (curEvt->m_name != m_eventName)
    {
        return false;
    }
    PDLVariantIteratorCont const last = m_pSet->end();
    for (PDLVariantIteratorCont it = m_pSet->begin(); it != last; ++it)
    {
        if (static_cast<uint32_t>((*it).getInt()) == curEvt->m_widgetID)
        {
            return true;
        }
    }
    return false;
}

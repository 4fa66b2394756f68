#include "pdlexpressionclasses.h"

#include "pdlmodule.h"
#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"
#include "pdlscaler.h"
#include "pdlsequenceclasses.h"
#include "pdlsymboltable.h"
#include "pdlwidgetclasses.h"

#include <basekit/uniqueids.h>

#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <typeinfo>

namespace
{
void reportFatal(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, text, file, line);
}

void reportError(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, text, file, line);
}

bool isInvalid(PDLVariant const& value)
{
    return value.getKind() == PDLVariant::eInvalid;
}

// 32-bit two's complement arithmetic without undefined overflow.
int32_t wrap(uint32_t value)
{
    return static_cast<int32_t>(value);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Bases and lists

PDLBaseExpression::PDLBaseExpression(EType type) : m_type(type) {}

PDLBaseExpression::~PDLBaseExpression() {}

PDLVariableDescription PDLBaseExpression::getExpressionVariable() const
{
    return PDLVariableDescription(nullptr, "");
}

PDLExpression::PDLExpression() : PDLBaseExpression(eTypeExpression) {}

PDLExpression::~PDLExpression() {}

void PDLExpression::dump() const
{
    evaluate(false).dump();
    std::cout << std::endl;
}

void PDLExpression::print() const
{
    evaluate(false).print();
}

bool PDLExpression::hasChanged() const
{
    return true;
}

bool PDLExpression::isIdentifier() const
{
    return false;
}

PDLVariant const& PDLExpression::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    scratch = evaluate(warnInvalid);
    return scratch;
}

PDLExpressionList::PDLExpressionList() {}

PDLExpressionList::~PDLExpressionList()
{
    for (PDLExpression* pExpression : *this)
    {
        delete pExpression;
    }
}

void PDLExpressionList::setContext(PDLContext* pContext, bool noEventRegistration)
{
    for (PDLExpression* pExpression : *this)
    {
        bindToContext(pExpression, pContext, noEventRegistration);
    }
}

void PDLExpressionList::evaluateTo(PDLVariant& target, bool warnInvalid) const
{
    target.clear();
    bool first = true;
    for (PDLExpression const* pExpression : *this)
    {
        if (pExpression == nullptr)
        {
            reportFatal("pExpression", __FILE__, __LINE__);
            target = PDLVariant();
            return;
        }
        PDLVariant scratch;
        PDLVariant const& value = pExpression->evaluateRef(warnInvalid, scratch);
        if (isInvalid(value))
        {
            target = PDLVariant();
            return;
        }
        if (!first)
        {
            target.append(".");
        }
        std::string text;
        target.append(value.getStringRef(text));
        first = false;
    }
}

PDLVariant PDLExpressionList::evaluate(bool warnInvalid) const
{
    evaluateTo(m_value, warnInvalid);
    return m_value;
}

bool PDLExpressionList::isIdentifier() const
{
    return size() == 1 && front() != nullptr && front()->isIdentifier();
}

PDLArgumentList::PDLArgumentList() {}

PDLArgumentList::~PDLArgumentList()
{
    for (PDLBaseExpression* pExpression : *this)
    {
        delete pExpression;
    }
}

void PDLArgumentList::setContext(PDLContext* pContext, bool noEventRegistration)
{
    for (PDLBaseExpression* pExpression : *this)
    {
        bindToContext(pExpression, pContext, noEventRegistration);
    }
}

// ---------------------------------------------------------------------------------------------------
// Constants and bare words

namespace
{
// The shared values of the numbers -128 to 255, made once and never destroyed.
PDLVariant const* sharedNumbers()
{
    static PDLVariant const* const s_pNumbers = []
    {
        auto* pNumbers = new PDLVariant[384];
        for (int i = 0; i < 384; ++i)
        {
            pNumbers[i] = PDLVariant(i - 128);
        }
        return pNumbers;
    }();
    return s_pNumbers;
}
} // namespace

PDLConstantNumber::PDLConstantNumber(int value)
    : m_pValue(isShared(value) ? &sharedNumbers()[value + 128]
                               : new (PDLCodeStore::allocate(sizeof(PDLVariant))) PDLVariant(value))
{
}

PDLConstantNumber::~PDLConstantNumber()
{
    if (!isShared(m_pValue->getInt()))
    {
        m_pValue->~PDLVariant();
        PDLCodeStore::release(const_cast<PDLVariant*>(m_pValue));
    }
}

PDLExpressionConstNumber::PDLExpressionConstNumber(int value) : m_value(value) {}

PDLVariant PDLExpressionConstNumber::evaluate(bool /*warnInvalid*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstNumber*>(this);
    return m_value;
}

PDLExpressionConstFloat::PDLExpressionConstFloat(float value) : m_value(value) {}

PDLVariant PDLExpressionConstFloat::evaluate(bool /*warnInvalid*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstFloat*>(this);
    return m_value;
}

PDLVariant const& PDLExpressionConstFloat::evaluateRef(bool /*warnInvalid*/, PDLVariant& /*scratch*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstFloat*>(this);
    return m_value;
}

PDLExpressionConstString::PDLExpressionConstString(std::string const& value) : m_value(value) {}

PDLVariant PDLExpressionConstString::evaluate(bool /*warnInvalid*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstString*>(this);
    return m_value;
}

PDLVariant const& PDLExpressionConstString::evaluateRef(bool /*warnInvalid*/, PDLVariant& /*scratch*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstString*>(this);
    return m_value;
}

PDLExpressionIdentifier::PDLExpressionIdentifier(std::string const& value) : m_value(value) {}

PDLVariant PDLExpressionIdentifier::evaluate(bool /*warnInvalid*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionIdentifier*>(this);
    return m_value;
}

PDLVariant const& PDLExpressionIdentifier::evaluateRef(bool /*warnInvalid*/, PDLVariant& /*scratch*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionIdentifier*>(this);
    return m_value;
}

bool PDLExpressionIdentifier::isIdentifier() const
{
    return true;
}

// ---------------------------------------------------------------------------------------------------
// Variables

PDLExpressionVariable::PDLExpressionVariable(PDLProtoVariable* pProtoVariable, PDLExpression* pMapping)
    : m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pVariable(nullptr),
      m_pMappingExpression(pMapping)
{
}

PDLExpressionVariable::~PDLExpressionVariable()
{
    delete m_pMappingExpression;
    PDLProtoVariable::release(m_pProtoVariable);
}

void PDLExpressionVariable::onContextSet()
{
    if (!PDL_CHECK(m_pProtoVariable))
    {
        return;
    }
    // An index registers for changes even inside a handler body.
    bindToContext(m_pProtoVariable->m_pIndex, m_pContext, false);
    m_pVariable = getVariable(m_pProtoVariable->m_name, true);
    bindToContext(m_pMappingExpression, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionVariable::evaluate(bool warnInvalid) const
{
    PDLVariant scratch;
    return evaluateRef(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionVariable::evaluateGeneral(bool warnInvalid, PDLVariant& scratch) const
{
    if (!PDL_CHECK(m_pProtoVariable) || !PDL_CHECK(m_pVariable))
    {
        scratch = PDLVariant();
        return scratch;
    }
    if (m_pMappingExpression == nullptr && m_pProtoVariable->m_pIndex == nullptr)
    {
        return m_pVariable->getValueRef(warnInvalid, scratch);
    }
    std::string mapping;
    if (m_pMappingExpression != nullptr)
    {
        PDLVariant const mappingValue = m_pMappingExpression->evaluate(warnInvalid);
        if (isInvalid(mappingValue))
        {
            scratch = PDLVariant();
            return scratch;
        }
        mapping = mappingValue.getString();
    }
    if (m_pProtoVariable->m_pIndex != nullptr)
    {
        PDLVariant indexScratch;
        PDLVariant const& index = m_pProtoVariable->m_pIndex->evaluateRef(warnInvalid, indexScratch);
        scratch = m_pVariable->getValueAtIndex(index, mapping, warnInvalid);
        return scratch;
    }
    scratch = m_pVariable->getValue(mapping, warnInvalid);
    return scratch;
}

bool PDLExpressionVariable::hasChanged() const
{
    return m_pVariable != nullptr && m_pVariable->isChanged();
}

PDLVariableDescription PDLExpressionVariable::getExpressionVariable() const
{
    PDLVariableDescription description(m_pVariable);
    if (m_pProtoVariable != nullptr && m_pProtoVariable->m_pIndex != nullptr)
    {
        description.m_index = m_pProtoVariable->m_pIndex->evaluate(true).getString();
    }
    return description;
}

// ---------------------------------------------------------------------------------------------------
// Function ids and the panel state

PDLExpressionFunctionId::PDLExpressionFunctionId(PDLExpressionList* pComponents)
    : m_pFunctionIdComponents(pComponents)
{
}

PDLExpressionFunctionId::~PDLExpressionFunctionId()
{
    delete m_pFunctionIdComponents;
}

void PDLExpressionFunctionId::onContextSet()
{
    if (PDL_CHECK(m_pFunctionIdComponents))
    {
        m_pFunctionIdComponents->setContext(m_pContext, m_noEventRegistration);
    }
}

PDLVariant PDLExpressionFunctionId::evaluate(bool warnInvalid) const
{
    PDLVariant scratch;
    return evaluateRef(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionFunctionId::evaluateComposed(bool warnInvalid, PDLVariant& scratch) const
{
    if (!PDL_CHECK(m_pFunctionIdComponents))
    {
        scratch = PDLVariant();
        return scratch;
    }
    m_pFunctionIdComponents->evaluateTo(m_value, warnInvalid);
    return m_value;
}

PDLVariableDescription PDLExpressionFunctionId::getExpressionVariable() const
{
    if (m_pFunctionIdComponents != nullptr && m_pFunctionIdComponents->size() == 1 &&
        m_pFunctionIdComponents->front() != nullptr)
    {
        PDLExpression const* pComponent = m_pFunctionIdComponents->front();
        // The usual lone component, a variable, is called directly.
        if (isExactly<PDLExpressionVariable>(*pComponent))
        {
            return static_cast<PDLExpressionVariable const*>(pComponent)
                ->PDLExpressionVariable::getExpressionVariable();
        }
        return pComponent->getExpressionVariable();
    }
    return PDLVariableDescription(nullptr, "");
}

PDLExpressionGet::PDLExpressionGet(PDLExpressionList* pComponents)
    : m_pFunctionIdComponents(pComponents), m_pSequence(nullptr)
{
}

PDLExpressionGet::~PDLExpressionGet()
{
    delete m_pFunctionIdComponents;
}

void PDLExpressionGet::onContextSet()
{
    if (PDL_CHECK(m_pFunctionIdComponents))
    {
        m_pFunctionIdComponents->setContext(m_pContext, m_noEventRegistration);
    }
    // A read in a sequence's guard subscribes the sequence; reads elsewhere subscribe the widget.
    PDLSequence* pSequence = m_pContext != nullptr ? m_pContext->getSequence() : nullptr;
    m_pSequence = (pSequence != nullptr && pSequence->isSettingWhenContext()) ? pSequence : nullptr;
}

PDLVariant PDLExpressionGet::evaluate(bool warnInvalid) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionGet*>(this);
    if (!PDL_CHECK(m_pFunctionIdComponents))
    {
        return PDLVariant();
    }
    m_pFunctionIdComponents->evaluateTo(m_value, warnInvalid);
    if (isInvalid(m_value))
    {
        return PDLVariant();
    }
    std::string const fid = m_value.getString();
    // Reading a state value subscribes the reader to it, on every evaluation.
    if (PDLWidget* pWidget = getWidget())
    {
        pWidget->subscribeFID(fid);
    }
    else if (m_pSequence != nullptr)
    {
        m_pSequence->subscribeFID(fid);
    }
    if (!PDLPanelState::hasInstance())
    {
        reportFatal("pPanelState", __FILE__, __LINE__);
        return PDLVariant();
    }
    return PDLPanelState::getInstance()->getValue(fid, warnInvalid);
}

// ---------------------------------------------------------------------------------------------------
// Widget attributes

PDLExpressionWidgetRef::PDLExpressionWidgetRef(PDLExpression* pWidgetId, std::string const& attribute)
    : m_pWidgetId(pWidgetId), m_attribute(attribute)
{
}

PDLExpressionWidgetRef::~PDLExpressionWidgetRef()
{
    delete m_pWidgetId;
}

void PDLExpressionWidgetRef::onContextSet()
{
    bindToContext(m_pWidgetId, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionWidgetRef::evaluate(bool warnInvalid) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionWidgetRef*>(this);
    if (!PDL_CHECK(m_pWidgetId) || !PDL_CHECK(m_pContext))
    {
        return PDLVariant();
    }
    PDLVariant const widgetNumber = m_pWidgetId->evaluate(warnInvalid);
    if (isInvalid(widgetNumber))
    {
        reportFatal("pWidgetID.isValid()", __FILE__, __LINE__);
        return PDLVariant();
    }
    uint32_t const id = (static_cast<uint32_t>(widgetNumber.getInt()) & 0xFFFFu) |
                        ((static_cast<uint32_t>(m_pContext->getModuleID()) & 0xFFu) << 16) |
                        ((static_cast<uint32_t>(m_pContext->getGroupID()) & 0x1Fu) << 24) |
                        ((static_cast<uint32_t>(m_pContext->getWorkplaceID()) & 0x7u) << 29);
    PDLPhysicalWidget* pWidget = PDLPhysicalWidgetManager::hasInstance()
                                     ? PDLPhysicalWidgetManager::getInstance()->getWidget(UniqueWidgetID(id))
                                     : nullptr;
    if (pWidget == nullptr)
    {
        reportError("widget " + std::to_string(id) + " not found", __FILE__, __LINE__);
        return PDLVariant();
    }
    return pWidget->getAttributeValue(m_attribute);
}

// ---------------------------------------------------------------------------------------------------
// Text operations

PDLExpressionAppend::PDLExpressionAppend(PDLExpression* pLeft, PDLExpression* pRight)
    : m_pLeftExpression(pLeft), m_pRightExpression(pRight)
{
}

PDLExpressionAppend::~PDLExpressionAppend()
{
    delete m_pLeftExpression;
    delete m_pRightExpression;
}

void PDLExpressionAppend::onContextSet()
{
    PDL_CHECK(m_pLeftExpression);
    PDL_CHECK(m_pRightExpression);
    bindToContext(m_pLeftExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightExpression, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionAppend::evaluate(bool warnInvalid) const
{
    PDLVariant scratch;
    return evaluateRef(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionAppend::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionAppend*>(this);
    if (!PDL_CHECK(m_pLeftExpression) || !PDL_CHECK(m_pRightExpression))
    {
        scratch = PDLVariant();
        return scratch;
    }
    PDLVariant leftScratch;
    PDLVariant const& left = m_pLeftExpression->evaluateRef(warnInvalid, leftScratch);
    PDLVariant rightScratch;
    PDLVariant const& right = m_pRightExpression->evaluateRef(warnInvalid, rightScratch);
    if (isInvalid(left) || isInvalid(right))
    {
        scratch = PDLVariant();
        return scratch;
    }
    std::string leftText;
    std::string rightText;
    std::string const& rightRef = right.getStringRef(rightText);
    std::string text;
    text.reserve(left.getStringRef(leftText).size() + rightRef.size());
    text.append(left.getStringRef(leftText)).append(rightRef);
    m_value = PDLVariant(std::move(text));
    return m_value;
}

PDLExpressionSubExp::PDLExpressionSubExp(EMode mode, PDLExpression* pSource, PDLExpression* pLength)
    : m_mode(mode), m_pSourceExpression(pSource), m_pLengthExpression(pLength)
{
}

PDLExpressionSubExp::~PDLExpressionSubExp()
{
    delete m_pSourceExpression;
    delete m_pLengthExpression;
}

void PDLExpressionSubExp::onContextSet()
{
    PDL_CHECK(m_pSourceExpression);
    PDL_CHECK(m_pLengthExpression);
    bindToContext(m_pSourceExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pLengthExpression, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionSubExp::evaluate(bool warnInvalid) const
{
    PDLVariant scratch;
    return evaluateRef(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionSubExp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionSubExp*>(this);
    if (!PDL_CHECK(m_pSourceExpression) || !PDL_CHECK(m_pLengthExpression))
    {
        scratch = PDLVariant();
        return scratch;
    }
    // The source is copied: the result may be the source itself, and m_value is written below.
    PDLVariant const source = m_pSourceExpression->evaluateRef(warnInvalid, scratch);
    PDLVariant lengthScratch;
    PDLVariant const& length = m_pLengthExpression->evaluateRef(warnInvalid, lengthScratch);
    if (isInvalid(source) || isInvalid(length))
    {
        scratch = PDLVariant();
        return scratch;
    }
    int32_t const n = length.getInt();
    std::string sourceText;
    std::string const& text = source.getStringRef(sourceText);
    int32_t const len = static_cast<int32_t>(text.size());
    switch (m_mode)
    {
    case CUTLEFT:
        m_value = n < 1 ? source : (n >= len ? PDLVariant("") : PDLVariant(text.substr(n)));
        break;
    case CUTRIGHT:
        m_value = n < 1 ? source : (n >= len ? PDLVariant("") : PDLVariant(text.substr(0, len - n)));
        break;
    case GETLEFT:
        m_value = n < 1 ? PDLVariant("") : (n >= len ? source : PDLVariant(text.substr(0, n)));
        break;
    case GETRIGHT:
        m_value = n < 1 ? PDLVariant("") : (n >= len ? source : PDLVariant(text.substr(len - n)));
        break;
    default:
        reportFatal("Unknown PDLExpressionSubExp mode !", __FILE__, __LINE__);
        break;
    }
    return m_value;
}

PDLExpressionStrLen::PDLExpressionStrLen(PDLExpression* pExpression) : m_pExpression(pExpression) {}

PDLExpressionStrLen::~PDLExpressionStrLen()
{
    delete m_pExpression;
}

void PDLExpressionStrLen::onContextSet()
{
    if (PDL_CHECK(m_pExpression))
    {
        m_pExpression->setContext(m_pContext, m_noEventRegistration);
    }
}

PDLVariant PDLExpressionStrLen::evaluate(bool warnInvalid) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionStrLen*>(this);
    if (!PDL_CHECK(m_pExpression))
    {
        return PDLVariant();
    }
    PDLVariant scratch;
    PDLVariant const& value = m_pExpression->evaluateRef(warnInvalid, scratch);
    if (isInvalid(value))
    {
        return PDLVariant();
    }
    std::string text;
    return PDLVariant(static_cast<int>(value.getStringRef(text).size()));
}

PDLExpressionStrCmp::PDLExpressionStrCmp(PDLExpression* pLeft, PDLExpression* pRight)
    : m_pExpressionLeft(pLeft), m_pExpressionRight(pRight)
{
}

PDLExpressionStrCmp::~PDLExpressionStrCmp()
{
    delete m_pExpressionLeft;
    delete m_pExpressionRight;
}

void PDLExpressionStrCmp::onContextSet()
{
    PDL_CHECK(m_pExpressionLeft);
    PDL_CHECK(m_pExpressionRight);
    bindToContext(m_pExpressionLeft, m_pContext, m_noEventRegistration);
    bindToContext(m_pExpressionRight, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionStrCmp::evaluate(bool warnInvalid) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionStrCmp*>(this);
    if (!PDL_CHECK(m_pExpressionLeft) || !PDL_CHECK(m_pExpressionRight))
    {
        return PDLVariant();
    }
    PDLVariant leftScratch;
    PDLVariant const& left = m_pExpressionLeft->evaluateRef(warnInvalid, leftScratch);
    PDLVariant rightScratch;
    PDLVariant const& right = m_pExpressionRight->evaluateRef(warnInvalid, rightScratch);
    if (isInvalid(left) || isInvalid(right))
    {
        return PDLVariant();
    }
    // Bytes as unsigned; at equal prefixes the length difference, clamped to 32 bits.
    std::string leftText;
    std::string rightText;
    return PDLVariant(left.getStringRef(leftText).compare(right.getStringRef(rightText)));
}

// ---------------------------------------------------------------------------------------------------
// Arithmetic

PDLExpressionMathOperator::PDLExpressionMathOperator(PDLExpression* pLeft, PDLExpression* pRight)
    : m_pLeftExpression(pLeft), m_pRightExpression(pRight)
{
}

PDLExpressionMathOperator::~PDLExpressionMathOperator()
{
    delete m_pLeftExpression;
    delete m_pRightExpression;
}

void PDLExpressionMathOperator::onContextSet()
{
    PDL_CHECK(m_pLeftExpression);
    PDL_CHECK(m_pRightExpression);
    bindToContext(m_pLeftExpression, m_pContext, m_noEventRegistration);
    bindToContext(m_pRightExpression, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionMathOperator::evaluate(bool warnInvalid) const
{
    PDLVariant scratch;
    return evaluateRef(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionMathOperator::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionMathOperator*>(this);
    if (!PDL_CHECK(m_pLeftExpression) || !PDL_CHECK(m_pRightExpression))
    {
        scratch = PDLVariant();
        return scratch;
    }
    PDLVariant const& left = m_pLeftExpression->evaluateRef(warnInvalid, scratch);
    PDLVariant rightScratch;
    PDLVariant const& right = m_pRightExpression->evaluateRef(warnInvalid, rightScratch);
    if (isInvalid(left) || isInvalid(right))
    {
        scratch = PDLVariant();
        return scratch;
    }
    if (!opEvaluate(left, right))
    {
        reportError("Math calculation error !", __FILE__, __LINE__);
        scratch = PDLVariant();
        return scratch;
    }
    return m_value;
}

// The five operations on two valid operands, writing the result; false after a reported error. Both
// opEvaluate (the virtual form) and the operators' evaluateRef use them.
namespace
{
inline bool computePlus(PDLVariant const& left, PDLVariant const& right, PDLVariant& result)
{
    if (left.getKind() == PDLVariant::eFloat || right.getKind() == PDLVariant::eFloat)
    {
        result.setFloat(left.getFloat() + right.getFloat());
    }
    else
    {
        result.setInt(wrap(static_cast<uint32_t>(left.getInt()) + static_cast<uint32_t>(right.getInt())));
    }
    return true;
}

inline bool computeMinus(PDLVariant const& left, PDLVariant const& right, PDLVariant& result)
{
    if (left.getKind() == PDLVariant::eFloat || right.getKind() == PDLVariant::eFloat)
    {
        result.setFloat(left.getFloat() - right.getFloat());
    }
    else
    {
        result.setInt(wrap(static_cast<uint32_t>(left.getInt()) - static_cast<uint32_t>(right.getInt())));
    }
    return true;
}

inline bool computeMultiplication(PDLVariant const& left, PDLVariant const& right, PDLVariant& result)
{
    if (left.getKind() == PDLVariant::eFloat || right.getKind() == PDLVariant::eFloat)
    {
        result.setFloat(left.getFloat() * right.getFloat());
    }
    else
    {
        result.setInt(wrap(static_cast<uint32_t>(left.getInt()) * static_cast<uint32_t>(right.getInt())));
    }
    return true;
}

bool computeDivision(PDLVariant const& left, PDLVariant const& right, PDLVariant& result)
{
    if (left.getKind() == PDLVariant::eFloat || right.getKind() == PDLVariant::eFloat)
    {
        float const divisor = right.getFloat();
        if (divisor == 0.0f)
        {
            reportError("Division by zero!", __FILE__, __LINE__);
            return false;
        }
        result.setFloat(left.getFloat() / divisor);
        return true;
    }
    int32_t const dividend = left.getInt();
    int32_t const divisor = right.getInt();
    if (divisor == 0)
    {
        reportError("Division by zero!", __FILE__, __LINE__);
        return false;
    }
    // The one quotient that does not fit wraps around, as the processor's would if it did not trap.
    if (dividend == std::numeric_limits<int32_t>::min() && divisor == -1)
    {
        result.setInt(dividend);
        return true;
    }
    result.setInt(dividend / divisor);
    return true;
}

inline bool computeModulo(PDLVariant const& left, PDLVariant const& right, PDLVariant& result)
{
    int32_t const dividend = left.getInt();
    int32_t const divisor = right.getInt();
    if (divisor == 0)
    {
        reportError("Division by zero!", __FILE__, __LINE__);
        return false;
    }
    result.setInt(divisor == -1 ? 0 : dividend % divisor);
    return true;
}
} // namespace

template <PDLExpressionMathOperator::Compute TCompute>
PDLVariant const& PDLExpressionMathOperator::evaluateWith(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject =
        const_cast<PDLExpressionMathOperator*>(static_cast<PDLExpressionMathOperator const*>(this));
    if (!PDL_CHECK(m_pLeftExpression) || !PDL_CHECK(m_pRightExpression))
    {
        return invalidResult(scratch);
    }
    PDLVariant const& left = evaluateOperand(*m_pLeftExpression, warnInvalid, scratch);
    PDLVariant rightScratch;
    PDLVariant const& right = evaluateOperand(*m_pRightExpression, warnInvalid, rightScratch);
    if (isInvalid(left) || isInvalid(right))
    {
        return invalidResult(scratch);
    }
    PDLVariant& result = m_value.get();
    if (!TCompute(left, right, result))
    {
        return failedResult(scratch);
    }
    return result;
}

PDLVariant const& PDLExpressionMathOperator::invalidResult(PDLVariant& scratch)
{
    scratch = PDLVariant();
    return scratch;
}

PDLVariant const& PDLExpressionMathOperator::failedResult(PDLVariant& scratch)
{
    reportError("Math calculation error !", __FILE__, __LINE__);
    scratch = PDLVariant();
    return scratch;
}

bool PDLExpressionPlusOp::opEvaluate(PDLVariant const& left, PDLVariant const& right) const
{
    return computePlus(left, right, m_value);
}

bool PDLExpressionMinusOp::opEvaluate(PDLVariant const& left, PDLVariant const& right) const
{
    return computeMinus(left, right, m_value);
}

bool PDLExpressionMultiplicationOp::opEvaluate(PDLVariant const& left, PDLVariant const& right) const
{
    return computeMultiplication(left, right, m_value);
}

bool PDLExpressionDivisionOp::opEvaluate(PDLVariant const& left, PDLVariant const& right) const
{
    return computeDivision(left, right, m_value);
}

bool PDLExpressionModuloOp::opEvaluate(PDLVariant const& left, PDLVariant const& right) const
{
    return computeModulo(left, right, m_value);
}

// ---------------------------------------------------------------------------------------------------
// Scaling

PDLExpressionScale::PDLExpressionScale(PDLExpression* pExpression, std::string const& variableName,
                                       bool inverse)
    : m_pExpression(pExpression), m_variableName(variableName), m_inverse(inverse), m_pVariable(nullptr)
{
}

PDLExpressionScale::~PDLExpressionScale()
{
    delete m_pExpression;
}

void PDLExpressionScale::onContextSet()
{
    PDL_CHECK(m_pExpression);
    m_pVariable = getVariable(m_variableName, true);
    bindToContext(m_pExpression, m_pContext, m_noEventRegistration);
}

PDLVariant PDLExpressionScale::evaluate(bool warnInvalid) const
{
    if (!PDL_CHECK(m_pVariable) || !PDL_CHECK(m_pExpression))
    {
        return PDLVariant();
    }
    PDLVariant const type = m_pVariable->getValueAtIndex(PDLVariant("TYPE"), "", false);
    if (isInvalid(type))
    {
        // No scaler named: the value passes unscaled.
        return m_pExpression->evaluate(warnInvalid);
    }
    m_value = PDLVariant();
    // A fresh scaler each time, so that it reads the parameters as they are now.
    std::unique_ptr<PDLScaler> pScaler(PDLScaler::create(type.getString()));
    if (pScaler)
    {
        pScaler->setParameters(m_pVariable);
        m_value = pScaler->scale(m_pExpression->evaluate(warnInvalid), m_inverse);
    }
    return m_value;
}

// ---------------------------------------------------------------------------------------------------
// Set expressions

namespace
{
PDLVariantIteratorCont emptyIterator()
{
    return PDLVariantIteratorCont(new PDLVariantIteratorEmpty());
}

// The mapping name of a set expression; an Invalid mapping value reads as the empty name.
std::string mappingName(PDLExpression const* pMapping)
{
    return pMapping != nullptr ? pMapping->evaluate(true).getString() : std::string();
}

// For membership: false when the mapping expression yields Invalid.
bool mappingForMembership(PDLExpression const* pMapping, std::string& mapping)
{
    if (pMapping == nullptr)
    {
        mapping.clear();
        return true;
    }
    PDLVariant const value = pMapping->evaluate(true);
    if (isInvalid(value))
    {
        return false;
    }
    mapping = value.getString();
    return true;
}
} // namespace

PDLSetExp::PDLSetExp(PDLBaseExpression::EType type) : PDLBaseExpression(type) {}

PDLSetExp::~PDLSetExp() {}

void PDLSetExp::dump() const
{
    std::cout << "{ ";
    PDLVariantIteratorCont const last = end();
    bool first = true;
    for (PDLVariantIteratorCont it = begin(); it != last; ++it)
    {
        if (!first)
        {
            std::cout << ", ";
        }
        (*it).print();
        first = false;
    }
    std::cout << " }" << std::endl;
}

PDLSetExpType::PDLSetExpType(std::string const& typeName, PDLExpression* pMapping)
    : PDLSetExp(eTypeSet),
      m_pType(g_pCurrentModule != nullptr ? g_pCurrentModule->getType(typeName) : nullptr),
      m_pMappingExpression(pMapping)
{
}

PDLSetExpType::~PDLSetExpType()
{
    delete m_pMappingExpression;
}

PDLVariantIteratorCont PDLSetExpType::begin() const
{
    if (!PDL_CHECK(m_pType))
    {
        return emptyIterator();
    }
    return m_pType->begin(mappingName(m_pMappingExpression));
}

PDLVariantIteratorCont PDLSetExpType::end() const
{
    if (!PDL_CHECK(m_pType))
    {
        return emptyIterator();
    }
    return m_pType->end(mappingName(m_pMappingExpression));
}

bool PDLSetExpType::isElement(PDLVariant const& value) const
{
    if (!PDL_CHECK(m_pType))
    {
        return false;
    }
    std::string mapping;
    if (!mappingForMembership(m_pMappingExpression, mapping))
    {
        return false;
    }
    return m_pType->isElementIn(value, mapping);
}

std::string PDLSetExpType::getTypeName() const
{
    return m_pType != nullptr ? m_pType->getName() : std::string();
}

int PDLSetExpType::getCount() const
{
    if (!PDL_CHECK(m_pType))
    {
        return 0;
    }
    return m_pType->getCount();
}

PDLSetExpVariable::PDLSetExpVariable(PDLProtoVariable* pProtoVariable, PDLExpression* pMapping)
    : PDLSetExp(pProtoVariable != nullptr && pProtoVariable->m_isArray ? eTypeArray : eTypeSet),
      m_pProtoVariable(PDLProtoVariable::share(pProtoVariable)), m_pVariable(nullptr),
      m_pMappingExpression(pMapping)
{
}

PDLSetExpVariable::~PDLSetExpVariable()
{
    delete m_pMappingExpression;
    PDLProtoVariable::release(m_pProtoVariable);
}

void PDLSetExpVariable::onContextSet()
{
    if (PDL_CHECK(m_pProtoVariable))
    {
        m_pVariable = getVariable(m_pProtoVariable->m_name, true);
    }
    bindToContext(m_pMappingExpression, m_pContext, m_noEventRegistration);
}

PDLVariableDescription PDLSetExpVariable::getExpressionVariable() const
{
    return PDLVariableDescription(m_pVariable, "");
}

PDLVariantIteratorCont PDLSetExpVariable::begin() const
{
    if (!PDL_CHECK(m_pVariable))
    {
        return emptyIterator();
    }
    return m_pVariable->begin(mappingName(m_pMappingExpression));
}

PDLVariantIteratorCont PDLSetExpVariable::end() const
{
    if (!PDL_CHECK(m_pVariable))
    {
        return emptyIterator();
    }
    return m_pVariable->end(mappingName(m_pMappingExpression));
}

bool PDLSetExpVariable::isElement(PDLVariant const& value) const
{
    if (!PDL_CHECK(m_pVariable))
    {
        return false;
    }
    std::string mapping;
    if (!mappingForMembership(m_pMappingExpression, mapping))
    {
        return false;
    }
    return m_pVariable->isElementIn(value, mapping);
}

std::string PDLSetExpVariable::getTypeName() const
{
    if (!PDL_CHECK(m_pVariable))
    {
        return std::string();
    }
    return m_pVariable->getTypeName();
}

int PDLSetExpVariable::getCount() const
{
    return m_pVariable != nullptr ? m_pVariable->getCount() : 0;
}

PDLSetExpConstSet::PDLSetExpConstSet() : PDLSetExpConstSet(nullptr) {}

PDLSetExpConstSet::PDLSetExpConstSet(std::vector<PDLVariant>* pValues)
    : PDLSetExp(eTypeSet), m_pValues(pValues), m_begin(pValues != nullptr ? pValues->data() : nullptr),
      m_end(pValues != nullptr ? pValues->data() + pValues->size() : nullptr)
{
}

PDLSetExpConstSet::~PDLSetExpConstSet()
{
    delete m_pValues;
}

PDLVariantIteratorCont PDLSetExpConstSet::begin() const
{
    if (m_pValues == nullptr)
    {
        return emptyIterator();
    }
    return PDLVariantIteratorCont(m_begin.clone());
}

PDLVariantIteratorCont PDLSetExpConstSet::end() const
{
    if (m_pValues == nullptr)
    {
        return emptyIterator();
    }
    return PDLVariantIteratorCont(m_end.clone());
}

bool PDLSetExpConstSet::isElement(PDLVariant const& value) const
{
    if (isInvalid(value) || m_pValues == nullptr)
    {
        return false;
    }
    for (PDLVariant const& element : *m_pValues)
    {
        if (element == value)
        {
            return true;
        }
    }
    return false;
}

std::string PDLSetExpConstSet::getTypeName() const
{
    return std::string();
}

int PDLSetExpConstSet::getCount() const
{
    return m_pValues != nullptr ? static_cast<int>(m_pValues->size()) : 0;
}

PDLSetExpSingleValue::VariantIteratorSingleValue::VariantIteratorSingleValue(PDLVariant const& value,
                                                                             bool finished)
    : m_value(value), m_finished(finished)
{
}

PDLSetExpSingleValue::VariantIteratorSingleValue::VariantIteratorSingleValue(
    VariantIteratorSingleValue const& other)
    : PDLVariantIterator(other), m_value(other.m_value), m_finished(other.m_finished)
{
}

PDLVariantIterator& PDLSetExpSingleValue::VariantIteratorSingleValue::operator++()
{
    m_finished = true;
    return *this;
}

PDLVariantIterator& PDLSetExpSingleValue::VariantIteratorSingleValue::operator++(int)
{
    m_finished = true;
    return *this;
}

bool PDLSetExpSingleValue::VariantIteratorSingleValue::operator==(PDLVariantIterator const& other) const
{
    // Only the flags count, so every finished iterator equals the end.
    auto const* pOther = dynamic_cast<VariantIteratorSingleValue const*>(&other);
    return pOther != nullptr && pOther->m_finished == m_finished;
}

bool PDLSetExpSingleValue::VariantIteratorSingleValue::operator!=(PDLVariantIterator const& other) const
{
    return !(*this == other);
}

PDLVariant PDLSetExpSingleValue::VariantIteratorSingleValue::operator*() const
{
    return m_value;
}

PDLVariantIterator* PDLSetExpSingleValue::VariantIteratorSingleValue::clone() const
{
    return new VariantIteratorSingleValue(*this);
}

PDLSetExpSingleValue::PDLSetExpSingleValue(PDLExpression* pSingleValue)
    : PDLSetExp(eTypeSet), m_begin(PDLVariant(), false), m_end(PDLVariant(), true),
      m_pSingleValue(pSingleValue)
{
}

PDLSetExpSingleValue::~PDLSetExpSingleValue()
{
    delete m_pSingleValue;
}

void PDLSetExpSingleValue::onContextSet()
{
    if (PDL_CHECK(m_pSingleValue))
    {
        m_pSingleValue->setContext(m_pContext, m_noEventRegistration);
    }
}

PDLVariableDescription PDLSetExpSingleValue::getExpressionVariable() const
{
    if (m_pSingleValue == nullptr)
    {
        return PDLBaseExpression::getExpressionVariable();
    }
    return m_pSingleValue->getExpressionVariable();
}

PDLVariantIteratorCont PDLSetExpSingleValue::begin() const
{
    if (!PDL_CHECK(m_pSingleValue))
    {
        return emptyIterator();
    }
    // No test for Invalid: a loop over one Invalid value runs once.
    m_begin.m_value = m_pSingleValue->evaluate(true);
    m_begin.m_finished = false;
    return PDLVariantIteratorCont(m_begin.clone());
}

PDLVariant const* PDLSetExpSingleValue::evaluateValue(PDLVariant& scratch) const
{
    if (!PDL_CHECK(m_pSingleValue))
    {
        return nullptr;
    }
    return &m_pSingleValue->evaluateRef(true, scratch);
}

PDLVariantIteratorCont PDLSetExpSingleValue::end() const
{
    return PDLVariantIteratorCont(m_end.clone());
}

bool PDLSetExpSingleValue::isElement(PDLVariant const& value) const
{
    if (!PDL_CHECK(m_pSingleValue))
    {
        return false;
    }
    if (isInvalid(value))
    {
        return false;
    }
    PDLVariant scratch;
    return m_pSingleValue->evaluateRef(true, scratch) == value;
}

std::string PDLSetExpSingleValue::getTypeName() const
{
    if (m_pSingleValue == nullptr)
    {
        return std::string();
    }
    PDLVariableDescription const description = m_pSingleValue->getExpressionVariable();
    return description.m_pVariable != nullptr ? description.m_pVariable->getTypeName() : std::string();
}

int PDLSetExpSingleValue::getCount() const
{
    return 1;
}

PDLVariant const& PDLExpressionPlusOp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    return evaluateWith<computePlus>(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionMinusOp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    return evaluateWith<computeMinus>(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionMultiplicationOp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    return evaluateWith<computeMultiplication>(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionDivisionOp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    return evaluateWith<computeDivision>(warnInvalid, scratch);
}

PDLVariant const& PDLExpressionModuloOp::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    return evaluateWith<computeModulo>(warnInvalid, scratch);
}

#include "pdlloopplan.h"

#include "pdlcommandclasses.h"
#include "pdlconditionclasses.h"
#include "pdldebugger.h"
#include "pdlexpressionclasses.h"
#include "pdltypeclasses.h"

#include <limits>
#include <string>

namespace
{
// A plain, not persistent simple variable's value, which the plan may read in place; else null.
PDLVariant const* plainValue(PDLVariable const* pVariable)
{
    return pVariable != nullptr ? PDLVariableSimple::getPlainValue(pVariable) : nullptr;
}

std::string const& noMapping()
{
    static std::string const s_none;
    return s_none;
}

// Whether the debugger wants to see this command: then the tree runs it.
bool watched(PDLCommand const* pCommand)
{
    return pCommand->getBreakpoint() || PDLDebugger::s_singleStep.load(std::memory_order_relaxed);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Planning

bool PDLLoopPlan::planOperand(PDLExpression const* pExpression, Operand& operand)
{
    if (pExpression == nullptr)
    {
        return false;
    }
    if (isExactly<PDLExpressionConstNumber>(*pExpression))
    {
        PDLVariant const& value = static_cast<PDLExpressionConstNumber const*>(pExpression)->m_value.get();
        if (value.getKind() != PDLVariant::eInt)
        {
            return false;
        }
        operand = Operand{Operand::eConstant, value.getInt(), nullptr, 0};
        return true;
    }
    if (isExactly<PDLExpressionFunctionId>(*pExpression))
    {
        auto const* pId = static_cast<PDLExpressionFunctionId const*>(pExpression);
        if (!pId->isLoneVariable())
        {
            return false;
        }
        return planOperand(pId->m_pFunctionIdComponents->front(), operand);
    }
    if (isExactly<PDLExpressionVariable>(*pExpression))
    {
        auto const* pRead = static_cast<PDLExpressionVariable const*>(pExpression);
        PDLVariant const* pValue = pRead->isPlain() ? plainValue(pRead->m_pVariable) : nullptr;
        if (pValue == nullptr)
        {
            return false;
        }
        operand = Operand{Operand::eValue, 0, pValue, 0};
        return true;
    }
    Operation::EOperator op;
    if (isExactly<PDLExpressionPlusOp>(*pExpression))
    {
        op = Operation::ePlus;
    }
    else if (isExactly<PDLExpressionMinusOp>(*pExpression))
    {
        op = Operation::eMinus;
    }
    else if (isExactly<PDLExpressionMultiplicationOp>(*pExpression))
    {
        op = Operation::eTimes;
    }
    else if (isExactly<PDLExpressionDivisionOp>(*pExpression))
    {
        op = Operation::eDivide;
    }
    else if (isExactly<PDLExpressionModuloOp>(*pExpression))
    {
        op = Operation::eModulo;
    }
    else
    {
        return false;
    }
    auto const* pMath = static_cast<PDLExpressionMathOperator const*>(pExpression);
    Operation operation{op, {}, {}};
    if (!planOperand(pMath->m_pLeftExpression, operation.m_left) ||
        !planOperand(pMath->m_pRightExpression, operation.m_right))
    {
        return false;
    }
    m_operations.push_back(operation);
    operand = Operand{Operand::eOperation, 0, nullptr, static_cast<std::uint32_t>(m_operations.size() - 1)};
    return true;
}

std::uint32_t PDLLoopPlan::planTest(PDLCondition* pCondition)
{
    Test test{pCondition, Test::eTree, 0, {}, {}, nullptr};
    if (isExactly<PDLConditionNumCompare>(*pCondition))
    {
        auto const* pCompare = static_cast<PDLConditionNumCompare const*>(pCondition);
        test.m_compare = pCompare->m_compare;
        if (test.m_compare >= PDLConditionNumCompare::kEqual &&
            test.m_compare <= PDLConditionNumCompare::kGreaterEqual &&
            planOperand(pCompare->m_pLeftExpression, test.m_left) &&
            planOperand(pCompare->m_pRightExpression, test.m_right))
        {
            test.m_kind = Test::eCompare;
        }
    }
    else if (isExactly<PDLConditionIn>(*pCondition))
    {
        // A number in a set variable read without a mapping.
        auto const* pIn = static_cast<PDLConditionIn const*>(pCondition);
        if (pIn->m_pSet != nullptr && isExactly<PDLSetExpVariable>(*pIn->m_pSet))
        {
            auto const* pSet = static_cast<PDLSetExpVariable const*>(pIn->m_pSet);
            if (pSet->m_pVariable != nullptr && pSet->m_pMappingExpression == nullptr &&
                planOperand(pIn->m_pExpression, test.m_left))
            {
                test.m_kind = Test::eIn;
                test.m_pSet = pSet->m_pVariable;
            }
        }
    }
    m_plannedAny = m_plannedAny || test.m_kind != Test::eTree;
    m_tests.push_back(test);
    return static_cast<std::uint32_t>(m_tests.size() - 1);
}

std::uint32_t PDLLoopPlan::planStep(PDLCommand* pCommand)
{
    Step step{Step::eTree, pCommand, nullptr, {}, {}, kNone, kNone, kNone};
    if (isExactly<PDLCommandAssign>(*pCommand))
    {
        auto* pAssign = static_cast<PDLCommandAssign*>(pCommand);
        PDLVariable* pTarget = pAssign->m_pVariable;
        if (pAssign->m_pProtoVariable != nullptr && pTarget != nullptr &&
            planOperand(pAssign->m_pExpression, step.m_value))
        {
            PDLExpression const* pIndex = pAssign->m_pProtoVariable->m_pIndex;
            if (pIndex == nullptr && plainValue(pTarget) != nullptr)
            {
                step.m_kind = Step::eAssign;
            }
            else if (pIndex != nullptr && isExactly<PDLVariableArray>(*pTarget) &&
                     planOperand(pIndex, step.m_index))
            {
                step.m_kind = Step::eAssignAt;
            }
            step.m_pTarget = pTarget;
        }
    }
    else if (isExactly<PDLCommandAddToSet>(*pCommand))
    {
        // One number added to a set variable.
        auto* pAdd = static_cast<PDLCommandSetChange*>(pCommand);
        if (pAdd->m_pVariable != nullptr && pAdd->m_pSet != nullptr &&
            isExactly<PDLSetExpSingleValue>(*pAdd->m_pSet) &&
            planOperand(static_cast<PDLSetExpSingleValue const*>(pAdd->m_pSet)->m_pSingleValue, step.m_value))
        {
            step.m_kind = Step::eAdd;
            step.m_pTarget = pAdd->m_pVariable;
        }
    }
    else if (isExactly<PDLCommandIf>(*pCommand))
    {
        auto* pIf = static_cast<PDLCommandIf*>(pCommand);
        if (pIf->m_pCondition != nullptr && pIf->m_pIfCode != nullptr)
        {
            step.m_kind = Step::eIf;
            step.m_test = planTest(pIf->m_pCondition);
            step.m_first = planStep(pIf->m_pIfCode);
            step.m_second = pIf->m_pElseCode != nullptr ? planStep(pIf->m_pElseCode) : kNone;
        }
    }
    else if (isExactly<PDLCodeBlock>(*pCommand))
    {
        return planBlockSteps(pCommand);
    }
    m_plannedAny = m_plannedAny || step.m_kind == Step::eAssign || step.m_kind == Step::eAssignAt ||
                   step.m_kind == Step::eAdd;
    m_steps.push_back(step);
    return static_cast<std::uint32_t>(m_steps.size() - 1);
}

std::uint32_t PDLLoopPlan::planBlockSteps(PDLCommand* pBlock)
{
    auto* pCode = static_cast<PDLCodeBlock*>(pBlock);
    Step step{Step::eTree, pBlock, nullptr, {}, {}, kNone, kNone, kNone};
    // A block that hands its sequence to another state, or has no context, keeps the tree's rules.
    if (pCode->getGotoState().empty() && pCode->getContext() != nullptr)
    {
        std::vector<std::uint32_t> inner;
        inner.reserve(pCode->getCommands().size());
        for (PDLCommand* pCommand : pCode->getCommands())
        {
            inner.push_back(planStep(pCommand));
        }
        step.m_kind = Step::eBlock;
        step.m_first = static_cast<std::uint32_t>(m_blockSteps.size());
        step.m_second = static_cast<std::uint32_t>(inner.size());
        m_blockSteps.insert(m_blockSteps.end(), inner.begin(), inner.end());
    }
    m_steps.push_back(step);
    return static_cast<std::uint32_t>(m_steps.size() - 1);
}

bool PDLLoopPlan::build(PDLCondition* pCondition, PDLCommand* pBody)
{
    if (pCondition == nullptr || pBody == nullptr)
    {
        return false;
    }
    m_condition = planTest(pCondition);
    m_body = planStep(pBody);
    return m_plannedAny;
}

// ---------------------------------------------------------------------------------------------------
// Running

// A constant or an Int variable's value; false for any other kind of value.
inline bool PDLLoopPlan::leaf(Operand const& operand, std::int32_t& result)
{
    if (operand.m_kind == Operand::eConstant)
    {
        result = operand.m_constant;
        return true;
    }
    if (operand.m_pValue->getKind() != PDLVariant::eInt)
    {
        return false;
    }
    result = operand.m_pValue->getInt();
    return true;
}

inline bool PDLLoopPlan::number(Operand const& operand, std::int32_t& result) const
{
    if (operand.m_kind != Operand::eOperation)
    {
        return leaf(operand, result);
    }
    return compute(m_operations[operand.m_operation], result);
}

// The arithmetic of two Ints as the operator classes do it: 32-bit two's complement, the one
// overflowing quotient wrapping; false for a division by zero, which the tree reports.
bool PDLLoopPlan::compute(Operation const& operation, std::int32_t& result) const
{
    std::int32_t left;
    std::int32_t right;
    if (!number(operation.m_left, left) || !number(operation.m_right, right))
    {
        return false;
    }
    auto const l = static_cast<std::uint32_t>(left);
    auto const r = static_cast<std::uint32_t>(right);
    switch (operation.m_operator)
    {
    case Operation::ePlus:
        result = static_cast<std::int32_t>(l + r);
        return true;
    case Operation::eMinus:
        result = static_cast<std::int32_t>(l - r);
        return true;
    case Operation::eTimes:
        result = static_cast<std::int32_t>(l * r);
        return true;
    case Operation::eDivide:
        if (right == 0)
        {
            return false;
        }
        result = (left == std::numeric_limits<std::int32_t>::min() && right == -1) ? left : left / right;
        return true;
    case Operation::eModulo:
        if (right == 0)
        {
            return false;
        }
        result = right == -1 ? 0 : left % right;
        return true;
    }
    return false;
}

bool PDLLoopPlan::holds(std::uint32_t index) const
{
    Test const& test = m_tests[index];
    std::int32_t left;
    std::int32_t right;
    if (test.m_kind == Test::eIn)
    {
        if (!number(test.m_left, left))
        {
            return test.m_pCondition->evaluate();
        }
        PDLRunTimeInfo::s_pCurrentObject = test.m_pCondition;
        return test.m_pSet->isElementIn(PDLVariant(left), noMapping());
    }
    if (test.m_kind == Test::eTree || !number(test.m_left, left) || !number(test.m_right, right))
    {
        return test.m_pCondition->evaluate();
    }
    PDLRunTimeInfo::s_pCurrentObject = test.m_pCondition;
    // Compared as floats, as the comparison does for every kind.
    float const l = static_cast<float>(left);
    float const r = static_cast<float>(right);
    switch (test.m_compare)
    {
    case PDLConditionNumCompare::kEqual:
        return l == r;
    case PDLConditionNumCompare::kLess:
        return l < r;
    case PDLConditionNumCompare::kLessEqual:
        return l <= r;
    case PDLConditionNumCompare::kGreater:
        return l > r;
    default:
        return l >= r;
    }
}

bool PDLLoopPlan::runBlock(Step const& block) const
{
    std::uint32_t const* pStep = m_blockSteps.data() + block.m_first;
    std::uint32_t const* const pEnd = pStep + block.m_second;
    for (; pStep != pEnd; ++pStep)
    {
        if (!runStep(*pStep))
        {
            return false;
        }
    }
    return true;
}

bool PDLLoopPlan::runStep(std::uint32_t index) const
{
    Step const& step = m_steps[index];
    if (step.m_kind == Step::eTree || __builtin_expect(watched(step.m_pCommand), false))
    {
        return step.m_pCommand->execute();
    }
    switch (step.m_kind)
    {
    case Step::eAssign:
    {
        std::int32_t value;
        if (!number(step.m_value, value))
        {
            return step.m_pCommand->execute();
        }
        PDLRunTimeInfo::s_pCurrentObject = step.m_pCommand;
        static_cast<PDLVariableSimple*>(step.m_pTarget)->PDLVariableSimple::setValue(PDLVariant(value));
        return true;
    }
    case Step::eAssignAt:
    {
        std::int32_t value;
        std::int32_t index;
        if (!number(step.m_value, value) || !number(step.m_index, index))
        {
            return step.m_pCommand->execute();
        }
        PDLRunTimeInfo::s_pCurrentObject = step.m_pCommand;
        step.m_pTarget->setValueAtIndex(PDLVariant(index), PDLVariant(value));
        return true;
    }
    case Step::eAdd:
    {
        std::int32_t value;
        if (!number(step.m_value, value))
        {
            return step.m_pCommand->execute();
        }
        PDLRunTimeInfo::s_pCurrentObject = step.m_pCommand;
        step.m_pTarget->addValue(PDLVariant(value));
        return true;
    }
    case Step::eIf:
        PDLRunTimeInfo::s_pCurrentObject = step.m_pCommand;
        if (holds(step.m_test))
        {
            return runStep(step.m_first);
        }
        return step.m_second == kNone || runStep(step.m_second);
    default:
        PDLRunTimeInfo::s_pCurrentObject = step.m_pCommand;
        return runBlock(step);
    }
}

bool PDLLoopPlan::run() const
{
    while (holds(m_condition))
    {
        if (!runStep(m_body))
        {
            return false;
        }
    }
    return true;
}

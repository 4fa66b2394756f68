#ifndef PDLLOOPPLAN_H
#define PDLLOOPPLAN_H

// PDLLoopPlan: a flat form of a running while loop for its integer work. A loop that goes on past
// its first rounds is planned once per run of the loop: plain simple variables become pointers to
// their values, constants become numbers, and the arithmetic, comparisons, assignments, ifs and
// blocks that use only those become entries of small vectors. Everything else stays a reference to
// its tree node and runs as the tree runs it.
//
// The plan changes nothing the tree would do. Each planned step checks the kinds it reads; any value
// that is not an Int (Invalid, Bool, Float, String), a division by zero, a breakpoint or single
// stepping sends that statement or condition to its tree node instead, which then reads, warns,
// reports and stops exactly as always. Planned reads have no side effects, so a step handed back to
// the tree is done once, by the tree. The plan lives only while its loop runs; nothing is kept on
// the nodes.

#include <cstdint>
#include <vector>

class PDLCommand;
class PDLCondition;
class PDLExpression;
class PDLVariant;
class PDLVariable;

class PDLLoopPlan
{
public:
    // Plans the loop of the condition and body; false when nothing of it can be planned (the loop
    // then runs on the tree).
    bool build(PDLCondition* pCondition, PDLCommand* pBody);
    // Runs the loop to its end as PDLCommandWhile does: false when the body stopped the code.
    bool run() const;

private:
    // A number: a constant, a plain variable's value (when it is an Int), or an operation's result.
    struct Operand
    {
        enum EKind : std::uint8_t
        {
            eConstant,
            eValue,
            eOperation
        };
        EKind m_kind;
        std::int32_t m_constant;
        PDLVariant const* m_pValue;
        std::uint32_t m_operation;
    };

    struct Operation
    {
        enum EOperator : std::uint8_t
        {
            ePlus,
            eMinus,
            eTimes,
            eDivide,
            eModulo
        };
        EOperator m_operator;
        Operand m_left;
        Operand m_right;
    };

    // A condition: a planned numeric comparison or membership of a number in a set variable, or the
    // tree's condition.
    struct Test
    {
        enum EKind : std::uint8_t
        {
            eTree,
            eCompare,
            eIn
        };
        PDLCondition* m_pCondition;
        EKind m_kind;
        std::int32_t m_compare;
        Operand m_left;
        Operand m_right;
        PDLVariable* m_pSet;
    };

    // A statement: an assignment of a number to a plain simple variable or to an array element, an
    // add of a number to a set, an if, a block of statements, or a command run on the tree.
    struct Step
    {
        enum EKind : std::uint8_t
        {
            eTree,
            eAssign,
            eAssignAt,
            eAdd,
            eIf,
            eBlock
        };
        EKind m_kind;
        PDLCommand* m_pCommand;
        PDLVariable* m_pTarget;
        Operand m_value;
        Operand m_index;
        std::uint32_t m_test;
        // eIf: the branches, each a step index or kNone; eBlock: the range of its steps.
        std::uint32_t m_first;
        std::uint32_t m_second;
    };

    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

    bool planOperand(PDLExpression const* pExpression, Operand& operand);
    std::uint32_t planTest(PDLCondition* pCondition);
    std::uint32_t planStep(PDLCommand* pCommand);
    std::uint32_t planBlockSteps(PDLCommand* pBlock);

    static bool leaf(Operand const& operand, std::int32_t& result);
    bool number(Operand const& operand, std::int32_t& result) const;
    bool compute(Operation const& operation, std::int32_t& result) const;
    bool holds(std::uint32_t test) const;
    bool runStep(std::uint32_t step) const;
    bool runBlock(Step const& block) const;

    std::vector<Operation> m_operations;
    std::vector<Test> m_tests;
    std::vector<Step> m_steps;
    // The steps of every block, as indexes into m_steps, each block's range in one piece.
    std::vector<std::uint32_t> m_blockSteps;
    std::uint32_t m_condition = kNone;
    std::uint32_t m_body = kNone;
    bool m_plannedAny = false;
};

#endif

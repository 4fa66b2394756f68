#ifndef PDLCONDITIONCLASSES_H
#define PDLCONDITIONCLASSES_H

// Conditions of the code tree: nodes that yield a bool for IF, WHILE and WHEN. They compare values,
// test set membership and validity, combine other conditions, and ask which event is running.
// Every evaluate sets PDLRunTimeInfo::s_pCurrentObject first; a missing child is a FATAL report
// naming the member and makes the condition false.

#include "pdlbaseclasses.h"
#include "pdlexpressionclasses.h"

#include <string>

class PDLSequence;

class PDLCondition : public PDLObject
{
public:
    PDLCondition();
    ~PDLCondition() override;

    virtual bool evaluate() const = 0;
};

class PDLConditionTrue : public PDLCondition
{
public:
    bool evaluate() const override;
};

class PDLConditionFalse : public PDLCondition
{
public:
    bool evaluate() const override;
};

// Both sides are always evaluated: there is no short-circuit.
class PDLConditionAnd : public PDLCondition
{
public:
    PDLConditionAnd(PDLCondition* pLeft, PDLCondition* pRight);
    ~PDLConditionAnd() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLCondition* m_pLeftCondition;
    PDLCondition* m_pRightCondition;
};

// Both sides are always evaluated: there is no short-circuit.
class PDLConditionOr : public PDLCondition
{
public:
    PDLConditionOr(PDLCondition* pLeft, PDLCondition* pRight);
    ~PDLConditionOr() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLCondition* m_pLeftCondition;
    PDLCondition* m_pRightCondition;
};

class PDLConditionNot : public PDLCondition
{
public:
    explicit PDLConditionNot(PDLCondition* pCondition);
    ~PDLConditionNot() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLCondition* m_pCondition;
};

// Equal by the value type's cross-kind rule; an Invalid on either side is never equal.
class PDLConditionEq : public PDLCondition
{
public:
    PDLConditionEq(PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLConditionEq() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLExpression* m_pLeftExpression;
    PDLExpression* m_pRightExpression;
};

// Not equal; an Invalid on either side is never unequal either.
class PDLConditionNEq : public PDLCondition
{
public:
    PDLConditionNEq(PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLConditionNEq() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLExpression* m_pLeftExpression;
    PDLExpression* m_pRightExpression;
};

// A numeric comparison of both values as floats; an Invalid operand makes it true.
class PDLConditionNumCompare : public PDLCondition
{
public:
    enum ECompare : int32_t
    {
        kEqual = 0,
        kLess = 1,
        kLessEqual = 2,
        kGreater = 3,
        kGreaterEqual = 4
    };

    PDLConditionNumCompare(ECompare compare, PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLConditionNumCompare() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    ECompare m_compare;
    PDLExpression* m_pLeftExpression;
    PDLExpression* m_pRightExpression;
};

// Membership of a value in a set expression.
class PDLConditionIn : public PDLCondition
{
public:
    PDLConditionIn(PDLExpression* pExpression, PDLSetExp* pSet);
    ~PDLConditionIn() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    PDLExpression* m_pExpression;
    PDLSetExp* m_pSet;
};

// Equal counts and every left element in the right set.
class PDLConditionSetEq : public PDLCondition
{
public:
    PDLConditionSetEq(PDLSetExp* pLeft, PDLSetExp* pRight);
    ~PDLConditionSetEq() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLSetExp* m_pLeftSetExp;
    PDLSetExp* m_pRightSetExp;
};

// The value is not Invalid; read without warnings.
class PDLConditionIsValid : public PDLCondition
{
public:
    explicit PDLConditionIsValid(PDLExpression* pExpression);
    ~PDLConditionIsValid() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLExpression* m_pExpression;
};

// Membership that, when it holds, gives the variable the set's type name.
class PDLConditionAssign : public PDLCondition
{
public:
    PDLConditionAssign(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet);
    ~PDLConditionAssign() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLProtoVariable* m_pProtoVariable;
    PDLVariable* m_pVariable;
    PDLSetExp* m_pSet;
};

// The current event has a given name, or is the driver event of a composed function id.
class PDLConditionEvent : public PDLCondition
{
public:
    explicit PDLConditionEvent(PDLExpressionList* pFunctionId);
    ~PDLConditionEvent() override;

    void onContextSet() override;
    bool evaluate() const override;

    std::string const& getEventName() const { return m_eventName; }

protected:
    PDLExpressionList* m_pFunctionId;
    PDLSequence* m_pSequence;
    std::string m_eventName;
};

// The current hardware or state event has a given name and one of a set of widget ids.
class PDLConditionWidgetEvent : public PDLCondition
{
public:
    PDLConditionWidgetEvent(PDLSetExp* pSet, std::string const& eventName);
    ~PDLConditionWidgetEvent() override;

    void onContextSet() override;
    bool evaluate() const override;

protected:
    PDLSetExp* m_pSet;
    std::string m_eventName;
};

#endif

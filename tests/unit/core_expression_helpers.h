#ifndef CORE_EXPRESSION_HELPERS_H
#define CORE_EXPRESSION_HELPERS_H

// Small builders for hand-made expression trees in the expression, set and condition tests.

#include "core_pdlfixture.h"

#include "pdlexpressionclasses.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

// Yields a fixed value of any kind (Invalid included) and records how it was asked.
class FixedExpression : public PDLExpression
{
public:
    explicit FixedExpression(PDLVariant const& value, int* pEvaluations = nullptr)
        : m_value(value), m_pEvaluations(pEvaluations)
    {
    }

    PDLVariant evaluate(bool warnInvalid) const override
    {
        m_lastWarn = warnInvalid;
        if (m_pEvaluations != nullptr)
        {
            ++*m_pEvaluations;
        }
        return m_value;
    }

    PDLVariant m_value;
    int* m_pEvaluations;
    mutable bool m_lastWarn = false;
};

inline PDLExpression* num(int value)
{
    return new PDLExpressionConstNumber(value);
}

inline PDLExpression* flt(float value)
{
    return new PDLExpressionConstFloat(value);
}

inline PDLExpression* str(std::string const& value)
{
    return new PDLExpressionConstString(value);
}

inline PDLExpression* fixed(PDLVariant const& value)
{
    return new FixedExpression(value);
}

inline PDLExpression* invalid()
{
    return new FixedExpression(PDLVariant());
}

inline PDLExpressionList* list(std::initializer_list<PDLExpression*> elements)
{
    auto* pList = new PDLExpressionList();
    for (PDLExpression* pElement : elements)
    {
        pList->push_back(pElement);
    }
    return pList;
}

// A reference to a variable by name, with an optional index expression.
inline PDLProtoVariable* ref(std::string const& name, PDLExpression* pIndex = nullptr)
{
    return new PDLProtoVariable(name, false, false, pIndex, false, "", true);
}

inline PDLProtoVariable* arrayRef(std::string const& name)
{
    return new PDLProtoVariable(name, true, false, nullptr, false, "", true);
}

inline std::vector<PDLVariant>* values(std::initializer_list<PDLVariant> elements)
{
    return new std::vector<PDLVariant>(elements);
}

// Evaluates a tree (binding it to no context) and frees it.
inline PDLVariant eval(PDLExpression* pExpression, bool warnInvalid = true)
{
    std::unique_ptr<PDLExpression> owner(pExpression);
    return owner->evaluate(warnInvalid);
}

#endif

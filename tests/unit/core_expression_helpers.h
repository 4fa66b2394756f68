#ifndef CORE_EXPRESSION_HELPERS_H
#define CORE_EXPRESSION_HELPERS_H

// Small builders for hand-made expression trees in the expression, set and condition tests.

#include "core_pdlfixture.h"

#include "pdlexpressionclasses.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

// What a context was asked to register, in order: name and separate-event flag.

using Registrations = std::vector<std::pair<std::string, bool>>;
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
// A module-level scope at workplace 1, group 2, module 3 that runs the code of widget 5 (module
// part included, as the engine gives it).
class ModuleTestContext : public TestContext
{
public:
    ModuleTestContext() : TestContext(nullptr, eScopeModule) {}
    int getWorkplaceID() const override { return 1; }
    int getGroupID() const override { return 2; }
    int getModuleID() const override { return 3; }
    uint32_t getExecWidgetID() const override { return m_execWidgetID; }
    // Declares a variable in this scope; the scope owns it.
    template <class T>
    T* declare(T* pVariable)
    {
        getSymbolTable()->registerVariable(pVariable);
        return pVariable;
    }
    uint32_t m_execWidgetID = UniqueWidgetID(1, 2, 3, 5).getValue();
};
inline PDLVariableSimple* simpleVar(std::string const& name, EScope scope = eScopeModule,
                                    std::string const& typeName = "")
{
    return new PDLVariableSimple(scope, typeName, name, true, false, false, false);
}

inline PDLVariableArray* arrayVar(std::string const& name, EScope scope = eScopeModule)
{
    return new PDLVariableArray(scope, "", name, true, false, false, false);
}
inline PDLVariableSet* setVar(std::string const& name, EScope scope = eScopeModule,
                              std::string const& typeName = "")
{
    return new PDLVariableSet(scope, typeName, name, true, false, false, false);
}

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

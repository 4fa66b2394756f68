#ifndef PDLEXPRESSIONCLASSES_H
#define PDLEXPRESSIONCLASSES_H

// Expressions of the code tree: nodes that compute a PDLVariant (constants, variable reads, function
// ids, panel state reads, widget attribute reads, text and arithmetic operations, scaling), and set
// expressions, which denote a collection of values (a type, a set or array variable, a literal set, a
// single value) behind one uniform interface.
//
// Every evaluate sets PDLRunTimeInfo::s_pCurrentObject first (the scale expression excepted). An
// Invalid operand gives an Invalid result without a report; a missing child is a FATAL report
// naming the member.

#include "pdlbaseclasses.h"
#include "pdltypeclasses.h"
#include "pdlvariant.h"

#include <list>
#include <new>
#include <string>
#include <vector>

class PDLSequence;
class PDLType;

// A value that a node keeps to lend out, made on first use. Most such values of a loaded module are
// never needed (a function id of one component lends its component's value; a list is mostly only
// composed into another value), so until then the node pays a pointer instead of a whole value.
class PDLLazyVariant
{
public:
    PDLLazyVariant() noexcept : m_pValue(nullptr) {}
    ~PDLLazyVariant()
    {
        if (m_pValue != nullptr)
        {
            m_pValue->~PDLVariant();
            PDLCodeStore::release(m_pValue);
        }
    }

    PDLVariant& get()
    {
        if (__builtin_expect(m_pValue == nullptr, false))
        {
            m_pValue = new (PDLCodeStore::allocate(sizeof(PDLVariant))) PDLVariant();
        }
        return *m_pValue;
    }
    operator PDLVariant&() { return get(); }

private:
    PDLLazyVariant(PDLLazyVariant const&) = delete;
    PDLLazyVariant& operator=(PDLLazyVariant const&) = delete;

    PDLVariant* m_pValue;
};

// A node that yields a value or a collection of values.
class PDLBaseExpression : public PDLObject
{
public:
    // One byte: it fits beside the base's fields, which makes every expression node 8 bytes smaller.
    enum EType : uint8_t
    {
        eTypeExpression = 0,
        eTypeSet = 1,
        eTypeArray = 2
    };

    explicit PDLBaseExpression(EType type);
    ~PDLBaseExpression() override;

    // The place this expression stands for, if it can be assigned to; the base has none.
    virtual PDLVariableDescription getExpressionVariable() const;

    EType getType() const { return m_type; }

protected:
    EType m_type;
};

class PDLExpression : public PDLBaseExpression
{
public:
    PDLExpression();
    ~PDLExpression() override;

    // dump: evaluates silently and writes the value's dump and a line end; print: the value's text.
    void dump() const override;
    void print() const override;

    // warnInvalid is the read mode, handed to every sub-expression: true warns about invalid reads.
    virtual PDLVariant evaluate(bool warnInvalid) const = 0;
    virtual bool hasChanged() const;
    // True for a bare word.
    virtual bool isIdentifier() const;
    // The same value and reports as evaluate, lent instead of copied where the node can: a reference
    // to a value it keeps, to the stored value of the variable it reads, or to scratch after
    // evaluating into it. Good until this node or that variable is evaluated or written again. The
    // base evaluates into scratch.
    virtual PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const;
};

// A list of expressions as the grammar builds it; owns its elements. Evaluated as a dotted text. Its
// nodes, like the list itself, are kept with the code nodes.
class PDLExpressionList : public std::list<PDLExpression*, PDLCodeAllocator<PDLExpression*>>
{
public:
    PDLExpressionList();
    virtual ~PDLExpressionList();

    // Kept with the code nodes (PDLCodeStore).
    static void* operator new(size_t size) { return PDLCodeStore::allocate(size); }
    static void operator delete(void* pMemory) noexcept { PDLCodeStore::release(pMemory); }

    void setContext(PDLContext* pContext, bool noEventRegistration);
    // The texts of the elements joined by "."; Invalid as soon as one element is Invalid. An empty
    // list only clears the target's value and keeps its kind.
    void evaluateTo(PDLVariant& target, bool warnInvalid) const;
    PDLVariant evaluate(bool warnInvalid) const;
    // Exactly one element, and that one a bare word.
    bool isIdentifier() const;

    mutable PDLLazyVariant m_value;

private:
    PDLExpressionList(PDLExpressionList const&) = delete;
    PDLExpressionList& operator=(PDLExpressionList const&) = delete;
};

// Arguments of a call: expressions and set expressions; owns its elements.
class PDLArgumentList : public std::list<PDLBaseExpression*, PDLCodeAllocator<PDLBaseExpression*>>
{
public:
    PDLArgumentList();
    virtual ~PDLArgumentList();

    // Kept with the code nodes (PDLCodeStore).
    static void* operator new(size_t size) { return PDLCodeStore::allocate(size); }
    static void operator delete(void* pMemory) noexcept { PDLCodeStore::release(pMemory); }

    void setContext(PDLContext* pContext, bool noEventRegistration);

private:
    PDLArgumentList(PDLArgumentList const&) = delete;
    PDLArgumentList& operator=(PDLArgumentList const&) = delete;
};

// The value of an integer constant. The numbers that code writes again and again (-128 to 255) point
// to one immutable value each, shared by all constants of that number; any other number has a value of
// its own, kept with the code nodes.
class PDLConstantNumber
{
public:
    explicit PDLConstantNumber(int value);
    ~PDLConstantNumber();

    PDLVariant const& get() const { return *m_pValue; }
    operator PDLVariant const&() const { return *m_pValue; }

private:
    PDLConstantNumber(PDLConstantNumber const&) = delete;
    PDLConstantNumber& operator=(PDLConstantNumber const&) = delete;

    static bool isShared(int value) { return value >= -128 && value <= 255; }

    PDLVariant const* m_pValue;
};

class PDLExpressionConstNumber : public PDLExpression
{
public:
    explicit PDLExpressionConstNumber(int value);
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    PDLConstantNumber m_value;
};

class PDLExpressionConstFloat : public PDLExpression
{
public:
    explicit PDLExpressionConstFloat(float value);
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;

protected:
    PDLVariant m_value;
};

class PDLExpressionConstString : public PDLExpression
{
public:
    explicit PDLExpressionConstString(std::string const& value);
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;

protected:
    PDLVariant m_value;
};

// A bare word: its text as a String.
class PDLExpressionIdentifier : public PDLExpression
{
public:
    explicit PDLExpressionIdentifier(std::string const& value);
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
    bool isIdentifier() const override;

protected:
    PDLVariant m_value;
};

// A variable read, optionally at an index and through a mapping of its type.
class PDLExpressionVariable : public PDLExpression
{
public:
    // Owns the prototype and the mapping expression (which may be null).
    PDLExpressionVariable(PDLProtoVariable* pProtoVariable, PDLExpression* pMapping);
    ~PDLExpressionVariable() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
    bool hasChanged() const override;
    PDLVariableDescription getExpressionVariable() const override;

    // The variable the read was bound to, or null.
    PDLVariable* getBoundVariable() const { return m_pVariable; }
    // A read of a whole variable: no index, no mapping.
    bool isPlain() const
    {
        return m_pProtoVariable != nullptr && m_pProtoVariable->m_pIndex == nullptr &&
               m_pMappingExpression == nullptr;
    }

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    // evaluateRef beyond a plain read: checks, mappings, indexes, warnings.
    PDLVariant const& evaluateGeneral(bool warnInvalid, PDLVariant& scratch) const;

    PDLProtoVariable* m_pProtoVariable;
    PDLVariable* m_pVariable;
    PDLExpression* m_pMappingExpression;
};

// A function id composed of components; a single component keeps its own kind.
class PDLExpressionFunctionId : public PDLExpression
{
public:
    explicit PDLExpressionFunctionId(PDLExpressionList* pComponents);
    ~PDLExpressionFunctionId() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
    PDLVariableDescription getExpressionVariable() const override;

    // One component, a variable read without index or mapping.
    bool isLoneVariable() const;
    // The variable of a lone variable read (see isLoneVariable), or null.
    PDLVariable* getLoneVariable() const;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    // evaluateRef of a missing list or a composed id: the dotted text.
    PDLVariant const& evaluateComposed(bool warnInvalid, PDLVariant& scratch) const;

    mutable PDLLazyVariant m_value;
    PDLExpressionList* m_pFunctionIdComponents;
};

// The panel state's value at a composed function id.
class PDLExpressionGet : public PDLExpression
{
public:
    explicit PDLExpressionGet(PDLExpressionList* pComponents);
    ~PDLExpressionGet() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;

protected:
    mutable PDLVariant m_value;
    PDLExpressionList* m_pFunctionIdComponents;
    PDLSequence* m_pSequence;
};

// An attribute of a physical widget of the context's module.
class PDLExpressionWidgetRef : public PDLExpression
{
public:
    PDLExpressionWidgetRef(PDLExpression* pWidgetId, std::string const& attribute);
    ~PDLExpressionWidgetRef() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;

protected:
    PDLExpression* m_pWidgetId;
    std::string m_attribute;
};

// The left text followed by the right text.
class PDLExpressionAppend : public PDLExpression
{
public:
    PDLExpressionAppend(PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLExpressionAppend() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;

protected:
    PDLExpression* m_pLeftExpression;
    PDLExpression* m_pRightExpression;
    mutable PDLVariant m_value;
};

// Cuts bytes off, or takes bytes from, either end of a text.
class PDLExpressionSubExp : public PDLExpression
{
public:
    enum EMode : int32_t
    {
        CUTLEFT = 0,
        CUTRIGHT = 1,
        GETLEFT = 2,
        GETRIGHT = 3
    };

    PDLExpressionSubExp(EMode mode, PDLExpression* pSource, PDLExpression* pLength);
    ~PDLExpressionSubExp() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;

protected:
    EMode m_mode;
    PDLExpression* m_pSourceExpression;
    PDLExpression* m_pLengthExpression;
    mutable PDLVariant m_value;
};

// The number of bytes of the operand's text.
class PDLExpressionStrLen : public PDLExpression
{
public:
    explicit PDLExpressionStrLen(PDLExpression* pExpression);
    ~PDLExpressionStrLen() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;

protected:
    PDLExpression* m_pExpression;
};

// The byte-wise three-way comparison of two texts.
class PDLExpressionStrCmp : public PDLExpression
{
public:
    PDLExpressionStrCmp(PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLExpressionStrCmp() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;

protected:
    PDLExpression* m_pExpressionLeft;
    PDLExpression* m_pExpressionRight;
};

// A binary arithmetic operation: Float if either operand is a Float, else Int with 32-bit wrap-around.
class PDLExpressionMathOperator : public PDLExpression
{
public:
    PDLExpressionMathOperator(PDLExpression* pLeft, PDLExpression* pRight);
    ~PDLExpressionMathOperator() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
    // Computes into m_value; false when the operation cannot be done (reported by the operator).
    virtual bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const = 0;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    static bool isFloatOperation(PDLVariant const& left, PDLVariant const& right)
    {
        return left.getKind() == PDLVariant::eFloat || right.getKind() == PDLVariant::eFloat;
    }
    // The operation of an operator class on two valid operands, into result; false after a report.
    using Compute = bool (*)(PDLVariant const& left, PDLVariant const& right, PDLVariant& result);
    // evaluateRef with the operation known at compile time rather than called through opEvaluate's
    // vtable slot; the operator classes use it for their evaluateRef.
    template <Compute TCompute>
    PDLVariant const& evaluateWith(bool warnInvalid, PDLVariant& scratch) const;
    // The Invalid result of an operation, and of one that failed after its report; out of the hot path.
    __attribute__((noinline)) static PDLVariant const& invalidResult(PDLVariant& scratch);
    __attribute__((noinline, cold)) static PDLVariant const& failedResult(PDLVariant& scratch);

    // The result, made when the operator first runs.
    mutable PDLLazyVariant m_value;
    PDLExpression* m_pLeftExpression;
    PDLExpression* m_pRightExpression;
};

class PDLExpressionPlusOp : public PDLExpressionMathOperator
{
public:
    using PDLExpressionMathOperator::PDLExpressionMathOperator;
    bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
};

class PDLExpressionMinusOp : public PDLExpressionMathOperator
{
public:
    using PDLExpressionMathOperator::PDLExpressionMathOperator;
    bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
};

class PDLExpressionMultiplicationOp : public PDLExpressionMathOperator
{
public:
    using PDLExpressionMathOperator::PDLExpressionMathOperator;
    bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
};

class PDLExpressionDivisionOp : public PDLExpressionMathOperator
{
public:
    using PDLExpressionMathOperator::PDLExpressionMathOperator;
    bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
};

// Always on integers: Float operands are truncated first.
class PDLExpressionModuloOp : public PDLExpressionMathOperator
{
public:
    using PDLExpressionMathOperator::PDLExpressionMathOperator;
    bool opEvaluate(PDLVariant const& left, PDLVariant const& right) const override;
    PDLVariant const& evaluateRef(bool warnInvalid, PDLVariant& scratch) const override;
};

// Scales (or with inverse unscales) a value by the scaler that a parameter array names at "TYPE".
class PDLExpressionScale : public PDLExpression
{
public:
    PDLExpressionScale(PDLExpression* pExpression, std::string const& variableName, bool inverse);
    ~PDLExpressionScale() override;

    void onContextSet() override;
    PDLVariant evaluate(bool warnInvalid) const override;

protected:
    PDLExpression* m_pExpression;
    std::string m_variableName;
    bool m_inverse;
    mutable PDLVariant m_value;
    PDLVariable* m_pVariable;
};

// A collection of values: iteration, membership, the type name of its values and a count.
class PDLSetExp : public PDLBaseExpression
{
public:
    explicit PDLSetExp(PDLBaseExpression::EType type);
    ~PDLSetExp() override;

    // "{ ", the elements separated by ", ", " }" and a line end, on standard output.
    void dump() const override;

    virtual PDLVariantIteratorCont begin() const = 0;
    virtual PDLVariantIteratorCont end() const = 0;
    virtual bool isElement(PDLVariant const& value) const = 0;
    virtual std::string getTypeName() const = 0;
    virtual int getCount() const = 0;
};

// The values of a declared type, or of one of its mappings.
class PDLSetExpType : public PDLSetExp
{
public:
    // Looks the type up in the module being parsed; owns the mapping expression (may be null).
    PDLSetExpType(std::string const& typeName, PDLExpression* pMapping);
    ~PDLSetExpType() override;

    PDLVariantIteratorCont begin() const override;
    PDLVariantIteratorCont end() const override;
    bool isElement(PDLVariant const& value) const override;
    std::string getTypeName() const override;
    // Mappings plus one, not the number of values.
    int getCount() const override;

protected:
    PDLType* m_pType;
    PDLExpression* m_pMappingExpression;
};

// The elements of a set or array variable, optionally through a mapping of its type.
class PDLSetExpVariable : public PDLSetExp
{
public:
    // Owns the prototype and the mapping expression (may be null).
    PDLSetExpVariable(PDLProtoVariable* pProtoVariable, PDLExpression* pMapping);
    ~PDLSetExpVariable() override;

    void onContextSet() override;
    PDLVariableDescription getExpressionVariable() const override;
    PDLVariantIteratorCont begin() const override;
    PDLVariantIteratorCont end() const override;
    bool isElement(PDLVariant const& value) const override;
    std::string getTypeName() const override;
    int getCount() const override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    PDLProtoVariable* m_pProtoVariable;
    PDLVariable* m_pVariable;
    PDLExpression* m_pMappingExpression;
};

// A literal list of values.
class PDLSetExpConstSet : public PDLSetExp
{
public:
    PDLSetExpConstSet();
    // Owns the vector, which may be null.
    explicit PDLSetExpConstSet(std::vector<PDLVariant>* pValues);
    ~PDLSetExpConstSet() override;

    PDLVariantIteratorCont begin() const override;
    PDLVariantIteratorCont end() const override;
    bool isElement(PDLVariant const& value) const override;
    std::string getTypeName() const override;
    int getCount() const override;

protected:
    std::vector<PDLVariant>* m_pValues;
    PDLVariantIteratorVectorWrapper m_begin;
    PDLVariantIteratorVectorWrapper m_end;
};

// One value seen as a set of one element; the value is evaluated at each begin.
class PDLSetExpSingleValue : public PDLSetExp
{
public:
    // Runs once over its value; all finished iterators are equal.
    class VariantIteratorSingleValue : public PDLVariantIterator
    {
    public:
        VariantIteratorSingleValue(PDLVariant const& value, bool finished);
        VariantIteratorSingleValue(VariantIteratorSingleValue const& other);

        PDLVariantIterator& operator++() override;
        PDLVariantIterator& operator++(int) override;
        bool operator==(PDLVariantIterator const& other) const override;
        bool operator!=(PDLVariantIterator const& other) const override;
        PDLVariant operator*() const override;
        PDLVariantIterator* clone() const override;

        PDLVariant m_value;
        bool m_finished;
    };

    // Owns the expression.
    explicit PDLSetExpSingleValue(PDLExpression* pSingleValue);
    ~PDLSetExpSingleValue() override;

    // The one value as a walk from begin() would yield it (evaluated with warnings on), lent; null
    // after the report of a missing expression, where the walk yields nothing. For commands that walk
    // a set without the iterators.
    PDLVariant const* evaluateValue(PDLVariant& scratch) const;

    void onContextSet() override;
    PDLVariableDescription getExpressionVariable() const override;
    PDLVariantIteratorCont begin() const override;
    PDLVariantIteratorCont end() const override;
    bool isElement(PDLVariant const& value) const override;
    std::string getTypeName() const override;
    int getCount() const override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    mutable VariantIteratorSingleValue m_begin;
    VariantIteratorSingleValue m_end;
    PDLExpression* m_pSingleValue;
};

// ---------------------------------------------------------------------------------------------------
// The reads that nearly every statement makes, inline: a constant number, a plain variable, a function
// id of one component. evaluateOperand evaluates an operand with those classes recognised first, so
// that arithmetic, comparisons and assignments reach them without virtual calls.

inline PDLVariant const& PDLExpressionConstNumber::evaluateRef(bool /*warnInvalid*/,
                                                               PDLVariant& /*scratch*/) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionConstNumber*>(this);
    return m_value;
}

inline PDLVariant const& PDLExpressionVariable::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionVariable*>(this);
    // The usual read, a plain variable without index or mapping, lends its value directly. Everything
    // else (missing members, mappings, indexes, an Invalid read that must warn) takes the long way.
    if (m_pProtoVariable != nullptr && m_pVariable != nullptr && m_pMappingExpression == nullptr &&
        m_pProtoVariable->m_pIndex == nullptr)
    {
        PDLVariant const* pValue = PDLVariableSimple::getPlainValue(m_pVariable);
        if (pValue != nullptr && (!warnInvalid || pValue->getKind() != PDLVariant::eInvalid))
        {
            return *pValue;
        }
    }
    return evaluateGeneral(warnInvalid, scratch);
}

inline PDLVariant const& PDLExpressionFunctionId::evaluateRef(bool warnInvalid, PDLVariant& scratch) const
{
    PDLRunTimeInfo::s_pCurrentObject = const_cast<PDLExpressionFunctionId*>(this);
    // A lone component keeps its kind: a single number stays a number.
    if (m_pFunctionIdComponents != nullptr && m_pFunctionIdComponents->size() == 1 &&
        m_pFunctionIdComponents->front() != nullptr)
    {
        PDLExpression const* pComponent = m_pFunctionIdComponents->front();
        // The usual lone component, a variable read, is called directly.
        if (isExactly<PDLExpressionVariable>(*pComponent))
        {
            return static_cast<PDLExpressionVariable const*>(pComponent)
                ->PDLExpressionVariable::evaluateRef(warnInvalid, scratch);
        }
        return pComponent->evaluateRef(warnInvalid, scratch);
    }
    return evaluateComposed(warnInvalid, scratch);
}

inline bool PDLExpressionFunctionId::isLoneVariable() const
{
    return m_pFunctionIdComponents != nullptr && m_pFunctionIdComponents->size() == 1 &&
           m_pFunctionIdComponents->front() != nullptr &&
           isExactly<PDLExpressionVariable>(*m_pFunctionIdComponents->front()) &&
           static_cast<PDLExpressionVariable const*>(m_pFunctionIdComponents->front())->isPlain();
}

inline PDLVariable* PDLExpressionFunctionId::getLoneVariable() const
{
    return isLoneVariable()
               ? static_cast<PDLExpressionVariable const*>(m_pFunctionIdComponents->front())->getBoundVariable()
               : nullptr;
}

inline PDLVariant const& evaluateOperand(PDLExpression const& expression, bool warnInvalid,
                                         PDLVariant& scratch)
{
    if (isExactly<PDLExpressionFunctionId>(expression))
    {
        return static_cast<PDLExpressionFunctionId const&>(expression)
            .PDLExpressionFunctionId::evaluateRef(warnInvalid, scratch);
    }
    if (isExactly<PDLExpressionConstNumber>(expression))
    {
        return static_cast<PDLExpressionConstNumber const&>(expression)
            .PDLExpressionConstNumber::evaluateRef(warnInvalid, scratch);
    }
    return expression.evaluateRef(warnInvalid, scratch);
}

#endif

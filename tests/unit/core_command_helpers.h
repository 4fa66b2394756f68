#ifndef CORE_COMMAND_HELPERS_H
#define CORE_COMMAND_HELPERS_H

// Builders and a fixture for hand-made command trees bound to a small module scope.

#include "core_expression_helpers.h"

#include "pdlcommandclasses.h"
#include "pdlconditionclasses.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

// Appends its label to a journal and returns a fixed answer; counts its bindings.

class RecordingCommand : public PDLCommand
{
public:
    RecordingCommand(std::vector<std::string>* pJournal, std::string const& label, bool result = true)
        : PDLCommand(true), m_pJournal(pJournal), m_label(label), m_result(result)
    {
    }
    void onContextSet() override { ++m_bindings; }
    int m_bindings = 0;
protected:
    bool onExecute() override
    {
        PDLRunTimeInfo::s_pCurrentObject = this;
        m_pJournal->push_back(m_label);
        return m_result;
    }
    std::vector<std::string>* m_pJournal;
    std::string m_label;
    bool m_result;
};
// A module scope that may answer a sequence for the code it runs.
class CommandTestContext : public ModuleTestContext
{
public:
    PDLSequence* getSequence() override { return m_pSequence; }
    PDLSequence* m_pSequence = nullptr;
};

inline PDLCodeBlock* block(std::initializer_list<PDLCommand*> commands)
{
    auto* pBlock = new PDLCodeBlock();
    for (PDLCommand* pCommand : commands)
    {
        pBlock->addCommand(pCommand);
    }
    return pBlock;
}

inline PDLExpression* var(std::string const& name, PDLExpression* pMapping = nullptr)
{
    return new PDLExpressionVariable(ref(name), pMapping);
}
inline PDLCommand* assign(std::string const& name, PDLExpression* pExpression,
                          PDLExpression* pIndex = nullptr)
{
    return new PDLCommandAssign(ref(name, pIndex), pExpression);
}
// $name++ and $name-- as the grammar builds them.
inline PDLCommand* increment(std::string const& name)
{
    return assign(name, new PDLExpressionPlusOp(var(name), num(1)));
}

inline PDLCommand* decrement(std::string const& name)
{
    return assign(name, new PDLExpressionMinusOp(var(name), num(1)));
}

inline PDLCondition* eq(PDLExpression* pLeft, PDLExpression* pRight)
{
    return new PDLConditionEq(pLeft, pRight);
}

inline PDLCondition* less(PDLExpression* pLeft, PDLExpression* pRight)
{
    return new PDLConditionNumCompare(PDLConditionNumCompare::kLess, pLeft, pRight);
}

inline PDLCommand* print(std::initializer_list<PDLExpression*> elements, bool lineEnd = false)
{
    return new PDLCommandPrint(lineEnd, list(elements));
}

inline PDLProtoVariable* setRef(std::string const& name, PDLExpression* pIndex = nullptr)
{
    return new PDLProtoVariable(name, false, true, pIndex, false, "", true);
}

class CommandTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_errors = PDLParseInfo::m_errorCount;
    }
    void TearDown() override
    {
        m_trees.clear();
        PDLTest::TearDown();
    }
    // Binds the command to the test scope; the fixture owns it.
    template <class T>
    T* bound(T* pCommand, bool noEventRegistration = false)
    {
        m_trees.emplace_back(pCommand);
        pCommand->setContext(&m_context, noEventRegistration);
        return pCommand;
    }
    // Binds and runs once.
    bool run(PDLCommand* pCommand, bool noEventRegistration = false)
    {
        return bound(pCommand, noEventRegistration)->execute();
    }
    PDLVariant value(std::string const& name)
    {
        return m_context.getVariable(name, false, false)->getValue("", false);
    }
    uint32_t newErrors() const { return PDLParseInfo::m_errorCount - m_errors; }
    CommandTestContext m_context;
    std::vector<std::unique_ptr<PDLCommand>> m_trees;
    std::vector<std::string> m_journal;
    uint32_t m_errors = 0;
};
#endif

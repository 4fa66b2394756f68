#ifndef PDLCOMMANDCLASSES_H
#define PDLCOMMANDCLASSES_H

// Commands of the code tree that steer execution and change variables: the statement list
// (PDLCodeBlock), branches and loops, event blocks, assignments (the slot assignment of extern
// variables included), set changes, output, delay and unfold. A command returns true when the
// enclosing code goes on and false when it must stop; every control command hands a child's false
// upward, so an exit ends the whole running handler.
//
// Every onExecute sets PDLRunTimeInfo::s_pCurrentObject first; a missing member is a FATAL report
// naming it and makes the command return false.

#include "pdlbaseclasses.h"
#include "pdlconditionclasses.h"
#include "pdlexpressionclasses.h"
#include "pdltypeclasses.h"

#include <list>
#include <string>
#include <vector>

class PDLSequence;

// A statement list: runs its commands in order and stops at the first false. At the end of a
// sequence state's block it may hand over to another state. It cannot be stopped at.
class PDLCodeBlock : public PDLCommand
{
public:
    // Hands a sequence over to a named state; installed by the sequence unit.
    using GotoStateHandler = void (*)(PDLSequence* pSequence, std::string const& state);

    PDLCodeBlock();
    ~PDLCodeBlock() override;

    void onContextSet() override;

    // Takes over the command and links it at the end; a null command is ignored.
    void addCommand(PDLCommand* pCommand);
    void setGotoState(std::string const& state) { m_gotoState = state; }
    std::string const& getGotoState() const { return m_gotoState; }
    std::vector<PDLCommand*> const& getCommands() const { return m_commands; }

    // Returns the handler it replaces.
    static GotoStateHandler setGotoStateHandler(GotoStateHandler handler);

protected:
    bool onExecute() override;

    // A vector: the block runs its commands in order on every execution, and holds them compactly.
    std::vector<PDLCommand*> m_commands;
    std::string m_gotoState;

private:
    static GotoStateHandler s_gotoStateHandler;
};

// IF / ELSIF / ELSE: an ELSIF chain is an else part that is itself a PDLCommandIf.
class PDLCommandIf : public PDLCommand
{
public:
    // Owns all three; the else part may be null.
    PDLCommandIf(PDLCondition* pCondition, PDLCommand* pIfCode, PDLCommand* pElseCode);
    ~PDLCommandIf() override;

    void onContextSet() override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    bool onExecute() override;

    PDLCondition* m_pCondition;
    PDLCommand* m_pIfCode;
    PDLCommand* m_pElseCode;
};

// WHILE: no bound on the number of rounds.
class PDLCommandWhile : public PDLCommand
{
public:
    PDLCommandWhile(PDLCondition* pCondition, PDLCommand* pCode);
    ~PDLCommandWhile() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLCondition* m_pCondition;
    PDLCommand* m_pCode;
};

// FOREACH over a set expression with a local loop variable, which takes the set's type name so that
// mapped reads of it work inside the body.
class PDLCommandForEach : public PDLCommand
{
public:
    PDLCommandForEach(std::string const& variableName, PDLSetExp* pSet, PDLCommand* pCode);
    ~PDLCommandForEach() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    std::string m_variableName;
    PDLVariable* m_pVariable;
    PDLSetExp* m_pSet;
    PDLCommand* m_pCode;
};

// An event handler: runs its block when the condition holds. Variables read in the condition wake
// the owner; those read in the block do not.
class PDLCommandEvent : public PDLCommand
{
public:
    PDLCommandEvent(PDLCondition* pCondition, PDLCodeBlock* pCodeBlock);
    ~PDLCommandEvent() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLCondition* m_pCondition;
    PDLCodeBlock* m_pCodeBlock;
};

// := (and ++, --, which the grammar turns into an addition or subtraction of 1), optionally at an
// index. An Invalid value is assigned silently: it invalidates the target or erases the element.
class PDLCommandAssign : public PDLCommand
{
public:
    PDLCommandAssign(PDLProtoVariable* pProtoVariable, PDLExpression* pExpression);
    ~PDLCommandAssign() override;

    void onContextSet() override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    bool onExecute() override;

    PDLProtoVariable* m_pProtoVariable;
    PDLExpression* m_pExpression;
    PDLVariable* m_pVariable;
};

// Assigns a slot to an extern variable: the expression's text becomes its local id, then the
// variable is reset. With a one-slot delegation type the reset puts the default slot back at once.
class PDLCommandAssignSlot : public PDLCommand
{
public:
    PDLCommandAssignSlot(PDLProtoVariable* pProtoVariable, PDLExpression* pExpression);
    ~PDLCommandAssignSlot() override;

    // The target must be an extern variable without an index.
    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLProtoVariable* m_pProtoVariable;
    PDLExpression* m_pExpression;
    PDLVariableExtern* m_pVariable;
};

// := between a set or array variable and a set expression: the variable's values are replaced.
class PDLCommandSetAssign : public PDLCommand
{
public:
    PDLCommandSetAssign(PDLProtoVariable* pProtoVariable, PDLSetExp* pExpression);
    ~PDLCommandSetAssign() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLProtoVariable* m_pProtoVariable;
    PDLSetExp* m_pExpression;
    PDLVariable* m_pVariable;
};

// ADD and REMOVE: each element of the set expression goes into, or out of, the variable.
class PDLCommandSetChange : public PDLCommand
{
public:
    PDLCommandSetChange(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet);
    ~PDLCommandSetChange() override;

    void onContextSet() override;

protected:
    // The loop plan reads the shape of these nodes.
    friend class PDLLoopPlan;
    bool onExecute() override;
    // Applies one element to the variable.
    virtual void apply(PDLVariant const& value) = 0;

    PDLProtoVariable* m_pProtoVariable;
    PDLVariable* m_pVariable;
    PDLSetExp* m_pSet;
};

class PDLCommandAddToSet : public PDLCommandSetChange
{
public:
    PDLCommandAddToSet(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet);

protected:
    void apply(PDLVariant const& value) override;
};

class PDLCommandRemoveFromSet : public PDLCommandSetChange
{
public:
    PDLCommandRemoveFromSet(PDLProtoVariable* pProtoVariable, PDLSetExp* pSet);

protected:
    void apply(PDLVariant const& value) override;
};

// PRINT / PRINTLN: the values back to back on standard output, PRINTLN with a line end.
class PDLCommandPrint : public PDLCommand
{
public:
    // Owns the list, which may be null.
    PDLCommandPrint(bool lineEnd, PDLExpressionList* pExpressions);
    ~PDLCommandPrint() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pExpressions;
    bool m_lineEnd;
};

// DUMP: the dump form of an expression or a set expression.
class PDLCommandDump : public PDLCommand
{
public:
    explicit PDLCommandDump(PDLObject* pObject);
    ~PDLCommandDump() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLObject* m_pObject;
};

// DELAY: sleeps the value's milliseconds on the interpreter's thread, holding up every other event.
class PDLCommandDelay : public PDLCommand
{
public:
    explicit PDLCommandDelay(PDLExpression* pExpression);
    ~PDLCommandDelay() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpression* m_pExpression;
};

// UNFOLD: publishes the selection held at a function id as a flag beneath it in the panel state.
class PDLCommandUnfold : public PDLCommand
{
public:
    explicit PDLCommandUnfold(PDLExpressionList* pFunctionId);
    ~PDLCommandUnfold() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pFunctionId;
};

// EXIT: returns false and nothing else; the false ends the running handler or function body.
class PDLCommandExit : public PDLCommand
{
public:
    PDLCommandExit();

protected:
    bool onExecute() override;
};

#endif

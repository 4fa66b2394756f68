#ifndef PDLFUNCTIONCLASSES_H
#define PDLFUNCTIONCLASSES_H

// The two kinds of call: a PDL function of the module (PDLFunction, run by PDLCommandFunctionCall,
// copying arguments in and REF parameters out), and a driver call (PDLCommandCall) that hands a
// function id and named parameters to the module driver side through IFunctionID.

#include "pdlbaseclasses.h"
#include "pdlexpressionclasses.h"
#include "pdlsymboltable.h"

#include <list>
#include <set>
#include <string>
#include <vector>

class IFunctionID;
class PDLCodeBlock;
class PDLVariable;
class PDLVariableList;

class PDLFunction : public PDLContext
{
public:
    // Makes the parameter variables from the prototypes (consumed with their vector, which may be
    // null) and registers the locals; owns the locals list and the code.
    PDLFunction(std::string const& name, PDLContext* pParent, PDLProtoVarVector* pParameters,
                PDLVariableList* pLocals, PDLCodeBlock* pCode);
    ~PDLFunction() override;

    void registerForVariableEvent(std::string const& name, bool separateEvent) override;
    EScope getScope() const override;
    PDLEvent const* getCurrentEvent() const override;
    uint32_t getExecWidgetID() const override;
    PDLWidget* getWidget() override;
    PDLSequence* getSequence() override;

    // Binds the body anew to the top symbol table.
    void init();
    PDLVariable* getParameterVariable(int index)
    {
        if (index < 0 || static_cast<size_t>(index) >= m_argVariables.size())
        {
            reportParameterIndex();
            return nullptr;
        }
        return m_argVariables[static_cast<size_t>(index)];
    }
    // Runs the body with pCallingContext as the caller; returns the body's result.
    bool execute(PDLContext* pCallingContext);

    std::string const& getName() const { return m_name; }
    PDLContext* getCallingContext() const { return m_pCallingContext; }
    std::set<std::string> const& getEventVariables() const { return m_eventVariables; }
    std::set<std::string> const& getSeparateEventVariables() const { return m_separateEventVariables; }
    size_t getParameterCount() const { return m_argVariables.size(); }

private:
    // The failed check of getParameterVariable.
    static void reportParameterIndex();

protected:
    PDLCodeBlock* m_pFunctionCode;
    PDLContext* m_pCallingContext;
    std::set<std::string> m_eventVariables;
    std::set<std::string> m_separateEventVariables;
    std::string m_name;
    PDLVariableList* m_pLocalVariables;
    std::vector<PDLVariable*> m_argVariables;
};

// A call of a PDL function of the module: name(argument, ...).
class PDLCommandFunctionCall : public PDLCommand
{
public:
    // Owns the arguments, which may be null.
    PDLCommandFunctionCall(std::string const& functionName, PDLArgumentList* pArguments);
    ~PDLCommandFunctionCall() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    std::string m_functionName;
    PDLArgumentList* m_pArguments;
    PDLFunction* m_pFunction;
};

// One named parameter of a driver call: name = value.
class PDLParameter : public PDLObject
{
public:
    PDLParameter(PDLExpression* pName, PDLExpression* pValue);
    ~PDLParameter() override;

    void onContextSet() override;
    PDLVariant getName() const;
    PDLVariant getValue() const;

protected:
    PDLExpression* m_pName;
    PDLExpression* m_pValue;
};

// The parameters of a driver call, owned.
class PDLParameterList : public std::list<PDLParameter*>
{
public:
    PDLParameterList();
    virtual ~PDLParameterList();

    void setContext(PDLContext* pContext, bool noEventRegistration);

private:
    PDLParameterList(PDLParameterList const&) = delete;
    PDLParameterList& operator=(PDLParameterList const&) = delete;
};

// CALL fid(name = value ...): a function call on the driver side.
class PDLCommandCall : public PDLCommand
{
public:
    PDLCommandCall(PDLExpressionList* pFunctionId, PDLParameterList* pParameters);
    ~PDLCommandCall() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pFunctionId;
    PDLParameterList* m_pParameters;
    IFunctionID* m_pFIDReceiver;
};

#endif

#ifndef PDLPANELCOMMANDCLASSES_H
#define PDLPANELCOMMANDCLASSES_H

// Commands that act on the panel outside the script: on physical widgets (connect, set, trigger), on
// the shared panel state (set_state, send_event, getscale) and on the driver side (subscribe). Each
// evaluates its operands, composes a widget id or a function id and hands over. An Invalid operand
// makes the command do nothing and return true.

#include "pdlbaseclasses.h"
#include "pdlexpressionclasses.h"

#include <string>

class IFunctionID;
class PDLVariable;

// CONNECT(attribute) fid: binds an attribute of a widget to a state value, with the scaler the state
// names below fid. Without a widget id the widget is the one that owns the code.
class PDLCommandConnect : public PDLCommand
{
public:
    PDLCommandConnect(std::string const& attribute, PDLExpressionList* pFunctionId);
    PDLCommandConnect(PDLExpression* pWidgetId, std::string const& attribute, PDLExpressionList* pFunctionId);
    ~PDLCommandConnect() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpression* m_pWidgetId;
    PDLExpressionList* m_pFunctionId;
    std::string m_attribute;
};

// CONNECT(attribute, $scaler[]) fid: the scaler comes from a parameter array.
class PDLCommandScaledConnect : public PDLCommandConnect
{
public:
    PDLCommandScaledConnect(std::string const& variableName, std::string const& attribute,
                            PDLExpressionList* pFunctionId);
    PDLCommandScaledConnect(PDLExpression* pWidgetId, std::string const& variableName,
                            std::string const& attribute, PDLExpressionList* pFunctionId);

    void onContextSet() override;

protected:
    bool onExecute() override;

    std::string m_variableName;
    PDLVariable* m_pVariable;
};

// SET(attribute) value.
class PDLCommandSetAttribute : public PDLCommand
{
public:
    PDLCommandSetAttribute(std::string const& attribute, PDLExpression* pExpression);
    PDLCommandSetAttribute(PDLExpression* pWidgetId, std::string const& attribute,
                           PDLExpression* pExpression);
    ~PDLCommandSetAttribute() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpression* m_pWidgetId;
    PDLExpression* m_pExpression;
    std::string m_attribute;
};

// TRIGGER(event): the expression, which may be null, gives the event's parameter text.
class PDLCommandTrigger : public PDLCommand
{
public:
    PDLCommandTrigger(std::string const& event, PDLExpression* pExpression);
    PDLCommandTrigger(PDLExpression* pWidgetId, std::string const& event, PDLExpression* pExpression);
    ~PDLCommandTrigger() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpression* m_pWidgetId;
    PDLExpression* m_pExpression;
    std::string m_event;
};

// SET_STATE fid value.
class PDLCommandSetState : public PDLCommand
{
public:
    PDLCommandSetState(PDLExpressionList* pFunctionId, PDLExpression* pExpression);
    ~PDLCommandSetState() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pFunctionId;
    PDLExpression* m_pExpression;
};

// SEND_EVENT fid (parameter): an event to the driver behind the state entry.
class PDLCommandSendEvent : public PDLCommand
{
public:
    // The expression may be null.
    PDLCommandSendEvent(PDLExpressionList* pFunctionId, PDLExpression* pExpression);
    ~PDLCommandSendEvent() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pFunctionId;
    PDLExpression* m_pExpression;
};

// SUBSCRIBE fid: asks the function id service to subscribe the panel to the id.
class PDLCommandSubscribe : public PDLCommand
{
public:
    explicit PDLCommandSubscribe(PDLExpressionList* pFunctionId);
    ~PDLCommandSubscribe() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    PDLExpressionList* m_pFunctionId;
    IFunctionID* m_pFIDReceiver;
};

// GETSCALE(fid, $name[]): copies the parameters of the scaler of a state value into an array.
class PDLCommandGetScale : public PDLCommand
{
public:
    PDLCommandGetScale(PDLExpressionList* pFunctionId, std::string const& variableName);
    ~PDLCommandGetScale() override;

    void onContextSet() override;

protected:
    bool onExecute() override;

    std::string m_variableName;
    PDLExpressionList* m_pFunctionId;
    PDLVariable* m_pVariable;
};

#endif

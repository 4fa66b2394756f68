#ifndef PDLWIDGETCLASSES_H
#define PDLWIDGETCLASSES_H

// PDLWidget: the code bound to one physical control or to a family of controls of a module. An event
// runs the code once per widget number concerned; the panel-state ids that a pass reads become the
// exact set of subscriptions of that number.

#include "pdlpanelstate.h"
#include "pdlsymboltable.h"

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>

class PDLCodeBlock;
class PDLEvent;
class PDLVariable;
class PDLVariableList;

class PDLWidget : public PDLContext, public PDLStateSubscriber
{
public:
    // A widget for one number; 0 is reported and leaves the widget without numbers.
    PDLWidget(PDLContext* pParent, std::string const& idVariableName, unsigned int id,
              PDLVariableList* pVariables, PDLCodeBlock* pCode);
    // A widget for every number that is a value of the module's type typeName.
    PDLWidget(PDLContext* pParent, std::string const& idVariableName, std::string const& typeName,
              PDLVariableList* pVariables, PDLCodeBlock* pCode);
    ~PDLWidget() override;

    void registerForVariableEvent(std::string const& name, bool separateEvent) override;
    EScope getScope() const override;
    PDLEvent const* getCurrentEvent() const override;
    uint32_t getExecWidgetID() const override;
    PDLWidget* getWidget() override;
    std::string getDescription(int id) const override;
    PDLEvent* makeEvent(int id) override;
    PDLEvent* makeTriggerEvent(int id, std::string const& name, std::string const& value) override;

    // Runs the code for the event: once for its widget number, or once per number for variable and
    // init events.
    void execute(PDLEvent const* pEvent);
    // One pass of the code for one number.
    void privateExecute(unsigned int id);
    // Called by the state reads of a running pass: keeps the id subscribed for the running number.
    void subscribeFID(std::string const& fid);
    void setTrace(unsigned int id, bool on);

    std::list<uint32_t> const& getWidgetIDs() const { return m_widgetIDs; }
    PDLCodeBlock* getWidgetCode() const { return m_pWidgetCode; }

protected:
    std::list<uint32_t> m_widgetIDs;
    std::set<PDLVariable*> m_registeredVariables;
    PDLVariable* m_pVariableID;
    PDLVariable* m_pVariableMacroLevel;
    PDLVariableList* m_pVariableList;
    PDLCodeBlock* m_pWidgetCode;
    PDLEvent const* m_pCurrentEvent;
    uint32_t m_currentID;
    bool m_traceEnabled;
    std::set<uint32_t> m_traceIDs;
    std::map<uint32_t, std::set<std::string>> m_staleFIDs;
    std::map<uint32_t, std::set<std::string>> m_activeFIDs;
};

#endif

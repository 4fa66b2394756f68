#ifndef PDLWIDGETCLASSES_H
#define PDLWIDGETCLASSES_H

// PDLWidget: the code bound to one physical control or to a family of controls of a module. An event
// runs the code once per widget number concerned; the panel-state ids that a pass reads become the
// exact set of subscriptions of that number.

#include "pdlpanelstate.h"
#include "pdlsymboltable.h"

#include "rtk/log.h"

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>

class IMacroSystem;
class PDLCodeBlock;
class PDLCommand;
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
    // The panel-state ids that the latest pass of that number subscribed.
    std::set<std::string> getActiveFIDs(uint32_t id) const;

    // Mechanics that sequences share.
    // The host's macro system, or null (also when there is no event engine).
    static IMacroSystem* getMacroSystem();
    // The "EventMgr" log when it asks for level 7 lines, else null.
    static rtk::LogOutput* getEventLogIfDebug();
    // The trace line of one pass on standard output; label is "Widget   " or "Sequence ".
    static void printTrace(PDLContext const& context, char const* label, uint32_t id, PDLEvent const* pEvent);
    // workplace.group.module.id (file.line) of a definition.
    static std::string describe(PDLContext const& context, int id);
    // Runs the code; with a macro system present, macro_level holds the control's level during the run
    // and an assignment to it goes back to the macro system.
    static void runWithMacroLevel(PDLContext const& context, uint32_t id, PDLVariable* pMacroLevel,
                                  PDLCommand* pCode);
    // Make the widget-number local and "macro_level" in the context's table.
    static void createLocals(PDLContext& context, std::string const& idVariableName,
                             PDLVariable*& pVariableID, PDLVariable*& pVariableMacroLevel);
    // Appends the non-zero values of the module's type typeName; zeros and an unknown type are reported.
    static void collectTypeIDs(PDLContext* pParent, std::string const& typeName, std::list<uint32_t>& ids);
    // Panel-state subscription calls that tolerate a missing panel state.
    static void subscribeState(std::string const& fid, PDLStateSubscriberKey const& key);
    static void unsubscribeState(std::string const& fid, PDLStateSubscriberKey const& key);

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

private:
    // The checks and declarations common to both constructors.
    void finishConstruction();
};

#endif

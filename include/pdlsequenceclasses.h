#ifndef PDLSEQUENCECLASSES_H
#define PDLSEQUENCECLASSES_H

// PDLSequence: a state machine in PDL. It waits for a start event and a true guard, enters "INIT", moves
// between named states on `goto`, and ends at "EXIT" or, when the guard falls, at "CANCEL".

#include "pdlpanelstate.h"
#include "pdlsymboltable.h"

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

class PDLCodeBlock;
class PDLCondition;
class PDLEvent;
class PDLVariable;
class PDLVariableList;

// The states of a sequence by name, each an owned statement list.
class PDLSequenceStateList
{
public:
    PDLSequenceStateList();
    virtual ~PDLSequenceStateList();

    // A name already present is reported ("duplicate state name ") and the first block stays; the
    // refused block is deleted.
    void addState(std::string const& name, PDLCodeBlock* pBlock);
    // Null when absent.
    PDLCodeBlock* getState(std::string const& name) const;
    // Hands the context to every block.
    void setContext(PDLContext* pContext, bool noEventRegistration);

    std::map<std::string, PDLCodeBlock*> const& getStates() const { return m_states; }

private:
    PDLSequenceStateList(PDLSequenceStateList const&) = delete;
    PDLSequenceStateList& operator=(PDLSequenceStateList const&) = delete;

    std::map<std::string, PDLCodeBlock*> m_states;
};

class PDLSequence : public PDLContext, public PDLStateSubscriber
{
public:
    // Owns the start events (may be null), the guard, the locals (may be null) and the states.
    PDLSequence(PDLContext* pParent, std::string const& idVariableName, unsigned int id,
                std::vector<std::string>* pStartEvents, PDLCondition* pWhen, PDLVariableList* pVariables,
                PDLSequenceStateList* pStates);
    PDLSequence(PDLContext* pParent, std::string const& idVariableName, std::string const& typeName,
                std::vector<std::string>* pStartEvents, PDLCondition* pWhen, PDLVariableList* pVariables,
                PDLSequenceStateList* pStates);
    ~PDLSequence() override;

    void registerForVariableEvent(std::string const& name, bool separateEvent) override;
    EScope getScope() const override;
    PDLEvent const* getCurrentEvent() const override;
    uint32_t getExecWidgetID() const override;
    PDLSequence* getSequence() override;
    PDLEvent* makeEvent(int id) override;
    PDLEvent* makeTriggerEvent(int id, std::string const& name, std::string const& value) override;
    std::string getDescription(int id) const override;

    // Binds guard and states after the parse.
    void init();
    // True when the sequence now runs.
    bool start(PDLEvent const* pEvent);
    // True when the sequence still runs afterwards.
    bool execute(PDLEvent const* pEvent);
    bool gotoState(std::string const& name);
    bool evaluateStartEvent(PDLEvent const* pEvent);
    bool evaluateWhenCondition(bool watch);
    void watchFIDsStart();
    void watchFIDsStop();
    void subscribeFID(std::string const& fid);
    void setTrace(unsigned int id, bool on);

    bool isRunning() const { return m_running; }
    std::list<uint32_t> const& getWidgetIDs() const { return m_widgetIDs; }
    // True only while init binds the guard: reads that register then bind to this sequence.
    bool isSettingWhenContext() const { return m_settingWhenContext; }
    // Null before the first state and after a goto to an unknown state.
    PDLCodeBlock* getCurrentState() const { return m_pCurrentState; }
    // The panel-state ids that the latest pass subscribed.
    std::set<std::string> const& getActiveFIDs() const { return m_activeFIDs; }

protected:
    std::list<uint32_t> m_widgetIDs;
    std::set<PDLVariable*> m_registeredVariables;
    PDLVariable* m_pVariableID;
    PDLVariable* m_pVariableMacroLevel;
    std::vector<std::string>* m_pStartEvents;
    PDLCondition* m_pWhenCondition;
    PDLVariableList* m_pVariableList;
    PDLSequenceStateList* m_pStateList;
    PDLEvent const* m_pCurrentEvent;
    PDLCodeBlock* m_pCurrentState;
    bool m_running;
    bool m_settingWhenContext;
    uint32_t m_currentID;
    bool m_traceEnabled;
    std::set<uint32_t> m_traceIDs;
    std::set<std::string> m_staleFIDs;
    std::set<std::string> m_activeFIDs;

private:
    // The declarations common to both constructors.
    void finishConstruction();
    // execute after its checks: guard, then the current state's block.
    bool runEvent(PDLEvent const* pEvent);
};

#endif

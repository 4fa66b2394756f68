#ifndef PDLTYPECLASSES_H
#define PDLTYPECLASSES_H

// PDL types and variables: PDLType (an enumeration, optionally with named value mappings) with its
// declaration rows, the declaration record PDLProtoVariable, and the variables of every container
// kind (PDLVariableSimple, PDLVariableSet, PDLVariableArray), the view of a panel-state entry
// (PDLVariableExtern), with PDLVariableDescription and PDLVariableList.

#include "pdlbaseclasses.h"
#include "pdlpanelstate.h"
#include "pdlsymboltable.h"
#include "pdlvariant.h"

#include <basekit/uniqueids.h>

#include <list>
#include <map>
#include <set>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

class PDLExpression;
class PDLModule;
class PDLSequence;
class PDLVariableDescription;
class PDLWidget;

// One row of a mapped type declaration: a value and its mapped values, one per mapping name.
class PDLValMapping
{
public:
    // Takes ownership of pMapped, which may be shorter than the list of mapping names.
    PDLValMapping(PDLVariant const& value, std::vector<PDLVariant>* pMapped);
    virtual ~PDLValMapping();

    PDLVariant m_value;
    std::vector<PDLVariant>* m_pMappedValues;

private:
    PDLValMapping(PDLValMapping const&) = delete;
    PDLValMapping& operator=(PDLValMapping const&) = delete;
};

// The rows of a mapped type declaration; owns them.
class PDLMappedValueList : public std::list<PDLValMapping*>
{
public:
    PDLMappedValueList() = default;
    virtual ~PDLMappedValueList();

private:
    PDLMappedValueList(PDLMappedValueList const&) = delete;
    PDLMappedValueList& operator=(PDLMappedValueList const&) = delete;
};

// A PDL enumeration: an ordered value list and, for a mapped type, one parallel list per mapping.
class PDLType
{
public:
    // Plain type; copies the values and deletes the vector, which must not be null.
    PDLType(std::string const& name, std::vector<PDLVariant>* pValues);
    // Mapped type; takes the names and deletes the rows after copying. A missing mapped value is a
    // reported fault that leaves the rest of that mapping Invalid.
    PDLType(std::string const& name, std::vector<std::string>* pMappingNames, PDLMappedValueList* pList);
    virtual ~PDLType();

    std::string const& getName() const { return m_name; }
    // The number of value lists: mappings plus one, not the number of values.
    int getCount() const { return static_cast<int>(m_values.size()); }
    // The list of a mapping, or the value list for an empty name; null after a report otherwise.
    std::vector<PDLVariant> const* getValueVector(std::string const& mapping) const;
    // The mapped value of a value, looked up by its text. Invalid for an Invalid value (silently)
    // and after a report for anything not found.
    PDLVariant getMappedValue(PDLVariant const& value, std::string const& mapping) const;
    // Membership by value equality, in the value list or in a mapping's list.
    bool isElementIn(PDLVariant const& value, std::string const& mapping) const;
    PDLVariantIteratorCont begin(std::string const& mapping) const;
    PDLVariantIteratorCont end(std::string const& mapping) const;
    std::vector<std::string> const* getMappingNames() const { return m_pMappingNames; }
    // Name, values and mappings for the debug shell, on standard output.
    void dump();

private:
    PDLType(PDLType const&) = delete;
    PDLType& operator=(PDLType const&) = delete;

    PDLVariantIteratorCont makeIterator(std::string const& mapping, bool atEnd) const;

    std::string m_name;
    std::vector<std::vector<PDLVariant>> m_values;
    std::map<std::string, int32_t> m_valueIndex;
    std::vector<std::string>* m_pMappingNames;
    mutable std::map<std::string, PDLVariantIteratorVectorWrapper> m_beginIterators;
    mutable std::map<std::string, PDLVariantIteratorVectorWrapper> m_endIterators;
};

// A variable declaration as parsed; also the name-and-index reference of an assignment target.
class PDLProtoVariable
{
public:
    PDLProtoVariable(std::string const& name, bool isArray, bool isSet, PDLExpression* pIndex,
                     bool isReference, std::string const& typeName, bool generateEvents);
    virtual ~PDLProtoVariable();

    std::string m_name;
    std::string m_typeName;
    bool m_isArray;
    bool m_isSet;
    bool m_isReference;
    // The index expression of an element reference; owned.
    PDLExpression* m_pIndex;
    bool m_generateEvents;

    // A reference without an index is an immutable record of a name and flags, and a module's code
    // holds thousands of equal ones. share() takes such a prototype and hands back the one shared
    // record of its contents (the given one is deleted); a prototype with an index comes back as it is.
    // The nodes that own a reference (variable reads, assignments, set commands) take it this way and
    // give it back with release(), which deletes only what is not shared. Shared records stay for the
    // life of the process; there is one per distinct name and flags.
    static PDLProtoVariable* share(PDLProtoVariable* pProto);
    static void release(PDLProtoVariable* pProto);

private:
    PDLProtoVariable(PDLProtoVariable const&) = delete;
    PDLProtoVariable& operator=(PDLProtoVariable const&) = delete;
};

// A named storage place of PDL. The base reports misuse of a container kind; the subclasses override
// what their kind supports.
class PDLVariable
{
public:
    enum EContainerType : int32_t
    {
        eContainerSimple = 0,
        eContainerSet = 1,
        eContainerArray = 2
    };

    PDLVariable(EContainerType containerType, EScope scope, std::string const& typeName,
                std::string const& name, bool generateEvents, bool readOnly, bool isReference,
                bool persistent);
    // Copies every field, the listener sets included.
    PDLVariable(PDLVariable const& other);
    virtual ~PDLVariable();

    // A copy for a recursive call; only local variables can be cloned.
    virtual PDLVariable* clone() const = 0;
    virtual bool isValid() const = 0;
    // Drops the value(s) without a change flag.
    virtual void setInvalid() = 0;
    // Copies this variable's value to the place described; false when the kinds do not fit.
    virtual bool copyTo(PDLVariableDescription& description) const;
    virtual void setValue(PDLVariant const& value);
    virtual void setValueString(std::string const& value);
    virtual void setValueInt(int value);
    virtual void setValueFloat(float value);
    virtual void setValueBool(bool value);
    virtual void setValueAtIndex(PDLVariant const& index, PDLVariant const& value);
    virtual PDLVariant getValue(std::string const& mapping, bool warnInvalid) const;
    virtual PDLVariant getValueAtIndex(PDLVariant const& index, std::string const& mapping,
                                       bool warnInvalid) const;
    virtual void addValue(PDLVariant const& value);
    virtual void removeValue(PDLVariant const& value);
    virtual void clearAllValues();
    virtual bool isElementIn(PDLVariant const& value, std::string const& mapping) const;
    virtual PDLVariantIteratorCont begin(std::string const& mapping) const;
    virtual PDLVariantIteratorCont end(std::string const& mapping) const;
    virtual int getCount() const;
    // getValue without a mapping, lent instead of copied where the class can: a reference to the
    // stored value, or to scratch holding getValue's result. Good until the variable is written.
    virtual PDLVariant const& getValueRef(bool warnInvalid, PDLVariant& scratch) const;

    // Raises the change flag; the first change of a variable that others can listen to puts it on
    // the event manager's list of changed variables.
    void setChangeFlag()
    {
        if (!m_readOnly && !m_changed)
        {
            raiseChangeFlag();
        }
    }
    // Lowered by the event engine once the change became events.
    void clearChangeFlag() { m_changed = false; }
    bool isChanged() const { return m_changed; }
    // At function entry: type back to the declaration, flag down, value gone (unless persistent).
    void reset();
    // The value in a slot: the slot itself, or for a persistent variable the value of its handle.
    PDLVariant getStoredValue(PDLVariant const& slot) const;
    void setStoredValue(PDLVariant& slot, PDLVariant const& value);
    // A value translated by a mapping of this variable's type, looked up in the executing module.
    PDLVariant getMappedValue(PDLVariant const& value, std::string const& mapping) const;

    void registerSequence(PDLSequence* pSequence, bool separateEvent);
    void registerWidget(PDLWidget* pWidget, bool separateEvent);
    void unregisterSequence(PDLSequence* pSequence);
    void unregisterWidget(PDLWidget* pWidget);

    // The value on standard output, no line end.
    void print() const;
    // One line of the variable table of the debug shell, on standard output.
    void dump() const;

    EContainerType getContainerType() const { return m_containerType; }
    EScope getScope() const { return m_scope; }
    std::string const& getName() const { return m_name; }
    bool generatesEvents() const { return m_generateEvents; }
    bool isReadOnly() const { return m_readOnly; }
    bool isReference() const { return m_isReference; }
    bool isPersistent() const { return m_persistent; }
    std::string const& getTypeName() const { return m_typeName; }
    // A loop variable takes over the type of the set it walks; reset() restores the declared one.
    void setTypeName(std::string const& typeName) { m_typeName = typeName; }
    std::string const& getDeclaredTypeName() const { return m_declaredTypeName; }
    std::set<PDLSequence*> const& getSequences() const { return m_sequences; }
    std::set<PDLSequence*> const& getSequencesSeparate() const { return m_sequencesSeparate; }
    std::set<PDLWidget*> const& getWidgets() const { return m_widgets; }
    std::set<PDLWidget*> const& getWidgetsSeparate() const { return m_widgetsSeparate; }

protected:
    void reportNotContainer() const;
    // The part of setChangeFlag behind its first test.
    void raiseChangeFlag();

    EContainerType m_containerType;
    EScope m_scope;
    std::string m_name;
    bool m_changed;
    bool m_generateEvents;
    bool m_readOnly;
    bool m_isReference;
    bool m_persistent;
    std::set<PDLSequence*> m_sequences;
    std::set<PDLSequence*> m_sequencesSeparate;
    std::set<PDLWidget*> m_widgets;
    std::set<PDLWidget*> m_widgetsSeparate;
    std::string m_typeName;
    std::string m_declaredTypeName;

private:
    PDLVariable& operator=(PDLVariable const&) = delete;
};

// A variable of one value. A persistent one holds its handle in m_value.
class PDLVariableSimple : public PDLVariable
{
public:
    // A persistent variable gets its handle from the persistent store under moduleID and name.
    PDLVariableSimple(EScope scope, std::string const& typeName, std::string const& name, bool generateEvents,
                      bool readOnly, bool isReference, bool persistent,
                      UniqueModuleID const& moduleID = UniqueModuleID());
    PDLVariableSimple(PDLVariableSimple const& other) = default;
    ~PDLVariableSimple() override;

    PDLVariable* clone() const override;
    bool isValid() const override;
    void setInvalid() override;
    bool copyTo(PDLVariableDescription& description) const override;
    // Writes only a value that differs by PDLVariant equality: an equal value keeps its old kind.
    void setValue(PDLVariant const& value) override;
    // Write when the kind or the value differs: these change the kind of an equal value.
    void setValueString(std::string const& value) override;
    void setValueInt(int value) override;
    void setValueFloat(float value) override;
    void setValueBool(bool value) override;
    PDLVariant getValue(std::string const& mapping, bool warnInvalid) const override;
    PDLVariant const& getValueRef(bool warnInvalid, PDLVariant& scratch) const override;

    // The stored value of a variable that is exactly of this class and not persistent, read without a
    // virtual call; null for every other variable. Readers on hot paths try this first.
    static PDLVariant const* getPlainValue(PDLVariable const* pVariable)
    {
        if (isExactly<PDLVariableSimple>(*pVariable) && !pVariable->isPersistent())
        {
            return &static_cast<PDLVariableSimple const*>(pVariable)->m_value;
        }
        return nullptr;
    }

private:
    // setValue for a persistent variable or an Invalid value.
    void setValueGeneral(PDLVariant const& value);

    PDLVariant m_value;
};

inline void PDLVariableSimple::setValue(PDLVariant const& value)
{
    if (!m_persistent && value.getKind() != PDLVariant::eInvalid)
    {
        // The common case, inline for assignments, without the persistent store's slot rules.
        if (m_value == value)
        {
            return;
        }
        setChangeFlag();
        m_value = value;
        return;
    }
    setValueGeneral(value);
}

// A set of values, keyed by their text in byte order.
class PDLVariableSet : public PDLVariable
{
public:
    class iterator : public PDLVariantIterator
    {
    public:
        iterator();
        iterator(PDLVariableSet const* pSet, std::map<std::string, PDLVariant>::const_iterator position,
                 std::string const& mapping);

        PDLVariantIterator& operator++() override;
        PDLVariantIterator& operator++(int) override;
        bool operator==(PDLVariantIterator const& other) const override;
        bool operator!=(PDLVariantIterator const& other) const override;
        PDLVariant operator*() const override;
        PDLVariantIterator* clone() const override;

    private:
        std::map<std::string, PDLVariant>::const_iterator m_position;
        PDLVariableSet const* m_pSet;
        std::string m_mapping;
    };

    PDLVariableSet(EScope scope, std::string const& typeName, std::string const& name, bool generateEvents,
                   bool readOnly, bool isReference, bool persistent);
    // Copies the elements; the iterator maps start empty.
    PDLVariableSet(PDLVariableSet const& other);
    ~PDLVariableSet() override;

    PDLVariable* clone() const override;
    bool isValid() const override;
    void setInvalid() override;
    bool copyTo(PDLVariableDescription& description) const override;
    void addValue(PDLVariant const& value) override;
    void removeValue(PDLVariant const& value) override;
    void clearAllValues() override;
    bool isElementIn(PDLVariant const& value, std::string const& mapping) const override;
    PDLVariantIteratorCont begin(std::string const& mapping) const override;
    PDLVariantIteratorCont end(std::string const& mapping) const override;
    int getCount() const override;

    std::map<std::string, PDLVariant> const& getElements() const { return m_elements; }

private:
    std::map<std::string, PDLVariant> m_elements;
    mutable std::map<std::string, iterator> m_beginIterators;
    mutable std::map<std::string, iterator> m_endIterators;
};

// A sparse array keyed by the text of any value, in byte order: "1", "10", "2". A persistent array
// holds a handle per element.
class PDLVariableArray : public PDLVariable
{
public:
    class iterator : public PDLVariantIterator
    {
    public:
        iterator();
        iterator(PDLVariableArray const* pArray, std::map<std::string, PDLVariant>::const_iterator position,
                 std::string const& mapping);

        PDLVariantIterator& operator++() override;
        PDLVariantIterator& operator++(int) override;
        bool operator==(PDLVariantIterator const& other) const override;
        bool operator!=(PDLVariantIterator const& other) const override;
        PDLVariant operator*() const override;
        PDLVariantIterator* clone() const override;

    private:
        std::map<std::string, PDLVariant>::const_iterator m_position;
        PDLVariableArray const* m_pArray;
        std::string m_mapping;
    };

    // Takes up the elements of this array's name that the persistent store holds.
    PDLVariableArray(EScope scope, std::string const& typeName, std::string const& name, bool generateEvents,
                     bool readOnly, bool isReference, bool persistent,
                     UniqueModuleID const& moduleID = UniqueModuleID());
    // Copies the elements; the iterator maps start empty and the module id is zero.
    PDLVariableArray(PDLVariableArray const& other);
    ~PDLVariableArray() override;

    PDLVariable* clone() const override;
    bool isValid() const override;
    void setInvalid() override;
    bool copyTo(PDLVariableDescription& description) const override;
    // An Invalid value erases the element; an Invalid index does nothing.
    void setValueAtIndex(PDLVariant const& index, PDLVariant const& value) override;
    PDLVariant getValueAtIndex(PDLVariant const& index, std::string const& mapping,
                               bool warnInvalid) const override;
    // Leaves the keys with Invalid values, unless persistent.
    void clearAllValues() override;
    bool isElementIn(PDLVariant const& value, std::string const& mapping) const override;
    PDLVariantIteratorCont begin(std::string const& mapping) const override;
    PDLVariantIteratorCont end(std::string const& mapping) const override;
    int getCount() const override;

    // Same keys in the same order with equal stored values.
    bool isEqual(PDLVariableArray const* pOther) const;
    std::map<std::string, PDLVariant> const& getElements() const { return m_elements; }

private:
    std::map<std::string, PDLVariant> m_elements;
    UniqueModuleID m_moduleID;
    mutable std::map<std::string, iterator> m_beginIterators;
    mutable std::map<std::string, iterator> m_endIterators;
};

// A simple variable that is a view of one panel-state entry. Its function id is composed from
// "PANEL.EXTVAR<workplace>" (or the parent's id), a dot and the local id, the slot that the code
// assigns. Reads give the value of the last update(); writes go to the panel state, whose change
// notification then raises the change flag through update().
class PDLVariableExtern : public PDLVariable, public PDLStateSubscriber
{
public:
    // Unconfigured: no slot, nothing subscribed. Module and parent are not owned.
    PDLVariableExtern(PDLModule const* pModule, std::string const& delegationType,
                      std::string const& typeName, std::string const& name, PDLVariableExtern* pParent);
    // Unsubscribes from the entry it watches, if any.
    ~PDLVariableExtern() override;

    // Never cloned: a FATAL report and null.
    PDLVariable* clone() const override;
    bool isValid() const override;
    // Back to the default slot: parents first, then a one-slot delegation type names its slot itself.
    void setInvalid() override;
    // Writes the panel state (no comparison) and keeps the value for reads at once.
    void setValue(PDLVariant const& value) override;
    // The last known value; an unconfigured variable reads Invalid.
    PDLVariant getValue(std::string const& mapping, bool warnInvalid) const override;

    // The panel state reports a change of the watched entry.
    void update() override;
    std::string getDescription(int id) const override;

    // The full id: the parent's id or the workplace root, a dot, the local id.
    std::string getFunctionID() const;
    // Moves the subscription to the entry of the new slot and takes over its value, which is a
    // change of the variable whatever the value.
    void setLocalFunctionID(std::string const& localFunctionID);

    std::string const& getLocalFunctionID() const { return m_localFunctionID; }
    // The id the variable is subscribed under now; empty when not subscribed.
    std::string const& getSubscribedFunctionID() const { return m_functionID; }
    std::string const& getDelegationTypeName() const { return m_delegationType; }
    PDLVariableExtern* getParent() const { return m_pParent; }
    PDLModule const* getModule() const { return m_pModule; }

private:
    PDLVariableExtern(PDLVariableExtern const&) = delete;

    PDLStateSubscriberKey key() { return PDLStateSubscriberKey(this, 0); }

    PDLModule const* m_pModule;
    std::string m_delegationType;
    std::string m_localFunctionID;
    std::string m_functionID;
    PDLVariableExtern* m_pParent;
    PDLVariant m_value;
};

// An assignable place: a variable, and an element index text or empty for the whole variable.
class PDLVariableDescription
{
public:
    PDLVariableDescription() : m_pVariable(nullptr) {}
    // The whole variable: an empty index.
    explicit PDLVariableDescription(PDLVariable* pVariable) : m_pVariable(pVariable) {}
    PDLVariableDescription(PDLVariable* pVariable, std::string const& index)
        : m_pVariable(pVariable), m_index(index)
    {
    }
    PDLVariableDescription(PDLVariable* pVariable, std::string&& index)
        : m_pVariable(pVariable), m_index(std::move(index))
    {
    }
    virtual ~PDLVariableDescription() = default;
    PDLVariableDescription(PDLVariableDescription const&) = default;
    PDLVariableDescription& operator=(PDLVariableDescription const&) = default;

    PDLVariable* m_pVariable;
    std::string m_index;
};

// A variable for one declared name by the declaration table: simple, set or array by the prototype's
// flags. Persistent sets and arrays of sets are refused with a report: null.
PDLVariable* createDeclaredVariable(EScope scope, std::string const& typeName, PDLProtoVariable const& proto,
                                    bool persistent, UniqueModuleID const& moduleID);

// Variables of a local declaration collected by the grammar. Does not own its members: they go to a
// symbol table with PDLSymbolTable::registerVariableList.
class PDLVariableList : public std::list<PDLVariable*>
{
public:
    PDLVariableList() = default;
    // Creates the variables of the prototypes by the declaration table (never persistent) and
    // consumes the prototypes and the vector.
    PDLVariableList(EScope scope, PDLProtoVarVector* pProtos, std::string const& typeName);
    virtual ~PDLVariableList();

    // Moves all of pOther's members to the end, deletes pOther and nulls the pointer.
    void appendList(PDLVariableList*& pOther);

private:
    PDLVariableList(PDLVariableList const&) = delete;
    PDLVariableList& operator=(PDLVariableList const&) = delete;
};

#endif

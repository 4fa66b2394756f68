#ifndef PDLSYMBOLTABLE_H
#define PDLSYMBOLTABLE_H

// Scopes of a running panel: PDLContext, a named scope with its parent link and its stack of symbol
// tables, and PDLSymbolTable, the variables of one scope by name. All name resolution of PDL walks up
// the chain of contexts; declarations create their variables and types here.

#include "rtk/path.h"

#include <basekit/uniqueids.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

class IFunctionID;
class PDLEvent;
class PDLMappedValueList;
class PDLModule;
class PDLProtoVariable;
class PDLSequence;
class PDLVariable;
class PDLVariableList;
class PDLVariant;
class PDLWidget;

// The scope of a variable and of a context; the numbers are fixed.
enum EScope : int32_t
{
    eScopeExtern = 0,
    eScopeGlobal = 1,
    eScopeWorkplace = 2,
    eScopeGroup = 3,
    eScopeModule = 4,
    eScopeLocal = 5,
    eScopeNone = 6
};

// The text of a scope in dumps; empty for a value outside the enumeration.
char const* getScopeText(int scope);

// A declaration list as the grammar builds it, on the heap; consumed by whoever creates the variables.
using PDLProtoVarVector = std::vector<PDLProtoVariable*>;

// The variables of one scope, by name in byte order. The table owns its variables.
class PDLSymbolTable
{
public:
    PDLSymbolTable();
    // Deep copy: every variable is replaced by its clone.
    PDLSymbolTable(PDLSymbolTable const& other);
    virtual ~PDLSymbolTable();

    bool hasVariable(std::string const& name) const;
    // The variable of that name; an unknown name is a reported fault and gives null.
    PDLVariable* getVariable(std::string const& name) const;
    // Enters the variable under its name and takes it over. A name already taken is a reported fault:
    // the new variable is deleted and the old one returned.
    PDLVariable* registerVariable(PDLVariable* pVariable);
    // registerVariable for each member in order; the list stays the caller's, its members go to the table.
    void registerVariableList(PDLVariableList* pList);
    // reset() on each variable, in name order.
    void resetVariables();
    // Deletes all variables.
    void clear();
    // The variable table of the debug shell, on standard output.
    void dump() const;

    std::map<std::string, PDLVariable*> const& getVariables() const { return m_variables; }

private:
    PDLSymbolTable& operator=(PDLSymbolTable const&) = delete;

    std::map<std::string, PDLVariable*> m_variables;
};

// A scope: global, workplace, group, module, or inside a module a widget, sequence, function or init
// section. The back of m_symbolTables is the live table; more than one table only during calls.
class PDLContext
{
public:
    // Pushes one empty table, takes file and line from PDLParseInfo, and becomes the current context.
    PDLContext(PDLContext* pParent, UniqueModuleID const& id);
    virtual ~PDLContext();

    // Called for each context on the way up when a read asks for change events; the base does nothing.
    virtual void registerForVariableEvent(std::string const& name, bool separateEvent);
    virtual EScope getScope() const = 0;
    virtual PDLEvent const* getCurrentEvent() const;
    // These forward to the parent; 0 or null at the root.
    virtual int getWorkplaceID() const;
    virtual int getGroupID() const;
    virtual int getModuleID() const;
    virtual uint32_t getExecWidgetID() const;
    virtual PDLModule* getModule();
    virtual PDLWidget* getWidget();
    virtual PDLSequence* getSequence();
    virtual IFunctionID* getFunctionIDInterface();

    // Stores a normalised copy of the path and the line, and the last path element as m_fileName.
    void setFilePosition(rtk::Path const& path, int line);

    // True when the name is in the top table of this context or of a parent.
    bool hasVariable(std::string const& name) const;
    // Resolves a name up the chain; registers every context on the way when registerEvent is set and
    // the variable is not local. Only this context passes separateEvent on. Unknown: a fault, null.
    PDLVariable* getVariable(std::string const& name, bool registerEvent, bool separateEvent);
    // Looks into this context's top table only. Unknown: a fault, null.
    PDLVariable* getLocalVariable(std::string const& name);
    // True when the name resolves to a variable whose scope is not local; no report when it does not.
    bool isNonlocalVariableName(std::string const& name) const;

    // For function calls. The first call pushes the same table again (false); a recursive call
    // pushes a deep copy (true: the caller rebinds its code). The pushed table is reset either way.
    bool pushSymbolTable();
    // Undoes pushSymbolTable: true when a copy was removed and deleted (the caller rebinds its code).
    bool popSymbolTable();

    // Creates the declared variables in the nearest context of that scope, up from this one.
    // Consumes the prototypes and the vector; a prototype already consumed is set to null, so that
    // after a refused declaration the vector holds what is left.
    void createVariables(EScope scope, std::string const& typeName, PDLProtoVarVector* pProtos,
                         bool persistent);
    // Builds a type and registers it with this context's module.
    void createType(std::string const& name, std::vector<PDLVariant>* pValues);
    void createType(std::string const& name, std::vector<std::string>* pMappingNames,
                    PDLMappedValueList* pMappedValues);

    PDLContext* getParent() const { return m_pParent; }
    PDLSymbolTable* getSymbolTable() const { return m_symbolTables.back(); }
    size_t getSymbolTableCount() const { return m_symbolTables.size(); }
    rtk::Path const& getFilePath() const { return m_filePath; }
    rtk::Path const& getFileName() const { return m_fileName; }
    int32_t getLine() const { return m_line; }
    UniqueModuleID const& getUniqueModuleID() const { return m_moduleID; }

protected:
    PDLContext* m_pParent;
    // A stack whose back is the live table: a call pushes and pops without allocating.
    std::vector<PDLSymbolTable*> m_symbolTables;
    rtk::Path m_filePath;
    rtk::Path m_fileName;
    int32_t m_line;
    UniqueModuleID m_moduleID;

private:
    PDLContext(PDLContext const&) = delete;
    PDLContext& operator=(PDLContext const&) = delete;
};

#endif

#ifndef PDLMODULE_H
#define PDLMODULE_H

// PDLModule: the scope object of one physical module position and the owner of everything its PDL
// source defines; the parser fills it through the operations below, and executeEvent is where an
// event of the engine enters its code. PDLInitSection is the small context of one `init` block.

#include "pdlsymboltable.h"

#include <basekit/uniqueids.h>

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>

class IFunctionID;
class PDLCodeBlock;
class PDLCommand;
class PDLEvent;
class PDLFunction;
class PDLSequence;
class PDLType;
class PDLVariableList;
class PDLWidget;

// The context of one `init` block: its locals and its code, run once at module start.
class PDLInitSection : public PDLContext
{
public:
    // Owns the locals (registered in the section's table) and the code; null code is a reported fault.
    PDLInitSection(PDLContext* pParent, PDLVariableList* pLocals, PDLCodeBlock* pCode);
    ~PDLInitSection() override;

    EScope getScope() const override;
    // Binds the code to this section.
    void init();
    // Runs the code.
    void execute();

protected:
    PDLCodeBlock* m_pInitCode;
};

class PDLModule : public PDLContext
{
public:
    PDLModule(PDLContext* pParent, UniqueModuleID const& id, int connPort, int connConnector,
              IFunctionID* pFunctionID, std::string const& name);
    ~PDLModule() override;

    EScope getScope() const override;
    int getWorkplaceID() const override;
    int getGroupID() const override;
    int getModuleID() const override;
    PDLModule* getModule() override;
    IFunctionID* getFunctionIDInterface() override;

    // Runs an event on the module's widgets and sequences.
    void executeEvent(PDLEvent const* pEvent);

    // Fill operations used by the parser; each takes ownership of what it is given.
    void addInitSection(PDLInitSection* pInitSection);
    void addWidget(PDLWidget* pWidget);
    void addSequence(PDLSequence* pSequence);
    // A name already taken is reported ("function name already exists"); the first function stays.
    void addFunction(PDLFunction* pFunction);
    // Creates extern variables bound to the function id fid; consumes the prototypes and the vector.
    void createExternVariables(std::string const& fid, std::string const& typeName,
                               PDLProtoVarVector* pProtos);

    // The module's types, owned. A null type is a reported fault; a name already known deletes the
    // new type silently. Both give false.
    bool registerType(PDLType* pType);
    bool hasType(std::string const& name) const;
    PDLType* getType(std::string const& name) const;
    PDLFunction* getFunction(std::string const& name) const;
    // Names of shared-scope variables declared by the source being parsed.
    void addVariableInFile(std::string const& name);
    bool hasVariableInFile(std::string const& name) const;
    // The first command of each source line, for line breakpoints; the first one recorded stays.
    void addCommand(int line, PDLCommand* pCommand);
    PDLCommand* getCommand(int line) const;

    std::list<PDLInitSection*> const& getInitSections() const { return m_initSections; }
    std::list<PDLWidget*> const& getWidgets() const { return m_widgets; }
    std::list<PDLSequence*> const& getSequences() const { return m_sequences; }
    std::map<std::string, PDLFunction*> const& getFunctions() const { return m_functions; }
    std::multimap<uint32_t, PDLWidget*> const& getWidgetsByID() const { return m_widgetsByID; }
    std::multimap<uint32_t, PDLSequence*> const& getSequencesByID() const { return m_sequencesByID; }
    int getConnPort() const { return m_connPort; }
    int getConnConnector() const { return m_connConnector; }
    std::string const& getName() const { return m_name; }

protected:
    // Deletes everything the source defined and empties the tables.
    void clearContent();

    std::list<PDLInitSection*> m_initSections;
    std::map<std::string, PDLFunction*> m_functions;
    std::multimap<uint32_t, PDLSequence*> m_sequencesByID;
    std::multimap<uint32_t, PDLWidget*> m_widgetsByID;
    std::list<PDLWidget*> m_widgets;
    std::list<PDLSequence*> m_sequences;
    std::list<PDLSequence*> m_runningSequences;
    std::set<std::string> m_variablesInFile;
    std::map<int, PDLCommand*> m_commandsByLine;
    std::map<std::string, PDLType*> m_types;
    int32_t m_connPort;
    int32_t m_connConnector;
    IFunctionID* m_pFunctionID;
    std::string m_name;
};

#endif
